#include "ui/panels/history_panel.h"

#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/text.h"

namespace marvik {

HistoryPanel::HistoryPanel(const Workbench& bench, CommandRunner run) : bench_(bench), run_(std::move(run)) {
  list_ = new QListWidget;
  list_->setObjectName(QStringLiteral("steps"));
  list_->setAccessibleName(tr("Steps since the file was opened"));
  auto* steps = new QPushButton(tr("Refinements..."));
  steps->setToolTip(tr("The accepted refinements of this job, to go back to"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(list_, 1);
  layout->addWidget(steps);
  auto* swing = new QPushButton(tr("Save Swing..."));
  swing->setToolTip(tr("An animated picture from the file or one of its refinements to the present model and back"));
  layout->addWidget(swing);
  connect(swing, &QPushButton::clicked, this, [this] { run_(kSwingCommand, {}); });
  connect(steps, &QPushButton::clicked, this, [this] { run_(kRefinementStepCommand, {}); });
  connect(list_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { GoTo(list_->row(item)); });
  connect(list_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) { GoTo(list_->row(item)); });
}

void HistoryPanel::Follow() {
  std::vector<std::string> names{bench_.document.CurrentFile.empty() ? "Start" : "Opened " + bench_.Title()};
  const auto done = bench_.history.UndoNames();
  const auto undone = bench_.history.RedoNames();
  names.insert(names.end(), done.begin(), done.end());
  names.insert(names.end(), undone.begin(), undone.end());
  const int present = static_cast<int>(done.size());
  if (names != shown_) {
    list_->clear();
    for (const std::string& name : names) list_->addItem(ToText(name));
    shown_ = std::move(names);
  }
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

void HistoryPanel::GoTo(int row) {
  for (int present = static_cast<int>(bench_.history.UndoNames().size()); present != row;) {
    const bool back = row < present;
    if (run_(back ? kUndoCommand : kRedoCommand, {}) != Outcome::Changed) return;
    present += back ? -1 : 1;
  }
}

}  // namespace marvik
