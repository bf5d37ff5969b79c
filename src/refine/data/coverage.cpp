#include "refine/data/coverage.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace marvik {
namespace {

constexpr double kFullResolution = 0.6;  // sin θ / λ, 1/Å
constexpr double kMostReflections = 5e6;
constexpr double kPi = std::numbers::pi;

struct Unique {
  Miller h{};
  double s = 0.0;  // sin θ / λ
  friend bool operator<(const Unique& a, const Unique& b) { return a.h < b.h; }
};

struct Counts {
  size_t laue = 0;
  size_t point = 0;
  size_t pairs = 0;  // of Friedel opposites that are not equivalent
};

// Of reflections that are unique in the point group, sorted.
Counts CountTo(const std::vector<Unique>& unique, const SpaceGroup& group, double limit) {
  Counts counts;
  for (const Unique& u : unique) {
    if (u.s > limit) continue;
    ++counts.point;
    const Miller opposite = group.Representative({-u.h[0], -u.h[1], -u.h[2]}, false);
    const bool both = opposite != u.h && std::binary_search(unique.begin(), unique.end(), Unique{opposite});
    counts.laue += !both || u.h < opposite;
    counts.pairs += both && u.h < opposite;
  }
  return counts;
}

void Reduce(std::vector<Unique>& list) {
  std::sort(list.begin(), list.end());
  const auto same = [](const Unique& a, const Unique& b) { return a.h == b.h; };
  list.erase(std::unique(list.begin(), list.end(), same), list.end());
}

double Ratio(size_t part, size_t whole) {
  return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

// All that are not absent, unique in the point group.
std::vector<Unique> Possible(const SpaceGroup& group, const Metric& metric, double limit) {
  std::vector<Unique> list;
  const CellParameters& c = metric.cell;
  const int most[] = {static_cast<int>(2.0 * limit * c.a), static_cast<int>(2.0 * limit * c.b),
                      static_cast<int>(2.0 * limit * c.c)};
  for (int h = -most[0]; h <= most[0]; ++h) {
    for (int k = -most[1]; k <= most[1]; ++k) {
      for (int l = -most[2]; l <= most[2]; ++l) {
        const double s = std::sqrt(metric.SinThetaSquared(h, k, l));
        const Miller m{h, k, l};
        if (s > limit || s == 0.0 || group.Representative(m, false) != m || group.IsAbsent(m)) continue;
        list.push_back({m, s});
      }
    }
  }
  std::sort(list.begin(), list.end());
  return list;
}

}  // namespace

Coverage MeasureCoverage(const std::vector<Reflection>& raw, const SpaceGroup& group, const Metric& metric,
                         const DataLimits& limits, double thetaMax, double thetaFull) {
  constexpr double kRounding = 1.0 + 1e-7;
  Coverage coverage;
  const double highest = std::sin(thetaMax / kDegreesPerRadian) / limits.wavelength * kRounding;
  const bool isAsked = thetaFull > 0.0 && thetaFull < 90.0;
  const double full =
      std::min(highest, isAsked ? std::sin(thetaFull / kDegreesPerRadian) / limits.wavelength : kFullResolution);
  coverage.thetaFull = full < highest ? std::asin(full * limits.wavelength) * kDegreesPerRadian : thetaMax;
  const double expected = 32.0 / 3.0 * kPi * std::pow(highest, 3) * metric.volume;
  if (!(expected < kMostReflections)) return coverage;
  std::vector<Unique> measured;
  measured.reserve(raw.size());
  for (const Reflection& r : raw) {
    const double s = std::sqrt(metric.SinThetaSquared(r.h[0], r.h[1], r.h[2]));
    if (s <= highest && s > 0.0 && !group.IsAbsent(r.h)) measured.push_back({group.Representative(r.h, false), s});
  }
  Reduce(measured);
  const std::vector<Unique> possible = Possible(group, metric, highest);
  for (const bool isFull : {false, true}) {
    const Counts have = CountTo(measured, group, isFull ? full : highest);
    const Counts could = CountTo(possible, group, isFull ? full : highest);
    (isFull ? coverage.laueFull : coverage.laueMax) = Ratio(have.laue, could.laue);
    (isFull ? coverage.pointFull : coverage.pointMax) = Ratio(have.point, could.point);
    (isFull ? coverage.friedelFull : coverage.friedelMax) = Ratio(have.pairs, could.pairs);
    if (!isFull) coverage.friedelCoverage = Ratio(have.point - have.laue, have.laue);
  }
  return coverage;
}

}  // namespace marvik
