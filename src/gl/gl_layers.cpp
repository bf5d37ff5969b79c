#include "gl/gl_layers.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace marvik {
namespace {

constexpr int kMostLayers = 100;
constexpr int kShiftsPerLayer = 8;
constexpr double kScreenSide = 600.0;
constexpr double kFaintest = 0.4;  // atoms of black-and-white pictures are drawn in layers above this

// A layer as an offset into the samples.
struct Tap {
  std::ptrdiff_t offset = 0;
  float alpha = 1.0f;
  bool atoms = true;
};

struct Blend {
  float r, g, b, cover;
  void Over(uint32_t rgba, float alpha) {
    r += alpha * (static_cast<float>(rgba & 255) - r);
    g += alpha * (static_cast<float>(rgba >> 8 & 255) - g);
    b += alpha * (static_cast<float>(rgba >> 16 & 255) - b);
    cover += alpha * (1.0f - cover);
  }
};

uint32_t Byte(float value) {
  return static_cast<uint32_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

class Combiner {
 public:
  Combiner(const GlSamples& samples, const std::vector<GlLayer>& layers, Rgb background, bool transparent, Image& image,
           int left, int top)
      : samples_(samples), background_(background), transparent_(transparent), image_(image), left_(left), top_(top) {
    const double perUnit = image.width * 0.5 * samples.factor;
    for (const GlLayer& layer : layers) {
      const auto dx = static_cast<std::ptrdiff_t>(std::lround(layer.dx * perUnit));
      const auto dy = static_cast<std::ptrdiff_t>(std::lround(layer.dy * perUnit));
      taps_.push_back({-(dx + dy * samples.Stride()), static_cast<float>(layer.alpha), layer.atoms});
    }
  }

  // Which cells of the picture, margins included, show anything or have such a cell within reach of the shifts.
  void FindBusyCells() {
    columns_ = samples_.width + 2 * samples_.margin;
    rows_ = samples_.height + 2 * samples_.margin;
    std::vector<uint8_t> own(static_cast<size_t>(columns_) * static_cast<size_t>(rows_));
    for (int y = 0; y < samples_.Rows(); ++y) {
      const float* depth = samples_.depths.data() + static_cast<std::ptrdiff_t>(y) * samples_.Stride();
      uint8_t* cell = own.data() + static_cast<std::ptrdiff_t>(y / samples_.factor) * columns_;
      for (int x = 0; x < columns_; ++x) {
        for (int i = 0; i < samples_.factor; ++i) cell[x] |= *depth++ < 1.0f;
      }
    }
    busy_ = Widened(Widened(own, 1, columns_, rows_), columns_, 1, rows_);
  }

  void Rows(int from, int to, bool allLayers) {
    for (int y = from; y < to; ++y) {
      for (int x = 0; x < samples_.width; ++x) {
        // Image rows run from the top, samples from the bottom.
        const int sampleY = samples_.height - 1 - y;
        image_.At(left_ + x, top_ + y) = PixelAt(x + samples_.margin, sampleY + samples_.margin, allLayers);
      }
    }
  }

 private:
  // Every cell takes over what up to `margin` cells before and behind it in one direction have.
  std::vector<uint8_t> Widened(const std::vector<uint8_t>& cells, int step, int columns, int rows) const {
    std::vector<uint8_t> result = cells;
    const auto count = static_cast<std::ptrdiff_t>(columns) * rows;
    for (int reach = 1; reach <= samples_.margin; ++reach) {
      const std::ptrdiff_t shift = std::ptrdiff_t{reach} * step;
      for (std::ptrdiff_t i = shift; i < count; ++i) {
        result[static_cast<size_t>(i)] |= cells[static_cast<size_t>(i - shift)];
        result[static_cast<size_t>(i - shift)] |= cells[static_cast<size_t>(i)];
      }
    }
    return result;
  }

  uint32_t PixelAt(int column, int row, bool allLayers) const {
    const Blend nothing = transparent_ ? Blend{0.0f, 0.0f, 0.0f, 0.0f}
                                       : Blend{float(background_.r), float(background_.g), float(background_.b), 0.0f};
    if (!busy_[static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column)])
      return Finished(nothing);
    const int half = samples_.factor / 2;
    const std::ptrdiff_t at =
        static_cast<std::ptrdiff_t>(row * samples_.factor + half) * samples_.Stride() + column * samples_.factor + half;
    const uint32_t* colours = samples_.colours.data() + at;
    const float* depths = samples_.depths.data() + at;
    Blend blend = nothing;
    float depth = *depths;
    if (depth < 1.0f) blend.Over(*colours, 1.0f);
    for (size_t i = 1; i < taps_.size() && allLayers; ++i) {
      const Tap& tap = taps_[i];
      if (!(depths[tap.offset] < depth)) continue;
      const uint32_t colour = colours[tap.offset];
      if (!tap.atoms && colour >> 24 == kAtomSample) continue;
      depth = depths[tap.offset];
      blend.Over(colour, tap.alpha);
    }
    return Finished(blend);
  }

  uint32_t Finished(Blend blend) const {
    uint32_t alpha = 255;
    if (transparent_) {
      alpha = Byte(blend.cover * 255.0f);
      const float scale = blend.cover > 0.0f ? 1.0f / blend.cover : 0.0f;
      blend.r *= scale;
      blend.g *= scale;
      blend.b *= scale;
    }
    return alpha << 24 | Byte(blend.r) << 16 | Byte(blend.g) << 8 | Byte(blend.b);
  }

  const GlSamples& samples_;
  Rgb background_;
  bool transparent_;
  Image& image_;
  int left_;
  int top_;
  std::vector<Tap> taps_;
  std::vector<uint8_t> busy_;
  int columns_ = 0;
  int rows_ = 0;
};

}  // namespace

std::vector<GlLayer> LayersOf(const GlLayerStyle& style) {
  std::vector<GlLayer> layers(1);
  if (!style.antiAlias) return layers;
  const int count = std::clamp(style.layerCount, 1, kMostLayers);
  const bool print = style.printing && !style.colour;
  const double shrink = std::min(1.0, kScreenSide / std::max(style.size, 1));
  double alpha = print ? 0.8 : 0.6;
  double radius = print ? 0.002 : 0.001;
  for (int layer = 1; layer < count; ++layer) {
    if (layer > 1) {
      alpha -= 0.6 / count;
      radius += 0.006 / count;
    }
    for (int i = 0; i < kShiftsPerLayer; ++i) {
      const double angle = 2.0 * std::numbers::pi * i / kShiftsPerLayer;
      layers.push_back({alpha, shrink * radius * std::sin(angle), shrink * radius * std::cos(angle),
                        style.colour || alpha > kFaintest});
    }
  }
  return layers;
}

int LargestShift(const std::vector<GlLayer>& layers, int size) {
  double largest = 0.0;
  for (const GlLayer& layer : layers) largest = std::max({largest, std::abs(layer.dx), std::abs(layer.dy)});
  return static_cast<int>(std::ceil(largest * size * 0.5));
}

bool CombineLayers(const GlSamples& samples, const std::vector<GlLayer>& layers, Rgb background, bool transparent,
                   Image& image, int left, int top, const std::function<bool()>& keepGoing) {
  constexpr int kRowsAtOnce = 16;
  Combiner combiner(samples, layers, background, transparent, image, left, top);
  combiner.FindBusyCells();
  std::atomic<int> next{0};
  std::atomic<bool> stopped{false};
  const auto work = [&](bool asks) {
    for (int row = next.fetch_add(kRowsAtOnce); row < samples.height; row = next.fetch_add(kRowsAtOnce)) {
      if (asks && !stopped && keepGoing && !keepGoing()) stopped = true;
      combiner.Rows(row, std::min(row + kRowsAtOnce, samples.height), !stopped);
    }
  };
  {
    std::jthread helper(work, false);
    work(true);
  }
  return !stopped;
}

}  // namespace marvik
