#pragma once

#include <QDialog>
#include <QPointer>
#include <functional>
#include <optional>
#include <string>

#include "app/workbench.h"
#include "run/progress_curve.h"
#include "ui/window_settings.h"

class QWidget;

namespace marvik {

// The dialogs of a refinement, put into the hooks of a workbench.
class RefinementWindows {
 public:
  // All must outlive this. `say` takes a sentence for the status bar.
  RefinementWindows(Workbench& bench, QWidget& owner, WindowSettings& settings,
                    std::function<void(const QString&)> say);
  // Takes the figures of a run's cycles as they come.
  std::function<void(const std::vector<CyclePoint>&)> onCycles;

  // Shows the history of the job and gives the number of the step to go back to.
  std::optional<std::string> AskStep();
  // Before the window closes: ends the run in progress, or what waits for an answer about its result, after a question.
  enum class Going { Nothing, Ended, Stays };
  Going EndWhatGoesOn();
  // Peaks cannot be refined: asks whether `kill` may take them out first. False when they stay.
  bool PeaksMayGo(const std::function<bool()>& kill);

 private:
  void FollowRun(RefinementRun& run);
  bool Judge(const RefinementReport& report);
  std::optional<size_t> Choose(const FoundModels& found, const std::function<void(size_t row)>& show);
  void Wait(QDialog& dialog);

  Workbench& bench_;
  QWidget& owner_;
  WindowSettings& settings_;
  std::function<void(const QString&)> say_;
  QPointer<QDialog> running_;
};

}  // namespace marvik
