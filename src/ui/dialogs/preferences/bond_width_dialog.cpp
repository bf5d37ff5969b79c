#include "ui/dialogs/preferences/bond_width_dialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {

std::optional<std::string> AskBondWidth(QWidget* parent, double present) {
  EditForm form(parent, QDialog::tr("Custom Bond Width"));
  form.setObjectName(QStringLiteral("bond-width"));
  QLineEdit* width = form.AddField(kBondWidthRange.key, ToText(FieldText(present, 4)));
  auto* row = new QHBoxLayout;
  row->addWidget(form.CaptionOf(kBondWidthRange.key, QDialog::tr("Bond &width in Å:")));
  row->addWidget(width);
  auto* layout = new QVBoxLayout(&form);
  layout->addLayout(row);
  form.AddButtons(*layout);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  width->selectAll();
  const auto text = [width] { return ToBytes(width->text().trimmed()); };
  form.SetCheck([&](const EditArguments&) {
    EditFault fault;
    ReadFieldNumber(kBondWidthRange, text(), fault);
    return fault;
  });
  if (form.exec() != QDialog::Accepted) return std::nullopt;
  return text();
}

}  // namespace marvik
