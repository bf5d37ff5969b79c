#include "draw/canvas/cairo_calls.h"

namespace marvik {

MARVIK_CAIRO_CALLS(MARVIK_LATE_CALL)

bool LoadCairoCalls() {
  static const bool loaded = [] {
    LateLibrary library{"libcairo.so.2"};
    MARVIK_CAIRO_CALLS(MARVIK_FIND_CALL)
    return library.IsWhole();
  }();
  return loaded;
}

}  // namespace marvik
