#include "draw/density/density_net.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "crystal/cell_metric.h"
#include "draw/canvas/colours.h"

namespace marvik {
namespace {

constexpr double kMostPoints = 1.5e8;  // of the box around what a net is drawn around
constexpr double kSectionStep = 0.1;   // Å between the points that contours run between
constexpr double kWidestSection = 60.0;
constexpr int kUsualLevels = 8;
constexpr int kMostLevels = 100;
// Å from one text to another, and to another of the same level.
constexpr double kTextGap = 0.6;
constexpr double kSameTextGap = 3.0;

struct SquarePoint {
  double s, t;  // 0 to 1 along the sides
};

// Where the contour `level` runs through a square with these values at (0, 0), (1, 0), (1, 1) and (0, 1).
template <class Emit>
void CutSquare(const std::array<float, 4>& value, float level, Emit emit) {
  const auto inside = [&](size_t i) { return value[i] >= level; };
  const bool first = inside(0);
  if (inside(1) == first && inside(2) == first && inside(3) == first) return;
  std::array<SquarePoint, 4> cuts;
  size_t count = 0;
  for (size_t i = 0; i < 4; ++i) {
    const size_t j = (i + 1) % 4;
    if (inside(i) == inside(j)) continue;
    const double share = static_cast<double>((level - value[i]) / (value[j] - value[i]));
    constexpr std::array<SquarePoint, 5> kCorners{{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}};
    const SquarePoint &a = kCorners[i], &b = kCorners[i + 1];
    cuts[count++] = {a.s + (b.s - a.s) * share, a.t + (b.t - a.t) * share};
  }
  if (count == 2) return emit(cuts[0], cuts[1]);
  // A saddle: what lies inside is one piece where its middle does.
  const bool middle = value[0] + value[1] + value[2] + value[3] >= 4.0f * level;
  const size_t partner = middle == first ? 1 : 3;
  emit(cuts[0], cuts[partner]);
  emit(cuts[2], cuts[4 - partner]);
}

// The grid points around some places, with the values there.
class Region {
 public:
  Region(const DensityMap& map, const OrthogonalisationMatrix& matrix, std::span<const Cartesian> around, double radius)
      : map_(map) {
    for (size_t i = 0; i < 3; ++i) {
      Fractional unit;
      unit[static_cast<int>(i)] = 1.0 / static_cast<double>(map.size[i]);
      steps_[i] = matrix * unit;
    }
    // How many steps the ball reaches in each direction: its radius over the distance of the planes.
    const double volume = std::abs(Dot(steps_[0], Cross(steps_[1], steps_[2])));
    for (size_t i = 0; i < 3; ++i)
      reach_[i] = radius * Length(Cross(steps_[(i + 1) % 3], steps_[(i + 2) % 3])) / volume;
    std::vector<std::array<double, 3>> centres;
    for (const Cartesian& place : around) {
      const Fractional f = CartesianToFractional(matrix, place);
      if (!IsFinite(f) || std::abs(f.x) > 100.0 || std::abs(f.y) > 100.0 || std::abs(f.z) > 100.0) continue;
      centres.push_back({});
      for (size_t i = 0; i < 3; ++i) centres.back()[i] = f[static_cast<int>(i)] * static_cast<double>(map.size[i]);
    }
    if (centres.empty() || !(volume > 0.0)) return;
    double points = 1.0;
    for (size_t i = 0; i < 3; ++i) {
      const auto at = [&](const std::array<double, 3>& c) { return c[i]; };
      low_[i] = static_cast<long>(std::floor(at(*std::ranges::min_element(centres, {}, at)) - reach_[i]));
      size_[i] = static_cast<long>(std::ceil(at(*std::ranges::max_element(centres, {}, at)) + reach_[i])) - low_[i] + 1;
      points *= static_cast<double>(size_[i]);
    }
    fits_ = points < kMostPoints;
    if (!fits_) return;
    values_.assign(static_cast<size_t>(points), kFar);
    for (const auto& centre : centres) Take(centre, radius);
  }

  bool Fits() const { return fits_; }

  // Every square of the grid with all its corners near, in planes of all three directions.
  template <class Emit>
  void EachSquare(Emit emit) const {
    for (long i = 0; i < size_[0]; ++i) {
      for (long j = 0; j < size_[1]; ++j) {
        for (long k = 0; k < size_[2]; ++k) {
          if (values_[Index(i, j, k)] == kFar) continue;
          const std::array<long, 3> at{i, j, k};
          for (size_t u = 0; u < 3; ++u) Square(at, u, (u + 1) % 3, emit);
        }
      }
    }
  }

 private:
  static constexpr float kFar = -1e30f;

  size_t Index(long i, long j, long k) const { return static_cast<size_t>((i * size_[1] + j) * size_[2] + k); }

  void Take(const std::array<double, 3>& centre, double radius) {
    std::array<long, 3> from;
    std::array<long, 3> to;
    for (size_t i = 0; i < 3; ++i) {
      from[i] = static_cast<long>(std::ceil(centre[i] - reach_[i]));
      to[i] = static_cast<long>(std::floor(centre[i] + reach_[i]));
    }
    for (long i = from[0]; i <= to[0]; ++i) {
      for (long j = from[1]; j <= to[1]; ++j) {
        for (long k = from[2]; k <= to[2]; ++k) {
          float& value = values_[Index(i - low_[0], j - low_[1], k - low_[2])];
          if (value != kFar) continue;
          const Cartesian d = steps_[0] * (static_cast<double>(i) - centre[0]) +
                              steps_[1] * (static_cast<double>(j) - centre[1]) +
                              steps_[2] * (static_cast<double>(k) - centre[2]);
          if (Dot(d, d) <= radius * radius) value = map_.At(i, j, k);
        }
      }
    }
  }

  template <class Emit>
  void Square(std::array<long, 3> at, size_t u, size_t v, Emit emit) const {
    if (at[u] + 1 >= size_[u] || at[v] + 1 >= size_[v]) return;
    const Cartesian origin = steps_[0] * static_cast<double>(at[0] + low_[0]) +
                             steps_[1] * static_cast<double>(at[1] + low_[1]) +
                             steps_[2] * static_cast<double>(at[2] + low_[2]);
    const auto value = [&] { return values_[Index(at[0], at[1], at[2])]; };
    std::array<float, 4> corners{value()};
    ++at[u];
    corners[1] = value();
    ++at[v];
    corners[2] = value();
    --at[u];
    corners[3] = value();
    if (std::ranges::find(corners, kFar) != corners.end()) return;
    emit(corners, [&](const SquarePoint& p) { return origin + steps_[u] * p.s + steps_[v] * p.t; });
  }

  const DensityMap& map_;
  std::array<Cartesian, 3> steps_;
  std::array<double, 3> reach_{};
  std::array<long, 3> low_{};
  std::array<long, 3> size_{};
  std::vector<float> values_;
  bool fits_ = false;
};

double NiceStep(double range) {
  if (!(range > 0.0)) return 0.0;
  const double rough = range / kUsualLevels;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double nice : {1.0, 2.0, 5.0})
    if (nice * power >= rough) return nice * power;
  return 10.0 * power;
}

// Names a level along its contours where there is room, and once where there is none.
class LevelNamer {
 public:
  LevelNamer(DensityNet& net, std::string text, NetTone tone) : net_(net), text_{{}, std::move(text), tone} {}
  ~LevelNamer() {
    if (best_ > 0.0) Put();
  }
  LevelNamer(const LevelNamer&) = delete;
  LevelNamer& operator=(const LevelNamer&) = delete;

  void Offer(const Cartesian& at) {
    double room = 1e3;
    for (const NetText& other : net_.texts)
      room = std::min(room, Length(other.at - at) / (other.text == text_.text ? kSameTextGap : kTextGap));
    if (room >= 1.0 || (!named_ && room > best_)) {
      text_.at = at;
      best_ = room;
    }
    if (room >= 1.0) Put();
  }

 private:
  void Put() {
    net_.texts.push_back(text_);
    named_ = true;
    best_ = 0.0;
  }

  DensityNet& net_;
  NetText text_;
  bool named_ = false;
  double best_ = 0.0;  // room of the place that is kept
};

}  // namespace

Rgb ColourOf(NetTone tone, bool onLight, bool safe) {
  constexpr std::array<Rgb, kNetTones> kUsual{{{40, 190, 60}, {225, 50, 50}, {70, 130, 235}, {140, 140, 140}}};
  constexpr std::array<Rgb, kNetTones> kSafe{{{0, 114, 178}, {230, 159, 0}, {86, 180, 233}, {140, 140, 140}}};
  return LegibleOn((safe ? kSafe : kUsual)[static_cast<size_t>(tone)], onLight);
}

void AddNet(const DensityMap& map, const OrthogonalisationMatrix& matrix, std::span<const Cartesian> around,
            double radius, double level, NetTone tone, DensityNet& net) {
  if (map.values.empty() || !(radius > 0.0) || level == 0.0) return;
  const Region region(map, matrix, around, radius);
  if (!region.Fits()) {
    net.whole = net.whole && around.empty();
    return;
  }
  region.EachSquare([&](const std::array<float, 4>& values, const auto& place) {
    CutSquare(values, static_cast<float>(level), [&](const SquarePoint& a, const SquarePoint& b) {
      if (net.lines.size() < kMostNetLines) {
        net.lines.push_back({place(a), place(b), tone});
      } else {
        net.whole = false;
      }
    });
  });
}

SectionPlane SectionThrough(std::span<const Cartesian> places, const Cartesian& normal, double margin) {
  SectionPlane plane;
  if (places.size() < 3) return plane;
  const Cartesian n = Normalised(normal);
  const Cartesian across = places[1] - places[0];
  plane.u = Normalised(across - n * Dot(n, across));
  plane.v = Cross(n, plane.u);
  Cartesian middle;
  for (const Cartesian& place : places) middle += place / static_cast<double>(places.size());
  std::array<double, 4> ends{1e30, 1e30, -1e30, -1e30};
  for (const Cartesian& place : places) {
    const double s = Dot(place - middle, plane.u);
    const double t = Dot(place - middle, plane.v);
    ends = {std::min(ends[0], s), std::min(ends[1], t), std::max(ends[2], s), std::max(ends[3], t)};
  }
  plane.origin = middle + plane.u * (ends[0] - margin) + plane.v * (ends[1] - margin);
  plane.width = std::min(ends[2] - ends[0] + 2.0 * margin, kWidestSection);
  plane.height = std::min(ends[3] - ends[1] + 2.0 * margin, kWidestSection);
  return plane;
}

double AddContours(const DensityMap& map, const OrthogonalisationMatrix& matrix, const SectionPlane& plane, double step,
                   bool difference, DensityNet& net) {
  if (map.values.empty() || !(plane.width > 0.0 && plane.height > 0.0)) return 0.0;
  const auto columns = static_cast<size_t>(std::ceil(plane.width / kSectionStep)) + 1;
  const auto rows = static_cast<size_t>(std::ceil(plane.height / kSectionStep)) + 1;
  const double du = plane.width / static_cast<double>(columns - 1);
  const double dv = plane.height / static_cast<double>(rows - 1);
  const auto place = [&](double i, double j) { return plane.origin + plane.u * (i * du) + plane.v * (j * dv); };
  std::vector<float> values(columns * rows);
  for (size_t j = 0; j < rows; ++j) {
    for (size_t i = 0; i < columns; ++i) {
      const Cartesian at = place(static_cast<double>(i), static_cast<double>(j));
      values[j * columns + i] = static_cast<float>(map.InterpolateSmoothly(CartesianToFractional(matrix, at)));
    }
  }
  const auto [lowest, highest] = std::ranges::minmax(values);
  const double range = difference ? std::max(std::abs(lowest), std::abs(highest)) : std::max(highest, 0.0f);
  if (!(step > 0.0)) step = NiceStep(range);
  if (!(step > 0.0) || range / step > kMostLevels) return 0.0;
  const int most = static_cast<int>(range / step);
  for (int n = difference ? -most : 1; n <= most; ++n) {
    const NetTone tone = n == 0        ? NetTone::Zero
                         : !difference ? NetTone::Observed
                         : n > 0       ? NetTone::Plus
                                       : NetTone::Minus;
    LevelNamer namer(net, Printf("%g", std::round(n * step * 1e6) / 1e6), tone);
    for (size_t j = 0; j + 1 < rows; ++j) {
      for (size_t i = 0; i + 1 < columns; ++i) {
        const float* row = &values[j * columns + i];
        CutSquare({row[0], row[1], row[columns + 1], row[columns]}, static_cast<float>(n * step),
                  [&](const SquarePoint& a, const SquarePoint& b) {
                    const auto at = [&](const SquarePoint& p) {
                      return place(static_cast<double>(i) + p.s, static_cast<double>(j) + p.t);
                    };
                    net.lines.push_back({at(a), at(b), tone});
                    namer.Offer(at(a));
                  });
      }
    }
  }
  return step;
}

}  // namespace marvik
