#pragma once

#include <chrono>

namespace marvik {

// Whether Escape or Space is down at this moment. Asks the window system for the state of the keyboard; events stay
// where they are. False where it cannot be asked.
bool InterruptKeyDown();

// Whether a long drawing goes on: false while one of these keys is down, asked of the system now and then only. A key
// that was down when the drawing began, which is when nobody has asked for a second, stops nothing until it is let go.
class InterruptWatch {
 public:
  bool GoOn();

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point asked_;
  Clock::time_point looked_;
  bool heldBefore_ = false;
};

}  // namespace marvik
