#include "gl/gl_veil.h"

#include <algorithm>
#include <cmath>

#include "draw/canvas/colours.h"
#include "gl/gl_light.h"

namespace marvik {
namespace {

// Of a flat face, by how squarely it looks at the viewer and the lamp over the shoulder.
double BrightnessOf(const ViewPoint& normal) {
  constexpr double kAmbient = 0.45, kDiffuse = 0.6;
  return kAmbient + kDiffuse * std::max(Dot(normal, Normalised(ViewPoint{-0.42, 0.52, 0.744})), 0.0);
}

Rgb Lit(Rgb colour, double bright) {
  const auto channel = [bright](uint8_t c) { return static_cast<uint8_t>(std::min(std::lround(c * bright), 255L)); };
  return {channel(colour.r), channel(colour.g), channel(colour.b)};
}

class Veil {
 public:
  Veil(const GlScene& scene, int size, int left, int bottom, GlSamples& samples)
      : scene_(scene), samples_(samples), step_(2.0 / size / samples.factor) {
    left_ = -1.0 + 2.0 * left / size;
    bottom_ = -1.0 + 2.0 * bottom / size;
  }

  void Draw(const GlFace& face) {
    ViewPoint normal{};
    double low = 1e30, high = -1e30;
    for (size_t i = 0; i < face.corners.size(); ++i) {
      normal += Cross(face.corners[i], face.corners[(i + 1) % face.corners.size()]);
      low = std::min(low, face.corners[i].y);
      high = std::max(high, face.corners[i].y);
    }
    normal = Normalised(normal.z < 0.0 ? -normal : normal);
    if (!(normal.z > 1e-4)) return;  // seen from its edge
    const Rgb colour = Lit(face.colour, BrightnessOf(normal));
    const int first = std::max(0, static_cast<int>(std::ceil(std::clamp((low - bottom_) / step_ - 0.5, -1.0, 1e8))));
    const int last = std::min(samples_.Rows() - 1,
                              static_cast<int>(std::floor(std::clamp((high - bottom_) / step_ - 0.5, -1.0, 1e8))));
    for (int row = first; row <= last; ++row) {
      const double y = bottom_ + (row + 0.5) * step_;
      double from = 1e30, to = -1e30;
      for (size_t i = 0; i < face.corners.size(); ++i) {
        const ViewPoint& a = face.corners[i];
        const ViewPoint& b = face.corners[(i + 1) % face.corners.size()];
        if (a.y == b.y || std::min(a.y, b.y) > y || std::max(a.y, b.y) < y) continue;
        const double x = a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y);
        from = std::min(from, x);
        to = std::max(to, x);
      }
      const int x0 = std::max(0, static_cast<int>(std::ceil(std::clamp((from - left_) / step_ - 0.5, -1.0, 1e8))));
      const int x1 = std::min(samples_.Stride() - 1,
                              static_cast<int>(std::floor(std::clamp((to - left_) / step_ - 0.5, -1.0, 1e8))));
      for (int column = x0; column <= x1; ++column) {
        const double x = left_ + (column + 0.5) * step_;
        const ViewPoint& origin = face.corners.front();
        Mix(row, column, origin.z - (normal.x * (x - origin.x) + normal.y * (y - origin.y)) / normal.z, colour,
            face.opacity);
      }
    }
  }

  void Fog() {
    double front = -1e30, back = 1e30;
    for (const GlAtom& atom : scene_.atoms) {
      front = std::max(front, atom.at.z + atom.radius);
      back = std::min(back, atom.at.z - atom.radius);
    }
    const float nearest = DepthOf(front);
    const float range = std::max(DepthOf(back) - nearest, 1e-6f);
    for (size_t i = 0; i < samples_.depths.size(); ++i) {
      if (!(samples_.depths[i] < 1.0f)) continue;
      const double share = scene_.fog * std::clamp((samples_.depths[i] - nearest) / range, 0.0f, 1.0f);
      uint32_t& sample = samples_.colours[i];
      sample = SampleOf(sample >> 24, MixColours(ColourOf(sample), scene_.background, share));
    }
  }

 private:
  // Depth is linear from the eye of the orthographic lens.
  float DepthOf(double z) const {
    return static_cast<float>(std::clamp(0.5 * ((kViewerDistance - z) / scene_.depth + 1.0), 0.0, 1.0));
  }

  void Mix(int row, int column, double z, Rgb colour, double opacity) {
    const size_t at = static_cast<size_t>(row) * static_cast<size_t>(samples_.Stride()) + static_cast<size_t>(column);
    const float depth = DepthOf(z);
    if (!(depth < samples_.depths[at])) return;
    uint32_t& sample = samples_.colours[at];
    const bool bare = samples_.depths[at] >= 1.0f;
    const Rgb under = bare ? scene_.background : ColourOf(sample);
    const uint32_t kind = bare ? static_cast<uint32_t>(kBetweenSample) : sample >> 24;
    sample = SampleOf(kind, MixColours(under, colour, opacity));
    if (bare) samples_.depths[at] = depth;
  }

  static Rgb ColourOf(uint32_t sample) {
    return {static_cast<uint8_t>(sample), static_cast<uint8_t>(sample >> 8), static_cast<uint8_t>(sample >> 16)};
  }
  static uint32_t SampleOf(uint32_t kind, Rgb colour) {
    return kind << 24 | static_cast<uint32_t>(colour.b) << 16 | static_cast<uint32_t>(colour.g) << 8 | colour.r;
  }

  const GlScene& scene_;
  GlSamples& samples_;
  double step_;  // view units from sample to sample
  double left_;
  double bottom_;
};

}  // namespace

void VeilSamples(const GlScene& scene, int size, int left, int bottom, GlSamples& samples) {
  Veil veil(scene, size, left, bottom, samples);
  for (const GlFace& face : scene.faces) veil.Draw(face);
  if (scene.fog > 0.0) veil.Fog();
}

}  // namespace marvik
