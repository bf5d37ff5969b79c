#include "phase/lattice.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

#include "base/numbers.h"
#include "crystal/lattice_rotations.h"

namespace marvik::phase {
namespace {

constexpr double kTolerance = 0.006;
constexpr Rotation kIdentity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

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
  std::vector<std::array<int, 3>> points;
  for (const auto& t : centring.points) {
    auto& point = points.emplace_back();
    for (size_t i = 0; i < 3; ++i) point[i] = RoundHalfAway(t[i] * kTranslationParts);
  }
  // Others than of -1, 0 and 1 are none of a group in a usual setting.
  std::vector<Rotation> found;
  for (const std::array<double, 9>& columns : LatticeRotations(metric, points, 2.0 * kTolerance, kTolerance)) {
    Rotation r{};
    bool usual = true;
    for (size_t i = 0; i < 9; ++i) {
      r[i / 3][i % 3] = RoundHalfAway(columns[i]);
      usual = usual && std::fabs(columns[i] - r[i / 3][i % 3]) < 1e-6 && std::abs(r[i / 3][i % 3]) <= 1;
    }
    if (usual && r != kIdentity) found.push_back(r);
  }
  // Ordered by the last row first.
  std::ranges::sort(found, {}, [](const Rotation& r) {
    return std::array{r[2][2], r[2][1], r[2][0], r[1][2], r[1][1], r[1][0], r[0][2], r[0][1], r[0][0]};
  });
  found.insert(found.begin(), kIdentity);
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

std::vector<Rotation> ProperRotations(const SpaceGroup& group) {
  std::set<Rotation> proper;
  for (const SymmetryOperator& op : group.pointOperators) {
    Rotation r = op.r;
    if (op.Determinant() < 0)
      for (auto& row : r)
        for (int& v : row) v = -v;
    proper.insert(r);
  }
  return {proper.begin(), proper.end()};
}

std::string LaueSymbol(const std::vector<Rotation>& proper) {
  const auto has = [&](int fold) {
    const int trace = fold == 6 ? 2 : 1;
    return std::any_of(proper.begin(), proper.end(),
                       [&](const Rotation& r) { return r[0][0] + r[1][1] + r[2][2] == trace; });
  };
  switch (proper.size()) {
    case 1:
      return "-1";
    case 2:
      return "2/m";
    case 3:
      return "-3";
    case 4:
      return has(4) ? "4/m" : "mmm";
    case 6:
      return has(6) ? "6/m" : "-3m";
    case 8:
      return "4/mmm";
    case 12:
      return has(6) ? "6/mmm" : "m-3";
    default:
      return "m-3m";
  }
}

std::vector<Rotation> TwinLaws(const Metric& metric, int latt, const SpaceGroup& group) {
  const auto& known = KnownCentrings();
  const auto lattice =
      std::find_if(known.begin(), known.end(), [&](const Centring& c) { return c.latt == std::abs(latt); });
  const std::vector<Rotation> own = ProperRotations(group);
  std::set<Rotation> covered(own.begin(), own.end());
  std::vector<Rotation> laws;
  for (const Rotation& r : MetricSymmetry(metric, lattice == known.end() ? known[0] : *lattice)) {
    if (covered.count(r)) continue;
    laws.push_back(r);
    for (const Rotation& o : own) covered.insert(Product(o, r));
  }
  return laws;
}

TwinLaw LawOf(const Rotation& rotation) {
  TwinLaw law;
  law.present = true;
  for (size_t i = 0; i < 9; ++i) law.matrix[i] = rotation[i % 3][i / 3];
  return law;
}

Rotation RotationOf(const TwinLaw& law) {
  Rotation r{};
  for (size_t i = 0; i < 9; ++i) r[i % 3][i / 3] = RoundHalfAway(law.matrix[i]);
  return r;
}

std::string LawText(const TwinLaw& law) {
  std::string text;
  for (const double v : law.matrix) text += Printf(" %g", v);
  return text;
}

}  // namespace marvik::phase
