#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace marvik {

// What the user prefers of pictures made by the OpenGL renderer.
struct OpenGlSettings {
  std::string fontPath;                              // of the labels' TrueType face
  bool cutSection = true;                            // ellipsoids without the octant that faces the viewer
  int layerCount = 12;                               // of anti-aliasing; 1 is a picture without any
  std::array<double, 3> background{0.55, 0.7, 0.7};  // red, green, blue in 0..1
  friend bool operator==(const OpenGlSettings&, const OpenGlSettings&) = default;
};

// The values above with the font that FindSansFontFile gives.
OpenGlSettings DefaultOpenGlSettings();

// "opengl.prf" in the package directory; nothing when the directory's variable is not set.
std::optional<std::string> OpenGlSettingsFile();

// The file is one line: font path, cut-section flag, layer count, red, green, blue, a blank between any two. The path
// may hold blanks, so the five numbers are taken from the line's end; a line without five numbers there gives the
// fields that can be read from its beginning. What is missing, no number or out of range keeps its default.
OpenGlSettings LoadOpenGlSettings();
// Replaces the file; false when it cannot be written or the package directory is not known.
bool SaveOpenGlSettings(const OpenGlSettings& settings);

// The two without the file.
OpenGlSettings ParseOpenGlSettings(std::string_view text);
std::string ComposeOpenGlSettings(const OpenGlSettings& settings);

}  // namespace marvik
