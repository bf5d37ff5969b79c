#pragma once

#include <functional>
#include <vector>

#include "app/commands/command_table.h"
#include "app/workbench.h"
#include "ui/dialogs/edit/edit_form.h"

class QComboBox;

namespace marvik {

// "Disorder Part Number": stays open beside the window and speaks of the atoms that are selected at the time. Apply
// runs the command.
class ChangePartDialog : public EditForm {
 public:
  using Runner = std::function<Outcome(int id, const std::string& argument)>;
  ChangePartDialog(QWidget* parent, Workbench& bench, Runner run);

  // Takes over what the document and its selection are now; what is being typed stays while nothing has changed.
  void Follow();
  void accept() override;

 private:
  std::vector<AtomRecord*> Selected() const;
  void FillVariables(int chosen);
  void ShowValue();
  EditArguments Arguments() const;

  Workbench& bench_;
  Runner run_;
  QLabel* atoms_ = nullptr;
  QLineEdit* part_ = nullptr;
  QComboBox* variable_ = nullptr;
  QLineEdit* occupancy_ = nullptr;
  QLineEdit* value_ = nullptr;
  std::string shown_;  // what the fields were last filled from
};

}  // namespace marvik
