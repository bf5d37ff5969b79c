#pragma once

#include <QPointer>
#include <functional>
#include <optional>
#include <string>

#include "app/workbench.h"
#include "ui/window_settings.h"

class QWidget;

namespace marvik {

class RunDialog;

// The dialogs of a refinement, put into the hooks of a workbench.
class RefinementWindows {
 public:
  // All must outlive this. `say` takes a sentence for the status bar.
  RefinementWindows(Workbench& bench, QWidget& owner, WindowSettings& settings,
                    std::function<void(const QString&)> say);

  // Shows the history of the job and gives the number of the step to go back to.
  std::optional<std::string> AskStep();
  // Cancels the run in progress; false when there is none.
  bool CancelRun();

 private:
  void FollowRun(RefinementRun& run);
  bool Judge(const RefinementReport& report);

  Workbench& bench_;
  QWidget& owner_;
  WindowSettings& settings_;
  std::function<void(const QString&)> say_;
  QPointer<RunDialog> running_;
};

}  // namespace marvik
