#include "ui/work_keeper.h"

#include <QDateTime>
#include <QGuiApplication>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QSocketNotifier>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include "base/files.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kPeriod = 2000;  // ms

// The end that the signal handler writes to; nothing else may be done there.
int signalLine = -1;

void NoteSignal(int number) {
  const auto byte = static_cast<unsigned char>(number);
  if (write(signalLine, &byte, 1) != 1) _exit(128 + number);
}

// Whose work is kept when the program is left from within the toolkit.
WorkKeeper* present = nullptr;

}  // namespace

WorkKeeper::WorkKeeper(Workbench& bench, QWidget& window) : window_(window), autosave_(bench) {
  connect(&timer_, &QTimer::timeout, this, [this] { autosave_.Keep(); });
  timer_.start(kPeriod);
  connect(
      qGuiApp, &QGuiApplication::commitDataRequest, this, [this] { autosave_.Keep(); }, Qt::DirectConnection);
  bench.hooks.fileOpened = [this](const std::string& path) { Offer(path); };
  WatchSignals();
  present = this;
  [[maybe_unused]] static const int registered = std::atexit(KeepNow);
}

WorkKeeper::~WorkKeeper() {
  autosave_.Keep();
  present = nullptr;
}

void WorkKeeper::KeepNow() {
  if (WorkKeeper* keeper = std::exchange(present, nullptr)) keeper->autosave_.Keep();
}

void WorkKeeper::WatchSignals() {
  int line[2];
  if (signalLine >= 0 || pipe(line) != 0) return;
  for (const int end : line) fcntl(end, F_SETFD, FD_CLOEXEC);
  signalLine = line[1];
  auto* notifier = new QSocketNotifier(line[0], QSocketNotifier::Read, this);
  connect(notifier, &QSocketNotifier::activated, this, [this, end = line[0]] {
    unsigned char number = 0;
    if (read(end, &number, 1) != 1) return;
    autosave_.Keep();
    // The handler goes with its first use: now the signal ends the program, and says so to whoever sent it.
    raise(number);
  });
  for (const int number : {SIGTERM, SIGHUP, SIGINT}) {
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    sigaction(number, &action, nullptr);
  }
}

void WorkKeeper::Offer(const std::string& path) {
  const auto left = Autosave::Left(path);
  if (left.empty()) return;
  const LeftWork& newest = left.front();
  const QString name = newest.path.empty() ? tr("a structure without a name") : PathToText(FileNameOf(newest.path));
  const QString time = QLocale().toString(QDateTime::fromSecsSinceEpoch(newest.time), QLocale::ShortFormat);
  QMessageBox box(QMessageBox::Question, tr("Unsaved Changes"),
                  tr("Marvik ended without saving changes to %1 (%2).").arg(name, time), QMessageBox::NoButton,
                  &window_);
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText(tr("Do you want them back?"));
  QPushButton* restore = box.addButton(tr("&Restore"), QMessageBox::AcceptRole);
  QPushButton* later = box.addButton(tr("&Later"), QMessageBox::RejectRole);
  const QPushButton* discard = box.addButton(tr("&Discard"), QMessageBox::DestructiveRole);
  box.setDefaultButton(restore);
  box.setEscapeButton(later);
  box.exec();
  if (box.clickedButton() == restore) autosave_.Restore(newest);
  if (box.clickedButton() == discard) Autosave::Discard(newest);
}

}  // namespace marvik
