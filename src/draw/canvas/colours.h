#pragma once

#include <array>

#include "draw/canvas/canvas.h"
#include "model/element_table.h"

namespace marvik {

// Hue, lightness and saturation, each on the scale 0..240. A grey has saturation 0 and a hue without meaning (0).
struct Hls {
  int hue = 0;
  int lightness = 0;
  int saturation = 0;
  friend bool operator==(const Hls&, const Hls&) = default;
};

// Channels that differ by less than 0.01 of full scale count as a grey.
Hls RgbToHls(Rgb colour);
// Lightness above 240 counts as 240.
Rgb HlsToRgb(Hls colour);

constexpr Rgb RgbOf(ElementColour colour) {
  return {static_cast<uint8_t>(RedOf(colour)), static_cast<uint8_t>(GreenOf(colour)),
          static_cast<uint8_t>(BlueOf(colour))};
}

// From `from` (t = 0) to `to` (t = 1).
Rgb MixColours(Rgb from, Rgb to, double t);

// A line colour that stands out from the background: too dark a colour on black is lightened, too light a one on white
// darkened, others stay as they are.
Rgb LegibleOn(Rgb colour, bool whiteBackground);

// For thin lines on a filled body: dark on light colours, light on dark ones.
Rgb InkOn(Rgb fill);

inline constexpr Rgb kBlack{0, 0, 0};
inline constexpr Rgb kWhite{255, 255, 255};

// Sticks by bond class (the order code).
inline constexpr std::array<Rgb, 5> kBondClassColours{
    {{205, 205, 0}, {255, 150, 150}, {255, 0, 0}, {0, 255, 255}, {255, 0, 255}}};
inline constexpr Rgb kUnknownBondOnScreen{128, 128, 128};

// Labels by hybridization code; every code from 4 on has the last colour.
inline constexpr std::array<Rgb, 5> kHybridLabelColours{
    {{150, 150, 0}, {255, 0, 0}, {150, 50, 50}, {0, 200, 200}, {100, 100, 100}}};

// The discs of a shaded ball, largest first: eight on the screen, twenty-one on paper.
std::array<Rgb, 8> BallShades(Rgb colour);
std::array<Rgb, 21> PageBallShades(Rgb colour);

}  // namespace marvik
