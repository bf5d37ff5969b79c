#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "draw/renderer/interactive_renderer.h"
#include "picture/picture_options.h"

namespace marvik {

// All choices of a figure that are not one structure's own, to be shared: how atoms, bonds and labels look, what stands
// beside them, and what file they become. Views, hidden atoms and placed labels are a recipe's.
struct PictureStyle {
  RenderOptions look;
  PictureOptions picture;
};

// One choice: of a few words, or of a range of numbers.
struct StyleField {
  const char* key;
  const char* caption;
  const char* words;  // parted by "|", in the order of their values; "" for numbers
  double low = 0.0;
  double high = -1.0;  // below `low`: a text of its own, elements parted by commas
  double (*get)(const PictureStyle& style) = nullptr;
  void (*set)(PictureStyle& style, double value) = nullptr;
};
std::span<const StyleField> StyleFields();

// Sets the field of that key. A sentence about what is wrong, with nothing changed; "" for nothing.
std::string SetStyleField(PictureStyle& style, std::string_view key, std::string_view value);

// A text of one choice a line behind a line with the version; numbers have a point whatever the locale.
std::string StyleText(const PictureStyle& style);

// Sets what the text says and leaves the rest. `refusal` ends a sentence that begins with the file's name, for what is
// no style or one of another version; nothing has changed then. Lines that make no sense are listed.
struct StyleReading {
  std::string refusal;
  std::vector<std::string> skipped;
};
StyleReading ReadStyle(std::string_view text, PictureStyle& style);

}  // namespace marvik
