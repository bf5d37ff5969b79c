#pragma once

#include <QCheckBox>
#include <QList>
#include <functional>
#include <vector>

#include "app/commands/command_table.h"
#include "app/workbench.h"
#include "ui/dialogs/edit/edit_form.h"

namespace marvik {

// "Hide Disordered Parts": a box for every PART of the structure, ticked while it is hidden. Stays open beside the
// window; a tick acts at once.
class HidePartDialog : public EditForm {
 public:
  using Runner = std::function<Outcome(int id, const std::string& argument)>;
  HidePartDialog(QWidget* parent, Workbench& bench, Runner run);

  void Follow();

 private:
  void Rebuild();
  void Apply();

  Workbench& bench_;
  Runner run_;
  QVBoxLayout* boxesLayout_ = nullptr;
  QList<QCheckBox*> boxes_;
  std::vector<std::pair<int, int>> parts_;  // number, atoms
};

}  // namespace marvik
