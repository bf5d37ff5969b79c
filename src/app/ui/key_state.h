#pragma once

namespace marvik {

// Whether Escape or Space is down at this moment. Asks the window system for the state of the keyboard; events stay
// where they are. False where it cannot be asked.
bool InterruptKeyDown();

}  // namespace marvik
