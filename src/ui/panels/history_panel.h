#pragma once

#include "ui/panels/panel_set.h"

class QListWidget;

namespace marvik {

// What was done since the file was opened, the latest below; a click goes back or forward to behind that step.
class HistoryPanel : public Panel {
  Q_OBJECT

 public:
  HistoryPanel(const Workbench& bench, CommandRunner run);
  void Follow() override;

 private:
  void GoTo(int row);

  const Workbench& bench_;
  CommandRunner run_;
  QListWidget* list_ = nullptr;
  std::vector<std::string> shown_;
};

}  // namespace marvik
