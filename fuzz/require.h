#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace marvik {

// Ends the program, which is how a fuzz target tells of a fault, with what was expected and the text it failed on.
inline void Require(bool condition, const char* what, const std::string& text) {
  if (condition) return;
  std::fprintf(stderr, "%s\n---\n", what);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::abort();
}

}  // namespace marvik
