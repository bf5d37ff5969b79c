#include "ui/dialogs/edit/atom_dialog.h"

#include <QGridLayout>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "edit/edit_atom.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

struct Cell {
  const char* key;
  const char* caption;
  int row;
  int column;
  bool single;  // for one atom only
};
constexpr Cell kCells[] = {
    {"name", "&Name:", 0, 0, true},
    {"element", "&Element:", 0, 1, false},
    {"residue", "Re&sidue:", 0, 2, false},
    {"x", "&x:", 1, 0, true},
    {"y", "&y:", 1, 1, true},
    {"z", "&z:", 1, 2, true},
    {"occupancy", "Occup&ancy:", 2, 0, false},
    {"part", "&PART:", 2, 1, false},
    {"partoccupancy", "PART occ&upancy:", 2, 2, false},
    {"afix", "A&FIX:", 3, 0, false},
    {"mole", "&MOLE:", 3, 1, false},
    {"height", "Peak &height:", 3, 2, true},
    {"u", "U&iso:", 4, 0, false},
    {"u11", "U&11:", 5, 0, true},
    {"u22", "U&22:", 5, 1, true},
    {"u33", "U&33:", 5, 2, true},
    {"u23", "U23:", 6, 0, true},
    {"u13", "U13:", 6, 1, true},
    {"u12", "U12:", 6, 2, true},
};

bool IsDisplacement(const std::string& key) {
  return key[0] == 'u';
}

// The value that all atoms have, blank where they differ.
QHash<QString, QString> CommonFields(const Document& document, const std::vector<AtomRecord*>& atoms) {
  QHash<QString, QString> common;
  for (const AtomRecord* atom : atoms) {
    for (const EditArguments::Field& field : AtomFields(document, *atom)) {
      const QString key = ToText(field.key);
      const QString value = ToText(field.value);
      if (atom == atoms.front()) {
        common.insert(key, value);
      } else if (common.value(key) != value) {
        common.insert(key, QString());
      }
    }
  }
  return common;
}

// The fields that say something else than before. Of Uiso and U11 to U12 one kind is left blank.
EditArguments Changes(const EditForm& form, const QHash<QString, QString>& before) {
  EditArguments changed;
  bool hasDisplacement = false;
  const auto lines = form.findChildren<QLineEdit*>();
  for (const QLineEdit* line : lines) {
    hasDisplacement |= IsDisplacement(ToBytes(line->objectName())) && !line->text().trimmed().isEmpty();
  }
  for (const Cell& cell : kCells) {
    const auto* line = form.findChild<QLineEdit*>(QString::fromUtf8(cell.key));
    const QString text = line->text().trimmed();
    if (!line->isEnabled() || text == before.value(line->objectName())) continue;
    if (text.isEmpty() && IsDisplacement(cell.key) && hasDisplacement) continue;
    const bool none = text.isEmpty() && line->objectName() == QLatin1String("partoccupancy");
    changed.fields.push_back({cell.key, none ? "none" : ToBytes(text)});
  }
  return changed;
}

}  // namespace

std::optional<std::string> AskAtom(QWidget* parent, const Document& document, const std::vector<AtomRecord*>& atoms) {
  EditForm form(parent, QDialog::tr("Atom"));
  form.setObjectName(QStringLiteral("atom"));
  const QHash<QString, QString> before = CommonFields(document, atoms);
  auto* grid = new QGridLayout;
  for (const Cell& cell : kCells) {
    const QString key = QString::fromUtf8(cell.key);
    QLineEdit* field = form.AddField(cell.key, before.value(key));
    const bool fits = atoms.size() == 1 || !cell.single;
    field->setEnabled(fits && (key != QLatin1String("height") || atoms.front()->IsPeak()));
    if (atoms.size() > 1 && fits && before.value(key).isEmpty()) field->setPlaceholderText(QDialog::tr("several"));
    field->setMinimumWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("-00.0000000")));
    grid->addWidget(form.CaptionOf(cell.key, QString::fromUtf8(cell.caption)), cell.row, 2 * cell.column);
    grid->addWidget(field, cell.row, 2 * cell.column + 1);
  }
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(new QLabel(
      atoms.size() == 1 ? QDialog::tr("The atom as it stands in the file:")
                        : QDialog::tr("What is entered is set for all %1 selected atoms:").arg(atoms.size())));
  layout->addLayout(grid);
  layout->addWidget(
      new QLabel(QDialog::tr("10 + value holds a number fixed, 20 + p is p times free variable 2, and so on.")));
  form.AddButtons(*layout);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  form.collect = [&] { return Changes(form, before); };
  form.SetCheck([&](const EditArguments& arguments) {
    EditFault fault;
    ParseAtomEdit(document, atoms, arguments, fault);
    return fault;
  });
  const auto text = form.Ask();
  return text && text->empty() ? std::nullopt : text;
}

}  // namespace marvik
