#pragma once

namespace marvik {

// "1.2.3", as the build was given it.
extern const char* const kProgramVersion;

}  // namespace marvik
