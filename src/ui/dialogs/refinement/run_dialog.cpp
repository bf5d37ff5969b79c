#include "ui/dialogs/refinement/run_dialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include "ui/dialogs/dialog_fit.h"
#include "ui/dialogs/refinement/progress_plots.h"
#include "ui/printing/text_printing.h"
#include "ui/text.h"
#include "ui/window_messages.h"

namespace marvik {
namespace {

// Of the text; beyond them the first go. The output file holds everything.
constexpr int kLinesShown = 20000;
constexpr int kColumns = 104;
constexpr int kRows = 22;
constexpr int kFewRows = 8;        // beside a model that appears
constexpr int kLeastColumns = 40;  // on a small screen
constexpr int kLeastRows = 6;

}  // namespace

RunDialog::RunDialog(QWidget* parentWidget, RefinementRun& run, bool closeWhenFinished)
    : QDialog(parentWidget), run_(run) {
  setWindowTitle(ToText(run.title));
  setObjectName(QStringLiteral("run"));
  text_ = new QPlainTextEdit;
  text_->setObjectName(QString::number(kRunText));
  text_->setReadOnly(true);
  text_->setUndoRedoEnabled(false);
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  text_->setMaximumBlockCount(kLinesShown);
  const QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  text_->setFont(font);
  const QFontMetrics metrics(font);
  const QSize letter(metrics.horizontalAdvance(QLatin1Char('0')), metrics.height());
  text_->setMinimumSize(letter.width() * kLeastColumns, letter.height() * kLeastRows);
  plots_ = new ProgressPlots(this);
  plots_->setVisible(run.hasCycles);
  status_ = new QLabel(tr("Starting..."));
  status_->setTextFormat(Qt::PlainText);
  close_ = new QCheckBox(tr("C&lose when finished"));
  close_->setObjectName(QStringLiteral("close"));
  close_->setChecked(closeWhenFinished);
  auto* print = new QPushButton(tr("&Print"));
  print->setObjectName(QString::number(kRunPrintButton));
  print->setAutoDefault(false);
  button_ = new QPushButton(tr("Cancel"));
  button_->setObjectName(QString::number(kRunButton));
  // Not what a second Enter hits by mistake while the program runs.
  button_->setAutoDefault(false);
  connect(button_, &QPushButton::clicked, this, &RunDialog::Stop);
  connect(print, &QPushButton::clicked, this, &RunDialog::Print);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(status_, 1);
  buttons->addWidget(close_);
  buttons->addWidget(print);
  buttons->addWidget(button_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(plots_);
  layout->addWidget(text_, 1);
  layout->addLayout(buttons);
  const QSize room(letter.width() * (kColumns - kLeastColumns),
                   letter.height() * ((run.showModel ? kFewRows : kRows) - kLeastRows));
  resize(layout->totalMinimumSize() + room);
  run_.onShownLine = [this](std::string_view line) { lines_ += ToText(line) + QLatin1Char('\n'); };
  timer_.setSingleShot(true);
  connect(&timer_, &QTimer::timeout, this, &RunDialog::Poll);
  text_->setFocus();
}

RunDialog::~RunDialog() {
  run_.onShownLine = {};
}

bool RunDialog::ClosesWhenFinished() const {
  return close_->isChecked();
}

void RunDialog::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (run_.showModel) PutAtFoot(*this);
  if (std::exchange(started_, true)) return;
  QTimer::singleShot(0, this, &RunDialog::StartRun);
}

void RunDialog::StartRun() {
  clock_.start();
  WindowMessages messages;
  messages.parent = this;
  if (run_.Start(messages)) timer_.start(0);
  ShowState();
}

void RunDialog::Poll() {
  const bool more = run_.Pass();
  TakeLines();
  plots_->SetPoints(run_.Curve().Points());
  if (onCycles) onCycles(run_.Curve().Points());
  if (run_.showModel && !QApplication::activeModalWidget() && !QApplication::activePopupWidget()) run_.showModel();
  ShowState();
  if (!run_.IsOver()) {
    timer_.start(more ? 0 : static_cast<int>(kPollingPeriod.count()));
  } else if (run_.State() == RunState::Finished && close_->isChecked() && !asking_) {
    Stop();
  }
}

void RunDialog::TakeLines() {
  if (lines_.isEmpty()) return;
  lines_.chop(1);
  lines_.replace(QChar(u'\0'), QChar(0xFFFD));
  const QScrollBar* bar = text_->verticalScrollBar();
  const bool atEnd = bar->value() == bar->maximum();
  text_->appendPlainText(lines_);
  if (atEnd) text_->verticalScrollBar()->setValue(text_->verticalScrollBar()->maximum());
  lines_.clear();
}

void RunDialog::ShowState() {
  const QString seconds = tr("%1 s").arg(static_cast<double>(clock_.elapsed()) / 1000.0, 0, 'f', 1);
  switch (run_.State()) {
    case RunState::Finished:
      button_->setText(tr("OK"));
      button_->setDefault(true);
      button_->setFocus();
      status_->setText(tr("Finished, %1").arg(seconds));
      break;
    case RunState::EndedEarly:
      button_->setText(tr("Close"));
      status_->setText(tr("The program ended without finishing (%1).").arg(ToText(run_.EndText())));
      break;
    case RunState::NotStarted:
      status_->setText(tr("The program could not be started."));
      break;
    default:
      status_->setText(tr("Running, %1").arg(seconds));
      break;
  }
}

void RunDialog::reject() {
  if (asking_) return;
  if (!run_.IsOver()) {
    QMessageBox box(QMessageBox::Question, tr("Stop the Program?"), tr("The program is still running."),
                    QMessageBox::Yes | QMessageBox::No, this);
    box.setInformativeText(tr("Stop it? The structure stays as it is."));
    box.setDefaultButton(QMessageBox::No);
    asking_ = true;
    const bool stop = box.exec() == QMessageBox::Yes;
    asking_ = false;
    const bool closes = run_.State() == RunState::Finished && close_->isChecked();
    if (!stop && !closes) return;
  }
  Stop();
}

void RunDialog::Stop() {
  timer_.stop();
  if (!run_.IsOver()) {
    WindowMessages messages;
    messages.parent = this;
    run_.Terminate(messages);
    TakeLines();
  }
  done(run_.Result());
}

void RunDialog::Print() {
  WindowMessages messages;
  messages.parent = this;
  PrintTextWithDialog(this, text_->toPlainText(), windowTitle(), messages);
}

}  // namespace marvik
