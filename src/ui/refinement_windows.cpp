#include "ui/refinement_windows.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QScopedValueRollback>

#include "app/commands/command_table.h"
#include "app/refinement/refine_flow.h"
#include "ui/area/drawing_area.h"
#include "ui/dialogs/refinement/found_models_dialog.h"
#include "ui/dialogs/refinement/refinement_control_dialog.h"
#include "ui/dialogs/refinement/refinement_history_dialog.h"
#include "ui/dialogs/refinement/refinement_result_dialog.h"
#include "ui/dialogs/refinement/run_dialog.h"
#include "ui/text.h"

namespace marvik {

RefinementWindows::RefinementWindows(Workbench& bench, QWidget& owner, WindowSettings& settings,
                                     std::function<void(const QString&)> say)
    : bench_(bench), owner_(owner), settings_(settings), say_(std::move(say)) {
  bench.hooks.editRefinement = [this](RefinementSettings& values) {
    return RefinementControlDialog(&owner_, values).exec() == QDialog::Accepted;
  };
  bench.hooks.followRun = [this](RefinementRun& run) { FollowRun(run); };
  bench.hooks.stopRun = [this] {
    if (auto* run = qobject_cast<RunDialog*>(running_.data())) run->Stop();
  };
  bench.hooks.judgeRefinement = [this](const RefinementReport& report) { return Judge(report); };
  bench.hooks.chooseModel = [this](const FoundModels& found, const std::function<void(size_t row)>& show) {
    return Choose(found, show);
  };
}

void RefinementWindows::FollowRun(RefinementRun& run) {
  RunDialog dialog(&owner_, run, settings_.closeRunWhenFinished);
  dialog.onCycles = onCycles;
  Wait(dialog);
  settings_.closeRunWhenFinished = dialog.ClosesWhenFinished();
}

// The model can be turned and looked at meanwhile; what would change it waits.
void RefinementWindows::Wait(QDialog& dialog) {
  running_ = &dialog;
  const QScopedValueRollback<bool> flag(bench_.refining, true);
  QEventLoop loop;
  QObject::connect(&dialog, &QDialog::finished, &loop, &QEventLoop::quit);
  dialog.show();
  bench_.Repaint();
  loop.exec();
  // Buttons that were off meanwhile have left it to a field, which would keep Ctrl+Z to itself.
  if (auto* area = owner_.findChild<DrawingArea*>()) area->setFocus();
}

std::optional<size_t> RefinementWindows::Choose(const FoundModels& found, const std::function<void(size_t row)>& show) {
  FoundModelsDialog dialog(&owner_, found, show);
  Wait(dialog);
  return dialog.result() == QDialog::Accepted ? std::optional(dialog.Row()) : std::nullopt;
}

RefinementWindows::Going RefinementWindows::EndWhatGoesOn() {
  if (!running_) return Going::Nothing;
  if (auto* run = qobject_cast<RunDialog*>(running_.data())) {
    run->Stop();
  } else {
    running_->reject();
  }
  return running_ && running_->isVisible() ? Going::Stays : Going::Ended;
}

bool RefinementWindows::PeaksMayGo(const std::function<bool()>& kill) {
  int peaks = 0;
  for (const AtomRecord* atom : Atoms(bench_.document.atoms)) peaks += atom->IsPeak() ? 1 : 0;
  if (peaks == 0 || bench_.refining) return true;
  const std::string which = peaks == 1 ? "the peak" : "the " + std::to_string(peaks) + " peaks";
  return bench_.messages.AskYesNo({MessageIcon::Question, "Refine",
                                   "Peaks are no atoms that can be refined. Kill " + which + " and refine?"},
                                  Unattended::Yes) &&
         kill();
}

bool RefinementWindows::Judge(const RefinementReport& report) {
  const ResultSkipping skipping{settings_.skipsResult, settings_.skipsResultBelow};
  if (MaySkipResult(report, skipping)) {
    say_(QCoreApplication::translate("RefinementWindows", "Accepted: R1 %1, largest shift %2 Å")
             .arg(ToText(FigureText(report.after.r1, 4)))
             .arg(report.changes.largestShift, 0, 'f', 4));
    return true;
  }
  RefinementResultDialog dialog(&owner_, report, skipping);
  // The model can be looked at while one thinks about it.
  Wait(dialog);
  const bool accepted = dialog.result() == QDialog::Accepted;
  settings_.skipsResult = dialog.Skipping().on;
  settings_.skipsResultBelow = dialog.Skipping().below;
  return accepted;
}

std::optional<std::string> RefinementWindows::AskStep() {
  auto steps = StepHistory(JobBase(bench_)).Steps();
  if (steps.empty()) {
    bench_.messages.Show(
        {MessageIcon::Information, "Refinement History", "No refinement of this job has been accepted yet."});
    return std::nullopt;
  }
  RefinementHistoryDialog dialog(&owner_, std::move(steps));
  const bool accepted = dialog.exec() == QDialog::Accepted;
  if (!dialog.Comparison().empty()) RunCommand(bench_, kCompareCommand, dialog.Comparison());
  if (!accepted || dialog.Number() < 0) return std::nullopt;
  return std::to_string(dialog.Number());
}

}  // namespace marvik
