#pragma once

#include <fontconfig/fontconfig.h>

#include "base/late_library.h"

namespace marvik {

// clang-format off
#define MARVIK_FONTCONFIG_CALLS(X) \
  X(FcCharSetHasChar) X(FcConfigDestroy) X(FcConfigSubstitute) X(FcDefaultSubstitute) X(FcFontList) \
  X(FcFontMatch) X(FcFontSetDestroy) X(FcInitLoadConfigAndFonts) X(FcNameParse) X(FcObjectSetBuild) \
  X(FcObjectSetDestroy) X(FcPatternDestroy) X(FcPatternGetCharSet) X(FcPatternGetString)
// clang-format on
MARVIK_FONTCONFIG_CALLS(MARVIK_LATE_DECLARATION)

// To be asked before any of them; false where the system lacks one.
bool LoadFontconfigCalls();

}  // namespace marvik
