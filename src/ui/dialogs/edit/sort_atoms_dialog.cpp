#include "ui/dialogs/edit/sort_atoms_dialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "edit/edit_sort.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

QStringList InitialOrder(const Document& document, const std::string& initial) {
  QStringList present;
  for (const int row : ElementsInFile(document)) present << ToText(document.elements[row].Symbol());
  QStringList order;
  for (const QString& symbol : ToText(initial).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
    if (present.removeAll(symbol) > 0) order << symbol;
  }
  return order + present;
}

}  // namespace

std::optional<std::string> AskSortOrder(QWidget* parent, const Document& document, const std::string& initial) {
  EditForm form(parent, QDialog::tr("Sort Atoms"));
  form.setObjectName(QStringLiteral("sort"));
  auto* list = new QListWidget;
  list->setObjectName(QStringLiteral("order"));
  list->addItems(InitialOrder(document, initial));
  list->setDragDropMode(QAbstractItemView::InternalMove);
  list->setCurrentRow(0);
  auto* caption = new QLabel(QDialog::tr("&Elements, first to last:"));
  caption->setBuddy(list);
  auto* up = new QPushButton(QDialog::tr("Move &Up"));
  auto* down = new QPushButton(QDialog::tr("Move &Down"));
  const auto move = [list](int by) {
    const int from = list->currentRow();
    const int to = from + by;
    if (from < 0 || to < 0 || to >= list->count()) return;
    list->insertItem(to, list->takeItem(from));
    list->setCurrentRow(to);
  };
  QObject::connect(up, &QPushButton::clicked, list, [move] { move(-1); });
  QObject::connect(down, &QPushButton::clicked, list, [move] { move(1); });
  for (QPushButton* button : {up, down}) button->setAutoDefault(false);
  auto* side = new QVBoxLayout;
  side->addWidget(up);
  side->addWidget(down);
  side->addStretch();
  auto* middle = new QHBoxLayout;
  middle->addWidget(list);
  middle->addLayout(side);
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(caption);
  layout->addLayout(middle);
  layout->addWidget(
      new QLabel(QDialog::tr("Within an element by number. Riding hydrogens stay with\n"
                             "their parent, PART, RESI and AFIX groups stay whole.")));
  form.AddButtons(*layout);
  list->setFocus();
  if (form.exec() != QDialog::Accepted || list->count() == 0) return std::nullopt;
  QStringList symbols;
  for (int i = 0; i < list->count(); ++i) symbols << list->item(i)->text();
  // Atoms that are no element cannot be named; they come last anyhow.
  symbols.removeAll(QStringLiteral("Q"));
  return symbols.isEmpty() ? std::string(" ") : ToBytes(symbols.join(QLatin1Char(' ')));
}

}  // namespace marvik
