#include "ui/dialogs/edit/select_atoms_dialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QVBoxLayout>
#include <array>

#include "edit/edit_select.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

struct ModeButton {
  SelectMode mode;
  const char* text;
};
constexpr std::array<ModeButton, 4> kModes{{{SelectMode::Replace, "&Replace the selection"},
                                            {SelectMode::Add, "A&dd to it"},
                                            {SelectMode::Remove, "Re&move from it"},
                                            {SelectMode::Invert, "&Invert"}}};

}  // namespace

std::optional<std::string> AskSelectAtoms(QWidget* parent, const Document& document, const std::string& initial) {
  EditForm form(parent, QDialog::tr("Select Atoms"));
  form.setObjectName(QStringLiteral("select"));
  const SelectChoice before = ParseSelectChoice(initial, SelectMode::Replace);
  QLineEdit* atoms = form.AddField("atoms", ToText(before.atoms));
  atoms->setMinimumWidth(380);
  auto* count = new QLabel;
  std::array<QRadioButton*, kModes.size()> buttons{};
  const auto choice = [&] {
    SelectChoice result{SelectMode::Replace, ToBytes(atoms->text().trimmed())};
    for (size_t i = 0; i < kModes.size(); ++i) {
      if (buttons[i]->isChecked()) result.mode = kModes[i].mode;
    }
    if (result.mode == SelectMode::Invert && result.atoms.empty()) result.atoms.assign(1, '*');
    return result;
  };
  const auto showCount = [&] {
    const AtomChoice chosen = ChooseAtoms(document, choice().atoms);
    const size_t found = chosen.atoms.size();
    count->setText(found == 1 ? QDialog::tr("1 atom") : QDialog::tr("%1 atoms").arg(found));
  };
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(form.CaptionOf("atoms", QDialog::tr("&Atoms:")));
  layout->addWidget(atoms);
  layout->addWidget(
      new QLabel(QDialog::tr("C1  C1_2 (residue 2)  C*  C?  $C (element)  C1 > C6 (in list order)\n"
                             "PART:1  RESI:2  RESI:ALA  PEAKS  HYDROGENS")));
  auto* row = new QHBoxLayout;
  for (size_t i = 0; i < kModes.size(); ++i) {
    buttons[i] = new QRadioButton(QString::fromUtf8(kModes[i].text));
    buttons[i]->setObjectName(QStringLiteral("mode%1").arg(i));
    buttons[i]->setChecked(kModes[i].mode == before.mode);
    row->addWidget(buttons[i]);
    QObject::connect(buttons[i], &QRadioButton::toggled, count, showCount);
  }
  layout->addLayout(row);
  layout->addWidget(count);
  form.AddButtons(*layout);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  QObject::connect(atoms, &QLineEdit::textChanged, count, showCount);
  showCount();
  atoms->selectAll();
  form.SetCheck([&](const EditArguments&) -> EditFault {
    const SelectChoice wanted = choice();
    if (wanted.atoms.empty()) return {"atoms", "Atoms: a name is missing."};
    const AtomChoice chosen = ChooseAtoms(document, wanted.atoms);
    if (chosen.unmatched.empty()) return {};
    return {"atoms", std::string("Atoms: Couldn't find ").append(chosen.unmatched).append(" in the atom list.")};
  });
  if (form.exec() != QDialog::Accepted) return std::nullopt;
  return SelectText(choice());
}

}  // namespace marvik
