#include <cstddef>
#include <cstdint>
#include <string>

#include "picture/picture_style.h"

#include "fuzz/require.h"

using namespace marvik;

// What is refused changes nothing; what was taken is written as it was read, and only numbers within their ranges are.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string usual = StyleText(PictureStyle());
  const std::string first = usual.substr(0, usual.find('\n') + 1);
  for (const std::string& whole : {text, first + text}) {
    PictureStyle style;
    const StyleReading reading = ReadStyle(whole, style);
    const std::string written = StyleText(style);
    if (!reading.refusal.empty()) Require(written == usual, "refused, but something changed", whole);
    PictureStyle again;
    const StyleReading second = ReadStyle(written, again);
    Require(second.refusal.empty() && second.skipped.empty(), "what was written is not understood", written);
    Require(StyleText(again) == written, "writing does not settle", written);
    for (const StyleField& field : StyleFields()) {
      if (field.words[0] != '\0' || field.high < field.low || !field.get) continue;
      const double value = field.get(style);
      Require(value >= field.low && value <= field.high, field.key, written);
    }
  }
  return 0;
}
