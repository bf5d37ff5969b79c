#pragma once

#include "base/files.h"
#include "ui/panels/panel_set.h"

class QLabel;
class QListWidget;
class QTreeWidget;

namespace marvik {

// What was done since the file was opened and what each step changed, the latest below; a click goes back or forward to
// behind that step. Below it stand the accepted refinements of the job.
class HistoryPanel : public Panel {
  Q_OBJECT

 public:
  HistoryPanel(const Workbench& bench, CommandRunner run);
  void Follow() override;
  QSize sizeHint() const override;

 private:
  void GoTo(int row);
  void FollowRefinements();

  const Workbench& bench_;
  CommandRunner run_;
  QListWidget* list_ = nullptr;
  QTreeWidget* refinements_ = nullptr;
  std::vector<std::string> names_;  // of the steps that are shown
  std::vector<uint64_t> states_;    // behind each of them
  std::string file_;
  std::optional<FileStamp> stamp_;
};

}  // namespace marvik
