#include "ui/dialogs/edit/restore_killed_dialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/numbers.h"
#include "language/residues.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {

std::optional<std::string> AskRestoreKilled(QWidget* parent, const Document& document) {
  EditForm form(parent, QDialog::tr("Undelete Atom(s)"));
  form.setObjectName(QStringLiteral("restore"));
  auto* list = new QListWidget;
  list->setObjectName(QStringLiteral("killed"));
  list->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list->setUniformItemSizes(true);
  for (const AtomRecord* atom = document.atoms.killedHead; atom; atom = atom->next) {
    const std::string text = Printf("%s   %.4f  %.4f  %.4f", QualifiedName(document, *atom).c_str(), atom->fract.x,
                                    atom->fract.y, atom->fract.z);
    auto* item = new QListWidgetItem(ToText(text), list);
    item->setData(Qt::UserRole, atom->serial);
  }
  list->setCurrentRow(0);
  auto* caption = new QLabel(QDialog::tr("&Killed atoms, the latest first:"));
  caption->setBuddy(list);
  auto* all = new QPushButton(QDialog::tr("Select &All"));
  all->setAutoDefault(false);
  QObject::connect(all, &QPushButton::clicked, list, &QListWidget::selectAll);
  QObject::connect(list, &QListWidget::itemDoubleClicked, &form, &QDialog::accept);
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(caption);
  layout->addWidget(list);
  layout->addWidget(all);
  form.AddButtons(*layout);
  QPushButton* ok = form.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
  const auto enable = [list, ok] { ok->setEnabled(!list->selectedItems().isEmpty()); };
  QObject::connect(list, &QListWidget::itemSelectionChanged, ok, enable);
  enable();
  list->setFocus();
  if (form.exec() != QDialog::Accepted) return std::nullopt;
  std::string text;
  for (const QListWidgetItem* item : list->selectedItems()) {
    AppendPrintf(text, "%s#%u", text.empty() ? "" : " ", item->data(Qt::UserRole).toUInt());
  }
  return text.empty() ? std::nullopt : std::optional(text);
}

}  // namespace marvik
