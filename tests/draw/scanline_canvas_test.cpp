#include "draw/canvas/scanline_canvas.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>

#include "draw/labels/label_font.h"

namespace marvik {
namespace {

constexpr Rgb kWhite{255, 255, 255};
constexpr Pen kThin{kWhite, 1.0};
constexpr Pen kNone{kWhite, 0.0};
constexpr ScanlineOptions kPlain{false, 0};
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A canvas in the middle of a larger buffer, whose frame must stay as it was.
class Framed {
 public:
  Framed(int width, int height, ScanlineOptions options = kPlain, LabelFont* font = nullptr)
      : buffer_(static_cast<size_t>((width + 2 * kFrame) * (height + 2 * kFrame)), kMark),
        canvas(buffer_.data() + kFrame * (width + 2 * kFrame) + kFrame, width, height, width + 2 * kFrame, font,
               options),
        width_(width),
        height_(height) {
    canvas.Clear({});
  }
  uint32_t At(int x, int y) const { return buffer_[static_cast<size_t>((y + kFrame) * Stride() + x + kFrame)]; }
  bool IsLit(int x, int y) const { return At(x, y) != PixelOf({}); }
  int Light(int x, int y) const { return ColourOf(At(x, y)).g; }
  std::vector<std::pair<int, int>> Lit() const {
    std::vector<std::pair<int, int>> lit;
    for (int i = 0; i < width_ * height_; ++i)
      if (IsLit(i % width_, i / width_)) lit.emplace_back(i % width_, i / width_);
    return lit;
  }
  int LitCount() const { return static_cast<int>(Lit().size()); }
  bool FrameIsWhole() const {
    for (int y = -kFrame; y < height_ + kFrame; ++y) {
      for (int x = -kFrame; x < width_ + kFrame; ++x) {
        const bool outside = x < 0 || y < 0 || x >= width_ || y >= height_;
        if (outside && At(x, y) != kMark) return false;
      }
    }
    return true;
  }
  // The rows as text: '.' dark, '#' full light, '+' between.
  std::string Picture() const {
    std::string s;
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) s += !IsLit(x, y) ? '.' : At(x, y) == PixelOf(kWhite) ? '#' : '+';
      s += '\n';
    }
    return s;
  }

 private:
  static constexpr int kFrame = 5;
  static constexpr uint32_t kMark = 0x12345678;
  int Stride() const { return width_ + 2 * kFrame; }
  std::vector<uint32_t> buffer_;

 public:
  ScanlineCanvas canvas;

 private:
  int width_;
  int height_;
};

using Inside = std::function<bool(double x, double y)>;

// Light of pixel (x, y) when the shape is white on black, from 16 x 16 points of its area.
double LightOf(const Inside& inside, int x, int y) {
  constexpr int kGrid = 16;
  int hits = 0;
  for (int i = 0; i < kGrid * kGrid; ++i) {
    hits += inside(x - 0.5 + (i % kGrid + 0.5) / kGrid, y - 0.5 + (i / kGrid + 0.5) / kGrid);
  }
  return 255.0 * hits / (kGrid * kGrid);
}

// Draws a white shape plainly and smoothly and compares every pixel with the shape's definition. `tolerance` is what
// sampling four rows to a pixel may cost.
void ExpectShape(const std::function<void(Canvas&)>& draw, const Inside& inside, double tolerance = 40.0) {
  constexpr int kSide = 48;
  Framed plain(kSide, kSide);
  Framed smooth(kSide, kSide, {});
  draw(plain.canvas);
  draw(smooth.canvas);
  EXPECT_TRUE(plain.FrameIsWhole() && smooth.FrameIsWhole());
  double error = 0.0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      EXPECT_EQ(plain.IsLit(x, y), inside(x, y)) << x << ' ' << y;
      const double expected = LightOf(inside, x, y);
      const bool wholly = expected == 0.0 || expected == 255.0;
      EXPECT_NEAR(smooth.Light(x, y), expected, wholly ? 6.0 : tolerance) << x << ' ' << y;
      error += smooth.Light(x, y) - expected;
    }
  }
  EXPECT_LT(std::abs(error), 255.0 * 4) << "the area as a whole";
}

Inside EllipseInside(const EllipseShape& e) {
  const double det = e.p.x * e.q.y - e.q.x * e.p.y;
  return [e, det](double x, double y) {
    const double dx = x - e.centre.x;
    const double dy = y - e.centre.y;
    return std::hypot((dx * e.q.y - dy * e.q.x) / det, (dy * e.p.x - dx * e.p.y) / det) <= 1.0;
  };
}

Inside CapsuleInside(CanvasPoint a, CanvasPoint b, double radius) {
  return [=](double x, double y) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    const double t = square > 0.0 ? std::clamp(((x - a.x) * dx + (y - a.y) * dy) / square, 0.0, 1.0) : 0.0;
    return std::hypot(x - a.x - t * dx, y - a.y - t * dy) <= radius;
  };
}

TEST(ScanlineCanvas, ThinLinesTakeTheNearestPixels) {
  std::mt19937 random(3);
  std::uniform_int_distribution<int> place(0, 59);
  for (int n = 0; n < 400; ++n) {
    const auto coordinate = [&] { return static_cast<int16_t>(place(random)); };
    const LinePiece piece{coordinate(), coordinate(), coordinate(), coordinate()};
    const LinePiece back{piece.x2, piece.y2, piece.x1, piece.y1};
    Framed there(60, 60);
    Framed andBack(60, 60);
    there.canvas.Lines({&piece, 1}, kThin);
    andBack.canvas.Lines({&back, 1}, kThin);
    EXPECT_EQ(there.Picture(), andBack.Picture());
    const int dx = std::abs(piece.x2 - piece.x1);
    const int dy = std::abs(piece.y2 - piece.y1);
    EXPECT_EQ(there.LitCount(), std::max(dx, dy) + 1);
    EXPECT_TRUE(there.IsLit(piece.x1, piece.y1) && there.IsLit(piece.x2, piece.y2));
    for (const auto& [x, y] : there.Lit()) {
      const double off = std::abs((x - piece.x1) * (piece.y2 - piece.y1) - (y - piece.y1) * (piece.x2 - piece.x1));
      EXPECT_LE(off, 0.5 * std::max(dx, dy) + 1e-9);
    }
  }
}

// However much of a line lies outside, what is inside is the same.
TEST(ScanlineCanvas, CutLinesKeepTheirPixels) {
  std::mt19937 random(4);
  std::uniform_int_distribution<int> place(-200, 240);
  for (int n = 0; n < 120; ++n) {
    const auto coordinate = [&] { return static_cast<int16_t>(place(random)); };
    LinePiece piece{coordinate(), coordinate(), coordinate(), coordinate()};
    for (const LineStyle style : {LineStyle::Solid, LineStyle::Dashed, LineStyle::Dotted}) {
      for (const ScanlineOptions options : {kPlain, ScanlineOptions{}}) {
        Framed window(41, 37, options);
        window.canvas.Lines({&piece, 1}, {kWhite, 1.0, style});
        EXPECT_TRUE(window.FrameIsWhole());
        // A whole number of both dash patterns further on.
        constexpr int kShift = 210;
        Framed whole(480, 480, options);
        const LinePiece moved{static_cast<int16_t>(piece.x1 + kShift), static_cast<int16_t>(piece.y1 + kShift),
                              static_cast<int16_t>(piece.x2 + kShift), static_cast<int16_t>(piece.y2 + kShift)};
        whole.canvas.Lines({&moved, 1}, {kWhite, 1.0, style});
        for (int i = 0; i < 41 * 37; ++i) {
          ASSERT_EQ(window.At(i % 41, i / 41), whole.At(i % 41 + kShift, i / 41 + kShift)) << n;
        }
      }
    }
  }
}

TEST(ScanlineCanvas, ThinLinesMayBeBroken) {
  const auto drawn = [](const Pen& pen) {
    Framed f(12, 1);
    f.canvas.Line({0, 0}, {11, 0}, pen);
    return f.Picture();
  };
  EXPECT_EQ(drawn({kWhite, 1.0, LineStyle::Dashed}), "####...####.\n");
  EXPECT_EQ(drawn({kWhite, 0.5, LineStyle::Dotted}), "#..#..#..#..\n");
  for (const double nothing : {0.0, kNan}) EXPECT_EQ(drawn({kWhite, nothing}), "............\n");
}

TEST(ScanlineCanvas, SmoothThinLinesShareTheirLight) {
  Framed f(9, 9, {});
  const LinePiece pieces[] = {{0, 0, 8, 0}, {0, 2, 0, 8}, {2, 2, 8, 8}};
  f.canvas.Lines({pieces, 3}, kThin);
  EXPECT_EQ(f.LitCount(), 9 + 7 + 7) << "level, upright and diagonal lines are sharp";
  EXPECT_EQ(f.At(5, 5), PixelOf(kWhite));
  Framed slope(9, 3, {});
  slope.canvas.Line({0, 0}, {8, 2}, kThin);
  EXPECT_EQ(slope.At(4, 1), PixelOf(kWhite));
  EXPECT_GT(slope.Light(1, 0), slope.Light(1, 1));
  EXPECT_NEAR(slope.Light(2, 0), slope.Light(2, 1), 2);

  // Crowded pictures are drawn plainly, and Clear starts anew.
  Framed crowded(9, 3, {true, 2});
  const LinePiece one{0, 0, 8, 2};
  const LinePiece three[] = {one, one, one};
  crowded.canvas.Lines({three, 3}, kThin);
  EXPECT_EQ(crowded.LitCount(), 9);
  crowded.canvas.Clear({});
  crowded.canvas.Lines({three, 2}, kThin);
  const int smooth = crowded.LitCount();
  EXPECT_GT(smooth, 9);
  crowded.canvas.Lines({&one, 1}, {{255, 0, 0}, 1.0});
  EXPECT_EQ(crowded.At(1, 0), PixelOf({255, 0, 0})) << "the budget is spent";
}

TEST(ScanlineCanvas, EllipsesCoverTheirArea) {
  const EllipseShape shapes[] = {
      {{20, 20}, {7, 0}, {0, 7}},        {{20.3, 19.6}, {7.2, 0}, {0, 7.2}}, {{24, 24}, {15, 6}, {-4, 9}},
      {{20, 24}, {15, 14}, {-3, 4}},     {{0, 0}, {12, 3}, {2, 20}},         {{47, 30}, {0.9, 0}, {0, 14}},
      {{-30.2, 20}, {40.7, 1}, {3, 60}}, {{24, 24}, {90, 10}, {-10, 80}},    {{24, 46.5}, {18, -3}, {5, 6}}};
  for (const EllipseShape& e : shapes) {
    ExpectShape([&](Canvas& canvas) { canvas.FillEllipse(e, kWhite, kNone); }, EllipseInside(e));
  }
  // Small discs count their pixels.
  const auto pixelsOf = [](double radius, double at) {
    Framed f(12, 12);
    f.canvas.FillEllipse({{at, at}, {radius, 0}, {0, radius}}, kWhite, kNone);
    return f.LitCount();
  };
  EXPECT_EQ(pixelsOf(0.0, 6), 0);
  EXPECT_EQ(pixelsOf(0.4, 6), 1);
  EXPECT_EQ(pixelsOf(1.0, 6), 5);
  EXPECT_EQ(pixelsOf(1.0, 5.5), 4);
  EXPECT_EQ(pixelsOf(2.5, 6), 21);
}

TEST(ScanlineCanvas, PlainOutlinesAreTheBorderPixels) {
  const EllipseShape shapes[] = {
      {{20, 20}, {7, 0}, {0, 7}}, {{20.3, 19.6}, {15, 6}, {-4, 9}}, {{5, 40}, {0.8, 9}, {9, 2}}};
  for (const EllipseShape& e : shapes) {
    Framed f(44, 44);
    f.canvas.FillEllipse(e, {0, 0, 90}, kThin);
    const Inside inside = EllipseInside(e);
    for (int y = 0; y < 44; ++y) {
      for (int x = 0; x < 44; ++x) {
        const bool border = !inside(x - 1, y) || !inside(x + 1, y) || !inside(x, y - 1) || !inside(x, y + 1);
        const uint32_t expected = !inside(x, y) ? PixelOf({}) : border ? PixelOf(kWhite) : PixelOf({0, 0, 90});
        ASSERT_EQ(f.At(x, y), expected) << x << ' ' << y;
      }
    }
  }
  Framed edgeOn(9, 3);
  edgeOn.canvas.FillEllipse({{4, 1}, {3, 0}, {2, 0}}, {0, 0, 90}, kThin);
  EXPECT_EQ(edgeOn.Picture(), ".........\n.#######.\n.........\n");
}

TEST(ScanlineCanvas, SmoothOutlinesFollowTheBorder) {
  for (const double width : {1.0, 4.0}) {
    const EllipseShape e{{24, 24}, {15, 6}, {-4, 9}};
    Framed f(48, 48, {});
    f.canvas.FillEllipse(e, {0, 0, 90}, {{255, 0, 0}, width});
    for (int i = 0; i < 60; ++i) {
      const double t = i * std::numbers::pi / 30;
      const double x = e.centre.x + std::cos(t) * e.p.x + std::sin(t) * e.q.x;
      const double y = e.centre.y + std::cos(t) * e.p.y + std::sin(t) * e.q.y;
      const Rgb c = ColourOf(f.At(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y))));
      EXPECT_GT(c.r, width > 1.0 ? 250 : 60) << t;
    }
    EXPECT_EQ(f.At(24, 24), PixelOf({0, 0, 90}));
    EXPECT_EQ(f.At(3, 3), PixelOf({}));
  }
}

TEST(ScanlineCanvas, ThickLinesHaveRoundEnds) {
  const struct {
    CanvasPoint a;
    CanvasPoint b;
    double width;
  } lines[] = {{{8, 9}, {39, 30}, 7.0},    {{8, 30}, {39, 9.5}, 2.3}, {{10, 20}, {35, 20}, 5.0},
               {{20, 8}, {20, 40}, 6.0},   {{-9, 20}, {60, 24}, 9.0}, {{24, 24}, {24, 24}, 9.0},
               {{20, -90}, {30, 90}, 4.0}, {{41, 44}, {80, 60}, 20.0}};
  for (const auto& l : lines) {
    ExpectShape(
        [&](Canvas& canvas) {
          canvas.Line(l.a, l.b, {kWhite, l.width});
        },
        CapsuleInside(l.a, l.b, l.width / 2));
  }
}

TEST(ScanlineCanvas, PolygonsFollowTheEvenOddRule) {
  const std::vector<CanvasPoint> star{{24.1, 3.2}, {37.3, 42.1}, {3.4, 17.6}, {44.7, 17.4}, {11.2, 42.3}};
  const std::vector<CanvasPoint> notched{{-10, -12.5}, {60.2, 5.1}, {20.7, 20.3}, {55.9, 70.4}, {6.6, 30.8}};
  const std::vector<CanvasPoint> triangle{{5.3, 40.2}, {44.1, 30.7}, {20.2, -7.5}};
  const std::vector<CanvasPoint> strip{{-5.2, 10.1}, {4.3, 2.6}, {60.1, 38.7}, {50.2, 49.9}};
  const std::vector<CanvasPoint> crossed{{5.1, 5.2}, {40.3, 41.4}, {40.2, 6.3}, {6.4, 40.1}};
  const std::vector<CanvasPoint> dart{{24.1, 3.2}, {42.3, 42.1}, {24.2, 30.3}, {5.4, 44.6}};
  for (const auto& points : {star, notched, triangle, strip, crossed, dart}) {
    const Inside inside = [&points](double x, double y) {
      bool odd = false;
      for (size_t i = 0, j = points.size() - 1; i < points.size(); j = i++) {
        const CanvasPoint a = points[i];
        const CanvasPoint b = points[j];
        if ((a.y > y) != (b.y > y) && x < a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x)) odd = !odd;
      }
      return odd;
    };
    ExpectShape([&](Canvas& canvas) { canvas.Polygon(points, kWhite, kNone); }, inside, 60.0);
  }
  Framed outlined(12, 12);
  const CanvasPoint square[] = {{2, 2}, {9, 2}, {9, 9}, {2, 9}};
  outlined.canvas.Polygon(square, {0, 0, 90}, kThin);
  EXPECT_EQ(outlined.At(2, 5), PixelOf(kWhite)) << "closed by itself";
  EXPECT_EQ(outlined.At(5, 9), PixelOf(kWhite));
  EXPECT_EQ(outlined.At(5, 5), PixelOf({0, 0, 90}));
}

TEST(ScanlineCanvas, StrokesDoNotOverlapThemselves) {
  // Neither joints nor crossings of one line are brighter than the rest.
  Framed f(40, 40, {});
  const CanvasPoint points[] = {{5, 5}, {30, 9}, {30, 9}, {8, 30}, {20, 3}};
  f.canvas.Polyline(points, {{100, 100, 100}, 3.0});
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) EXPECT_LE(f.Light(x, y), 100);
  }
  EXPECT_EQ(f.Light(30, 9), 100);
  EXPECT_EQ(f.Light(16, 7), 100);

  Framed arc(40, 40, {});
  const EllipseShape e{{20, 20}, {14, 0}, {0, 9}};
  arc.canvas.Arc(e, 0.0, std::numbers::pi / 2, {{100, 100, 100}, 3.0});
  EXPECT_EQ(arc.Light(34, 20), 100);
  EXPECT_EQ(arc.Light(20, 29), 100) << "angles run from p to q";
  EXPECT_EQ(arc.Light(20, 11), 0);
  EXPECT_EQ(arc.Light(6, 20), 0);
}

TEST(ScanlineCanvas, ThickDashesCountInPenWidths) {
  for (const ScanlineOptions options : {kPlain, ScanlineOptions{}}) {
    Framed dashed(80, 9, options);
    dashed.canvas.Line({4, 4}, {75, 4}, {kWhite, 4.0, LineStyle::Dashed});
    const auto lit = [&dashed](int x) { return dashed.At(x, 4) == PixelOf(kWhite); };
    EXPECT_TRUE(lit(4) && lit(16) && lit(17) && !lit(20) && !lit(24) && lit(28) && lit(40) && !lit(44));
    Framed dotted(80, 9, options);
    dotted.canvas.Line({4, 4}, {75, 4}, {kWhite, 4.0, LineStyle::Dotted});
    const auto dot = [&dotted](int x) { return dotted.IsLit(x, 4); };
    EXPECT_TRUE(dot(4) && !dot(8) && dot(12) && !dot(16) && dot(20));
  }
}

TEST(ScanlineCanvas, DiscStacksLookLikeTheirDiscs) {
  std::vector<Disc> discs;
  for (int i = 0; i < 8; ++i) {
    discs.push_back({{-0.5 * i, -0.5 * i}, 9.5 - i, {static_cast<uint8_t>(90 + 20 * i), 60, 60}});
  }
  discs.push_back({{20, 4}, 3.0, {0, 200, 0}});  // stands apart
  discs.push_back({{0, 0}, 0.0, {0, 200, 0}});
  const CanvasPoint places[] = {{30, 30}, {2, 3}, {58, 1}, {30, 30}, {-6, 59}, {-400, 10}, {30.25, 12}};
  for (const ScanlineOptions options : {kPlain, ScanlineOptions{}}) {
    Framed stacked(60, 60, options);
    Framed single(60, 60, options);
    for (const CanvasPoint& at : places) {
      stacked.canvas.DiscStack(at, discs);
      single.canvas.Canvas::DiscStack(at, discs);
    }
    EXPECT_TRUE(stacked.FrameIsWhole());
    for (int i = 0; i < 3600; ++i) {
      const Rgb a = ColourOf(stacked.At(i % 60, i / 60));
      const Rgb b = ColourOf(single.At(i % 60, i / 60));
      const int off = std::max({std::abs(a.r - b.r), std::abs(a.g - b.g), std::abs(a.b - b.b)});
      EXPECT_LE(off, options.smoothEdges ? 4 : 0) << i % 60 << ' ' << i / 60;
    }
  }
  // What is too large to keep is drawn all the same, and equal stacks in other colours are told apart.
  Framed f(60, 60);
  const Disc huge{{0, 0}, 500, {1, 2, 3}};
  f.canvas.DiscStack({30, 30}, {&huge, 1});
  EXPECT_EQ(f.At(59, 0), PixelOf({1, 2, 3}));
  for (int i = 0; i < 300; ++i) {
    const Disc disc{{0, 0}, 100, {static_cast<uint8_t>(i), 7, 7}};
    f.canvas.DiscStack({30, 30}, {&disc, 1});
    EXPECT_EQ(ColourOf(f.At(30, 30)).r, i % 256);
  }
  f.canvas.DiscStack({30, 30}, {});
}

TEST(ScanlineCanvas, TextStandsOnItsPoint) {
  LabelFont font(13.0);
  Framed f(60, 40, {}, &font);
  const CanvasPoint size = f.canvas.TextSize("H1");
  EXPECT_GT(size.x, 8.0);
  EXPECT_GT(size.y, 10.0);
  f.canvas.Text({10, 30}, TextAnchor::BottomLeft, "H1", kWhite);
  for (const auto& [x, y] : f.Lit()) {
    EXPECT_GE(x, 9);
    EXPECT_LE(x, 11 + size.x);
    EXPECT_GE(y, 29 - size.y);
    EXPECT_LE(y, 31 - font.Descent());
  }
  EXPECT_GT(f.LitCount(), 20);

  // Centred text is as far from one side as from the other.
  Framed centred(61, 41, {}, &font);
  centred.canvas.Text({30, 20}, TextAnchor::Centre, "HHH", kWhite);
  const auto lit = centred.Lit();
  const auto [first, last] = std::ranges::minmax_element(lit);
  EXPECT_NEAR(first->first + last->first, 60, 2);

  Framed cut(30, 12, {}, &font);
  for (const double x : {-7.0, 25.0, 1e9, -1e9, kNan}) {
    for (const double y : {-2.0, 5.0, 17.0, 1e9, kNan}) cut.canvas.Text({x, y}, TextAnchor::Centre, "Wg\xff", kWhite);
  }
  EXPECT_TRUE(cut.FrameIsWhole());
  EXPECT_GT(cut.LitCount(), 0);
}

// Coordinates that a wild structure or a broken one may give.
TEST(ScanlineCanvas, NothingIsDrawnOutsideWhateverTheCall) {
  std::mt19937 random(5);
  const double wild[] = {0,      1,     -1,    8,   12,   20,  25,    30,   33,   40,    0.5,    -0.0, 17.3,
                         -32768, 32767, 65536, 1e5, -1e6, 9e6, 1.2e7, -1e9, 1e-9, 1e300, -1e300, kNan, kInfinity};
  const auto pick = [&](size_t count) { return random() % count; };
  const auto value = [&] { return wild[pick(std::size(wild))] + static_cast<double>(pick(100)) / 10.0; };
  const auto point = [&] { return CanvasPoint{value(), value()}; };
  LabelFont font(11.0);
  for (const ScanlineOptions options : {kPlain, ScanlineOptions{}}) {
    Framed f(37, 29, options, &font);
    for (int n = 0; n < 6000; ++n) {
      const Rgb colour{static_cast<uint8_t>(random()), static_cast<uint8_t>(random()), 7};
      const double width = pick(3) == 0 ? value() : static_cast<double>(pick(9));
      const Pen pen{colour, width, static_cast<LineStyle>(pick(3))};
      const EllipseShape shape{point(), point(), point()};
      const std::vector<CanvasPoint> points{point(), point(), point(), point(), point()};
      const auto coordinate = [&] { return static_cast<int16_t>(pick(4) == 0 ? random() : pick(60)); };
      const LinePiece piece{coordinate(), coordinate(), coordinate(), coordinate()};
      const Disc discs[] = {{point(), value(), colour}, {{0, 0}, static_cast<double>(pick(20)), colour}};
      const std::span<const LinePiece> pieces(&piece, 1);
      const std::span<const CanvasPoint> some(points.data(), pick(6));
      const std::span<const Disc> disc(discs + pick(2), 1);
      const CanvasPoint at = pick(2) ? point() : CanvasPoint{12, 9};
      const std::function<void()> calls[] = {
          [&] { f.canvas.Lines(pieces, pen); },
          [&] { f.canvas.Line(point(), point(), pen); },
          [&] { f.canvas.FillEllipse(shape, colour, pen); },
          [&] { f.canvas.Arc(shape, value(), value(), pen); },
          [&] { f.canvas.Polygon(some, colour, pen); },
          [&] { f.canvas.Polyline(some, pen); },
          [&] { f.canvas.DiscStack(at, disc); },
          [&] { f.canvas.Text(point(), TextAnchor::Centre, "C\xc3\x85 1", colour); }};
      calls[pick(8)]();
      ASSERT_TRUE(f.FrameIsWhole()) << n;
      ASSERT_EQ(f.At(5, 5) >> 24, 255u) << n;
    }
  }
  ScanlineCanvas nowhere(nullptr, 100, 100, 100);
  nowhere.Clear(kWhite);
  nowhere.Line({0, 0}, {50, 50}, {kWhite, 5.0});
  Image empty(0, -3);
  ScanlineCanvas(empty).FillEllipse({{0, 0}, {5, 0}, {0, 5}}, kWhite, kThin);
}

}  // namespace
}  // namespace marvik
