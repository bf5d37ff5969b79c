#pragma once

#include <string>

#include "base/user_messages.h"

namespace marvik {

// A field of a dialog that was not accepted, "" for all of them, what to say, and what the field is to hold then, ""
// for what was entered. No text: nothing was wrong.
struct PreferenceFault {
  std::string field;
  UserMessage message;
  std::string correction;
  explicit operator bool() const { return !message.text.empty(); }
};

}  // namespace marvik
