#include "draw/surface/lit_rays.h"

#include <algorithm>
#include <cmath>

#include "draw/canvas/colours.h"
#include "draw/renderer/look.h"

namespace marvik {
namespace {

constexpr int kWidestLine = 64;
constexpr float kCutFace = 0.72f;  // lightness
constexpr float kRing = 0.35f;     // lightness of the principal ellipses

GridRow RowOf(LitGrid& grid, int y) {
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

double Widest(const LitStick& s) {
  return s.radius * std::max(1.0, 1.0 + s.widening);
}

// The part of a way, given as shares of it, that lies between two bounds.
void Narrow(double start, double way, double low, double high, double& from, double& to) {
  if (std::abs(way) < 1e-9) return;
  const double a = (low - start) / way;
  const double b = (high - start) / way;
  from = std::max(from, std::min(a, b));
  to = std::min(to, std::max(a, b));
}

}  // namespace

LitRays::LitRays(const LitScene& scene, double scale, LitGrid& grid) : grid_(grid), scale_(scale) {
  bands_.resize(static_cast<size_t>((grid.height + kLitBandRows - 1) / kLitBandRows));
  for (const LitBall& ball : scene.balls) AddBall(ball);
  for (const LitEllipsoid& ellipsoid : scene.ellipsoids) AddEllipsoid(ellipsoid);
  for (const LitStick& stick : scene.sticks) AddStick(stick);
  lineWidth_ = std::clamp(static_cast<int>(std::lround(scene.lineWidth * scale)), 1, kWidestLine);
  for (const LitLine& line : scene.lines) AddLine(line);
  AddFaces(scene.faces);
}

void LitRays::DrawBand(size_t band) {
  const int top = static_cast<int>(band) * kLitBandRows;
  const int bottom = std::min(top + kLitBandRows, grid_.height) - 1;
  const auto clear = [&](auto& values, auto empty) {
    if (values.empty()) return;
    std::fill_n(values.begin() + static_cast<ptrdiff_t>(grid_.Row(top)),
                static_cast<size_t>(bottom - top + 1) * static_cast<size_t>(grid_.width), empty);
  };
  clear(grid_.depth, kNothing);
  clear(grid_.lineDepth, kNothing);
  clear(grid_.veil, 0u);
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

void LitRays::Enter(double low, double high, Kind kind, size_t index) {
  const uint32_t entry = static_cast<uint32_t>(index) * kKinds + kind;
  if (!(high >= 0.0 && low < grid_.height)) return;
  const auto first = static_cast<size_t>(std::max(low, 0.0)) / kLitBandRows;
  const auto last = static_cast<size_t>(std::min(high, grid_.height - 1.0)) / kLitBandRows;
  for (size_t band = first; band <= last; ++band) bands_[band].push_back(entry);
}

void LitRays::AddBall(const LitBall& ball) {
  if (!IsSound(ball.centre) || !(ball.radius > 0.0 && ball.radius < kVastPixels)) return;
  LitBall placed{Placed(ball.centre), std::max(ball.radius * scale_, 0.5), ball.colour, ball.pale};
  Enter(placed.centre.y - placed.radius, placed.centre.y + placed.radius, kBall, balls_.size());
  balls_.push_back(placed);
}

void LitRays::AddEllipsoid(const LitEllipsoid& given) {
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

void LitRays::AddStick(const LitStick& stick) {
  if (!IsSound(stick.a) || !IsSound(stick.b) || !(stick.radius > 0.0 && stick.radius < kVastPixels)) return;
  LitStick placed = stick;
  placed.a = Placed(stick.a);
  placed.b = Placed(stick.b);
  placed.radius = std::max(stick.radius * scale_, 0.5);
  if (!(Length(placed.b - placed.a) > 1e-3)) return;
  const double widest = Widest(placed);
  Enter(std::min(placed.a.y, placed.b.y) - widest, std::max(placed.a.y, placed.b.y) + widest, kStick, sticks_.size());
  sticks_.push_back(placed);
}

void LitRays::AddLine(const LitLine& line) {
  if (!IsSound(line.a) || !IsSound(line.b)) return;
  const LitLine placed{Placed(line.a), Placed(line.b), line.colour};
  Enter(std::min(placed.a.y, placed.b.y) - lineWidth_, std::max(placed.a.y, placed.b.y) + lineWidth_, kLine,
        lines_.size());
  lines_.push_back(placed);
}

void LitRays::AddFaces(const std::vector<LitFace>& given) {
  std::vector<std::pair<double, const LitFace*>> order;
  for (const LitFace& face : given) {
    double depth = 0.0;
    for (const ViewPoint& corner : face.corners) depth += corner.z / static_cast<double>(face.corners.size());
    if (face.corners.size() >= 3 && std::ranges::all_of(face.corners, IsSound)) order.emplace_back(depth, &face);
  }
  std::ranges::stable_sort(order, {}, [](const auto& entry) { return entry.first; });
  for (const auto& [depth, face] : order) AddFace(*face);
}

void LitRays::AddFace(const LitFace& given) {
  Face face{};
  ViewPoint normal{};
  double low = kVastPixels, high = -kVastPixels;
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
void LitRays::EachRow(double low, double high, double left, double right, int top, int bottom, Draw draw) {
  const int y0 = std::max(top, static_cast<int>(std::ceil(std::max(low, -1.0))));
  const int y1 = std::min(bottom, static_cast<int>(std::floor(std::min(high, static_cast<double>(bottom)))));
  const int x0 = static_cast<int>(std::ceil(std::clamp(left, 0.0, static_cast<double>(grid_.width))));
  const int x1 = static_cast<int>(std::floor(std::clamp(right, -1.0, grid_.width - 1.0)));
  for (int y = y0; y <= y1; ++y) draw(y, x0, x1);
}

void LitRays::DrawBall(const LitBall& ball, int top, int bottom) {
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

void LitRays::DrawEllipsoid(const Ellipsoid& e, int top, int bottom) {
  EachRow(e.rays.cy - e.halfY, e.rays.cy + e.halfY, e.rays.cx - e.halfX, e.rays.cx + e.halfX, top, bottom,
          [&](int y, int x0, int x1) {
            DrawEllipsoidRow(RowOf(grid_, y), x0, x1, static_cast<float>(y) - e.rays.cy, e.rays);
          });
}

void LitRays::DrawStick(const LitStick& s, int top, int bottom) {
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

void LitRays::DrawLine(const LitLine& line, int top, int bottom) {
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

void LitRays::DrawFace(const Face& face, int top, int bottom) {
  const auto& corners = face.corners;
  const int first = std::max(top, static_cast<int>(std::floor(std::ranges::min(corners, {}, &ViewPoint::y).y)));
  const int last = std::min(bottom, static_cast<int>(std::ceil(std::ranges::max(corners, {}, &ViewPoint::y).y)));
  for (int y = first; y <= last; ++y) {
    double left = kVastPixels, right = -kVastPixels;
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

}  // namespace marvik
