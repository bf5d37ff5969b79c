#include "draw/canvas/colours.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

constexpr int kFull = 240;
// Lightness of the discs of a ball on the screen in 96ths of the colour's own. The last one is the highlight, which is
// white whatever the colour.
constexpr std::array<int, 8> kScreenFactors{65, 74, 80, 84, 88, 92, 96, 256};
constexpr std::array<double, 20> kPageFactors{0.7, 0.8, 0.85, 0.9, 0.95, 1.0, 1.05, 1.1, 1.2, 1.3,
                                              1.4, 1.5, 1.6,  1.7, 1.8,  2.0, 2.3,  2.6, 2.8, 3.0};

uint8_t Channel(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// The trapezoid that each channel follows around the circle: up, high, down and low over 40, 80, 40 and 80 units.
double HueRamp(double low, double high, int hue) {
  const int h = (hue % kFull + kFull) % kFull;
  if (h < 40) return low + (high - low) * h * 0.025;
  if (h < 120) return high;
  if (h < 160) return low + (high - low) * (160 - h) * 0.025;
  return low;
}

double Luminance(Rgb c) {
  return 0.299 * c.r + 0.587 * c.g + 0.114 * c.b;
}

}  // namespace

Hls RgbToHls(Rgb colour) {
  const double r = colour.r / 255.0;
  const double g = colour.g / 255.0;
  const double b = colour.b / 255.0;
  const double low = std::min({r, g, b});
  const double high = std::max({r, g, b});
  const double range = high - low;
  const double lightness = (high + low) / 2.0;
  Hls result;
  result.lightness = static_cast<int>(std::lround(lightness * kFull));
  if (range < 0.01) return result;
  const double saturation = lightness < 0.5 ? range / (high + low) : range / (2.0 - high - low);
  double hue = 0.0;
  if (r == high) {
    hue = 60.0 * (g - b) / range;
  } else if (g == high) {
    hue = 120.0 + 60.0 * (b - r) / range;
  } else {
    hue = 240.0 + 60.0 * (r - g) / range;
  }
  if (hue < 0.0) hue += 360.0;
  result.hue = static_cast<int>(std::lround(hue * 2.0 / 3.0));
  result.saturation = static_cast<int>(std::lround(saturation * kFull));
  return result;
}

Rgb HlsToRgb(Hls colour) {
  const double lightness = std::clamp(colour.lightness, 0, kFull) * 1.0625;
  const double saturation = std::clamp(colour.saturation, 0, kFull) * 1.0666667 / 256.0;
  const double high =
      lightness <= 127.5 ? lightness * (1.0 + saturation) : lightness + saturation * 255.0 - lightness * saturation;
  const double low = 2.0 * lightness - high;
  return {Channel(HueRamp(low, high, colour.hue + 80)), Channel(HueRamp(low, high, colour.hue)),
          Channel(HueRamp(low, high, colour.hue - 80))};
}

Rgb MixColours(Rgb from, Rgb to, double t) {
  const auto mix = [t](uint8_t a, uint8_t b) { return Channel(a + (b - a) * t); };
  return {mix(from.r, to.r), mix(from.g, to.g), mix(from.b, to.b)};
}

Rgb LegibleOn(Rgb colour, bool whiteBackground) {
  constexpr double kDarkest = 115.0;
  constexpr double kLightest = 0.36;  // of white: a contrast of 2.5 or more
  if (whiteBackground) {
    // Squares are near enough to what the eye makes of a channel.
    const double light =
        (0.2126 * colour.r * colour.r + 0.7152 * colour.g * colour.g + 0.0722 * colour.b * colour.b) / (255.0 * 255.0);
    return light <= kLightest ? colour : MixColours(colour, kBlack, 1.0 - std::sqrt(kLightest / light));
  }
  const double luminance = Luminance(colour);
  return luminance >= kDarkest ? colour : MixColours(colour, kWhite, (kDarkest - luminance) / (255.0 - luminance));
}

Rgb InkOn(Rgb fill) {
  return Luminance(fill) < 60.0 ? MixColours(fill, kWhite, 0.6) : MixColours(fill, kBlack, 0.75);
}

std::array<Rgb, 8> BallShades(Rgb colour) {
  const Hls hls = RgbToHls(colour);
  std::array<Rgb, 8> shades;
  for (size_t i = 0; i < shades.size(); ++i) {
    const int lightness = i == 7 ? kFull : std::min(kScreenFactors[i] * hls.lightness / 96, kFull);
    shades[i] = HlsToRgb({hls.hue, lightness, hls.saturation});
  }
  return shades;
}

std::array<Rgb, 21> PageBallShades(Rgb colour) {
  Hls hls = RgbToHls(colour);
  if (hls.saturation == 0) hls.lightness = static_cast<int>(0.66 * hls.lightness);
  const auto shade = [&](double factor) {
    return HlsToRgb({hls.hue, std::min(static_cast<int>(factor * hls.lightness), kFull), hls.saturation});
  };
  std::array<Rgb, 21> shades;
  shades[0] = shade(0.7);
  for (size_t i = 0; i < kPageFactors.size(); ++i) shades[i + 1] = shade(kPageFactors[i]);
  return shades;
}

}  // namespace marvik
