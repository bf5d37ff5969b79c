#pragma once

#include <optional>

#include "base/files.h"
#include "run/result_summary.h"
#include "ui/background.h"
#include "ui/panels/panel_set.h"

class QFormLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace marvik {

class ProgressPlots;

// The figures of the last refinement, their course over the accepted steps of the job, and the button that refines.
class RefinementPanel : public Panel {
  Q_OBJECT

 public:
  RefinementPanel(Workbench& bench, CommandRunner run);
  void Follow() override;

 private:
  void ShowFigures(const ResultSummary& summary);
  void FollowChecks();

  Workbench& bench_;
  QFormLayout* rows_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  std::vector<QLabel*> values_;
  ProgressPlots* plots_ = nullptr;
  QPushButton* refine_ = nullptr;
  std::string path_;  // whose figures are shown, as it was then
  std::optional<FileStamp> stamp_;
  QLabel* checks_ = nullptr;  // how many findings of each level the CIF has
  Background background_;
  std::string cif_;
  std::optional<FileStamp> cifStamp_;
};

}  // namespace marvik
