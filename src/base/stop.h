#pragma once

#include <stop_token>

namespace marvik {

// What a thread works on may be wanted no longer. Whoever starts the work says so by a token that holds while this
// lives; what takes long asks for it, hands it to the threads that help, and ends early with a result that nobody looks
// at.
class StopScope {
 public:
  explicit StopScope(std::stop_token stop);
  ~StopScope();
  StopScope(const StopScope&) = delete;
  StopScope& operator=(const StopScope&) = delete;

 private:
  std::stop_token before_;
};

// Of this thread; one that never stops where nobody said anything.
const std::stop_token& CurrentStop();
inline bool StopWanted() {
  return CurrentStop().stop_requested();
}

}  // namespace marvik
