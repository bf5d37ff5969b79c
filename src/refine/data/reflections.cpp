#include "refine/data/reflections.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/instruction.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

struct Keyed {
  Miller key{};
  Reflection reflection;
};

Reflection MeanOf(const Keyed* first, const Keyed* last, MergeStatistics& statistics, double& sumDelta, double& sumI) {
  Reflection mean = first->reflection;
  mean.h = first->key;
  const auto n = static_cast<size_t>(last - first);
  if (n == 1) return mean;
  double sumW = 0.0;
  double sumWI = 0.0;
  double sumInverse = 0.0;
  for (const Keyed* k = first; k != last; ++k) {
    const double s = std::max(k->reflection.sigma, 1e-6);
    const double w = std::max(k->reflection.intensity, 3.0 * s) / (s * s);
    sumW += w;
    sumWI += w * k->reflection.intensity;
    sumInverse += 1.0 / (s * s);
  }
  mean.intensity = sumWI / sumW;
  double deviation = 0.0;
  for (const Keyed* k = first; k != last; ++k) {
    deviation += std::fabs(k->reflection.intensity - mean.intensity);
    sumI += k->reflection.intensity;
  }
  sumDelta += deviation;
  const double external = 1.0 / std::sqrt(sumInverse);
  const double internal = deviation / (static_cast<double>(n) * std::sqrt(static_cast<double>(n) - 1.0));
  mean.sigma = std::max(external, internal);
  statistics.rIntMembers += n;
  if (internal > 5.0 * external) statistics.inconsistent.push_back({mean.h, n, mean.intensity, external, internal});
  return mean;
}

void NoteExtent(const Reflection& r, double theta, MergeStatistics& statistics) {
  for (size_t i = 0; i < 3; ++i) {
    statistics.lowest[i] = std::min(statistics.lowest[i], r.h[i]);
    statistics.highest[i] = std::max(statistics.highest[i], r.h[i]);
  }
  statistics.thetaMin = std::min(statistics.thetaMin, theta);
  statistics.thetaMax = std::max(statistics.thetaMax, theta);
}

// Whether a line can be used at all; what is left out is counted by its reason.
class Gate {
 public:
  Gate(const SpaceGroup& group, const Metric& metric, const DataLimits& limits, MergeStatistics& statistics)
      : group_(group), metric_(metric), limits_(limits), statistics_(statistics) {}

  bool LiesOutside(const Reflection& r) {
    const double s = std::sqrt(metric_.SinThetaSquared(r.h[0], r.h[1], r.h[2]));
    const double sine = s * (r.wavelength > 0.0f ? static_cast<double>(r.wavelength) : limits_.wavelength);
    const double theta = std::asin(std::min(1.0, sine)) * kDegreesPerRadian;
    const double d = 0.5 / s;
    const bool outside = d > limits_.resolutionLow || d < limits_.resolutionHigh ||
                         2.0 * theta > limits_.twoThetaHigh || 2.0 * theta < limits_.twoThetaLow || sine > 1.0;
    if (outside) {
      ++statistics_.outside;
    } else if (!group_.IsAbsent(r.h)) {
      NoteExtent(r, theta, statistics_);
    }
    return outside;
  }

  void NoteAbsent(const Reflection& r) {
    ++statistics_.absent;
    absentRatio_ += r.intensity / std::max(r.sigma, 1e-6);
    statistics_.absentMeanRatio = absentRatio_ / static_cast<double>(statistics_.absent);
  }

  bool IsOmitted(const Miller& h, bool friedel) const {
    if (limits_.omitted.empty()) return false;
    const Miller representative = group_.Representative(h, group_.hasInversion || friedel);
    return std::any_of(limits_.omitted.begin(), limits_.omitted.end(), [&](const Miller& named) {
      return group_.Representative(named, group_.hasInversion || friedel) == representative;
    });
  }

  // OMIT s with negative s: what is weaker than s·σ/2 is replaced by s·σ/2; with positive s it is left out.
  bool Keep(Reflection& r) {
    const double floor = 0.5 * limits_.omitSigmas * r.sigma;
    if (limits_.omitSigmas < 0.0) {
      r.intensity = std::max(r.intensity, floor);
    } else if (limits_.omitSigmas > 0.0 && r.intensity < floor) {
      ++statistics_.outside;
      return false;
    }
    return true;
  }

 private:
  const SpaceGroup& group_;
  const Metric& metric_;
  const DataLimits& limits_;
  MergeStatistics& statistics_;
  double absentRatio_ = 0.0;
};

}  // namespace

std::vector<Reflection> MergeReflections(const std::vector<Reflection>& raw, const SpaceGroup& group,
                                         const Metric& metric, const DataLimits& limits, int merge,
                                         MergeStatistics& statistics) {
  statistics.read = raw.size();
  Gate gate(group, metric, limits, statistics);
  const bool friedel = merge >= 3;
  std::vector<Keyed> kept;
  kept.reserve(raw.size());
  for (const Reflection& r : raw) {
    if (gate.LiesOutside(r)) continue;
    if (group.IsAbsent(r.h)) {
      gate.NoteAbsent(r);
      continue;
    }
    kept.push_back({merge >= 2 ? group.Representative(r.h, friedel || group.hasInversion) : r.h, r});
    if (!limits.batches) kept.back().reflection.batch = 1;
  }
  const auto order = [](const Keyed& k) { return std::tie(k.key[2], k.key[1], k.key[0], k.reflection.batch); };
  if (merge > 0) {
    std::stable_sort(kept.begin(), kept.end(), [&](const Keyed& a, const Keyed& b) { return order(a) < order(b); });
  }
  std::vector<Reflection> merged;
  double sumDelta = 0.0;
  double sumI = 0.0;
  double sumSigma = 0.0;
  double sumAll = 0.0;
  for (size_t i = 0; i < kept.size();) {
    size_t j = i + 1;
    while (merge > 0 && j < kept.size() && order(kept[j]) == order(kept[i])) ++j;
    Reflection mean = MeanOf(&kept[i], &kept[i] + (j - i), statistics, sumDelta, sumI);
    i = j;
    if (gate.IsOmitted(mean.h, friedel)) {
      ++statistics.omitted;
      continue;
    }
    sumSigma += mean.sigma;
    sumAll += mean.intensity;
    if (gate.Keep(mean)) merged.push_back(mean);
  }
  statistics.unique = merged.size();
  statistics.rInt = sumI > 0.0 ? sumDelta / sumI : 0.0;
  statistics.rSigma = sumAll > 0.0 ? sumSigma / sumAll : 0.0;
  return merged;
}

std::vector<Reflection> SelectOverlapped(const std::vector<Reflection>& raw, const SpaceGroup& group,
                                         const Metric& metric, const DataLimits& limits, MergeStatistics& statistics) {
  statistics.read = raw.size();
  Gate gate(group, metric, limits, statistics);
  std::vector<Reflection> selected;
  double sumSigma = 0.0;
  double sumAll = 0.0;
  size_t first = 0;
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i].batch < 0) continue;
    const auto begin = raw.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = raw.begin() + static_cast<std::ptrdiff_t>(i) + 1;
    first = i + 1;
    Reflection last = raw[i];
    if (gate.LiesOutside(last)) continue;
    // An absent member adds nothing to the others' intensity; a group of nothing else is an absence.
    if (std::all_of(begin, end, [&](const Reflection& r) { return group.IsAbsent(r.h); })) {
      gate.NoteAbsent(last);
      continue;
    }
    if (std::any_of(begin, end, [&](const Reflection& r) { return gate.IsOmitted(r.h, false); })) {
      ++statistics.omitted;
      continue;
    }
    sumSigma += last.sigma;
    sumAll += last.intensity;
    if (!gate.Keep(last)) continue;
    selected.insert(selected.end(), begin, end);
    selected.back() = last;
    ++statistics.unique;
  }
  statistics.outside += raw.size() - first;
  statistics.rSigma = sumAll > 0.0 ? sumSigma / sumAll : 0.0;
  return selected;
}

}  // namespace marvik
