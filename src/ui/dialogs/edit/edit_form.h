#pragma once

#include <QDialog>
#include <QHash>
#include <functional>
#include <optional>
#include <string>

#include "edit/edit_fields.h"

class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace marvik {

// A dialog of text fields whose content becomes the argument of a command. What the core finds wrong is shown in a box,
// the cursor goes to the field in question, and the dialog stays open.
class EditForm : public QDialog {
 public:
  using Check = std::function<EditFault(const EditArguments&)>;
  EditForm(QWidget* parent, const QString& title);

  // A field of this key; its caption, with "&" before its key letter, belongs where the caller puts it.
  QLineEdit* AddField(const char* key, const QString& text);
  QLabel* CaptionOf(const char* key, const QString& caption);
  void SetCheck(Check check) { check_ = std::move(check); }
  // OK and Cancel at the end of a layout; the dialog keeps to the size of its content.
  void AddButtons(QVBoxLayout& layout);
  // What the fields hold, without those that are blank.
  EditArguments Entered() const;
  // In place of Entered where more than the fields counts.
  std::function<EditArguments()> collect;
  EditArguments Collected() const { return collect ? collect() : Entered(); }
  // Shows a fault and goes to its field; true when there was none.
  bool Accepts(const EditFault& fault);
  // Runs the dialog; the argument, nothing when it was cancelled.
  std::optional<std::string> Ask();

  void accept() override;

 private:
  QHash<QString, QLineEdit*> fields_;
  QStringList order_;
  Check check_;
};

}  // namespace marvik
