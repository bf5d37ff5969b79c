#include "ui/background.h"

#include <QThread>
#include <utility>

namespace marvik {

Background::~Background() {
  if (!thread_) return;
  thread_->wait();
  delete thread_;
}

void Background::Start(Work work) {
  waiting_ = std::move(work);
  if (!thread_) Next();
}

void Background::Next() {
  thread_ = QThread::create([this, work = std::exchange(waiting_, nullptr)] { result_ = work(); });
  connect(thread_, &QThread::finished, this, [this] {
    std::exchange(thread_, nullptr)->deleteLater();
    const auto result = std::exchange(result_, nullptr);
    if (waiting_) return Next();
    if (result) result();
  });
  thread_->start(QThread::LowPriority);
}

}  // namespace marvik
