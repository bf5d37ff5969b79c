#include "draw/canvas/raster.h"

#include <utility>

namespace marvik {

namespace {

constexpr int kFractionBits = 32;
constexpr int64_t kOne = int64_t{1} << kFractionBits;

bool IsSane(CanvasPoint p) {
  return std::abs(p.x) <= kFarthest && std::abs(p.y) <= kFarthest;
}

// A thin line as steps along its longer axis: at step k, from..to, the other coordinate is (start + k·slope) in fixed
// point. Only steps whose pixels lie on the surface are left.
struct ThinSteps {
  bool steep = false;
  int firstMajor = 0;
  int from = 0;
  int to = -1;
  int64_t start = 0;
  int64_t slope = 0;
};

// Raises `from` and lowers `to` until start + k·slope stays in low..high.
void CutMinor(ThinSteps& s, int64_t low, int64_t high) {
  if (s.from > s.to) return;
  const auto at = [&s](int k) { return s.start + s.slope * k; };
  const auto inside = [&](int k) { return at(k) >= low && at(k) <= high; };
  if (inside(s.from) && inside(s.to)) return;
  if (s.slope == 0) {
    s.to = s.from - 1;
    return;
  }
  const int64_t slope = s.slope > 0 ? s.slope : -s.slope;
  const int64_t ahead = s.slope > 0 ? low - s.start : s.start - high;   // to go before it enters
  const int64_t behind = s.slope > 0 ? high - s.start : s.start - low;  // to go before it leaves
  if (behind < 0) {
    s.to = s.from - 1;
    return;
  }
  if (ahead > 0) s.from = static_cast<int>(std::max<int64_t>(s.from, (ahead + slope - 1) / slope));
  s.to = static_cast<int>(std::min<int64_t>(s.to, behind / slope));
}

// `reach` is how many pixels beside the line's own are drawn at each step.
ThinSteps StepsOf(const Surface& surface, LinePiece p, int64_t offset, int reach) {
  ThinSteps s;
  int dx = p.x2 - p.x1;
  int dy = p.y2 - p.y1;
  s.steep = std::abs(dy) > std::abs(dx);
  if ((s.steep ? dy : dx) < 0) {
    std::swap(p.x1, p.x2);
    std::swap(p.y1, p.y2);
    dx = -dx;
    dy = -dy;
  }
  s.firstMajor = s.steep ? p.y1 : p.x1;
  const int minor = s.steep ? p.x1 : p.y1;
  const int major = s.steep ? dy : dx;
  const int across = s.steep ? dx : dy;
  const int majorSide = s.steep ? surface.height : surface.width;
  const int minorSide = s.steep ? surface.width : surface.height;
  s.start = minor * kOne + offset;
  // Correctly rounded to far below what 65,535 steps could add up to half a pixel.
  s.slope = major == 0 ? 0 : static_cast<int64_t>(static_cast<double>(across) * static_cast<double>(kOne) / major);
  s.from = std::max(0, -s.firstMajor);
  s.to = std::min(major, majorSide - 1 - s.firstMajor);
  CutMinor(s, -reach * kOne, minorSide * kOne - 1);
  return s;
}

// Two pixels at half strength look darker than one at full strength, since a display's light is not linear in its
// values; this raises the middle (0.5 to about 0.62) and leaves both ends.
unsigned Strengthened(unsigned cover) {
  return cover + (cover * (255 - cover) * 118 >> 16);
}

struct Dash {
  int on;
  int period;
};
constexpr Dash kThinDashed{4, 7};
constexpr Dash kThinDotted{1, 3};

}  // namespace

void DrawThinLine(const Surface& surface, const LinePiece& piece, uint32_t colour, LineStyle style) {
  const ThinSteps s = StepsOf(surface, piece, kOne / 2, 0);
  if (s.from > s.to) return;
  const ptrdiff_t majorStride = s.steep ? surface.stride : 1;
  const ptrdiff_t minorStride = s.steep ? 1 : surface.stride;
  uint32_t* place = surface.pixels + (s.firstMajor + s.from) * majorStride;
  int64_t minor = s.start + s.slope * s.from;
  if (style == LineStyle::Solid) {
    for (int k = s.from; k <= s.to; ++k, place += majorStride, minor += s.slope) {
      place[(minor >> kFractionBits) * minorStride] = colour;
    }
    return;
  }
  const Dash dash = style == LineStyle::Dashed ? kThinDashed : kThinDotted;
  int phase = (s.firstMajor + s.from) % dash.period;
  for (int k = s.from; k <= s.to; ++k, place += majorStride, minor += s.slope) {
    if (phase < dash.on) place[(minor >> kFractionBits) * minorStride] = colour;
    if (++phase == dash.period) phase = 0;
  }
}

void DrawSmoothThinLine(const Surface& surface, const LinePiece& piece, uint32_t colour) {
  const ThinSteps s = StepsOf(surface, piece, 0, 1);
  const ptrdiff_t majorStride = s.steep ? surface.stride : 1;
  const ptrdiff_t minorStride = s.steep ? 1 : surface.stride;
  const int minorSide = s.steep ? surface.width : surface.height;
  for (int k = s.from; k <= s.to; ++k) {
    const int64_t minor = s.start + s.slope * k;
    const int64_t upper = minor >> kFractionBits;
    const auto cover = static_cast<unsigned>(minor >> (kFractionBits - 8) & 255);
    uint32_t* place = surface.pixels + (s.firstMajor + k) * majorStride + upper * minorStride;
    if (upper >= 0) *place = BlendPixel(*place, colour, Strengthened(255 - cover));
    if (cover > 0 && upper + 1 < minorSide)
      place[minorStride] = BlendPixel(place[minorStride], colour, Strengthened(cover));
  }
}

EllipseRows::EllipseRows(const EllipseShape& e) : centre_(e.centre) {
  if (!IsSane(e.centre) || !IsSane(e.p) || !IsSane(e.q)) return;
  const double determinant = std::abs(e.p.x * e.q.y - e.q.x * e.p.y);
  halfHeight_ = std::sqrt(e.p.y * e.p.y + e.q.y * e.q.y);
  halfWidth_ = std::sqrt(e.p.x * e.p.x + e.q.x * e.q.x);
  if (!(halfHeight_ > 0.0) || !(determinant > 0.0)) return;
  const double square = halfHeight_ * halfHeight_;
  exactLean_ = (e.p.x * e.p.y + e.q.x * e.q.y) / square;
  exactSlope_ = determinant / square;
  lean_ = static_cast<float>(exactLean_);
  slope_ = static_cast<float>(exactSlope_);
  valid_ = std::isfinite(exactLean_) && std::isfinite(exactSlope_);
}

bool EllipseRows::Exactly(double y, double& left, double& right) const {
  const double dy = y - centre_.y;
  const double inside = (halfHeight_ - dy) * (halfHeight_ + dy);
  if (!(inside >= 0.0)) return false;
  const double half = exactSlope_ * std::sqrt(inside);
  const double middle = centre_.x + dy * exactLean_;
  left = middle - half;
  right = middle + half;
  return true;
}

CapsuleRows::CapsuleRows(CanvasPoint a, CanvasPoint b, double radius) : a_(a), b_(b), radius_(radius) {
  valid_ = IsSane(a) && IsSane(b) && radius > 0.0 && radius <= kFarthest;
  if (a_.y > b_.y) std::swap(a_, b_);
  const double dx = b_.x - a_.x;
  const double dy = b_.y - a_.y;
  const double length = std::sqrt(dx * dx + dy * dy);
  if (length > 0.0) side_ = {-dy * radius / length, dx * radius / length};
  reach_ = static_cast<float>(radius);
  width_ = static_cast<float>(dx);
  height_ = static_cast<float>(dy);
  perHeight_ = height_ > 0.0f ? 1.0f / height_ : 1e30f;
  sideX_ = static_cast<float>(side_.x);
  sideY_ = static_cast<float>(side_.y);
}

bool CapsuleRows::Exactly(double y, double& left, double& right) const {
  left = kNoChord;
  right = -kNoChord;
  const auto reach = [&](double x0, double x1) {
    left = std::min(left, x0);
    right = std::max(right, x1);
  };
  for (const CanvasPoint* end : {&a_, &b_}) {
    const double dy = y - end->y;
    const double inside = (radius_ - dy) * (radius_ + dy);
    if (!(inside >= 0.0)) continue;
    const double half = std::sqrt(inside);
    reach(end->x - half, end->x + half);
  }
  const double height = b_.y - a_.y;
  if (height > 0.0) {
    for (const double sign : {-1.0, 1.0}) {
      const double t = (y - a_.y - sign * side_.y) / height;
      if (t < 0.0 || t > 1.0) continue;
      const double x = a_.x + sign * side_.x + t * (b_.x - a_.x);
      reach(x, x);
    }
  }
  return left <= right;
}

ConvexRows::ConvexRows(std::span<const CanvasPoint> corners) {
  const size_t n = corners.size();
  if (n < 3 || n > 4 || !std::all_of(corners.begin(), corners.end(), IsSane)) return;
  int turns = 0;  // bit 0: one to the left, bit 1: one to the right
  top_ = bottom_ = corners[0].y;
  int edges = 0;
  for (size_t i = 0; i < n; ++i) {
    CanvasPoint a = corners[i];
    CanvasPoint b = corners[(i + 1) % n];
    const CanvasPoint c = corners[(i + 2) % n];
    const double turn = (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
    turns |= turn > 0.0 ? 1 : turn < 0.0 ? 2 : 0;
    top_ = std::min(top_, b.y);
    bottom_ = std::max(bottom_, b.y);
    if (a.y > b.y) std::swap(a, b);
    if (b.y > a.y) edges_[static_cast<size_t>(edges++)] = {a, b.y - a.y, (b.x - a.x) / (b.y - a.y)};
  }
  if (turns != 3) edgeCount_ = edges;
}

bool ConvexRows::Exactly(double y, double& left, double& right) const {
  left = kNoChord;
  right = -kNoChord;
  for (int k = 0; k < edgeCount_; ++k) {
    const Edge& edge = edges_[static_cast<size_t>(k)];
    const double dy = y - edge.top.y;
    if (!(dy >= 0.0 && dy < edge.height)) continue;
    left = std::min(left, edge.top.x + dy * edge.lean);
    right = std::max(right, edge.top.x + dy * edge.lean);
  }
  return left <= right;
}

}  // namespace marvik
