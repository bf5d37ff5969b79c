#include "gl/gl_textures.h"

#include <algorithm>
#include <cstddef>

namespace marvik {
namespace {

// A texture spans half a picture's side. Divisors of the side, so that the pattern has no seam.
constexpr int kPeriod = 8;
constexpr int kWidePeriod = 16;
constexpr int kLine = 2;
constexpr int kDotDiameter = 4;

bool OnLine(int place, int period) {
  return place % period < kLine;
}

// Every second row of dots is shifted by half a period.
bool OnDot(int x, int y) {
  const int row = y / kPeriod;
  const int dx = 2 * ((x + row % 2 * kPeriod / 2) % kPeriod) - kPeriod + 1;
  const int dy = 2 * (y % kPeriod) - kPeriod + 1;
  return dx * dx + dy * dy <= kDotDiameter * kDotDiameter;
}

bool IsInk(int code, int x, int y) {
  const int up = (x + y) % kTextureSide;
  const int down = (x - y + kTextureSide) % kTextureSide;
  switch (code) {
    case 1:
      return OnDot(x, y);
    case 2:
      return OnLine(y, kPeriod);
    case 3:
      return OnLine(x, kPeriod);
    case 4:
      return OnLine(x, kPeriod) || OnLine(y, kPeriod);
    case 5:
      return down % kPeriod < kLine;
    case 6:
      return up % kPeriod < kLine;
    case 7:
      return up % kWidePeriod < kLine || down % kWidePeriod < kLine;
    default:
      return false;
  }
}

}  // namespace

std::vector<uint8_t> TexturePattern(int code) {
  std::vector<uint8_t> texels(size_t{4} * kTextureSide * kTextureSide, 255);
  for (int y = 0; y < kTextureSide; ++y) {
    for (int x = 0; x < kTextureSide; ++x) {
      if (!IsInk(code, x, y)) continue;
      const auto at = static_cast<std::ptrdiff_t>(4 * (y * kTextureSide + x));
      std::fill_n(texels.begin() + at, 3, uint8_t{0});
    }
  }
  return texels;
}

}  // namespace marvik
