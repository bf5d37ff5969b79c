#pragma once

#include <QDialogButtonBox>
#include <QPushButton>

#include "app/preferences/preference_fault.h"
#include "ui/dialogs/edit/edit_form.h"

namespace marvik {

// A dialog of fields whose faults have captions of their own, with "Save", "Cancel" and what is added between.
class PreferenceForm : public EditForm {
 public:
  using EditForm::EditForm;

  // Shows a fault, goes to its field and corrects that where the fault says so; true when there was none.
  bool Takes(const PreferenceFault& fault);
  QPushButton* AddAction(const QString& text);
  // "Save", "OK" or another word for it; after the actions.
  void AddSaveAndCancel(const QString& text, QVBoxLayout& layout);

  // Comes up beside the window, where the screen has room, so that the model is to be seen.
  void showEvent(QShowEvent* event) override;

 private:
  QDialogButtonBox* buttons_ = new QDialogButtonBox(this);
};

}  // namespace marvik
