#include <algorithm>
#include <cmath>
#include <limits>

#include "phase/groups/rotors.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kBonded = 1.7;        // Å, at most
constexpr double kLeastApart = 0.6;    // Å
constexpr double kMostApart = 1.95;    // Å, nearer no two ends of one atom can be
constexpr double kMostElectrons = 11;  // of both together, or they are two atoms
constexpr double kLeastShare = 0.15;
constexpr double kWhole = 0.99;

struct Ends {
  const Problem& problem;
  const Structure& s;
  const std::vector<double>& shares;
  NeighbourTable near = ImagesWithin(s, 2.2);

  int Electrons(size_t site) const { return s.scatterers[static_cast<size_t>(s.sites[site].scatterer)].electrons; }

  // Whether a site is bonded to `centre`, and beside it to nothing but `other`.
  bool IsEnd(size_t site, int centre, int other) const {
    bool held = false;
    for (const Neighbour& n : near[site]) {
      if (n.distance > kBonded || n.distance < kLeastApart) continue;
      if (n.site != centre && n.site != other) return false;
      held = held || (n.site == centre && n.distance > 1.1);
    }
    return held && s.sites[site].part == 0 && Electrons(site) < 10;
  }

  // What the formula still lacks and has about that many electrons; -1 for nothing.
  int ElementOf(double electrons, double released) const {
    int best = -1;
    double least = 1.6;
    for (size_t k = 0; k < problem.formula.size(); ++k) {
      const int z = problem.scatterers[k].electrons;
      double found = 0.0;
      for (const Site& site : s.sites) found += site.scatterer == static_cast<int>(k) ? site.occupancy : 0.0;
      const double expected = problem.formula[k].count / static_cast<double>(s.group.all.size());
      const bool room = !problem.formulaFits || z == 6 || found - released + 1.0 < expected + 0.6;
      if (z >= 6 && z <= 9 && room && std::fabs(z - electrons) < least) {
        least = std::fabs(z - electrons);
        best = static_cast<int>(k);
      }
    }
    return best;
  }
};

}  // namespace

bool SplitEnds(const Problem& problem, Structure& s, std::vector<double>& shares,
               const std::vector<double>& fractions) {
  const Ends ends{problem, s, shares};
  bool any = false;
  for (size_t i = 0; i < s.sites.size(); ++i) {
    for (const Neighbour& n : ends.near[i]) {
      const auto j = static_cast<size_t>(n.site);
      if (j <= i || n.distance < kLeastApart || n.distance > kMostApart) continue;
      if (s.sites[i].part != 0 || s.sites[j].part != 0 || std::min(fractions[i], fractions[j]) < kWhole) continue;
      const bool both = std::any_of(ends.near[i].begin(), ends.near[i].end(), [&](const Neighbour& centre) {
        return ends.IsEnd(i, centre.site, n.site) && ends.IsEnd(j, centre.site, static_cast<int>(i));
      });
      const double first = ends.Electrons(i) * shares[i], second = ends.Electrons(j) * shares[j];
      if (!both || std::min(shares[i], shares[j]) > kWhole || first + second > kMostElectrons) continue;
      const int element = ends.ElementOf(first + second, 1.0);
      const double share = first / (first + second);
      if (element < 0 || std::min(share, 1.0 - share) < kLeastShare) continue;
      const double variable = 10.0 * static_cast<double>(s.freeVariables.size() + 2) + 1.0;
      const size_t major = share < 0.5 ? j : i;
      for (const size_t k : {i, j}) {
        Site& site = s.sites[k];
        site.scatterer = element;
        site.part = k == major ? 1 : 2;
        shares[k] = site.occupancy = k == i ? share : 1.0 - share;
        site.code[kRawOccupancy] = k == major ? variable : -variable;
      }
      s.freeVariables.push_back(std::max(share, 1.0 - share));
      any = true;
    }
  }
  return any;
}

}  // namespace marvik::phase
