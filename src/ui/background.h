#pragma once

#include <QObject>
#include <functional>

class QThread;

namespace marvik {

// Work off the window's thread, one piece at a time: a newer one takes the place of one that waits, and what an older
// one gave is dropped.
class Background : public QObject {
 public:
  using QObject::QObject;
  ~Background() override;  // waits for what runs

  // `work` runs on a thread of its own and must not touch what others change; what it gives is done in the window's.
  using Work = std::function<std::function<void()>()>;
  void Start(Work work);
  bool IsBusy() const { return thread_ != nullptr; }

 private:
  void Next();

  Work waiting_;
  std::function<void()> result_;
  QThread* thread_ = nullptr;
};

}  // namespace marvik
