#include "ui/dialogs/field_dialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QVBoxLayout>

#include "edit/edit_fields.h"
#include "ui/text.h"

namespace marvik {
namespace {

// A list can be typed into where its field takes more than its words.
QWidget* InputFor(const FieldRange& field, const QString& before, const QStringList& more) {
  if (!field.words[0] && more.isEmpty()) {
    auto* line = new QLineEdit(before);
    line->setPlaceholderText(ToText(ValuesOf(field)));
    return line;
  }
  auto* list = new QComboBox;
  list->setEditable(field.low <= field.high);
  list->addItem(QString());
  list->addItems(more.isEmpty() ? QString::fromUtf8(field.words).split(QLatin1Char('|')) : more);
  list->setCurrentText(before);
  return list;
}

QString TextIn(const QWidget* input) {
  const auto* list = qobject_cast<const QComboBox*>(input);
  return (list ? list->currentText() : static_cast<const QLineEdit*>(input)->text()).trimmed();
}

}  // namespace

std::optional<std::string> AskFields(QWidget* parent, const CommandRow& row, const std::string& before, bool all,
                                     const std::map<std::string, QStringList>& lists) {
  const EditArguments present = SplitEditArguments(before);
  QDialog dialog(parent);
  dialog.setWindowTitle(PlainCommandName(row.text));
  dialog.setObjectName(QString::fromUtf8(row.name));
  auto* form = new QFormLayout;
  std::vector<std::pair<const char*, QWidget*>> inputs;
  for (const FieldRange& field : row.fields()) {
    // Atoms, places and numbers are those of one time.
    const std::string* text = all || field.words[0] ? present.Find(field.key) : nullptr;
    const auto more = lists.find(field.key);
    inputs.emplace_back(field.key, InputFor(field, text ? ToText(*text) : QString(),
                                            more == lists.end() ? QStringList() : more->second));
    inputs.back().second->setObjectName(QString::fromUtf8(field.key));
    form->addRow(QDialog::tr(field.caption), inputs.back().second);
  }
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addLayout(form);
  layout->addWidget(buttons);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  EditArguments entered;
  for (const auto& [key, input] : inputs) {
    const QString text = TextIn(input);
    if (!text.isEmpty()) entered.fields.push_back({key, ToBytes(text)});
  }
  return JoinEditArguments(entered);
}

}  // namespace marvik
