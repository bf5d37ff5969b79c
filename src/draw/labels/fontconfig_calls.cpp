#include "draw/labels/fontconfig_calls.h"

namespace marvik {

MARVIK_FONTCONFIG_CALLS(MARVIK_LATE_CALL)

bool LoadFontconfigCalls() {
  static const bool loaded = [] {
    LateLibrary library{"libfontconfig.so.1"};
    MARVIK_FONTCONFIG_CALLS(MARVIK_FIND_CALL)
    return library.IsWhole();
  }();
  return loaded;
}

}  // namespace marvik
