#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marvik {

// Packed colour: 0x02 in the top byte, then blue, green, red (0x02BBGGRR).
using ElementColour = uint32_t;

constexpr ElementColour PackColour(int red, int green, int blue) {
  return 0x02000000u | static_cast<uint32_t>(blue & 255) << 16 | static_cast<uint32_t>(green & 255) << 8 |
         static_cast<uint32_t>(red & 255);
}
constexpr int RedOf(ElementColour c) {
  return static_cast<int>(c & 255);
}
constexpr int GreenOf(ElementColour c) {
  return static_cast<int>(c >> 8 & 255);
}
constexpr int BlueOf(ElementColour c) {
  return static_cast<int>(c >> 16 & 255);
}

inline constexpr int kHydrogenRow = 1;
inline constexpr int kDeuteriumRow = 104;
constexpr bool IsHydrogenRow(int row) {
  return row == kHydrogenRow || row == kDeuteriumRow;
}
inline constexpr int kUnknownRow = 105;  // peaks and labels that name no element
inline constexpr int kElementRows = 106;
inline constexpr int kTextures = 8;

// One row of the table: an element's chemistry and looks.
struct ElementInfo {
  char symbol[4] = "Q ";  // one letter is padded with a blank
  int32_t atomicNumber = kUnknownRow;
  double bondRadius = 0.77;    // Å, used for connectivity; r of a long-form SFAC
  double searchRadius = 1.27;  // Å, bondRadius + 0.5 as of the defaults
  double drawRadius = 0.20;    // Å
  double numberAsReal = 6.0;   // number of electrons: 1 for deuterium, 6 for the catch-all
  // a1 b1 a2 b2 a3 b3 a4 b4 c f' f'' mu of a long-form SFAC; a first value of 0 marks the short form.
  std::array<double, 12> sfacCoefficients{};
  double atomicWeight = 12.0;
  ElementColour colour = PackColour(255, 255, 0);
  uint8_t texture = 7;  // 0 none, 1 dots, 2 horizontal, 3 vertical, 4 grid, 5 frontslash, 6 backslash, 7 cross-hatch
  double spare = 0.0;
  int32_t flagA = 1;
  int32_t symbolLength = 1;

  // The symbol without its padding.
  std::string_view Symbol() const { return {symbol, static_cast<size_t>(symbolLength)}; }
};

// Rows by atomic number: 1..103 the elements, 104 deuterium, 105 (and 0) the catch-all.
class ElementTable {
 public:
  ElementTable() { SetDefaults(); }

  ElementInfo& operator[](int row) { return rows_[static_cast<size_t>(row)]; }
  const ElementInfo& operator[](int row) const { return rows_[static_cast<size_t>(row)]; }

  void SetDefaults();
  void SetDefaultRow(int row);

  // The row of an atom label's first letter and, if it is a letter too, its second: CA1 is calcium, X1 row 105.
  static int ElementFromLabel(std::string_view label);

 private:
  std::array<ElementInfo, kElementRows> rows_;
};

// Fills the table with the defaults and, when asked to and the package directory's variable is set, overrides radii,
// colours and textures from "sfac.tab" there. A missing file is no error.
void InitElementTable(ElementTable& table, bool readUserFile);

// "sfac.tab" in the package directory: the variable's value with the name behind it, nothing when it is unset.
std::optional<std::string> ElementFilePath();

// "sfac.tab" at `path`. Of a line that does not scan to its end the fields before the fault count; lines for rows
// outside 1..105 and texture codes outside 0..7 leave the table unchanged. searchRadius is not recomputed. Both give
// false when the file cannot be opened or written.
bool ReadElementFile(ElementTable& table, const std::string& path);
bool WriteElementFile(const ElementTable& table, const std::string& path);

}  // namespace marvik
