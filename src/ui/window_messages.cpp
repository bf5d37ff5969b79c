#include "ui/window_messages.h"

#include <QGuiApplication>
#include <QMessageBox>
#include <QProgressDialog>
#include <QTimer>

#include "ui/text.h"

namespace marvik {
namespace {

QMessageBox::Icon IconOf(MessageIcon icon) {
  switch (icon) {
    case MessageIcon::None:
      return QMessageBox::NoIcon;
    case MessageIcon::Information:
      return QMessageBox::Information;
    case MessageIcon::Warning:
      return QMessageBox::Warning;
    case MessageIcon::Error:
      return QMessageBox::Critical;
    case MessageIcon::Question:
      return QMessageBox::Question;
  }
  return QMessageBox::NoIcon;
}

}  // namespace

WindowMessages::~WindowMessages() {
  delete progress_;
}

int WindowMessages::Run(const UserMessage& message, int buttons, int defaultButton) {
  if (beforeBox) beforeBox();
  // A long command has the wait cursor on; the box is to be clicked.
  const bool waiting = QGuiApplication::overrideCursor() != nullptr;
  if (waiting) QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
  QMessageBox box(parent);
  box.setWindowTitle(Translated(message.caption));
  box.setTextFormat(Qt::PlainText);
  box.setText(Translated(message.text));
  box.setIcon(IconOf(message.icon));
  box.setStandardButtons(QMessageBox::StandardButtons(buttons));
  box.setDefaultButton(QMessageBox::StandardButton(defaultButton));
  const int answer = box.exec();
  if (waiting) QGuiApplication::restoreOverrideCursor();
  if (afterBox) afterBox();
  return answer;
}

void WindowMessages::Show(const UserMessage& message) {
  Run(message, QMessageBox::Ok, QMessageBox::Ok);
}

bool WindowMessages::AskYesNo(const UserMessage& question, Unattended answer) {
  const int usual = answer == Unattended::Yes ? QMessageBox::Yes : QMessageBox::No;
  return Run(question, QMessageBox::Yes | QMessageBox::No, usual) == QMessageBox::Yes;
}

bool WindowMessages::ReportProgress(int done, int total) {
  if (done >= total) {
    delete progress_;
    progress_ = nullptr;
    return true;
  }
  if (!progress_) {
    progress_ = new QProgressDialog(QObject::tr("Working..."), QObject::tr("Stop"), 0, total, parent);
    progress_->setWindowModality(Qt::ApplicationModal);
    progress_->setMinimumDuration(500);
  }
  if (beforeBox) beforeBox();
  progress_->setMaximum(total);
  progress_->setValue(done);
  if (afterBox) afterBox();
  const bool goOn = !progress_->wasCanceled();
  if (!goOn) {
    delete progress_;
    progress_ = nullptr;
  }
  return goOn;
}

void WindowMessages::RequestQuit() {
  if (quit) QTimer::singleShot(0, parent, quit);
}

}  // namespace marvik
