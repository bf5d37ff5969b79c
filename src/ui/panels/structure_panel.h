#pragma once

#include "report/structure_facts.h"
#include "ui/panels/panel_set.h"

class QFormLayout;

namespace marvik {

// Formula, cell, group and what else the file says about the structure as a whole.
class StructurePanel : public Panel {
  Q_OBJECT

 public:
  explicit StructurePanel(const Workbench& bench);
  void Follow() override;
  QSize sizeHint() const override;

 private:
  const Workbench& bench_;
  QFormLayout* rows_ = nullptr;
  std::vector<StructureFact> shown_;
};

}  // namespace marvik
