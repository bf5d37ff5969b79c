#pragma once

#include <signal.h>

namespace marvik {

// While it lives the signals by which a user or the system ends a program wait instead, so that a run on the calling
// thread can be ended with everything that belongs to it.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&set_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set_, number);
    pthread_sigmask(SIG_BLOCK, &set_, &before_);
  }
  ~StopSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Whether one has come; it stays so.
  bool Arrived() {
    sigset_t pending;
    if (!arrived_ && sigpending(&pending) == 0) {
      for (const int number : {SIGINT, SIGTERM, SIGHUP}) arrived_ |= sigismember(&pending, number) == 1;
      int taken = 0;
      if (arrived_) sigwait(&set_, &taken);
    }
    return arrived_;
  }

 private:
  sigset_t set_{};
  sigset_t before_{};
  bool arrived_ = false;
};

}  // namespace marvik
