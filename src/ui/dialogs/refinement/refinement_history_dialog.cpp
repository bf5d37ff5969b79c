#include "ui/dialogs/refinement/refinement_history_dialog.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/refinement/refine_report.h"
#include "ui/text.h"

namespace marvik {

RefinementHistoryDialog::RefinementHistoryDialog(QWidget* parentWidget, std::vector<RefinementStep> steps)
    : QDialog(parentWidget), steps_(std::move(steps)) {
  setWindowTitle(tr("Refinement History"));
  setObjectName(QStringLiteral("history"));
  std::ranges::reverse(steps_);
  table_ = new QTreeWidget;
  table_->setObjectName(QStringLiteral("steps"));
  table_->setAccessibleName(tr("Refinements"));
  table_->setHeaderLabels({tr("Step"), tr("Accepted"), tr("R1"), tr("Atoms")});
  table_->setRootIsDecorated(false);
  table_->setAlternatingRowColors(true);
  table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  for (const RefinementStep& step : steps_) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(step.time);
    new QTreeWidgetItem(table_, {step.number == 0 ? tr("0 (before the first)") : QString::number(step.number),
                                 time.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")), ToText(FigureText(step.r1, 4)),
                                 QString::number(step.atoms)});
  }
  for (int i = 0; i + 1 < table_->columnCount(); ++i) {
    table_->resizeColumnToContents(i);
    table_->setColumnWidth(i, table_->columnWidth(i) + 14);
  }
  table_->setMinimumSize(fontMetrics().averageCharWidth() * 80, fontMetrics().height() * 16);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  QPushButton* look = buttons->addButton(tr("&Look..."), QDialogButtonBox::ActionRole);
  QPushButton* compare = buttons->addButton(tr("Co&mpare"), QDialogButtonBox::ActionRole);
  compare->setToolTip(tr("Two chosen steps, or one with the structure as it is now"));
  QPushButton* back = buttons->addButton(tr("&Go Back"), QDialogButtonBox::AcceptRole);
  back->setDefault(true);
  connect(look, &QPushButton::clicked, this, &RefinementHistoryDialog::Look);
  connect(compare, &QPushButton::clicked, this, &RefinementHistoryDialog::Compare);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(table_, &QTreeWidget::itemDoubleClicked, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel(tr("Going back is one step of Undo; no file changes before the structure is saved.")));
  layout->addWidget(table_);
  layout->addWidget(buttons);
  if (!steps_.empty()) table_->setCurrentItem(table_->topLevelItem(0));
  table_->setFocus();
}

int RefinementHistoryDialog::Number() const {
  const int row = table_->indexOfTopLevelItem(table_->currentItem());
  return row < 0 ? -1 : steps_[static_cast<size_t>(row)].number;
}

void RefinementHistoryDialog::Compare() {
  std::vector<int> numbers;
  for (QTreeWidgetItem* item : table_->selectedItems())
    numbers.push_back(steps_[static_cast<size_t>(table_->indexOfTopLevelItem(item))].number);
  if (numbers.empty()) return;
  const auto [oldest, newest] = std::ranges::minmax(numbers);
  comparison_ = "old=" + std::to_string(oldest) + " new=" + (numbers.size() > 1 ? std::to_string(newest) : "current");
  reject();
}

void RefinementHistoryDialog::Look() {
  const int row = table_->indexOfTopLevelItem(table_->currentItem());
  if (row < 0) return;
  const std::string& path = steps_[static_cast<size_t>(row)].path;
  QDialog viewer(this);
  viewer.setWindowTitle(PathToText(FileNameOf(path)));
  auto* text = new QPlainTextEdit(ToText(ReadWholeFile(path).content));
  text->setReadOnly(true);
  text->setLineWrapMode(QPlainTextEdit::NoWrap);
  text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text->setMinimumSize(fontMetrics().averageCharWidth() * 100, fontMetrics().height() * 30);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  connect(buttons, &QDialogButtonBox::rejected, &viewer, &QDialog::reject);
  auto* layout = new QVBoxLayout(&viewer);
  layout->addWidget(text);
  layout->addWidget(buttons);
  viewer.exec();
}

}  // namespace marvik
