#include "draw/renderer/look.h"

#include <algorithm>
#include <array>

#include "draw/canvas/colours.h"

namespace marvik {
namespace {

constexpr std::array<std::string_view, 4> kLooks{"dark", "light", "paper", "classic"};
constexpr Rgb kLightGround{247, 247, 244};
constexpr Rgb kPaperBond{84, 84, 84};
constexpr Rgb kDarkBond{176, 176, 176};

constexpr Rgb kSafeCarbon{138, 138, 138};
constexpr Rgb kSafeMetal{204, 121, 167};
struct SafeColour {
  int row;
  Rgb colour;
};
constexpr SafeColour kSafeColours[] = {
    {1, {255, 255, 255}}, {5, {86, 180, 233}},    {6, kSafeCarbon},
    {7, {0, 114, 178}},   {8, {213, 94, 0}},      {9, {0, 158, 115}},
    {14, {230, 159, 0}},  {15, {230, 159, 0}},    {16, {240, 228, 66}},
    {17, {0, 158, 115}},  {34, {240, 228, 66}},   {35, {0, 158, 115}},
    {53, {0, 158, 115}},  {104, {255, 255, 255}}, {kUnknownRow, {240, 228, 66}},
};

}  // namespace

Rgb ElementColourOf(const ElementTable& elements, int row, bool safe) {
  if (!safe) return RgbOf(elements[row].colour);
  const auto found = std::ranges::find(kSafeColours, row, &SafeColour::row);
  return found == std::end(kSafeColours) ? kSafeMetal : found->colour;
}

Rgb MeasureColour(bool onLight) {
  return onLight ? Rgb{0, 90, 130} : Rgb{130, 220, 255};
}

Rgb ContactColour(ContactLine line, bool onLight) {
  if (line == ContactLine::Measured) return MeasureColour(onLight);
  if (line == ContactLine::HydrogenBond) return onLight ? Rgb{0, 96, 170} : Rgb{110, 195, 255};
  return onLight ? Rgb{125, 125, 125} : Rgb{150, 150, 150};
}

std::optional<Look> LookNamed(std::string_view name) {
  const auto found = std::ranges::find(kLooks, name);
  if (found == kLooks.end()) return {};
  return static_cast<Look>(found - kLooks.begin());
}

std::string_view NameOf(Look look) {
  return kLooks[static_cast<size_t>(look)];
}

LookColours ColoursOf(Look look, bool onWhite) {
  if (onWhite || look == Look::Paper) return {kWhite, true, false, kPaperBond};
  if (look == Look::Light) return {kLightGround, true, false, kPaperBond};
  return {kBlack, false, look == Look::Dark, kDarkBond};
}

}  // namespace marvik
