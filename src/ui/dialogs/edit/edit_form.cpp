#include "ui/dialogs/edit/edit_form.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QVBoxLayout>

#include "ui/text.h"

namespace marvik {

EditForm::EditForm(QWidget* parent, const QString& title) : QDialog(parent) {
  setWindowTitle(title);
}

QLineEdit* EditForm::AddField(const char* key, const QString& text) {
  auto* field = new QLineEdit(text, this);
  const QString name = QString::fromUtf8(key);
  field->setObjectName(name);
  fields_.insert(name, field);
  order_ << name;
  return field;
}

QLabel* EditForm::CaptionOf(const char* key, const QString& caption) {
  auto* label = new QLabel(caption, this);
  label->setBuddy(fields_.value(QString::fromUtf8(key)));
  return label;
}

void EditForm::AddButtons(QVBoxLayout& layout) {
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout.addWidget(buttons);
}

EditArguments EditForm::Entered() const {
  EditArguments arguments;
  for (const QString& key : order_) {
    const QString text = fields_.value(key)->text().trimmed();
    if (!text.isEmpty()) arguments.fields.push_back({ToBytes(key), ToBytes(text)});
  }
  return arguments;
}

bool EditForm::Accepts(const EditFault& fault) {
  if (!fault) return true;
  QMessageBox::warning(this, windowTitle(), ToText(fault.text));
  if (QLineEdit* field = fields_.value(ToText(fault.field))) {
    field->setFocus();
    field->selectAll();
  }
  return false;
}

void EditForm::accept() {
  if (!check_ || Accepts(check_(Collected()))) QDialog::accept();
}

std::optional<std::string> EditForm::Ask() {
  if (exec() != QDialog::Accepted) return std::nullopt;
  return JoinEditArguments(Collected());
}

}  // namespace marvik
