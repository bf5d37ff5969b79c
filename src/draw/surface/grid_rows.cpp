#include "draw/surface/grid_rows.h"

#include <algorithm>
#include <array>

namespace marvik {
namespace {

uint32_t MixPixels(uint32_t a, uint32_t b, uint32_t share) {
  const uint32_t evens = ((a & 0x00ff00ffu) * (4 - share) + (b & 0x00ff00ffu) * share) >> 2 & 0x00ff00ffu;
  const uint32_t odds = ((a >> 8 & 0x00ff00ffu) * (4 - share) + (b >> 8 & 0x00ff00ffu) * share) >> 2 & 0x00ff00ffu;
  return evens | odds << 8;
}

}  // namespace

void HalveRow(const Image& fine, uint32_t* pixels, int width) {
  for (int x = 0; x < width; ++x) {
    const std::array<uint32_t, 4> four{fine.At(2 * x, 0), fine.At(2 * x + 1, 0), fine.At(2 * x, 1),
                                       fine.At(2 * x + 1, 1)};
    uint32_t evens = 0x00020002u;
    uint32_t odds = 0x00020002u;
    for (const uint32_t p : four) {
      evens += p & 0x00ff00ffu;
      odds += p >> 8 & 0x00ff00ffu;
    }
    pixels[x] = (evens >> 2 & 0x00ff00ffu) | ((odds >> 2 & 0x00ff00ffu) << 8);
  }
}

void DoubleRow(const Image& coarse, int y, uint32_t* pixels, int width) {
  const int near = std::min(y / 2, coarse.height - 1);
  const int other = std::clamp(near + (y % 2 ? 1 : -1), 0, coarse.height - 1);
  for (int x = 0; x < width; ++x) {
    const int nearX = std::min(x / 2, coarse.width - 1);
    const int otherX = std::clamp(nearX + (x % 2 ? 1 : -1), 0, coarse.width - 1);
    pixels[x] = MixPixels(MixPixels(coarse.At(nearX, near), coarse.At(otherX, near), 1),
                          MixPixels(coarse.At(nearX, other), coarse.At(otherX, other), 1), 1);
  }
}

}  // namespace marvik
