#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "draw/canvas/canvas.h"
#include "model/document.h"

namespace marvik {

// What atoms are coloured by.
enum class ColourBy : uint8_t { Element, Part, Displacement, Occupancy, Charge };
inline constexpr std::array<std::string_view, 5> kColourByNames{"element", "part", "u", "occupancy", "charge"};

inline constexpr int kSchemeShades = 8;

// The shades of atoms that are not coloured by their element, and what they stand for. Parts have the eight colours of
// M. Okabe and K. Ito ("Color Universal Design", 2008); numbers go from blue over grey to red in equal steps between
// the least and the greatest that is shown.
class ColourScheme {
 public:
  void SetUp(const Document& document, ColourBy by);
  // 0 to 7; nothing for peaks, and where elements give the colours.
  std::optional<int> ShadeOf(const AtomRecord& atom) const;
  static Rgb ColourOf(ColourBy by, int shade);
  // One for each shade that atoms have: its number and a text.
  std::vector<std::pair<int, std::string>> Legend() const;

 private:
  double ValueOf(const AtomRecord& atom) const;

  const Document* document_ = nullptr;
  ColourBy by_ = ColourBy::Element;
  double least_ = 0.0;
  double greatest_ = 0.0;
};

}  // namespace marvik
