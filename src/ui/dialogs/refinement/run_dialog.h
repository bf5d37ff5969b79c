#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>

#include "run/refinement_run.h"

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace marvik {

class ProgressPlots;

// Controls of the dialog; each has its number as object name.
enum RunDialogId : int { kRunButton = 1, kRunText = 1027, kRunPrintButton = 1039 };

// "Refine": starts a run when it is shown, shows its output as it comes and the figures of each cycle as curves. The
// button cancels while the program runs and closes afterwards; the result of exec is 1 when the run finished and 2 when
// it did not.
class RunDialog : public QDialog {
  Q_OBJECT

 public:
  // `run` must be fresh and outlive the dialog.
  RunDialog(QWidget* parentWidget, RefinementRun& run, bool closeWhenFinished);
  ~RunDialog() override;

  // Escape and the window's own button: while the program runs they ask first.
  void reject() override;
  // Ends the program where it still runs, and closes.
  void Stop();
  // Told whenever there is more.
  std::function<void(const std::vector<CyclePoint>&)> onCycles;
  bool ClosesWhenFinished() const;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void StartRun();
  void Poll();
  void TakeLines();
  void ShowState();
  void Print();

  RefinementRun& run_;
  QPlainTextEdit* text_ = nullptr;
  ProgressPlots* plots_ = nullptr;
  QLabel* status_ = nullptr;
  QCheckBox* close_ = nullptr;
  QPushButton* button_ = nullptr;
  QTimer timer_;
  QElapsedTimer clock_;
  QString lines_;  // shown with the next poll
  bool started_ = false;
  bool asking_ = false;
};

}  // namespace marvik
