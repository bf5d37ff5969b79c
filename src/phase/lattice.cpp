#include "phase/lattice.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "base/numbers.h"

namespace marvik::phase {
namespace {

constexpr double kTolerance = 0.006;
constexpr Rotation kIdentity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

int DeterminantOf(const Rotation& r) {
  return r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) - r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
         r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]);
}

Mat3 MetricTensor(const Metric& metric) {
  return Transposed(metric.orthogonal) * metric.orthogonal;
}

}  // namespace

const std::vector<Centring>& KnownCentrings() {
  constexpr double h = 0.5, t = 1.0 / 3.0, d = 2.0 / 3.0;
  static const std::vector<Centring> known{
      {'P', 1, {{0, 0, 0}}, {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}},
      {'A', 5, {{0, 0, 0}, {0, h, h}}, {{{1, 0, 0}, {0, h, -h}, {0, h, h}}}},
      {'B', 6, {{0, 0, 0}, {h, 0, h}}, {{{h, 0, h}, {0, 1, 0}, {-h, 0, h}}}},
      {'C', 7, {{0, 0, 0}, {h, h, 0}}, {{{h, -h, 0}, {h, h, 0}, {0, 0, 1}}}},
      {'I', 2, {{0, 0, 0}, {h, h, h}}, {{{-h, h, h}, {h, -h, h}, {h, h, -h}}}},
      {'R', 3, {{0, 0, 0}, {d, t, t}, {t, d, d}}, {{{d, t, t}, {-t, t, t}, {-t, -d, t}}}},
      {'F', 4, {{0, 0, 0}, {0, h, h}, {h, 0, h}, {h, h, 0}}, {{{0, h, h}, {h, 0, h}, {h, h, 0}}}},
  };
  return known;
}

bool Centring::Allows(const Miller& h) const {
  return std::all_of(points.begin(), points.end(), [&](const auto& t) {
    const double phase = h[0] * t[0] + h[1] * t[1] + h[2] * t[2];
    return std::fabs(phase - std::round(phase)) < 0.01;
  });
}

Miller Centring::ToPrimitive(const Miller& h) const {
  Miller out{};
  for (size_t i = 0; i < 3; ++i) out[i] = RoundHalfAway(h[0] * p[i][0] + h[1] * p[i][1] + h[2] * p[i][2]);
  return out;
}

Miller Centring::FromPrimitive(const Miller& h) const {
  const Mat3 inverse = Inverse(Mat3{p});
  Miller out{};
  for (int i = 0; i < 3; ++i)
    out[static_cast<size_t>(i)] = RoundHalfAway(inverse[i][0] * h[0] + inverse[i][1] * h[1] + inverse[i][2] * h[2]);
  return out;
}

Rotation Product(const Rotation& a, const Rotation& b) {
  Rotation c{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j)
      for (size_t k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
  return c;
}

Miller Turned(const Miller& h, const Rotation& r) {
  Miller out{};
  for (size_t j = 0; j < 3; ++j) out[j] = h[0] * r[0][j] + h[1] * r[1][j] + h[2] * r[2][j];
  return out;
}

std::vector<Rotation> MetricSymmetry(const Metric& metric, const Centring& centring) {
  const Mat3 g = MetricTensor(metric);
  std::vector<Rotation> found{kIdentity};
  for (int code = 0; code < 19683; ++code) {
    Rotation r{};
    for (int n = code, i = 0; i < 9; ++i, n /= 3) r[static_cast<size_t>(i / 3)][static_cast<size_t>(i % 3)] = n % 3 - 1;
    if (DeterminantOf(r) != 1 || r == kIdentity) continue;
    Mat3 m;
    for (size_t i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j) m.m[i][j] = r[i][j];
    const Mat3 turned = Transposed(m) * g * m;
    bool same = true;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        const double limit = kTolerance * (i == j ? 2.0 : 1.0) * std::sqrt(g[i][i] * g[j][j]);
        same = same && std::fabs(turned[i][j] - g[i][j]) <= limit;
      }
    }
    // The lattice is left alone when allowed indices stay allowed.
    for (size_t i = 0; i < 3 && same; ++i) {
      for (const Miller& h : {Miller{1, 1, 0}, Miller{0, 1, 1}, Miller{1, 0, 1}, Miller{2, 0, 0}, Miller{-1, 1, 0},
                              Miller{0, 0, 3}, Miller{1, 0, -2}, Miller{1, 1, 1}, Miller{1, 0, 1}}) {
        same = same && centring.Allows(h) == centring.Allows(Turned(h, r));
      }
    }
    if (same) found.push_back(r);
  }
  return found;
}

std::vector<std::vector<Rotation>> RotationGroups(const std::vector<Rotation>& rotations) {
  const auto close = [](std::set<Rotation> group) {
    for (bool grown = true; grown && group.size() <= 24;) {
      grown = false;
      const std::vector<Rotation> members(group.begin(), group.end());
      for (const Rotation& a : members)
        for (const Rotation& b : members) grown = group.insert(Product(a, b)).second || grown;
    }
    return group;
  };
  std::set<std::set<Rotation>> groups{{kIdentity}};
  // Two generators make every proper point group.
  for (const Rotation& a : rotations)
    for (const Rotation& b : rotations) {
      std::set<Rotation> group = close({kIdentity, a, b});
      if (group.size() <= 24) groups.insert(std::move(group));
    }
  std::vector<std::vector<Rotation>> sorted;
  for (const auto& group : groups) sorted.emplace_back(group.begin(), group.end());
  std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.size() < b.size(); });
  return sorted;
}

}  // namespace marvik::phase
