#pragma once

#include "app/preferences/preference_fault.h"
#include "edit/edit_fields.h"
#include "gl/gl_settings.h"
#include "picture/picture_options.h"

namespace marvik {

inline constexpr size_t kLongestFontPath = 255;

// The settings as fields "font" (a path), "cut" (0 or 1), "layers", "red", "green", "blue" (0 to 255, truncated).
EditArguments OpenGlPreferenceFields(const OpenGlSettings& settings);

std::span<const FieldRange> OpenGlPreferenceRanges();
// Takes fields over into the settings; "defaults" with the value "all" comes before the others and brings back the
// built-in ones. A number that is none leaves its setting as it is; colours above 255 and layers above kMostLayers
// count as these, and a picture has at least one layer. A fault, with the settings as they were, only for a field that
// does not exist or a path that the file could not hold.
PreferenceFault ApplyOpenGlPreferences(const EditArguments& arguments, OpenGlSettings& settings);

}  // namespace marvik
