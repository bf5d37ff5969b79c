#include "draw/canvas/disc_stack.h"

#include <bit>
#include <cstring>

#include "draw/canvas/image.h"

namespace marvik {

namespace {

constexpr double kLargestRadius = 128.0;     // pixels; a larger ball is seldom drawn twice
constexpr uint64_t kPixelsToKeep = 1 << 21;  // 8 MB

bool SameDiscs(std::span<const Disc> a, std::span<const Disc> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Disc& p, const Disc& q) {
    return p.radius == q.radius && p.offset.x == q.offset.x && p.offset.y == q.offset.y && p.colour == q.colour;
  });
}

uint64_t HashOf(std::span<const Disc> discs) {
  uint64_t hash = discs.size();
  const auto mix = [&hash](uint64_t v) { hash = (std::rotl(hash, 23) ^ v) * 0x9e3779b97f4a7c15u; };
  for (const Disc& disc : discs) {
    mix(std::bit_cast<uint64_t>(disc.radius));
    mix(std::bit_cast<uint64_t>(disc.offset.x));
    mix(std::bit_cast<uint64_t>(disc.offset.y));
    mix(PixelOf(disc.colour));
  }
  return hash;
}

// v·a/255 for each of the four bytes, rounded.
uint32_t ScaledBytes(uint32_t v, uint32_t a) {
  const auto half = [a](uint32_t pair) {
    const uint32_t t = pair * a + 0x800080u;
    return (t + (t >> 8 & 0xff00ffu)) >> 8 & 0xff00ffu;
  };
  return half(v & 0xff00ffu) | half(v >> 8 & 0xff00ffu) << 8;
}

struct SpriteSink {
  uint32_t* pixels;
  int width;
  uint32_t colour;

  void Span(int y, int x0, int x1) { std::fill(pixels + y * width + x0, pixels + y * width + x1 + 1, colour); }
  void Part(int y, int x, unsigned cover) {
    uint32_t& pixel = pixels[y * width + x];
    pixel = ScaledBytes(colour, cover) + ScaledBytes(pixel, 255 - cover);
  }
};

}  // namespace

void DiscStackCache::Clear() {
  sprites_.clear();
  latest_ = nullptr;
  keptPixels_ = 0;
}

bool DiscStackCache::Draw(const Surface& surface, int x, int y, std::span<const Disc> discs, bool smooth) {
  if (!latest_ || latest_->smooth != smooth || !SameDiscs(latest_->discs, discs)) latest_ = Find(discs, smooth);
  if (!latest_) return false;
  Copy(surface, x, y, *latest_);
  return true;
}

const DiscStackCache::Sprite* DiscStackCache::Find(std::span<const Disc> discs, bool smooth) {
  const uint64_t hash = HashOf(discs);
  const auto [first, last] = sprites_.equal_range(hash);
  for (auto it = first; it != last; ++it) {
    if (it->second.smooth == smooth && SameDiscs(it->second.discs, discs)) return &it->second;
  }
  Sprite sprite;
  sprite.discs.assign(discs.begin(), discs.end());
  sprite.smooth = smooth;
  if (!Paint(sprite)) return nullptr;
  if (keptPixels_ + sprite.pixels.size() > kPixelsToKeep) Clear();
  keptPixels_ += sprite.pixels.size();
  return &sprites_.emplace(hash, std::move(sprite))->second;
}

bool DiscStackCache::Paint(Sprite& sprite) {
  double reach = 0.0;
  for (const Disc& disc : sprite.discs) {
    const double far = std::max(std::abs(disc.offset.x), std::abs(disc.offset.y)) + std::max(disc.radius, 0.0);
    if (!(far <= kLargestRadius)) return false;
    reach = std::max(reach, far);
  }
  const int border = static_cast<int>(std::ceil(reach)) + 1;
  sprite.left = sprite.top = -border;
  sprite.width = sprite.height = 2 * border + 1;
  sprite.pixels.assign(static_cast<size_t>(sprite.width) * static_cast<size_t>(sprite.height), 0);
  const PixelBox box{0, 0, sprite.width - 1, sprite.height - 1};
  for (const Disc& disc : sprite.discs) {
    const CanvasPoint centre{disc.offset.x + border, disc.offset.y + border};
    SpriteSink sink{sprite.pixels.data(), sprite.width, PixelOf(disc.colour)};
    if (disc.radius > 0.0) {
      FillRows(EllipseRows({centre, {disc.radius, 0.0}, {0.0, disc.radius}}), box, sprite.smooth, sink);
    }
  }
  MeasureRows(sprite);
  return true;
}

void DiscStackCache::MeasureRows(Sprite& sprite) {
  for (int y = 0; y < sprite.height; ++y) {
    const uint32_t* row = sprite.pixels.data() + y * sprite.width;
    const auto isSolid = [row](int x) { return row[x] >> 24 == 255; };
    RowExtent extent{static_cast<int16_t>(sprite.width), -1, 0, -1};
    for (int x = 0; x < sprite.width; ++x) {
      if (row[x] == 0) continue;
      extent.first = std::min(extent.first, static_cast<int16_t>(x));
      extent.last = static_cast<int16_t>(x);
    }
    // The longest run; discs that do not overlap may leave more than one.
    for (int x = extent.first; x <= extent.last; ++x) {
      int end = x;
      while (end <= extent.last && isSolid(end)) ++end;
      if (end - x > extent.solidLast - extent.solidFirst + 1) {
        extent.solidFirst = static_cast<int16_t>(x);
        extent.solidLast = static_cast<int16_t>(end - 1);
      }
      x = end;
    }
    if (extent.solidLast < extent.solidFirst) {
      extent.solidFirst = static_cast<int16_t>(extent.last + 1);
      extent.solidLast = extent.last;
    }
    sprite.rows.push_back(extent);
  }
}

void DiscStackCache::Copy(const Surface& surface, int x, int y, const Sprite& sprite) {
  const int left = x + sprite.left;
  const int top = y + sprite.top;
  const int lastRow = std::min(sprite.height - 1, surface.height - 1 - top);
  for (int r = std::max(0, -top); r <= lastRow; ++r) {
    const RowExtent& extent = sprite.rows[static_cast<size_t>(r)];
    const uint32_t* source = sprite.pixels.data() + r * sprite.width;
    uint32_t* target = surface.Row(top + r) + left;
    const int first = std::max<int>(extent.first, -left);
    const int last = std::min<int>(extent.last, surface.width - 1 - left);
    const auto blend = [&](int from, int to) {
      for (int c = from; c <= to; ++c) {
        target[c] = (source[c] + ScaledBytes(target[c], 255 - (source[c] >> 24))) | 0xff000000u;
      }
    };
    const int solid0 = std::max<int>(extent.solidFirst, first);
    const int solid1 = std::min<int>(extent.solidLast, last);
    blend(first, std::min(solid0 - 1, last));
    if (solid0 <= solid1) {
      std::memcpy(target + solid0, source + solid0, static_cast<size_t>(solid1 - solid0 + 1) * sizeof(uint32_t));
    }
    blend(std::max(solid1 + 1, first), last);
  }
}

}  // namespace marvik
