#include <cstdlib>
#include <gtest/gtest.h>

#include "draw/canvas/colours.h"

namespace marvik {
namespace {

TEST(RenderColours, HueLightnessSaturation) {
  EXPECT_EQ(RgbToHls({255, 0, 0}), (Hls{0, 120, 240}));
  EXPECT_EQ(RgbToHls({255, 255, 0}), (Hls{40, 120, 240}));
  EXPECT_EQ(RgbToHls({0, 255, 0}), (Hls{80, 120, 240}));
  EXPECT_EQ(RgbToHls({0, 0, 139}), (Hls{160, 65, 240}));
  EXPECT_EQ(RgbToHls({255, 0, 64}).hue, 230);
  EXPECT_EQ(RgbToHls({169, 169, 169}), (Hls{0, 159, 0}));
  // A difference under 0.01 of full scale is none.
  EXPECT_EQ(RgbToHls({100, 101, 102}).saturation, 0);
  EXPECT_GT(RgbToHls({100, 101, 103}).saturation, 0);
  EXPECT_EQ(HlsToRgb({0, 400, 0}), kWhite);
}

TEST(RenderColours, ThereAndBackAgain) {
  for (int r = 0; r < 256; r += 15) {
    for (int g = 0; g < 256; g += 15) {
      for (int b = 0; b < 256; b += 15) {
        const Rgb colour{static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(b)};
        const Rgb back = HlsToRgb(RgbToHls(colour));
        // The scale of 240 loses up to two steps of 255 in each of its numbers.
        ASSERT_LE(std::abs(back.r - r) + std::abs(back.g - g) + std::abs(back.b - b), 9) << r << ' ' << g << ' ' << b;
      }
    }
  }
}

TEST(RenderColours, BallsRunFromDarkRimToWhiteHighlight) {
  // Lightness 159 gives 65 · 159 / 96 = 107 at the rim.
  const auto grey = BallShades({169, 169, 169});
  EXPECT_EQ(grey[0], (Rgb{114, 114, 114}));
  EXPECT_EQ(grey[6], (Rgb{169, 169, 169}));
  for (const Rgb colour : {Rgb{0, 0, 139}, Rgb{255, 255, 0}, Rgb{255, 255, 255}, Rgb{0, 0, 0}}) {
    EXPECT_EQ(BallShades(colour)[7], kWhite);
    EXPECT_EQ(PageBallShades(colour)[1], PageBallShades(colour)[0]);
  }
  // On paper a grey is darkened to 0.66 first: 0.7 · 104 = 72.8.
  EXPECT_EQ(PageBallShades({169, 169, 169})[0], HlsToRgb({0, 72, 0}));
  EXPECT_EQ(PageBallShades({255, 0, 0})[20], kWhite);
}

}  // namespace
}  // namespace marvik
