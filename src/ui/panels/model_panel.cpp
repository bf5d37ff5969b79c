#include "ui/panels/model_panel.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

#include "ui/panels/atom_table.h"

namespace marvik {

ModelPanel::ModelPanel(Workbench& bench, CommandRunner run) : bench_(bench), run_(std::move(run)) {
  AtomTable::Edits edits;
  edits.field = [this](const std::string& text) { run_(kEditAtomCommand, text); };
  edits.rename = [this](const std::string& atom, const std::string& name) {
    run_(kRenameAtomCommand, atom + " " + name);
  };
  table_ = new AtomTable(std::move(edits), this);
  filter_ = new QLineEdit;
  filter_->setObjectName(QStringLiteral("filter"));
  filter_->setPlaceholderText(tr("Filter: C, C1, part 2, peaks"));
  filter_->setAccessibleName(tr("Filter of the atom table"));
  filter_->setClearButtonEnabled(true);
  view_ = new QTableView;
  view_->setObjectName(QStringLiteral("atoms"));
  view_->setModel(table_);
  view_->setAccessibleName(tr("Atoms"));
  view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  view_->setAlternatingRowColors(true);
  view_->setShowGrid(false);
  view_->setWordWrap(false);
  view_->verticalHeader()->hide();
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  view_->verticalHeader()->setDefaultSectionSize(view_->fontMetrics().height() + 6);
  view_->horizontalHeader()->setStretchLastSection(true);
  view_->horizontalHeader()->setSortIndicatorClearable(true);
  view_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
  view_->setSortingEnabled(true);
  const int digit = view_->fontMetrics().horizontalAdvance(QLatin1Char('0'));
  constexpr int kDigits[] = {8, 5, 4, 6, 8};
  for (int i = 0; i < AtomTable::kNote; ++i)
    view_->setColumnWidth(i, std::max(kDigits[i] * digit, view_->horizontalHeader()->sectionSizeHint(i)));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(filter_);
  layout->addWidget(view_, 1);
  connect(filter_, &QLineEdit::textChanged, this, [this](const QString& text) {
    const QScopedValueRollback<bool> quiet(following_, true);
    table_->SetFilter(text);
    ShowSelection();
  });
  connect(view_->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, [this] { ShowSelection(); });
  connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &ModelPanel::SelectInPicture);
}

QSize ModelPanel::sizeHint() const {
  const QMargins margins = layout()->contentsMargins();
  int width =
      margins.left() + margins.right() + 2 * view_->frameWidth() + view_->verticalScrollBar()->sizeHint().width();
  for (int i = 0; i < AtomTable::kNote; ++i) width += view_->columnWidth(i);
  width += view_->fontMetrics().horizontalAdvance(QStringLiteral("7.00 e/Å³   "));
  return OfWidth(width);
}

void ModelPanel::Follow() {
  const QScopedValueRollback<bool> quiet(following_, true);
  table_->Update(bench_.document);
  ShowSelection();
}

void ModelPanel::SelectInPicture() {
  if (following_) return;
  std::string text;
  for (const QModelIndex& index : view_->selectionModel()->selectedRows()) {
    text += (text.empty() ? "#" : " #") + std::to_string(table_->SerialOf(index.row()));
  }
  if (text.empty()) {
    run_(kDeselectCommand, {});
  } else {
    run_(kSelectAtomsCommand, text);
  }
}

void ModelPanel::ShowSelection() {
  const QScopedValueRollback<bool> quiet(following_, true);
  std::set<uint32_t> wanted;
  for (const AtomRecord* atom : bench_.document.atoms.selection) wanted.insert(atom->serial);
  QItemSelection rows;
  int first = -1;
  for (int row = 0; row < table_->rowCount() && !wanted.empty(); ++row) {
    if (!wanted.contains(table_->SerialOf(row))) continue;
    if (first < 0) first = row;
    rows.select(table_->index(row, 0), table_->index(row, AtomTable::kColumns - 1));
  }
  QItemSelectionModel& model = *view_->selectionModel();
  if (model.selection() == rows) return;
  model.select(rows, QItemSelectionModel::ClearAndSelect);
  if (first >= 0 && !view_->hasFocus()) view_->scrollTo(table_->index(first, 0));
}

}  // namespace marvik
