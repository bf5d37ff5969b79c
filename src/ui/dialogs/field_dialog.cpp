#include "ui/dialogs/field_dialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

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

using Inputs = std::vector<std::pair<const char*, QWidget*>>;

EditArguments EnteredIn(const Inputs& inputs) {
  EditArguments entered;
  for (const auto& [key, input] : inputs) {
    const QString text = TextIn(input);
    if (!text.isEmpty()) entered.fields.push_back({key, ToBytes(text)});
  }
  return entered;
}

}  // namespace

std::optional<std::string> AskFields(QWidget* parent, const CommandRow& row, const std::string& before, bool all,
                                     const FieldExtras& extras) {
  const EditArguments present = SplitEditArguments(before);
  QDialog dialog(parent);
  dialog.setWindowTitle(PlainCommandName(row.text));
  dialog.setObjectName(QString::fromUtf8(row.name));
  auto* form = new QFormLayout;
  Inputs inputs;
  for (const FieldRange& field : row.fields()) {
    // Atoms, places and numbers are those of one time.
    const std::string* text = all || field.words[0] ? present.Find(field.key) : nullptr;
    const auto more = extras.lists.find(field.key);
    inputs.emplace_back(field.key, InputFor(field, text ? ToText(*text) : QString(),
                                            more == extras.lists.end() ? QStringList() : more->second));
    inputs.back().second->setObjectName(QString::fromUtf8(field.key));
    form->addRow(QDialog::tr(field.caption), inputs.back().second);
  }
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addLayout(form);
  layout->addWidget(buttons);
  if (extras.preview) {
    auto* note = new QLabel;
    note->setWordWrap(true);
    note->setMinimumHeight(2 * note->fontMetrics().lineSpacing());
    layout->insertWidget(1, note);
    const auto show = [note, &inputs, &extras] { note->setText(extras.preview(EnteredIn(inputs))); };
    for (const auto& [key, input] : inputs) {
      if (auto* list = qobject_cast<QComboBox*>(input)) {
        QObject::connect(list, &QComboBox::currentTextChanged, note, show);
      } else {
        QObject::connect(static_cast<QLineEdit*>(input), &QLineEdit::textChanged, note, show);
      }
    }
    show();
    // At the edge of the window, so that the model is to be seen.
    const QRect window = parent->window()->frameGeometry();
    dialog.move(window.left(), window.top() + window.height() / 8);
  }
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return JoinEditArguments(EnteredIn(inputs));
}

}  // namespace marvik
