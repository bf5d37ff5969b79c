#include "ui/background.h"

#include <QThread>
#include <algorithm>
#include <utility>

#include "base/stop.h"

namespace marvik {

Background::Background(QObject* owner, std::function<void(const std::string&)> said)
    : QObject(owner), said_(std::move(said)) {}

Background::~Background() {
  if (!thread_) return;
  stop_.request_stop();
  thread_->wait();
  delete thread_;
}

void Background::Start(const std::string& name, BackgroundWork work) {
  std::erase_if(waiting_, [&](const Piece& piece) { return piece.name == name; });
  if (thread_ && running_ == name) stop_.request_stop();
  waiting_.push_back({name, std::move(work)});
  if (!thread_) Next();
}

bool Background::Stop() {
  waiting_.clear();
  return thread_ && stop_.request_stop();
}

void Background::Next() {
  Piece piece = std::move(waiting_.front());
  waiting_.pop_front();
  running_ = piece.name;
  stop_ = std::stop_source();
  thread_ = QThread::create([this, work = std::move(piece.work), stop = stop_.get_token()] {
    const StopScope scope(stop);
    result_ = work();
  });
  connect(thread_, &QThread::finished, this, [this] {
    std::exchange(thread_, nullptr)->deleteLater();
    const auto result = std::exchange(result_, nullptr);
    const bool wanted = !stop_.stop_requested();
    if (!waiting_.empty()) {
      Next();
    } else if (said_) {
      said_({});
    }
    if (wanted && result) result();
  });
  if (said_) said_(running_);
  thread_->start(QThread::LowPriority);
}

}  // namespace marvik
