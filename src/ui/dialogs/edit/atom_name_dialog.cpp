#include "ui/dialogs/edit/atom_name_dialog.h"

#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "edit/edit_atom.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {

std::optional<std::string> AskAtomName(QWidget* parent, const Document& document, const AtomRecord& atom) {
  EditForm form(parent, QDialog::tr("Atom Name"));
  form.setObjectName(QStringLiteral("atom-name"));
  QLineEdit* name = form.AddField("name", ToText(atom.name));
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(form.CaptionOf("name", QDialog::tr("New &name of %1:").arg(ToText(atom.name))));
  layout->addWidget(name);
  form.AddButtons(*layout);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  name->selectAll();
  form.SetCheck([&](const EditArguments&) {
    const std::string text = ToBytes(name->text().trimmed());
    return text == atom.name ? EditFault{} : CheckNewName(document, atom, text);
  });
  if (form.exec() != QDialog::Accepted) return std::nullopt;
  const std::string text = ToBytes(name->text().trimmed());
  return text == atom.name ? std::nullopt : std::optional(text);
}

}  // namespace marvik
