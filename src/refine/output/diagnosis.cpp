#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "base/numbers.h"
#include "crystal/lattice_rotations.h"
#include "refine/output/cif_sections.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr double kSameMetric = 0.03;        // of an edge times an edge
constexpr double kLeastFraction = 0.03;     // of a twin component that is worth a line
constexpr double kLeastGain = 0.02;         // of R1
constexpr double kLargeDisplacement = 0.1;  // Å²; what is larger in one direction alone may be two atoms
constexpr double kElongation = 3.0;         // largest principal value against the mean of the others

using Matrix = std::array<double, 9>;

// Nothing where the indices are not whole.
std::optional<Miller> Turned(const Miller& h, const Matrix& r) {
  Miller out{};
  for (size_t i = 0; i < 3; ++i) {
    const double index = h[0] * r[i] + h[1] * r[3 + i] + h[2] * r[6 + i];
    out[i] = static_cast<int>(std::lround(index));
    if (std::fabs(index - out[i]) > 1e-6) return std::nullopt;
  }
  return out;
}

double R1Of(const Calculated& c, const std::vector<std::pair<size_t, size_t>>& pairs, double fraction) {
  double top = 0.0;
  double bottom = 0.0;
  for (const auto& [i, j] : pairs) {
    if (!IsStrong(c.fo2[i], c.sigma[i])) continue;
    const double fo = std::sqrt(c.fo2[i]);
    top += std::fabs(fo - std::sqrt(std::max(0.0, (1.0 - fraction) * c.fc2[i] + fraction * c.fc2[j])));
    bottom += fo;
  }
  return bottom > 0.0 ? top / bottom : 0.0;
}

}  // namespace

std::vector<TwinCandidate> FindTwinLaws(const Session& s) {
  std::vector<TwinCandidate> found;
  if (s.observations.Components() != 1) return found;
  const SpaceGroup& group = s.structure.group;
  const Calculated& c = s.result.calculated;
  const std::vector<Miller>& indices = s.observations.indices[0];
  std::map<Miller, size_t> byIndex;
  for (size_t i = 0; i < indices.size(); ++i) byIndex[group.Representative(indices[i], false)] = i;
  const Miller probe{18, 30, 48};  // whole under fractions, too
  std::set<Miller> known{group.Representative(probe, true)};
  for (const Matrix& r : LatticeRotations(s.structure.metric, group, kSameMetric)) {
    // Laws that differ by an operation of the Laue group are one.
    const auto turned = Turned(probe, r);
    if (!turned || !known.insert(group.Representative(*turned, true)).second) continue;
    std::vector<std::pair<size_t, size_t>> pairs;
    double top = 0.0;
    double bottom = 0.0;
    for (size_t i = 0; i < indices.size(); ++i) {
      const auto image = Turned(indices[i], r);
      const auto partner = image ? byIndex.find(group.Representative(*image, false)) : byIndex.end();
      if (partner == byIndex.end()) continue;
      pairs.emplace_back(i, partner->second);
      const double difference = c.fc2[partner->second] - c.fc2[i];
      top += c.weight[i] * (c.fo2[i] - c.fc2[i]) * difference;
      bottom += c.weight[i] * difference * difference;
    }
    if (pairs.size() * 2 < indices.size() || bottom <= 0.0) continue;
    const Matrix columns{r[0], r[3], r[6], r[1], r[4], r[7], r[2], r[5], r[8]};
    TwinCandidate law{columns, std::clamp(top / bottom, 0.0, 0.5), R1Of(c, pairs, 0.0)};
    law.twinned = R1Of(c, pairs, law.fraction);
    if (law.fraction > kLeastFraction && law.twinned < law.single * (1.0 - kLeastGain)) found.push_back(law);
  }
  std::sort(found.begin(), found.end(),
            [](const TwinCandidate& a, const TwinCandidate& b) { return a.twinned < b.twinned; });
  return found;
}

std::string TwinTable(const Session& s) {
  std::string out;
  const auto add = [&](const char* head, const std::vector<TwinCandidate>& laws) {
    if (!laws.empty()) out += head;
    for (const TwinCandidate& law : laws) {
      out += " TWIN ";
      for (const double v : law.matrix) out += " " + Shortest(std::fabs(v) < 1e-6 ? 0.0 : v, 6);
      AppendPrintf(out, "  2   BASF %.3f   %.4f %.4f", law.fraction, law.single, law.twinned);
      if (law.overlapping < 1.0) AppendPrintf(out, "   %.0f %%", 100.0 * law.overlapping);
      out += "\n";
    }
  };
  add("\n Twin laws of the lattice that would lower R1: law, estimated fraction, R1 without and with it\n",
      FindTwinLaws(s));
  add("\n Twin laws of lattices that overlap only in part: law, estimated fraction, R1 without and with it, share that "
      "overlaps\n"
      " (data integrated with both lattices, HKLF 5, are better than the law alone)\n",
      FindPartialTwinLaws(s));
  const std::vector<ComponentLaw> components = ComponentLaws(s);
  if (!components.empty())
    out +=
        "\n Twin laws by which HKLF 5 relates components to the first: component, overlapping reflections, rms of its\n"
        " indices, law, angle of the turn, its axis [u v w] and the plane (h k l) that it is the normal of\n";
  const auto three = [](double a, double b, double c, int digits) {
    const auto text = [&](double v) {
      return Printf("%.*f", digits, std::fabs(v) < 0.5 * std::pow(10.0, -digits) ? 0.0 : v);
    };
    return text(a) + " " + text(b) + " " + text(c);
  };
  // The largest index is one.
  const auto scaled = [&](const auto& v) {
    double most = v.x;
    for (const double other : {v.y, v.z})
      if (std::fabs(other) > std::fabs(most)) most = other;
    return three(v.x / most, v.y / most, v.z / most, 2);
  };
  for (const ComponentLaw& law : components) {
    AppendPrintf(out, " %3d %6zu %6.3f ", law.component, law.pairs, law.rms);
    for (const auto& row : law.matrix.m) out += " " + three(row[0], row[1], row[2], 3);
    AppendPrintf(out, "  %.1f  [%s] (%s)\n", law.angle, scaled(s.structure.metric.fractional * law.axis).c_str(),
                 scaled(Transposed(s.structure.metric.orthogonal) * law.axis).c_str());
  }
  return out;
}

std::string DisplacementTable(const Session& s) {
  std::string out = "\n Principal mean square displacements (A2)\n";
  const Metric& metric = s.structure.metric;
  for (const Site& site : s.structure.sites) {
    if (!site.anisotropic) continue;
    const Eigen3 axes = SymmetricEigen(metric.CartesianU(site.u));
    const auto& u = axes.values;
    AppendPrintf(out, " %-8s %8.4f %8.4f %8.4f", site.label.c_str(), u[2], u[1], u[0]);
    if (u[0] <= 0.0) out += "  not positive";
    const double others = 0.5 * (u[0] + u[1]);
    if (!site.hydrogen && u[0] > 0.0 && u[2] > kLargeDisplacement && u[2] > kElongation * others) {
      // Two atoms at a distance d to either side show as d² more along the line.
      const Fractional step = metric.ToFractional(axes.Vector<CartesianSpace>(2) * std::sqrt(u[2] - others));
      const Fractional a = site.x + step;
      const Fractional b = site.x - step;
      AppendPrintf(out, "  may be split into %.4f %.4f %.4f and %.4f %.4f %.4f", a.x, a.y, a.z, b.x, b.y, b.z);
    }
    out += "\n";
  }
  return out;
}

std::string PlacedHydrogenTable(const Session& s) {
  std::string out;
  for (const HydrogenGroup& g : s.hydrogens) {
    if (out.empty()) out = "\n How hydrogens are placed: carrier, AFIX, X-H (A), hydrogens\n";
    const Site& carrier = s.structure.sites[static_cast<size_t>(g.carrier)];
    AppendPrintf(out, " %-8s %4d %7.3f ", carrier.label.c_str(), 10 * g.m + g.n, g.distance);
    for (const int h : g.hydrogens) out += " " + s.structure.sites[static_cast<size_t>(h)].label;
    if (!g.idealised) out += "  ride where they are";
    if (g.Rotates()) out += "  torsion refined";
    if (g.Stretches()) out += "  distance refined";
    out += "\n";
  }
  return out;
}

}  // namespace marvik
