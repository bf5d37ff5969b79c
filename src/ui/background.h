#pragma once

#include <QObject>
#include <deque>
#include <functional>
#include <stop_token>
#include <string>

#include "app/workbench.h"

class QThread;

namespace marvik {

// Work off the window's thread, one piece at a time in the order in which it came. Newer work of a name takes the place
// of older one, which is stopped, and what that gives is dropped.
class Background : public QObject {
 public:
  // `said` gets the name of what is being done, "" when there is nothing more to do.
  explicit Background(QObject* owner, std::function<void(const std::string& name)> said = {});
  ~Background() override;  // stops what runs, and waits for it

  // `work` runs on a thread of its own and must not touch what others change; what it gives is done in the window's.
  void Start(const std::string& name, BackgroundWork work);
  void Start(BackgroundWork work) { Start({}, std::move(work)); }
  // All of it, whatever comes of it. False when there was nothing.
  bool Stop();
  bool IsBusy() const { return thread_ != nullptr; }

 private:
  struct Piece {
    std::string name;
    BackgroundWork work;
  };
  void Next();

  std::function<void(const std::string&)> said_;
  std::deque<Piece> waiting_;
  std::string running_;
  std::stop_source stop_;
  std::function<void()> result_;
  QThread* thread_ = nullptr;
};

}  // namespace marvik
