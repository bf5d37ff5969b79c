#include "gl/gl_layers.h"

#include <cmath>
#include <gtest/gtest.h>

#include "gl/gl_bodies.h"

namespace marvik {
namespace {

TEST(GlLayers, NumberAlphaAndShifts) {
  const auto layers = LayersOf({true, 12, true, false, 600});
  ASSERT_EQ(layers.size(), 89u);
  EXPECT_EQ(layers[0].alpha, 1.0);
  EXPECT_EQ(layers[0].dx, 0.0);
  const auto expectLayer = [&](size_t layer, double alpha, double radius) {
    for (size_t i = 0; i < 8; ++i) {
      const GlLayer& shifted = layers[1 + 8 * (layer - 1) + i];
      EXPECT_NEAR(shifted.alpha, alpha, 1e-12);
      EXPECT_NEAR(std::hypot(shifted.dx, shifted.dy), radius, 1e-12);
    }
  };
  expectLayer(1, 0.6, 0.001);
  expectLayer(2, 0.55, 0.0015);
  expectLayer(11, 0.1, 0.006);
  EXPECT_NEAR(layers[3].dx, 0.001, 1e-12) << "90 degrees";
  EXPECT_EQ(LargestShift(layers, 600), 2);
  EXPECT_EQ(LargestShift(LayersOf({true, 12, true, false, 8000}), 8000), 2) << "pixels, not shares of the picture";

  const auto print = LayersOf({true, 10, false, true, 500});
  EXPECT_NEAR(print[1].alpha, 0.8, 1e-12);
  EXPECT_NEAR(print[1].dy, 0.002, 1e-12);
  for (const GlLayer& layer : print) EXPECT_EQ(layer.atoms, layer.alpha > 0.4);
  EXPECT_EQ(LayersOf({false, 12, true, false, 600}).size(), 1u);
  EXPECT_EQ(LayersOf({true, -3, true, false, 600}).size(), 1u);
  EXPECT_LE(LayersOf({true, 2000000000, true, false, 600}).size(), 1000u);
}

// One sample of red at the middle of a picture of 5 x 5 pixels, blended by hand.
TEST(GlLayers, BlendsWhatIsNearer) {
  GlSamples samples;
  samples.factor = 1;
  samples.margin = 1;
  samples.width = samples.height = 5;
  samples.colours.assign(49, 0);
  samples.depths.assign(49, 1.0f);
  const auto put = [&](int x, int y, uint32_t colour, float depth) {
    samples.colours[static_cast<size_t>((y + 1) * 7 + x + 1)] = colour;
    samples.depths[static_cast<size_t>((y + 1) * 7 + x + 1)] = depth;
  };
  put(2, 2, 0xff0000ffu, 0.5f);
  put(3, 2, 0xffff0000u, 0.4f);
  std::vector<GlLayer> layers(1);
  layers.push_back({0.5, 0.4, 0.0});  // one pixel to the right
  Image image(5, 5);
  EXPECT_TRUE(CombineLayers(samples, layers, {255, 255, 255}, false, image, 0, 0, nullptr));
  EXPECT_EQ(image.At(2, 2), 0xffff0000u);
  EXPECT_EQ(image.At(3, 2), 0xff0000ffu) << "what came from the left is farther";
  EXPECT_EQ(image.At(4, 2), 0xff8080ffu);
  EXPECT_EQ(image.At(1, 2), 0xffffffffu);
  CombineLayers(samples, layers, {255, 255, 255}, true, image, 0, 0, nullptr);
  EXPECT_EQ(image.At(4, 2), 0x800000ffu);
  layers[1].atoms = false;
  CombineLayers(samples, layers, {255, 255, 255}, false, image, 0, 0, nullptr);
  EXPECT_EQ(image.At(4, 2), 0xffffffffu);
}

TEST(GlLayers, SlicesFollowTheRadius) {
  EXPECT_EQ(SlicesFor(20.0, 30), 30);
  EXPECT_LT(SlicesFor(3.0, 30), 16);
  EXPECT_GT(SlicesFor(1500.0, 30), 100);
  EXPECT_EQ(SlicesFor(0.0, 60), 8);
}

}  // namespace
}  // namespace marvik
