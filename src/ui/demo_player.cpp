#include "ui/demo_player.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>
#include <chrono>

#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kRetry = 50;  // ms until a busy window is asked again

struct KeyRow {
  int virtualKey;
  Qt::Key key;
};
constexpr KeyRow kKeys[] = {
    {33, Qt::Key_PageUp}, {34, Qt::Key_PageDown}, {35, Qt::Key_End},  {36, Qt::Key_Home},   {37, Qt::Key_Left},
    {38, Qt::Key_Up},     {39, Qt::Key_Right},    {40, Qt::Key_Down}, {45, Qt::Key_Insert}, {46, Qt::Key_Delete},
};

}  // namespace

DemoPlayer::DemoPlayer(Workbench& bench, QWidget& area, Runner run, std::function<bool()> busy,
                       std::function<void(const QString&)> say)
    : bench_(bench), area_(area), run_(std::move(run)), busy_(std::move(busy)), say_(std::move(say)) {}

DemoPlayer::~DemoPlayer() {
  Stop();
}

void DemoPlayer::StartDemo() {
  Stop();
  released_ = false;
  mayLoseChanges_ = bench_.modified;
  ownFile_.clear();
  bench_.DemoRunning = 1;
  thread_ = std::thread([this, script = DemoScriptPath()] {
    DemoThreadMain(bench_.DemoRunning, *this, script, DemoRepeat::Forever);
    // The check mark goes.
    QMetaObject::invokeMethod(
        this, [this] { bench_.Repaint(); }, Qt::QueuedConnection);
  });
}

void DemoPlayer::Stop() {
  bench_.DemoRunning = 0;
  {
    const std::lock_guard lock(mutex_);
    released_ = true;
    work_ = nullptr;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void DemoPlayer::Call(std::function<void()> work) {
  std::unique_lock lock(mutex_);
  if (released_) return;
  work_ = std::move(work);
  const unsigned mine = ++asked_;
  QMetaObject::invokeMethod(this, &DemoPlayer::Serve, Qt::QueuedConnection);
  changed_.wait(lock, [&] { return released_ || served_ == mine; });
}

void DemoPlayer::Serve() {
  if (busy_() || QApplication::activeModalWidget()) {
    QTimer::singleShot(kRetry, this, &DemoPlayer::Serve);
    return;
  }
  std::function<void()> work;
  unsigned number = 0;
  {
    const std::lock_guard lock(mutex_);
    work.swap(work_);
    number = asked_;
  }
  if (!work) return;
  // May take as long as a box is open; the demo can have been stopped, and even started anew, when it returns.
  work();
  {
    const std::lock_guard lock(mutex_);
    served_ = number;
  }
  changed_.notify_all();
}

void DemoPlayer::SendCommand(int id, const std::string& argument) {
  Call([this, id, argument] { RunForDemo(id, argument); });
}

// What the demo does to a file that it has read itself is no change that anybody wants to keep, so that it need not ask
// before it reads the next. The user's changes are asked about as ever, and keeping them ends the demo.
void DemoPlayer::RunForDemo(int id, const std::string& argument) {
  if (id == kReadFileCommand && mayLoseChanges_) {
    bench_.SetModified(false);
    mayLoseChanges_ = false;
  }
  const bool before = bench_.modified;
  const Outcome outcome = run_(id, argument);
  if (id == kReadFileCommand) {
    ownFile_ = outcome == Outcome::Done ? bench_.document.CurrentFile : std::string();
    if (outcome == Outcome::Failed && bench_.modified) bench_.DemoRunning = 0;
  }
  if (!before && !ownFile_.empty() && bench_.document.CurrentFile == ownFile_) bench_.SetModified(false);
}

void DemoPlayer::PressKey(int virtualKey) {
  Call([this, virtualKey] { SendKey(QEvent::KeyPress, virtualKey); });
}

void DemoPlayer::ReleaseKey(int virtualKey) {
  Call([this, virtualKey] { SendKey(QEvent::KeyRelease, virtualKey); });
}

void DemoPlayer::SendKey(QEvent::Type type, int virtualKey) {
  for (const KeyRow& row : kKeys) {
    if (row.virtualKey != virtualKey) continue;
    QKeyEvent event(type, row.key, Qt::NoModifier);
    QCoreApplication::sendEvent(&area_, &event);
  }
}

void DemoPlayer::Sleep(long long milliseconds) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                    [this] { return released_ || bench_.DemoRunning == 0; });
}

void DemoPlayer::Show(const UserMessage& message) {
  Call([this, message] { bench_.messages.Show(message); });
}

void DemoPlayer::Comment(const std::string& text) {
  Call([this, text] { say_(ToText(text)); });
}

}  // namespace marvik
