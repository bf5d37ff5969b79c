#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "draw/canvas/raster.h"

namespace marvik {

// Finished pictures of disc stacks, so that the ten thousandth ball of one kind is a copy of rows.
class DiscStackCache {
 public:
  // Draws the stack with its centre on a pixel. False when its discs are too large to be kept or not finite; the caller
  // then draws them one by one.
  bool Draw(const Surface& surface, int x, int y, std::span<const Disc> discs, bool smooth);
  void Clear();

 private:
  struct RowExtent {
    int16_t first = 0;  // columns that are touched at all
    int16_t last = -1;
    int16_t solidFirst = 0;  // those that are covered completely
    int16_t solidLast = -1;
  };
  struct Sprite {
    std::vector<Disc> discs;
    bool smooth = false;
    int left = 0;  // of the first column, counted from the centre
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;  // premultiplied
    std::vector<RowExtent> rows;
    uint64_t pictureSize() const { return pixels.size(); }
  };
  const Sprite* Find(std::span<const Disc> discs, bool smooth);
  static bool Paint(Sprite& sprite);
  static void MeasureRows(Sprite& sprite);
  static void Copy(const Surface& surface, int x, int y, const Sprite& sprite);

  std::unordered_multimap<uint64_t, Sprite> sprites_;
  const Sprite* latest_ = nullptr;
  uint64_t keptPixels_ = 0;
};

}  // namespace marvik
