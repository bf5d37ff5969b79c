#pragma once

#include "ui/panels/panel_set.h"

class QLineEdit;
class QTableView;

namespace marvik {

class AtomTable;

// The atoms as a table that is linked with the picture both ways: what is selected here is selected there.
class ModelPanel : public Panel {
  Q_OBJECT

 public:
  ModelPanel(Workbench& bench, CommandRunner run);
  void Follow() override;
  // Wide enough for the columns up to the occupancy.
  QSize sizeHint() const override;

 private:
  void SelectInPicture();
  void ShowSelection();

  Workbench& bench_;
  CommandRunner run_;
  AtomTable* table_ = nullptr;
  QLineEdit* filter_ = nullptr;
  QTableView* view_ = nullptr;
  bool following_ = false;
};

}  // namespace marvik
