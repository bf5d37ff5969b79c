#include "picture/picture_options.h"

#include <algorithm>
#include <array>

namespace marvik {
namespace {

constexpr std::array<std::string_view, 4> kBackgrounds{"usual", "black", "white", "transparent"};

}  // namespace

std::optional<PictureBackground> BackgroundNamed(std::string_view name) {
  const auto found = std::ranges::find(kBackgrounds, name);
  if (found == kBackgrounds.end()) return {};
  return static_cast<PictureBackground>(found - kBackgrounds.begin());
}

std::string_view NameOf(PictureBackground background) {
  return kBackgrounds[static_cast<size_t>(background)];
}

}  // namespace marvik
