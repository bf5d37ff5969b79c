#include "draw/surface/lit_surface.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

#include "draw/canvas/colours.h"
#include "draw/renderer/look.h"

namespace marvik {
namespace {

constexpr Rgb kRed{200, 30, 30};

LitScene StickScene(double widening) {
  LitScene scene;
  scene.background = kWhite;
  scene.sticks.push_back({{20, 50, 0}, {80, 50, 20}, 5.0, kRed, kRed, false, false, widening});
  return scene;
}

int HeightAt(const Image& image, int x) {
  int rows = 0;
  for (int y = 0; y < image.height; ++y) rows += ColourOf(image.At(x, y)) != kWhite;
  return rows;
}

int LargestStep(const Image& a, const Image& b) {
  int most = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const Rgb p = ColourOf(a.pixels[i]), q = ColourOf(b.pixels[i]);
    most = std::max({most, std::abs(p.r - q.r), std::abs(p.g - q.g), std::abs(p.b - q.b)});
  }
  return most;
}

TEST(LitSurface, AConeIsAsWideAsItSaysAndACylinderWhereItDoesNotWiden) {
  const Image even = DrawLitSurface(StickScene(0.0), 100, 100, {});
  EXPECT_LE(LargestStep(DrawLitSurface(StickScene(1e-7), 100, 100, {}), even), 2);
  const Image wide = DrawLitSurface(StickScene(1.0), 100, 100, {});
  for (const auto& [x, height] : {std::pair{26, 11}, {50, 15}, {74, 19}}) {
    EXPECT_NEAR(HeightAt(even, x), 10, 1.5) << x;
    EXPECT_NEAR(HeightAt(wide, x), height, 1.5) << x;
  }
  // Seen along its axis, from its wide end, there is nothing of its side.
  LitScene along;
  along.background = kWhite;
  along.sticks.push_back({{50, 50, -30}, {50, 50, 30}, 5.0, kRed, kRed, false, false, 1.0});
  const Image front = DrawLitSurface(along, 100, 100, {});
  for (int x = 0; x < 100; ++x) EXPECT_EQ(HeightAt(front, x), 0);
}

TEST(LitSurface, WhatIsPaleIsMixedWithTheBackgroundAfterItIsLit) {
  for (const Rgb ground : {kWhite, kBlack}) {
    LitScene scene;
    scene.background = ground;
    scene.balls.push_back({{30, 50, 0}, 20.0, kRed});
    scene.ellipsoids.push_back({{70, 50, 0}, {{{20, 0, 0}, {0, 12, 0}, {0, 0, 15}}}, kRed, true});
    scene.sticks = StickScene(0.3).sticks;
    Image expected = DrawLitSurface(scene, 100, 100, {});
    for (uint32_t& pixel : expected.pixels) pixel = PixelOf(MixColours(ground, ColourOf(pixel), kPaleInk));
    scene.balls[0].pale = scene.ellipsoids[0].pale = scene.sticks[0].paleA = scene.sticks[0].paleB = true;
    EXPECT_LE(LargestStep(DrawLitSurface(scene, 100, 100, {}), expected), 2);
  }
}

TEST(LitSurface, FacesLetThroughWhatIsBehindThemAndNothingElse) {
  LitScene scene;
  scene.background = kWhite;
  scene.balls.push_back({{30, 50, 0}, 15.0, kRed});
  scene.balls.push_back({{70, 50, 60}, 15.0, kRed});
  const Image bare = DrawLitSurface(scene, 100, 100, {});
  // Before the one ball and behind the other.
  scene.faces.push_back({{{10, 20, 30}, {90, 20, 30}, {90, 80, 30}, {10, 80, 30}}, {0, 0, 240}, 0.5});
  for (const bool moving : {false, true}) {
    LitOptions options;
    options.moving = moving;
    const Image veiled = DrawLitSurface(scene, 100, 100, options);
    const Rgb open = ColourOf(veiled.At(50, 30)), covered = ColourOf(veiled.At(30, 50)),
              before = ColourOf(bare.At(30, 50));
    EXPECT_NEAR(open.r, 127, 3);
    EXPECT_NEAR(open.b, 127 + 104, 6) << "the share of the light that a face toward the viewer has";
    EXPECT_NEAR(covered.r, before.r / 2, moving ? 12 : 4);
    EXPECT_NEAR(ColourOf(veiled.At(70, 50)).b, ColourOf(bare.At(70, 50)).b, moving ? 12 : 2);
    EXPECT_EQ(ColourOf(veiled.At(5, 50)), kWhite);
  }
  scene.faces[0].corners.resize(2);
  EXPECT_EQ(LargestStep(DrawLitSurface(scene, 100, 100, {}), bare), 0);
}

// A ball before a wall, 250 pixels wide: what stands out of it within 2 % of the width takes light away.
TEST(LitSurface, AShadowReachesAFiftiethOfTheWidth) {
  LitScene scene;
  scene.background = kWhite;
  scene.balls = {{{125, 125, 0}, 30.0, kRed}, {{125, 125, -5010}, 5000.0, {150, 150, 150}}};
  LitOptions options;
  const Image shaded = DrawLitSurface(scene, 250, 250, options);
  options.shadow = false;
  const Image open = DrawLitSurface(scene, 250, 250, options);
  double farthest = 0.0;
  for (int y = 0; y < 250; ++y)
    for (int x = 0; x < 250; ++x)
      if (shaded.At(x, y) != open.At(x, y)) {
        EXPECT_LE(ColourOf(shaded.At(x, y)).r, ColourOf(open.At(x, y)).r);
        farthest = std::max(farthest, std::hypot(x - 125, y - 125));
      }
  EXPECT_NEAR(farthest, 30.0 + 0.02 * 250, 1.0);
}

// Of three balls of one colour, the second half-way, the farthest has twice as much of the ground mixed in.
TEST(LitSurface, FogGrowsEvenlyWithDepth) {
  for (const Rgb ground : {kWhite, kBlack}) {
    LitScene scene;
    scene.background = ground;
    for (int i = 0; i < 3; ++i) scene.balls.push_back({{30.0 + 40.0 * i, 50, -300.0 * i}, 15.0, {90, 90, 120}});
    const Image image = DrawLitSurface(scene, 140, 100, {});
    int blue[3];
    for (int i = 0; i < 3; ++i) blue[i] = ColourOf(image.At(30 + 40 * i, 50)).b;
    EXPECT_GT(std::abs(blue[2] - blue[0]), 20);
    EXPECT_EQ(blue[2] > blue[0], ground == kWhite);
    EXPECT_NEAR(blue[1], (blue[0] + blue[2]) / 2.0, 1.5);
  }
}

}  // namespace
}  // namespace marvik
