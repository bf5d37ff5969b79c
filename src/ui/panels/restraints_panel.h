#pragma once

#include <map>

#include "check/model_trials.h"
#include "ui/panels/panel_set.h"

class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace marvik {

// The restraints of the model with what they cost and hold, in the order of the file; the parts of each below it. A
// click selects the atoms, a double click edits target or uncertainty, Delete takes the restraint away.
class RestraintsPanel : public Panel {
  Q_OBJECT

 public:
  RestraintsPanel(Workbench& bench, CommandRunner run);
  void Follow() override;

 private:
  // The instructions, what they hold, and what stands against that.
  struct Worked {
    std::vector<std::string> texts, notes;
    std::map<std::string, std::vector<RestraintLine>> lines;
    std::string problem;
  };
  static Worked Work(const Document& document);
  void Show(Worked worked);
  void AddLines(QTreeWidgetItem* item) const;
  void SelectAtoms(const QTreeWidgetItem* item);
  void Remove();
  void Edit(const QTreeWidgetItem* item, int column);

  Workbench& bench_;
  CommandRunner run_;
  QTreeWidget* list_ = nullptr;
  QLabel* problem_ = nullptr;
  Worked shown_;
  bool filling_ = false;
  unsigned changes_ = ~0u;
  uint64_t state_ = ~0ull;
  std::string file_;
};

}  // namespace marvik
