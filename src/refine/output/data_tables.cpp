#include <algorithm>
#include <cmath>
#include <set>

#include "base/numbers.h"
#include "refine/output/linear_study.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kShells = 10;
constexpr size_t kMostListed = 20;
constexpr double kMostIndices = 2e7;  // that are looked at for what could have been measured

std::string IndexText(const Miller& h) {
  return Printf("%4d%4d%4d", h[0], h[1], h[2]);
}

}  // namespace

std::string CompletenessTable(const Session& s) {
  const SpaceGroup& group = s.structure.group;
  const Metric& metric = s.structure.metric;
  std::set<Miller> measured;
  double largest = 0.0;
  for (const auto& component : s.observations.indices) {
    for (const Miller& h : component) {
      if (&component == &s.observations.indices[0])
        largest = std::max(largest, metric.SinThetaSquared(h[0], h[1], h[2]));
      measured.insert(group.Representative(h, true));
    }
  }
  const double edge = 2.0 * std::sqrt(largest);
  std::array<int, 3> limit{};
  double indices = 1.0;
  const double edges[] = {metric.cell.a, metric.cell.b, metric.cell.c};
  for (size_t i = 0; i < 3; ++i) {
    limit[i] = static_cast<int>(std::min(1000.0, edge * edges[i])) + 1;
    indices *= 2.0 * limit[i] + 1.0;
  }
  if (indices > kMostIndices || largest <= 0.0) return {};
  // Shells of the same volume in reciprocal space.
  std::array<size_t, kShells> possible{};
  std::array<size_t, kShells> found{};
  const auto shellOf = [&](double s2) {
    return std::min(kShells - 1, static_cast<size_t>(kShells * std::pow(s2 / largest, 1.5) * (1.0 - 1e-9)));
  };
  for (int l = 0; l <= limit[2]; ++l) {
    for (int k = -limit[1]; k <= limit[1]; ++k) {
      for (int i = -limit[0]; i <= limit[0]; ++i) {
        const Miller h{i, k, l};
        const double s2 = metric.SinThetaSquared(i, k, l);
        if (s2 > largest * (1.0 + 1e-9) || s2 <= 0.0 || group.IsAbsent(h)) continue;
        if (group.Representative(h, true) != h) continue;
        ++possible[shellOf(s2)];
        found[shellOf(s2)] += measured.contains(h);
      }
    }
  }
  std::string out =
      "\n Completeness by resolution (A; Friedel opposites as one): shell, unique, measured, share, so far\n";
  size_t all = 0;
  size_t have = 0;
  for (size_t i = 0; i < kShells; ++i) {
    all += possible[i];
    have += found[i];
    if (possible[i] == 0) continue;
    const double to = std::sqrt(largest) * std::cbrt(static_cast<double>(i + 1) / kShells);
    AppendPrintf(out, " to %6.3f %6zu %6zu %7.3f %7.3f\n", 0.5 / to, possible[i], found[i],
                 static_cast<double>(found[i]) / static_cast<double>(possible[i]),
                 static_cast<double>(have) / static_cast<double>(all));
  }
  return out;
}

std::string InconsistentTable(const Session& s) {
  std::vector<Disagreement> all = s.merging.inconsistent;
  if (all.empty()) return {};
  const auto ratio = [](const Disagreement& d) { return d.found / std::max(1e-9, d.expected); };
  std::sort(all.begin(), all.end(), [&](const Disagreement& a, const Disagreement& b) { return ratio(a) > ratio(b); });
  std::string out =
      "\n Equivalents that do not agree, the worst first: members, mean Fo2, its su from theirs and from their "
      "scatter\n";
  for (size_t i = 0; i < all.size() && i < kMostListed; ++i)
    AppendPrintf(out, " %s %4zu %12.2f %9.2f %9.2f\n", IndexText(all[i].h).c_str(), all[i].members, all[i].mean,
                 all[i].expected, all[i].found);
  if (all.size() > kMostListed) AppendPrintf(out, " and %zu more\n", all.size() - kMostListed);
  return out;
}

std::string InfluenceTable(const Session& s, const LinearStudy& study) {
  if (study.reflections.empty()) return {};
  const Calculated& c = s.result.calculated;
  std::string out =
      "\n Most influential reflections: Fo2, Fc2, leverage, Cook's distance (how far the model moves without it)\n";
  for (size_t i = 0; i < study.reflections.size() && i < kMostListed; ++i) {
    const Influence& r = study.reflections[i];
    AppendPrintf(out, " %s %12.2f %12.2f %8.4f %9.5f\n", IndexText(s.observations.indices[0][r.observation]).c_str(),
                 c.fo2[r.observation], c.fc2[r.observation], r.leverage, r.distance);
  }
  return out;
}

std::string RestraintCostTable(const Session& s, const LinearStudy& study) {
  if (study.restraints.empty()) return {};
  std::string out =
      "\n What each restraint costs: R1 with it less R1 without, by one linear step; number, sum of chi squared\n";
  for (const RestraintCost& cost : study.restraints) {
    AppendPrintf(out, cost.needed ? "  needed " : " %8.5f", cost.gain);
    AppendPrintf(out, " %6.0f %10.2f  %.90s\n", cost.restraints, cost.chi2, cost.instruction.c_str());
  }
  if (study.untried > 0)
    AppendPrintf(out, " %zu instructions were not left out: they are too many, or have too many restraints\n",
                 study.untried);
  return s.restraints.empty() ? std::string() : out;
}

std::string StrangeElementTable(const Session& s) {
  std::string out;
  for (const SiteElectrons& e : FindStrangeElements(s)) {
    if (out.empty())
      out =
          "\n Atoms that may be another element, the surest first: its electrons over the model's, Ueq over that of its"
          "\n neighbours, height of the map nearby (e/A3), what has as many electrons (or a part of the atom is "
          "absent)\n";
    const Site& site = s.structure.sites[static_cast<size_t>(e.site)];
    const auto near = [&](const Peak& p) {
      return std::sqrt(s.structure.metric.DistanceSquared(p.x, site.x)) < 0.7 ||
             (p.nearest == e.site && p.distance < 0.7);
    };
    double height = 0.0;
    for (const auto* peaks : {&s.holes, &s.peaks})
      for (const Peak& p : *peaks)
        if (near(p) && std::fabs(p.height) > std::fabs(height)) height = p.height;
    const Scatterer& scatterer = s.structure.scatterers[static_cast<size_t>(site.scatterer)];
    AppendPrintf(out, " %-8s %-2s %12s %7.2f %7.2f   %s\n", site.label.c_str(), scatterer.symbol.c_str(),
                 WithSu({e.share, e.su}, 3).c_str(), e.displacement, height,
                 e.suggested > 0 ? std::string(s.document.elements[e.suggested].Symbol()).c_str() : "nothing");
  }
  return out;
}

std::string DominantReflection(const Session& s) {
  constexpr double kTooMuch = 0.25;
  const Calculated& c = s.result.calculated;
  double gaps = 0.0;
  double misfit = 0.0;
  size_t byGap = 0;
  size_t byMisfit = 0;
  const auto gap = [&](size_t i) {
    return IsStrong(c.fo2[i], c.sigma[i]) ? std::fabs(std::sqrt(c.fo2[i]) - std::sqrt(std::max(0.0, c.fc2[i]))) : 0.0;
  };
  const auto square = [&](size_t i) { return c.weight[i] * std::pow(c.fo2[i] - c.fc2[i], 2); };
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    gaps += gap(i);
    misfit += square(i);
    if (gap(i) > gap(byGap)) byGap = i;
    if (square(i) > square(byMisfit)) byMisfit = i;
  }
  if (c.fo2.size() < 20) return {};
  const double ofR1 = gap(byGap) / std::max(1e-30, gaps);
  const double ofMisfit = square(byMisfit) / std::max(1e-30, misfit);
  if (std::max(ofR1, ofMisfit) < kTooMuch) return {};
  const bool first = ofR1 >= ofMisfit;
  const size_t at = first ? byGap : byMisfit;
  const Miller& h = s.observations.indices[0][at];
  return Printf("Reflection %d %d %d alone makes %.0f %% of the %s (Fo2 %.2f, Fc2 %.2f): OMIT %d %d %d leaves it out",
                h[0], h[1], h[2], 100.0 * std::max(ofR1, ofMisfit), first ? "sum in R1" : "weighted misfit", c.fo2[at],
                c.fc2[at], h[0], h[1], h[2]);
}

}  // namespace marvik
