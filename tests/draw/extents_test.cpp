#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sstream>

#include "draw/canvas/extent_canvas.h"
#include "draw/canvas/recording_canvas.h"
#include "draw/labels/label_layout.h"
#include "draw/surface/grid_rows.h"

namespace marvik {
namespace {

TEST(ExtentCanvas, ReachesAsFarAsWhatIsDrawn) {
  LabelFont font(20.0, "");
  const Rgb black{0, 0, 0};
  const auto reach = [&](auto draw) {
    ExtentCanvas canvas(font);
    EXPECT_TRUE(canvas.IsEmpty());
    draw(canvas);
    EXPECT_FALSE(canvas.IsEmpty());
    return std::pair(canvas.Top(), canvas.Bottom());
  };
  const Pen pen{black, 4.0};
  EXPECT_EQ(reach([&](Canvas& c) { c.Line({0, -3}, {9, 5}, pen); }), std::pair(-5.0, 7.0));
  const std::vector<CanvasPoint> corners{{0, 1}, {5, 11}, {9, 3}, {2, std::nan("")}};
  EXPECT_EQ(reach([&](Canvas& c) { c.Polygon(corners, black, pen); }), std::pair(-1.0, 13.0));
  // A turned ellipse of half axes 5 and 2: the farthest of its points, one by one.
  const EllipseShape turned{{10, 20}, {5 * std::cos(0.6), 5 * std::sin(0.6)}, {-2 * std::sin(0.6), 2 * std::cos(0.6)}};
  double most = 0.0;
  for (double t = 0.0; t < 6.3; t += 1e-4) most = std::max(most, turned.p.y * std::cos(t) + turned.q.y * std::sin(t));
  const auto ellipse = reach([&](Canvas& c) { c.FillEllipse(turned, black, pen); });
  EXPECT_NEAR(ellipse.first, 18 - most, 1e-6);
  EXPECT_NEAR(ellipse.second, 22 + most, 1e-6);
  const auto sector = reach([&](Canvas& c) { c.FillSector(turned, 0.0, 1.0, black); });
  EXPECT_NEAR(sector.second, 20 + most, 1e-6) << "without an outline";
  const double height = font.Ascent() + font.Descent();
  EXPECT_EQ(reach([&](Canvas& c) {
              c.Text({0, 50}, TextAnchor::BottomLeft, "C1", TextLook(black));
            }),
            std::pair(50 - height, 50.0));
  EXPECT_EQ(reach([&](Canvas& c) {
              c.Text({0, 50}, TextAnchor::Centre, "C1", TextLook(black));
            }),
            std::pair(50 - height / 2, 50 + height / 2));
}

TEST(Canvas, WhatADeviceLacksIsMadeOfWhatItHas) {
  RecordingCanvas canvas;
  const Pen pen{{0, 0, 0}, 1.0};
  canvas.FillSector({{10, 20}, {5, 1}, {-1, 3}}, 0.4, 2.15, {});
  std::istringstream wedge(canvas.Recorded());
  wedge.ignore(8);
  // From the middle, steps of a tenth of a radian at most from end to end along the ellipse.
  for (int i = -1; i <= 18; ++i) {
    CanvasPoint at;
    ASSERT_TRUE(wedge >> at.x >> at.y) << canvas.Recorded();
    wedge.ignore(1);
    const double angle = 0.4 + 1.75 * i / 18, size = i < 0 ? 0.0 : 1.0;
    EXPECT_NEAR(at.x, 10 + size * (5 * std::cos(angle) - std::sin(angle)), 1e-3) << i;
    EXPECT_NEAR(at.y, 20 + size * (std::cos(angle) + 3 * std::sin(angle)), 1e-3) << i;
  }
  canvas.Forget();
  canvas.Facet({}, {}, 0.5, pen);
  const std::vector<LinePiece> pieces{{2, 4, 6, 8}};
  canvas.ScaledLines(pieces, 0.5, pen);
  canvas.ScaledLines(pieces, 1.0, pen);
  const std::vector<Disc> discs{{{1, -1}, 2.0, {}}, {{}, 1.0, {}}};
  canvas.Canvas::DiscStack({7, 8}, discs);
  EXPECT_EQ(canvas.Recorded(),
            "line 1 2 3 4 #000000 w1\npiece 2 4 6 8 #000000 w1\n"
            "ellipse 8 7 p 2 0 q 0 2 #000000\nellipse 7 8 p 1 0 q 0 1 #000000\n");
}

TEST(LabelOccupancy, TakesWhatALoopOverTheCellsTakes) {
  std::mt19937 random(4);
  LabelOccupancy occupancy;
  occupancy.Reset({-10, 5}, {100, 60}, 4.0);
  std::set<std::pair<int, int>> taken;
  size_t accepted = 0;
  for (int n = 0; n < 500; ++n) {
    const LabelBox box{{static_cast<double>(random() % 140) - 30.3, static_cast<double>(random() % 90) - 9.7},
                       {static_cast<double>(random() % 20), static_cast<double>(random() % 9)}};
    std::set<std::pair<int, int>> cells;
    bool isFree = true;
    for (int x = 0; x <= 25; ++x)
      for (int y = 0; y <= 15; ++y) {
        const double left = -10 + 4.0 * x, top = 5 + 4.0 * y;
        if (box.corner.x + box.size.x < left || box.corner.x >= left + 4 || box.corner.y < top ||
            box.corner.y - box.size.y >= top + 4)
          continue;
        cells.insert({x, y});
        isFree = isFree && !taken.contains({x, y});
      }
    ASSERT_EQ(occupancy.Take(box), isFree && !cells.empty()) << n;
    if (isFree) taken.merge(cells);
    accepted += isFree;
    const CanvasPoint at{static_cast<double>(random() % 110) - 14.5, static_cast<double>(random() % 70) + 1.5};
    ASSERT_EQ(occupancy.IsTaken(at), taken.contains({static_cast<int>(std::floor((at.x + 10) / 4)),
                                                     static_cast<int>(std::floor((at.y - 5) / 4))}));
  }
  EXPECT_GT(accepted, 50u);
}

TEST(GridRows, AreMeansAndMixturesOfTheirNeighbours) {
  std::mt19937 random(9);
  Image fine(14, 2), coarse(7, 5);
  for (uint32_t& p : fine.pixels) p = random();
  for (uint32_t& p : coarse.pixels) p = random();
  const auto channel = [](uint32_t pixel, int c) { return static_cast<int>(pixel >> 8 * c & 255); };
  std::vector<uint32_t> row(14);
  HalveRow(fine, row.data(), 7);
  for (int x = 0; x < 7; ++x)
    for (int c = 0; c < 4; ++c) {
      int sum = 2;
      for (const int dx : {0, 1})
        for (const int y : {0, 1}) sum += channel(fine.At(2 * x + dx, y), c);
      EXPECT_EQ(channel(row[static_cast<size_t>(x)], c), sum / 4);
    }
  for (int y = 0; y < 10; ++y) {
    DoubleRow(coarse, y, row.data(), 14);
    for (int x = 0; x < 14; ++x)
      for (int c = 0; c < 4; ++c) {
        // Each new pixel lies a quarter of the way to the next old one.
        const double u = std::clamp(x / 2.0 - 0.25, 0.0, 6.0), v = std::clamp(y / 2.0 - 0.25, 0.0, 4.0);
        const int x0 = std::min(static_cast<int>(u), 5), y0 = std::min(static_cast<int>(v), 3);
        const double a = u - x0, b = v - y0;
        const double exact =
            (1 - a) * (1 - b) * channel(coarse.At(x0, y0), c) + a * (1 - b) * channel(coarse.At(x0 + 1, y0), c) +
            (1 - a) * b * channel(coarse.At(x0, y0 + 1), c) + a * b * channel(coarse.At(x0 + 1, y0 + 1), c);
        EXPECT_NEAR(channel(row[static_cast<size_t>(x)], c), exact, 2.0) << x << ' ' << y << " " << c;
      }
  }
}

}  // namespace
}  // namespace marvik
