#include "ui/dialogs/edit/hfix_dialog.h"

#include <QButtonGroup>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QRadioButton>

#include "chem/hydrogens/hfix.h"

namespace marvik {

std::optional<std::string> AskHfixOption(QWidget* parent) {
  QDialog dialog(parent);
  dialog.setWindowTitle(QDialog::tr("Set HFIX for selected atom(s)"));
  dialog.setObjectName(QStringLiteral("hfix"));
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(24);
  auto* group = new QButtonGroup(&dialog);
  int row = 0;
  for (const HfixOption& option : kHfixOptions) {
    auto* button = new QRadioButton(QString::fromUtf8(option.button));
    button->setObjectName(QStringLiteral("hfix%1").arg(row));
    group->addButton(button, option.code);
    const bool hasCaption = option.caption[0] != '\0';
    grid->addWidget(button, row, 0, 1, hasCaption ? 1 : 2);
    if (hasCaption) grid->addWidget(new QLabel(QString::fromUtf8(option.caption)), row, 1);
    ++row;
  }
  group->buttons().first()->setChecked(true);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addLayout(grid);
  layout->addWidget(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return std::to_string(group->checkedId());
}

}  // namespace marvik
