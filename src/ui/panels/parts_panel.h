#pragma once

#include "ui/panels/panel_set.h"

class QLabel;
class QSlider;
class QTreeWidget;
class QTreeWidgetItem;

namespace marvik {

// The PARTs of the model with their free variable, occupancy and atoms; a tick shows or hides a PART, a click selects
// its atoms. Below, the height from which peaks are shown.
class PartsPanel : public Panel {
  Q_OBJECT

 public:
  PartsPanel(Workbench& bench, CommandRunner run);
  void Follow() override;

 private:
  void SelectAtoms(const QTreeWidgetItem* item);
  void HideUnticked();
  void ShowPeaks();

  Workbench& bench_;
  CommandRunner run_;
  QTreeWidget* list_ = nullptr;
  QSlider* level_ = nullptr;
  QLabel* levelText_ = nullptr;
  bool following_ = false;
};

}  // namespace marvik
