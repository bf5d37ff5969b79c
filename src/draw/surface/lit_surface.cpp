#include "draw/surface/lit_surface.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "draw/canvas/colours.h"
#include "draw/renderer/look.h"
#include "draw/surface/body_rows.h"
#include "draw/surface/grid_rows.h"

namespace marvik {
namespace {

constexpr float kNothing = -1e30f;  // depth where there is no body
constexpr double kVast = 1e6;       // pixels
constexpr int kBandRows = 32;
constexpr int kStripBands = 8;  // drawn before their rows are lit

// Light from the upper left, over the viewer's shoulder.
constexpr float kLightX = -0.42f;
constexpr float kLightY = -0.52f;
constexpr float kLightZ = 0.744f;
constexpr float kAmbient = 0.38f;
constexpr float kDiffuse = 0.66f;
constexpr float kGloss = 0.32f;
constexpr float kOutline = 0.45f;  // of the light that is left on an edge
constexpr float kFog = 0.28f;      // of the background over what is farthest
constexpr float kLineFog = 0.6f;   // the same over lines
constexpr int kWidestLine = 64;
constexpr float kCutFace = 0.72f;  // lightness
constexpr float kRing = 0.35f;     // lightness of the principal ellipses
constexpr int kShadowSamples = 8;
constexpr float kShadowDepth = 0.55f;

bool IsSound(const ViewPoint& p) {
  return std::abs(p.x) < kVast && std::abs(p.y) < kVast && std::abs(p.z) < kVast;
}

// What the rays found, of the last rows that were drawn: those that are to be lit and those that shade them.
struct Grid {
  int width = 0;
  int height = 0;
  int kept = 0;  // rows, whole bands
  std::vector<float> depth;
  std::vector<float> normalX;
  std::vector<float> normalY;
  std::vector<uint32_t> colour;
  // Lines in front of the bodies; empty where there are none.
  std::vector<float> lineDepth;
  std::vector<uint32_t> lineColour;
  // Of the faces in front of both: colours times cover, which is the top byte; empty where there are none.
  std::vector<uint32_t> veil;

  Grid(int w, int h, int rows, bool lines, bool faces) : width(w), height(h), kept(rows) {
    const size_t size = static_cast<size_t>(w) * static_cast<size_t>(rows);
    depth.resize(size);
    normalX.resize(size);
    normalY.resize(size);
    colour.resize(size);
    if (faces) veil.resize(size);
    if (!lines) return;
    lineDepth.resize(size);
    lineColour.resize(size);
  }
  size_t Row(int y) const { return static_cast<size_t>(y % kept) * static_cast<size_t>(width); }
};

GridRow RowOf(Grid& grid, int y) {
  const size_t at = grid.Row(y);
  return {&grid.depth[at], &grid.normalX[at], &grid.normalY[at], &grid.colour[at]};
}

// The top byte says how much of it stands on the background.
uint32_t InkOf(Rgb colour, bool pale) {
  const auto cover = static_cast<uint32_t>(pale ? 255.0 * kPaleInk : 255.0);
  return (PixelOf(colour) & 0xffffffu) | cover << 24;
}

uint32_t Darker(uint32_t colour, float share) {
  uint32_t result = colour & 0xff000000u;
  for (int shift = 0; shift < 24; shift += 8)
    result |= static_cast<uint32_t>(static_cast<float>(colour >> shift & 255) * share) << shift;
  return result;
}

// How bright a surface is that faces that way.
float BrightnessOf(float nx, float ny, float nz) {
  return kAmbient + kDiffuse * std::max(nx * kLightX + ny * kLightY + nz * kLightZ, 0.0f);
}

// What a veil over a pixel leaves of it; both may be veils.
uint32_t Veiled(uint32_t below, uint32_t veil) {
  const uint32_t through = 255 - (veil >> 24);
  uint32_t pixel = 0;
  for (int shift = 0; shift < 32; shift += 8)
    pixel |= std::min((veil >> shift & 255) + ((below >> shift & 255) * through + 127) / 255, 255u) << shift;
  return pixel;
}

// The bodies in the units of the grid, each with the rows that it reaches into.
class Rays {
 public:
  Rays(const LitScene& scene, double scale, Grid& grid) : grid_(grid), scale_(scale) {
    bands_.resize(static_cast<size_t>((grid.height + kBandRows - 1) / kBandRows));
    for (const LitBall& ball : scene.balls) AddBall(ball);
    for (const LitEllipsoid& ellipsoid : scene.ellipsoids) AddEllipsoid(ellipsoid);
    for (const LitStick& stick : scene.sticks) AddStick(stick);
    lineWidth_ = std::clamp(static_cast<int>(std::lround(scene.lineWidth * scale)), 1, kWidestLine);
    for (const LitLine& line : scene.lines) AddLine(line);
    AddFaces(scene.faces);
  }
  size_t Bands() const { return bands_.size(); }

  void DrawBand(size_t band) {
    const int top = static_cast<int>(band) * kBandRows;
    const int bottom = std::min(top + kBandRows, grid_.height) - 1;
    std::fill_n(grid_.depth.begin() + static_cast<ptrdiff_t>(grid_.Row(top)),
                static_cast<size_t>(bottom - top + 1) * static_cast<size_t>(grid_.width), kNothing);
    if (!grid_.lineDepth.empty())
      std::fill_n(grid_.lineDepth.begin() + static_cast<ptrdiff_t>(grid_.Row(top)),
                  static_cast<size_t>(bottom - top + 1) * static_cast<size_t>(grid_.width), kNothing);
    if (!grid_.veil.empty())
      std::fill_n(grid_.veil.begin() + static_cast<ptrdiff_t>(grid_.Row(top)),
                  static_cast<size_t>(bottom - top + 1) * static_cast<size_t>(grid_.width), 0u);
    for (const uint32_t entry : bands_[band]) {
      const uint32_t index = entry / kKinds;
      switch (entry % kKinds) {
        case kBall:
          DrawBall(balls_[index], top, bottom);
          break;
        case kEllipsoid:
          DrawEllipsoid(ellipsoids_[index], top, bottom);
          break;
        case kStick:
          DrawStick(sticks_[index], top, bottom);
          break;
        case kLine:
          DrawLine(lines_[index], top, bottom);
          break;
        default:
          DrawFace(faces_[index], top, bottom);
      }
    }
  }

 private:
  enum Kind : uint32_t { kBall, kEllipsoid, kStick, kLine, kFace, kKinds };
  struct Ellipsoid {
    EllipsoidRays rays;
    float halfX, halfY;
  };
  struct Face {
    std::vector<ViewPoint> corners;
    double slopeX, slopeY;  // of its depth
    uint32_t veil;
  };

  // A pixel's middle is half a pixel from its corner, so that grids of all resolutions agree.
  double Placed(double v) const { return (v + 0.5) * scale_ - 0.5; }
  ViewPoint Placed(const ViewPoint& p) const { return {Placed(p.x), Placed(p.y), p.z * scale_}; }

  void Enter(double low, double high, Kind kind, size_t index) {
    const uint32_t entry = static_cast<uint32_t>(index) * kKinds + kind;
    if (!(high >= 0.0 && low < grid_.height)) return;
    const auto first = static_cast<size_t>(std::max(low, 0.0)) / kBandRows;
    const auto last = static_cast<size_t>(std::min(high, grid_.height - 1.0)) / kBandRows;
    for (size_t band = first; band <= last; ++band) bands_[band].push_back(entry);
  }

  void AddBall(const LitBall& ball) {
    if (!IsSound(ball.centre) || !(ball.radius > 0.0 && ball.radius < kVast)) return;
    LitBall placed{Placed(ball.centre), std::max(ball.radius * scale_, 0.5), ball.colour, ball.pale};
    Enter(placed.centre.y - placed.radius, placed.centre.y + placed.radius, kBall, balls_.size());
    balls_.push_back(placed);
  }

  void AddEllipsoid(const LitEllipsoid& given) {
    if (!IsSound(given.centre)) return;
    Ellipsoid e{};
    const ViewPoint centre = Placed(given.centre);
    double halfX = 0.0;
    double halfY = 0.0;
    for (size_t k = 0; k < 3; ++k) {
      ViewPoint axis = given.axes[k] * scale_;
      if (axis.z < 0.0) axis = -axis;
      const double square = Dot(axis, axis);
      if (!IsSound(axis) || !(square > 1e-6)) return;
      e.rays.toUnit[k] = {static_cast<float>(axis.x / square), static_cast<float>(axis.y / square),
                          static_cast<float>(std::max(axis.z / square, 1e-9))};
      e.rays.length[k] = static_cast<float>(std::sqrt(square));
      halfX += axis.x * axis.x;
      halfY += axis.y * axis.y;
    }
    e.halfX = static_cast<float>(std::sqrt(halfX));
    e.halfY = static_cast<float>(std::sqrt(halfY));
    e.rays.cx = static_cast<float>(centre.x);
    e.rays.cy = static_cast<float>(centre.y);
    e.rays.cz = static_cast<float>(centre.z);
    e.rays.a = 0.0f;
    for (size_t k = 0; k < 3; ++k) e.rays.a += e.rays.toUnit[k][2] * e.rays.toUnit[k][2];
    e.rays.plain = InkOf(given.colour, given.pale);
    e.rays.ring = Darker(e.rays.plain, kRing);
    for (size_t k = 0; k < 3; ++k) e.rays.face[k] = Darker(e.rays.plain, kCutFace - 0.08f * static_cast<float>(k));
    e.rays.cut = given.cut;
    Enter(centre.y - e.halfY, centre.y + e.halfY, kEllipsoid, ellipsoids_.size());
    ellipsoids_.push_back(e);
  }

  static double Widest(const LitStick& s) { return s.radius * std::max(1.0, 1.0 + s.widening); }
  void AddStick(const LitStick& stick) {
    if (!IsSound(stick.a) || !IsSound(stick.b) || !(stick.radius > 0.0 && stick.radius < kVast)) return;
    LitStick placed = stick;
    placed.a = Placed(stick.a);
    placed.b = Placed(stick.b);
    placed.radius = std::max(stick.radius * scale_, 0.5);
    if (!(Length(placed.b - placed.a) > 1e-3)) return;
    const double widest = Widest(placed);
    Enter(std::min(placed.a.y, placed.b.y) - widest, std::max(placed.a.y, placed.b.y) + widest, kStick, sticks_.size());
    sticks_.push_back(placed);
  }

  void AddLine(const LitLine& line) {
    if (!IsSound(line.a) || !IsSound(line.b)) return;
    const LitLine placed{Placed(line.a), Placed(line.b), line.colour};
    Enter(std::min(placed.a.y, placed.b.y) - lineWidth_, std::max(placed.a.y, placed.b.y) + lineWidth_, kLine,
          lines_.size());
    lines_.push_back(placed);
  }

  // The farthest first, behind all bodies and lines.
  void AddFaces(const std::vector<LitFace>& given) {
    std::vector<std::pair<double, const LitFace*>> order;
    for (const LitFace& face : given) {
      double depth = 0.0;
      for (const ViewPoint& corner : face.corners) depth += corner.z / static_cast<double>(face.corners.size());
      if (face.corners.size() >= 3 && std::ranges::all_of(face.corners, IsSound)) order.emplace_back(depth, &face);
    }
    std::ranges::stable_sort(order, {}, [](const auto& entry) { return entry.first; });
    for (const auto& [depth, face] : order) AddFace(*face);
  }

  void AddFace(const LitFace& given) {
    Face face{};
    ViewPoint normal{};
    double low = kVast, high = -kVast;
    for (size_t i = 0; i < given.corners.size(); ++i) {
      const ViewPoint corner = Placed(given.corners[i]);
      normal += Cross(given.corners[i], given.corners[(i + 1) % given.corners.size()]);
      low = std::min(low, corner.y);
      high = std::max(high, corner.y);
      face.corners.push_back(corner);
    }
    normal = Normalised(normal.z < 0.0 ? -normal : normal);
    if (!(normal.z > 1e-4)) return;  // seen from its edge
    face.slopeX = -normal.x / normal.z;
    face.slopeY = -normal.y / normal.z;
    const float bright =
        BrightnessOf(static_cast<float>(normal.x), static_cast<float>(normal.y), static_cast<float>(normal.z));
    const double cover = std::clamp(given.opacity, 0.0, 1.0);
    const uint32_t colour = PixelOf(given.colour);
    face.veil = static_cast<uint32_t>(std::lround(cover * 255.0)) << 24;
    for (int shift = 0; shift < 24; shift += 8)
      face.veil |= static_cast<uint32_t>(std::min(static_cast<double>(colour >> shift & 255) * bright, 255.0) * cover)
                   << shift;
    Enter(low, high, kFace, faces_.size());
    faces_.push_back(std::move(face));
  }

  template <class Draw>
  void EachRow(double low, double high, double left, double right, int top, int bottom, Draw draw) {
    const int y0 = std::max(top, static_cast<int>(std::ceil(std::max(low, -1.0))));
    const int y1 = std::min(bottom, static_cast<int>(std::floor(std::min(high, static_cast<double>(bottom)))));
    const int x0 = static_cast<int>(std::ceil(std::clamp(left, 0.0, static_cast<double>(grid_.width))));
    const int x1 = static_cast<int>(std::floor(std::clamp(right, -1.0, grid_.width - 1.0)));
    for (int y = y0; y <= y1; ++y) draw(y, x0, x1);
  }

  void DrawBall(const LitBall& ball, int top, int bottom) {
    const ViewPoint& c = ball.centre;
    EachRow(c.y - ball.radius, c.y + ball.radius, c.x - ball.radius, c.x + ball.radius, top, bottom,
            [&](int y, int x0, int x1) {
              const double dy = y - c.y;
              const double reach = std::sqrt(std::max(ball.radius * ball.radius - dy * dy, 0.0)) + 1.0;
              const int from = std::max(x0, static_cast<int>(c.x - reach));
              const int to = std::min(x1, static_cast<int>(c.x + reach) + 1);
              DrawBallRow(RowOf(grid_, y), from, to,
                          {static_cast<float>(c.x), static_cast<float>(dy), static_cast<float>(c.z),
                           static_cast<float>(ball.radius)},
                          InkOf(ball.colour, ball.pale));
            });
  }

  void DrawEllipsoid(const Ellipsoid& e, int top, int bottom) {
    EachRow(e.rays.cy - e.halfY, e.rays.cy + e.halfY, e.rays.cx - e.halfX, e.rays.cx + e.halfX, top, bottom,
            [&](int y, int x0, int x1) {
              DrawEllipsoidRow(RowOf(grid_, y), x0, x1, static_cast<float>(y) - e.rays.cy, e.rays);
            });
  }

  void DrawStick(const LitStick& s, int top, int bottom) {
    const ViewPoint d = (s.b - s.a) * (1.0 / Length(s.b - s.a));
    const double flat = std::hypot(d.x, d.y);
    const double length = Length(s.b - s.a);
    const double widest = Widest(s);
    EachRow(std::min(s.a.y, s.b.y) - widest, std::max(s.a.y, s.b.y) + widest, std::min(s.a.x, s.b.x) - widest,
            std::max(s.a.x, s.b.x) + widest, top, bottom, [&](int y, int x0, int x1) {
              if (std::abs(d.y) > 1e-3 * flat) {
                // The part of the row beside the stick's line.
                const double middle = s.a.x + (y - s.a.y) * d.x / d.y;
                const double wide = widest * flat / std::abs(d.y) + 1.0;
                x0 = std::max(x0, static_cast<int>(std::max(middle - wide, -1.0)));
                x1 = std::min(x1, static_cast<int>(std::min(middle + wide, 1e6)) + 1);
              }
              const StickRow row{static_cast<float>(s.a.x),  static_cast<float>(s.a.z),   static_cast<float>(y - s.a.y),
                                 static_cast<float>(d.x),    static_cast<float>(d.y),     static_cast<float>(d.z),
                                 static_cast<float>(length), static_cast<float>(s.radius)};
              const uint32_t colourA = InkOf(s.colourA, s.paleA), colourB = InkOf(s.colourB, s.paleB);
              if (s.widening == 0.0) return DrawStickRow(RowOf(grid_, y), x0, x1, row, colourA, colourB);
              const auto slope = static_cast<float>(s.widening * s.radius / length);
              DrawConeRow(RowOf(grid_, y), x0, x1, {row, slope}, colourA, colourB);
            });
  }

  // Step by step along the longer of its sides, some pixels across; its bodies are in the grid already.
  void DrawLine(const LitLine& line, int top, int bottom) {
    const ViewPoint way = line.b - line.a;
    const bool flat = std::abs(way.x) > std::abs(way.y);
    const double steps = std::max(std::abs(flat ? way.x : way.y), 1.0);
    double from = 0.0;
    double to = 1.0;
    Narrow(line.a.y, way.y, top - lineWidth_, bottom + lineWidth_, from, to);
    Narrow(line.a.x, way.x, -lineWidth_, grid_.width + lineWidth_, from, to);
    const uint32_t colour = PixelOf(line.colour);
    for (double step = std::floor(from * steps); step <= to * steps; step += 1.0) {
      const ViewPoint p = line.a + way * (step / steps);
      const double across = (flat ? p.y : p.x) - 0.5 * (lineWidth_ - 1);
      for (int i = 0; i < lineWidth_; ++i) {
        const int x = static_cast<int>(std::lround(flat ? p.x : across + i));
        const int y = static_cast<int>(std::lround(flat ? across + i : p.y));
        if (x < 0 || x >= grid_.width || y < top || y > bottom) continue;
        const size_t at = grid_.Row(y) + static_cast<size_t>(x);
        const auto z = static_cast<float>(p.z);
        if (z <= grid_.depth[at] || z <= grid_.lineDepth[at]) continue;
        grid_.lineDepth[at] = z;
        grid_.lineColour[at] = colour;
      }
    }
  }

  void DrawFace(const Face& face, int top, int bottom) {
    const auto& corners = face.corners;
    const int first = std::max(top, static_cast<int>(std::floor(std::ranges::min(corners, {}, &ViewPoint::y).y)));
    const int last = std::min(bottom, static_cast<int>(std::ceil(std::ranges::max(corners, {}, &ViewPoint::y).y)));
    for (int y = first; y <= last; ++y) {
      double left = kVast, right = -kVast;
      for (size_t i = 0; i < corners.size(); ++i) {
        const ViewPoint& a = corners[i];
        const ViewPoint& b = corners[(i + 1) % corners.size()];
        if (a.y == b.y || std::min(a.y, b.y) > y || std::max(a.y, b.y) < y) continue;
        const double x = a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y);
        left = std::min(left, x);
        right = std::max(right, x);
      }
      const int x0 = static_cast<int>(std::ceil(std::max(left, 0.0)));
      const int x1 = static_cast<int>(std::floor(std::min(right, grid_.width - 1.0)));
      const ViewPoint& from = corners.front();
      for (int x = x0; x <= x1; ++x) {
        const size_t at = grid_.Row(y) + static_cast<size_t>(x);
        const auto z = static_cast<float>(from.z + face.slopeX * (x - from.x) + face.slopeY * (y - from.y));
        if (z <= grid_.depth[at] || (!grid_.lineDepth.empty() && z <= grid_.lineDepth[at])) continue;
        grid_.veil[at] = Veiled(grid_.veil[at], face.veil);
      }
    }
  }

  // The part of a way, given as shares of it, that lies between two bounds.
  static void Narrow(double start, double way, double low, double high, double& from, double& to) {
    if (std::abs(way) < 1e-9) return;
    const double a = (low - start) / way;
    const double b = (high - start) / way;
    from = std::max(from, std::min(a, b));
    to = std::min(to, std::max(a, b));
  }

  Grid& grid_;
  double scale_;
  int lineWidth_ = 1;
  std::vector<std::vector<uint32_t>> bands_;
  std::vector<LitBall> balls_;
  std::vector<Ellipsoid> ellipsoids_;
  std::vector<LitStick> sticks_;
  std::vector<LitLine> lines_;
  std::vector<Face> faces_;
};

// Work on the bands of a picture by several threads; each takes the next that is left.
template <class Work>
void InThreads(size_t pieces, int threads, Work work) {
  std::vector<std::jthread> team;
  const size_t count = std::min(pieces, static_cast<size_t>(std::max(threads, 1)));
  const auto share = [&](size_t first) {
    for (size_t i = first; i < pieces; i += count) work(i);
  };
  for (size_t i = 1; i < count; ++i) team.emplace_back(share, i);
  if (count > 0) share(0);
}

struct Lighting {
  float near, far;      // depths
  float edge;           // a step in depth that makes an outline, pixels of the grid
  int shadowReach = 0;  // pixels of the grid; 0: none
  uint32_t background;
};

// How much of the light reaches a point past what lies around it.
float OpenSky(const Grid& grid, int x, int y, float depth, int reach) {
  static constexpr std::array<std::array<float, 2>, kShadowSamples> kAround{{{1.0f, 0.0f},
                                                                             {0.5f, 0.5f},
                                                                             {0.0f, 1.0f},
                                                                             {-0.35f, 0.35f},
                                                                             {-1.0f, 0.0f},
                                                                             {-0.6f, -0.6f},
                                                                             {0.0f, -0.5f},
                                                                             {0.3f, -0.3f}}};
  float hidden = 0.0f;
  for (const auto& [dx, dy] : kAround) {
    const int sx = std::clamp(x + static_cast<int>(dx * static_cast<float>(reach)), 0, grid.width - 1);
    const int sy = std::clamp(y + static_cast<int>(dy * static_cast<float>(reach)), 0, grid.height - 1);
    const float step = grid.depth[grid.Row(sy) + static_cast<size_t>(sx)] - depth;
    const float share = step / static_cast<float>(reach);
    if (share > 0.15f && share < 3.0f) hidden += std::min(share, 1.0f);
  }
  return 1.0f - kShadowDepth * hidden / kShadowSamples;
}

void LightRow(const Grid& grid, int y, const Lighting& light, uint32_t* pixels) {
  const size_t row = grid.Row(y);
  const size_t above = grid.Row(std::max(y - 1, 0));
  const size_t below = grid.Row(std::min(y + 1, grid.height - 1));
  const float depthRange = std::max(light.near - light.far, 1.0f);
  // Halfway between the light and the viewer.
  const float hz = std::sqrt((1.0f + kLightZ) / 2.0f);
  const float hx = kLightX / (2.0f * hz);
  const float hy = kLightY / (2.0f * hz);
  const bool hasLines = !grid.lineDepth.empty();
  const Rgb background = ColourOf(light.background);
  for (int x = 0; x < grid.width; ++x) {
    const size_t at = row + static_cast<size_t>(x);
    const float z = grid.depth[at];
    if (hasLines && grid.lineDepth[at] > z) {
      const float fog = kLineFog * std::clamp((light.near - grid.lineDepth[at]) / depthRange, 0.0f, 1.0f);
      pixels[x] = PixelOf(MixColours(ColourOf(grid.lineColour[at]), background, static_cast<double>(fog)));
      continue;
    }
    if (z <= kNothing) {
      pixels[x] = light.background;
      continue;
    }
    const float nx = grid.normalX[at];
    const float ny = grid.normalY[at];
    const float nz = std::sqrt(std::max(1.0f - nx * nx - ny * ny, 0.0f));
    float shine = std::max(nx * hx + ny * hy + nz * hz, 0.0f);
    for (int i = 0; i < 5; ++i) shine *= shine;
    const auto left = static_cast<size_t>(std::max(x - 1, 0));
    const auto right = static_cast<size_t>(std::min(x + 1, grid.width - 1));
    const float lowest =
        std::min(std::min(grid.depth[row + left], grid.depth[row + right]),
                 std::min(grid.depth[above + static_cast<size_t>(x)], grid.depth[below + static_cast<size_t>(x)]));
    const float step = std::clamp((z - lowest) / light.edge - 1.0f, 0.0f, 1.0f);
    float bright = BrightnessOf(nx, ny, nz) * (1.0f - (1.0f - kOutline) * step);
    float gloss = kGloss * shine * (1.0f - step);
    if (light.shadowReach > 0) {
      const float open = OpenSky(grid, x, y, z, light.shadowReach);
      bright *= open;
      gloss *= open;
    }
    const float ink = static_cast<float>(grid.colour[at] >> 24) / 255.0f;
    const float fog = 1.0f - ink * (1.0f - kFog * std::clamp((light.near - z) / depthRange, 0.0f, 1.0f));
    uint32_t pixel = 0xff000000u;
    for (int shift = 0; shift < 24; shift += 8) {
      const float base = static_cast<float>(grid.colour[at] >> shift & 255u);
      const float lit = std::min(base * bright + 255.0f * gloss, 255.0f);
      const float behind = static_cast<float>(light.background >> shift & 255u);
      pixel |= static_cast<uint32_t>(lit + (behind - lit) * fog + 0.5f) << shift;
    }
    pixels[x] = pixel;
  }
}

// With the faces in front of it.
void LightAndVeilRow(const Grid& grid, int y, const Lighting& light, uint32_t* pixels) {
  LightRow(grid, y, light, pixels);
  if (grid.veil.empty()) return;
  const uint32_t* veil = &grid.veil[grid.Row(y)];
  for (int x = 0; x < grid.width; ++x) {
    if (veil[x] != 0) pixels[x] = Veiled(pixels[x], veil[x]);
  }
}

Lighting LightingOf(const LitScene& scene, int width, double scale, const LitOptions& options) {
  Lighting light{};
  light.near = kNothing;
  light.far = std::numeric_limits<float>::max();
  const auto take = [&](const ViewPoint& centre, double radius) {
    if (!IsSound(centre)) return;
    light.near = std::max(light.near, static_cast<float>((centre.z + radius) * scale));
    light.far = std::min(light.far, static_cast<float>((centre.z - radius) * scale));
  };
  for (const LitBall& ball : scene.balls) take(ball.centre, ball.radius);
  for (const LitEllipsoid& ellipsoid : scene.ellipsoids) take(ellipsoid.centre, 0.0);
  light.edge = static_cast<float>(std::max(2.0, 0.006 * width * scale));
  light.shadowReach = options.shadow && !options.moving ? std::max(2, static_cast<int>(0.02 * width * scale)) : 0;
  light.background = PixelOf(scene.background);
  return light;
}

}  // namespace

Image DrawLitSurface(const LitScene& scene, int width, int height, const LitOptions& options) {
  Image picture(width, height);
  if (picture.pixels.empty()) return picture;
  const int threads = options.threads > 0 ? options.threads : static_cast<int>(std::thread::hardware_concurrency());
  const bool moving = options.moving;
  const double scale = moving ? 0.5 : 2.0;
  const Lighting light = LightingOf(scene, width, scale, options);
  const int margin = light.shadowReach + 2;
  const int bandsKept = kStripBands + (2 * margin + kBandRows - 1) / kBandRows;
  Grid grid(moving ? (width + 1) / 2 : 2 * width, moving ? (height + 1) / 2 : 2 * height, bandsKept * kBandRows,
            !scene.lines.empty(), !scene.faces.empty());
  Rays rays(scene, scale, grid);
  Image coarse(moving ? grid.width : 0, grid.height);
  // Strip by strip, so that there is never the whole of the fine grid; rows are lit as soon as those that shade them
  // are there.
  int lit = 0;
  for (size_t first = 0; first < rays.Bands(); first += kStripBands) {
    const size_t last = std::min(first + kStripBands, rays.Bands());
    InThreads(last - first, threads, [&](size_t i) { rays.DrawBand(first + i); });
    const int drawn = static_cast<int>(last) * kBandRows - margin;
    const int ready = last == rays.Bands() ? grid.height : std::max(lit, drawn - drawn % 2);
    const auto pieces = static_cast<size_t>((ready - lit + kBandRows - 1) / kBandRows);
    InThreads(pieces, threads, [&](size_t piece) {
      const int top = lit + static_cast<int>(piece) * kBandRows;
      const int bottom = std::min(top + kBandRows, ready);
      if (moving) {
        for (int y = top; y < bottom; ++y) LightAndVeilRow(grid, y, light, &coarse.At(0, y));
        return;
      }
      Image fine(grid.width, 2);
      for (int y = top; y < bottom; y += 2) {
        LightAndVeilRow(grid, y, light, &fine.At(0, 0));
        LightAndVeilRow(grid, y + 1, light, &fine.At(0, 1));
        HalveRow(fine, &picture.At(0, y / 2), width);
      }
    });
    lit = ready;
  }
  if (!moving) return picture;
  const auto bands = static_cast<size_t>((height + kBandRows - 1) / kBandRows);
  InThreads(bands, threads, [&](size_t band) {
    const int top = static_cast<int>(band) * kBandRows;
    for (int y = top; y < std::min(top + kBandRows, height); ++y) DoubleRow(coarse, y, &picture.At(0, y), width);
  });
  return picture;
}

}  // namespace marvik
