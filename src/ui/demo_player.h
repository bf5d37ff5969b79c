#pragma once

#include <QEvent>
#include <QObject>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "app/commands/command_table.h"
#include "app/demo/demo_script.h"
#include "app/workbench.h"

class QWidget;

namespace marvik {

// Plays the demo: a thread reads the script and has everything done by the window's thread, waiting until it is. It is
// never killed: to stop it, DemoRunning is cleared and what it waits for is let go.
class DemoPlayer : public QObject, private DemoTarget {
  Q_OBJECT

 public:
  using Runner = std::function<Outcome(int id, const std::string& argument)>;

  // Keys go to `area`, commands through `run`, comments of the script to `say`. `busy` says that a command is under
  // way: it may have a box open, under which the next one must not start.
  DemoPlayer(Workbench& bench, QWidget& area, Runner run, std::function<bool()> busy,
             std::function<void(const QString&)> say);
  ~DemoPlayer() override;

  void StartDemo();
  // Returns once the thread has ended, even while the window has one of its commands half done.
  void Stop();

 private:
  void SendCommand(int id, const std::string& argument) override;
  void PressKey(int virtualKey) override;
  void ReleaseKey(int virtualKey) override;
  void Sleep(long long milliseconds) override;
  void Show(const UserMessage& message) override;
  void Comment(const std::string& text) override;

  void Call(std::function<void()> work);  // on the demo's thread
  void Serve();                           // on the window's
  void RunForDemo(int id, const std::string& argument);
  void SendKey(QEvent::Type type, int virtualKey);

  Workbench& bench_;
  QWidget& area_;
  Runner run_;
  std::function<bool()> busy_;
  std::function<void(const QString&)> say_;
  bool mayLoseChanges_ = false;  // those that were there at the start; the user has agreed
  std::string ownFile_;          // the last that the demo has read

  std::mutex mutex_;  // for the four below
  std::condition_variable changed_;
  std::function<void()> work_;  // what the window is to do next
  unsigned asked_ = 0;          // how many such there were
  unsigned served_ = 0;         // the last that was done
  bool released_ = false;       // nothing is waited for any more
  std::thread thread_;
};

}  // namespace marvik
