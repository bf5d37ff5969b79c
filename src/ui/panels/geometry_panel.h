#pragma once

#include <vector>

#include "report/report.h"
#include "ui/panels/panel_set.h"

class QComboBox;
class QPlainTextEdit;

namespace marvik {

// Distances, angles and torsion angles along the selected atoms in the order of their selection, and below them a
// report on the structure that follows it.
class GeometryPanel : public Panel {
  Q_OBJECT

 public:
  explicit GeometryPanel(Workbench& bench);
  void Follow() override;

 private:
  void ShowMeasured();
  void ShowReport();

  Workbench& bench_;
  QPlainTextEdit* measured_ = nullptr;
  QComboBox* kind_ = nullptr;
  QPlainTextEdit* report_ = nullptr;
  std::vector<uint32_t> selected_;  // as shown
  unsigned changes_ = 0;
  std::string file_;
  bool shown_ = false;
};

}  // namespace marvik
