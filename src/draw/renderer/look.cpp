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

}  // namespace

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
