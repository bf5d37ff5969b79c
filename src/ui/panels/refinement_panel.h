#pragma once

#include <optional>

#include "base/files.h"
#include "run/result_summary.h"
#include "ui/background.h"
#include "ui/panels/panel_set.h"

class QFormLayout;
class QLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace marvik {

class ProgressPlots;

// The figures of the last refinement, their course over its cycles and over the accepted refinements of the job, and
// the buttons that refine, cancel, solve and complete.
class RefinementPanel : public Panel {
  Q_OBJECT

 public:
  RefinementPanel(Workbench& bench, CommandRunner run);
  void Follow() override;
  QSize sizeHint() const override;
  // How far the run that is going on has come.
  void ShowRun(const std::vector<CyclePoint>& cycles);

 private:
  void ShowFigures(const ResultSummary& summary);
  void ShowCycles(const std::vector<CyclePoint>& cycles);
  void ShowRefinements();
  void FollowListing();
  void FollowChecks();

  Workbench& bench_;
  QFormLayout* rows_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  std::vector<QLabel*> values_;
  // Each with the caption above it.
  struct Course {
    QLabel* caption = nullptr;
    ProgressPlots* plots = nullptr;
  };
  Course AddCourse(QLayout& layout, const QString& caption, const char* name);
  static void Show(const Course& course, const std::vector<CyclePoint>& points);
  Course cycles_;
  Course refinements_;
  struct Button {
    int command;
    QPushButton* button;
  };
  std::vector<Button> buttons_;
  QPushButton* stop_ = nullptr;
  std::string path_;  // whose figures are shown, as it was then
  std::optional<FileStamp> stamp_;
  QLabel* checks_ = nullptr;  // how many findings of each level the CIF has
  Background background_;
  std::string cif_;
  std::optional<FileStamp> cifStamp_;
  Background listingBackground_;
  bool runs_ = false;  // what is shown is of a run that goes on
};

}  // namespace marvik
