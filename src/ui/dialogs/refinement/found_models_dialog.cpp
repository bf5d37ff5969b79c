#include "ui/dialogs/refinement/found_models_dialog.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/dialogs/dialog_fit.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr char kRemark[] = "remark";

}  // namespace

FoundModelsDialog::FoundModelsDialog(QWidget* parentWidget, const FoundModels& found,
                                     std::function<void(size_t row)> show)
    : QDialog(parentWidget) {
  setWindowTitle(Translated(found.title.c_str()));
  setObjectName(QStringLiteral("models"));
  table_ = new QTreeWidget;
  table_->setObjectName(QStringLiteral("models"));
  table_->setAccessibleName(tr("Models"));
  QStringList headings;
  for (const std::string& heading : found.headings) headings << ToText(heading);
  table_->setHeaderLabels(headings);
  table_->setRootIsDecorated(false);
  table_->setAlternatingRowColors(true);
  for (const FoundModels::Row& row : found.rows) {
    QStringList cells;
    for (const std::string& cell : row.cells) cells << ToText(cell);
    new QTreeWidgetItem(table_, cells);
  }
  for (int i = 0; i < table_->columnCount(); ++i) {
    // What no model has only takes room.
    bool empty = true;
    for (const FoundModels::Row& row : found.rows)
      empty = empty && (static_cast<size_t>(i) >= row.cells.size() || row.cells[static_cast<size_t>(i)].empty());
    // A remark is a sentence: it stands below the table.
    table_->setColumnHidden(i, empty || found.headings[static_cast<size_t>(i)] == kRemark);
    table_->resizeColumnToContents(i);
    table_->setColumnWidth(i, table_->columnWidth(i) + 10);
  }
  const int letter = fontMetrics().averageCharWidth();
  const int wanted = table_->header()->length() + 2 * letter;
  const int lines = std::clamp(static_cast<int>(found.rows.size()) + 3, 5, 9);
  table_->setMinimumSize(std::clamp(wanted, 80 * letter, 130 * letter), fontMetrics().height() * lines);
  auto* remark = new QLabel;
  remark->setObjectName(QStringLiteral("remark"));
  remark->setTextFormat(Qt::PlainText);
  remark->setWordWrap(true);
  const auto remarkOf = [found](size_t row) { return ToText(found.rows[row].Cell(found, kRemark)); };
  const bool remarks =
      std::ranges::any_of(found.rows, [&](const FoundModels::Row& row) { return !row.Cell(found, kRemark).empty(); });
  remark->setMinimumHeight(2 * fontMetrics().height());
  auto* notes = new QPlainTextEdit(ToText(found.notes));
  notes->setReadOnly(true);
  notes->setMaximumHeight(fontMetrics().height() * 4);
  // Shown before it has a parent it would be a window.
  if (found.notes.empty()) notes->hide();
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(Translated(found.accept.c_str()), QDialogButtonBox::AcceptRole)->setDefault(true);
  buttons->addButton(tr("&Discard"), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(table_, &QTreeWidget::itemDoubleClicked, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel(tr("The window shows the model that is marked. Taking it is one step of Undo.")));
  layout->addWidget(table_);
  layout->addWidget(remark);
  // Shown before it has a parent it would be a window.
  remark->setVisible(remarks);
  layout->addWidget(notes);
  layout->addWidget(buttons);
  table_->setCurrentItem(table_->topLevelItem(static_cast<int>(found.proposed)));
  connect(table_, &QTreeWidget::currentItemChanged, this, [=, this] {
    remark->setText(remarkOf(Row()));
    show(Row());
  });
  remark->setText(remarkOf(found.proposed));
  // The model above is to be seen.
  resize(layout->totalMinimumSize());
  show(found.proposed);
  table_->setFocus();
}

void FoundModelsDialog::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  PutAtFoot(*this);
}

size_t FoundModelsDialog::Row() const {
  return static_cast<size_t>(std::max(0, table_->indexOfTopLevelItem(table_->currentItem())));
}

}  // namespace marvik
