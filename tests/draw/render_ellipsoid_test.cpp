#include <algorithm>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

#include "crystal/displacement.h"
#include "draw/renderer/render_frame.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

constexpr double kHalfTurn = std::numbers::pi;

std::array<ViewPoint, 3> RandomAxes(std::mt19937& random) {
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> size(0.02, 2.0);
  const ViewPoint a = Normalised(ViewPoint{normal(random), normal(random), normal(random)});
  const ViewPoint b = Normalised(Cross(a, ViewPoint{normal(random), normal(random), normal(random)}));
  return {a * size(random), b * size(random), Cross(a, b) * size(random)};
}

ViewPoint OnSurface(const std::array<ViewPoint, 3>& axes, double u, double v) {
  return axes[0] * (std::cos(u) * std::sin(v)) + axes[1] * (std::sin(u) * std::sin(v)) + axes[2] * std::cos(v);
}

// The outline holds every point of the body and is touched by it in every direction.
TEST(RenderEllipsoid, OutlineIsTheSilhouette) {
  std::mt19937 random(7);
  for (int n = 0; n < 40; ++n) {
    const auto axes = RandomAxes(random);
    const OutlineConic outline = OutlineOf(axes);
    EXPECT_NEAR(Dot(outline.p, outline.q), 0.0, 1e-12);
    for (int d = 0; d < 12; ++d) {
      const double angle = d * kHalfTurn / 6.0;
      const ViewPoint direction{std::cos(angle), std::sin(angle), 0.0};
      double farthest = 0.0;
      for (int i = 0; i < 240; ++i) {
        for (int j = 0; j <= 120; ++j)
          farthest = std::max(farthest, Dot(OnSurface(axes, i * kHalfTurn / 120.0, j * kHalfTurn / 120.0), direction));
      }
      const double reach = std::hypot(Dot(outline.p, direction), Dot(outline.q, direction));
      EXPECT_LE(farthest, reach + 1e-12);
      EXPECT_NEAR(farthest, reach, 2e-3 * reach + 1e-4);
    }
  }
}

TEST(RenderEllipsoid, FrontHalvesFaceTheViewer) {
  std::mt19937 random(11);
  for (int n = 0; n < 50; ++n) {
    const auto axes = RandomAxes(random);
    for (size_t k = 0; k < 3; ++k) {
      const ViewPoint& p = axes[k];
      const ViewPoint& q = axes[(k + 1) % 3];
      const double middle = FrontMiddle(p, q);
      for (int i = -9; i <= 9; ++i) {
        if (std::abs(i) == 5 || std::abs(i) == 4) continue;  // near the outline
        const double t = middle + i * kHalfTurn / 9.0;
        const ViewPoint v = p * std::cos(t) + q * std::sin(t);
        // Nothing of the body lies in front of a point on its viewer's side.
        const ViewPoint nearer = v + ViewPoint{0, 0, 1e-3 * Length(v)};
        double inside = 0.0;
        for (const ViewPoint& axis : axes) inside += std::pow(Dot(nearer, axis) / Dot(axis, axis), 2);
        EXPECT_EQ(inside > 1.0, std::abs(i) < 5) << n << ' ' << k << ' ' << i;
      }
    }
  }
}

TEST(RenderEllipsoid, TrueToScaleWithTheProbability) {
  Scene scene(kThermalEllipsoid);
  AtomRecord* atom = scene.AddEllipsoid("C1", 0, 0, 0, {0.04, 0.09, 0.16, 0, 0, 0});
  std::string drawn = scene.Draw();
  // Orthogonal cell: 0.2 Å and 0.3 Å times 1.5382 (50 %), 299 pixels for 11 Å.
  const double scale = ProbabilityScale(0.5) * 299.0 / 11.0;
  EXPECT_NEAR(scale, 41.81, 0.01);
  EXPECT_NE(drawn.find("ellipse 300 299 p 0 -12.543 q -8.362 0 #a9a9a9 outline #2a2a2a w1\n"), std::string::npos)
      << drawn;
  EXPECT_EQ(scene.canvas.Count("arc"), 3);
  EXPECT_EQ(scene.canvas.Count("disc"), 0);
  scene.options.probability = 0.9;
  EXPECT_EQ(scene.Draw().find("p 0 -12.543"), std::string::npos);
  // Isotropic: a ball.
  atom->uCount = 1;
  scene.Draw();
  EXPECT_EQ(scene.canvas.Count("disc"), 8);
  EXPECT_EQ(scene.canvas.Count("ellipse"), 0);
}

TEST(RenderEllipsoid, WhatIsNoEllipsoidIsACrossedBox) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  for (const std::array<double, 6>& u : {std::array<double, 6>{-0.01, 0.05, 0.05, 0, 0, 0},
                                         {0, 0, 0, 0, 0, 0},
                                         {0.01, 0.01, 0.01, 0.1, 0, 0},
                                         {kNan, 0.05, 0.05, 0, 0, 0},
                                         {1e300, 1e300, 1e300, 0, 0, 0}}) {
    Scene scene(kThermalEllipsoid);
    scene.AddEllipsoid("C1", 0, 0, 0, u);
    const std::string drawn = scene.Draw();
    EXPECT_NE(drawn.find("polygon 290.4 289.4, 309.6 289.4, 309.6 308.6, 290.4 308.6 #a9a9a9"), std::string::npos)
        << u[0];
    EXPECT_EQ(scene.canvas.Count("line"), 2);
    EXPECT_EQ(drawn.find("nan"), std::string::npos);
  }
}

// A bond leaves an ellipsoid where the ellipsoid ends in its direction, not where a ball would.
TEST(RenderEllipsoid, BondsStartOnTheSurface) {
  Scene scene(kThermalEllipsoid);
  scene.AddEllipsoid("C1", 0, 0, 0.01, {0.01, 0.09, 0.09, 0, 0, 0});
  scene.Add("O1", -1.1, 0, 0);
  Connect(scene.document, scene.messages);
  const std::string line = Only(scene.Draw(), "line");
  // 0.1 Å · 1.5382 is 4.195 of the 30 pixels to the oxygen.
  EXPECT_EQ(line.find("line 304.195 299 330 299"), 0u) << line;
}

}  // namespace
}  // namespace marvik::test
