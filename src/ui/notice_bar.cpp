#include "ui/notice_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace marvik {

NoticeBar::NoticeBar(QWidget* parentWidget) : QToolBar(tr("Notices"), parentWidget) {
  setObjectName(QStringLiteral("notices"));
  setMovable(false);
  toggleViewAction()->setVisible(false);
  list_ = new QWidget;
  auto* layout = new QVBoxLayout(list_);
  layout->setContentsMargins(6, 2, 6, 2);
  layout->setSpacing(2);
  addWidget(list_);
  hide();
}

void NoticeBar::Tell(const QString& key, const QString& sentence, const std::vector<Button>& buttons) {
  Withdraw(key);
  auto* row = new QWidget;
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* text = new QLabel(sentence);
  text->setTextFormat(Qt::PlainText);
  text->setWordWrap(true);
  layout->addWidget(text, 1);
  const auto add = [&](const QString& label, const std::function<void()>& work) {
    auto* button = new QPushButton(label);
    // The work may take the notice, and this button, away.
    connect(button, &QPushButton::clicked, this, [this, work] { QTimer::singleShot(0, this, work); });
    layout->addWidget(button);
  };
  for (const Button& button : buttons) add(button.text, button.work);
  add(tr("Dismiss"), [this, key] { Withdraw(key); });
  list_->layout()->addWidget(row);
  rows_[key] = row;
  ShowIfNeeded();
}

void NoticeBar::Withdraw(const QString& key) {
  const auto row = rows_.find(key);
  if (row == rows_.end()) return;
  delete row->second;
  rows_.erase(row);
  ShowIfNeeded();
}

}  // namespace marvik
