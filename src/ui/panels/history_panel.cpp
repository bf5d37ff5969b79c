#include "ui/panels/history_panel.h"

#include <QDateTime>
#include <QHeaderView>
#include <QListWidget>
#include <QLocale>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/refinement/refine_flow.h"
#include "ui/text.h"

namespace marvik {

HistoryPanel::HistoryPanel(const Workbench& bench, CommandRunner run) : bench_(bench), run_(std::move(run)) {
  list_ = new QListWidget;
  list_->setObjectName(QStringLiteral("steps"));
  list_->setAccessibleName(tr("Steps since the file was opened"));
  refinements_ = new QTreeWidget;
  refinements_->setObjectName(QStringLiteral("refinements"));
  refinements_->setAccessibleName(tr("Accepted refinements"));
  refinements_->setHeaderLabels({tr("Refinement"), tr("R1"), tr("Atoms"), tr("Accepted")});
  refinements_->setRootIsDecorated(false);
  refinements_->setAlternatingRowColors(true);
  auto* splitter = new QSplitter(Qt::Vertical);
  splitter->addWidget(list_);
  splitter->addWidget(refinements_);
  splitter->setStretchFactor(0, 2);
  splitter->setStretchFactor(1, 1);
  auto* steps = new QPushButton(tr("Refinements..."));
  steps->setToolTip(tr("The accepted refinements of this job, to look at, to compare, to go back to"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(splitter, 1);
  layout->addWidget(steps);
  auto* swing = new QPushButton(tr("Save Swing..."));
  swing->setToolTip(tr("An animated picture from the file or one of its refinements to the present model and back"));
  layout->addWidget(swing);
  connect(swing, &QPushButton::clicked, this, [this] { run_(kSwingCommand, {}); });
  connect(steps, &QPushButton::clicked, this, [this] { run_(kRefinementStepCommand, {}); });
  connect(list_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { GoTo(list_->row(item)); });
  connect(list_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) { GoTo(list_->row(item)); });
  connect(refinements_, &QTreeWidget::itemActivated, this, [this](const QTreeWidgetItem* item) {
    run_(kRefinementStepCommand, ToBytes(item->data(0, Qt::UserRole).toString()));
  });
}

QSize HistoryPanel::sizeHint() const {
  return OfWidth(fontMetrics().averageCharWidth() * 40);
}

void HistoryPanel::Follow() {
  FollowRefinements();
  std::vector<std::string> names{bench_.document.CurrentFile.empty() ? "Start" : "Opened " + bench_.Title()};
  const auto done = bench_.history.UndoNames();
  const auto undone = bench_.history.RedoNames();
  names.insert(names.end(), done.begin(), done.end());
  names.insert(names.end(), undone.begin(), undone.end());
  const auto moments = bench_.history.Moments();
  const auto documentOf = [&](size_t i) -> const Document& {
    return moments[i].document ? *moments[i].document : bench_.document;
  };
  // Steps that are shown already are not looked at again.
  size_t same = 0;
  while (same < names.size() && same < names_.size() && names[same] == names_[same] &&
         moments[same].state == states_[same])
    ++same;
  while (list_->count() > static_cast<int>(same)) delete list_->takeItem(list_->count() - 1);
  for (size_t i = same; i < names.size(); ++i) {
    const std::string change = i == 0 ? std::string() : ChangeText(documentOf(i - 1), documentOf(i));
    auto* item = new QListWidgetItem((i == 0 ? ToText(names[i]) : Translated(names[i])) +
                                         (change.empty() ? QString() : QStringLiteral(": ") + ToText(change)),
                                     list_);
    item->setToolTip(item->text());
  }
  names_ = std::move(names);
  states_.clear();
  for (const auto& moment : moments) states_.push_back(moment.state);
  const int present = static_cast<int>(done.size());
  for (int row = 0; row < list_->count(); ++row) {
    QFont font = list_->font();
    font.setBold(row == present);
    list_->item(row)->setFont(font);
    list_->item(row)->setForeground(
        palette().color(row > present ? QPalette::Disabled : QPalette::Active, QPalette::Text));
  }
  list_->setCurrentRow(present);
  list_->scrollToItem(list_->item(present));
}

void HistoryPanel::FollowRefinements() {
  const std::string& file = bench_.document.CurrentFile;
  const auto stamp = file.empty() ? std::nullopt : StampOf(file);
  if (file == file_ && stamp == stamp_) return;
  file_ = file;
  stamp_ = stamp;
  refinements_->clear();
  for (const RefinementStep& step :
       file.empty() ? std::vector<RefinementStep>() : StepHistory(JobBase(bench_)).Steps()) {
    const QString time = QLocale().toString(QDateTime::fromSecsSinceEpoch(step.time), QLocale::ShortFormat);
    auto* item =
        new QTreeWidgetItem(refinements_, {step.number == 0 ? tr("before the first") : QString::number(step.number),
                                           ToText(FigureText(step.r1, 4)), QString::number(step.atoms), time});
    item->setData(0, Qt::UserRole, QString::number(step.number));
    item->setToolTip(0, tr("A double click or Enter goes back to it"));
  }
  for (int i = 0; i + 1 < refinements_->columnCount(); ++i) refinements_->resizeColumnToContents(i);
  refinements_->scrollToBottom();
}

void HistoryPanel::GoTo(int row) {
  for (int present = static_cast<int>(bench_.history.UndoNames().size()); present != row;) {
    const bool back = row < present;
    if (run_(back ? kUndoCommand : kRedoCommand, {}) != Outcome::Changed) return;
    present += back ? -1 : 1;
  }
}

}  // namespace marvik
