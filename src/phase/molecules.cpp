#include "phase/molecules.h"

#include <algorithm>
#include <cmath>
#include <gemmi/symmetry.hpp>
#include <map>
#include <numeric>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kBondSlack = 0.4;  // Å beyond the sum of radii
constexpr double kReach = 3.3;      // Å

NeighbourTable BondsOf(const Structure& s) {
  NeighbourTable table = ImagesWithin(s, kReach);
  for (size_t i = 0; i < table.size(); ++i) {
    const double r = s.scatterers[static_cast<size_t>(s.sites[i].scatterer)].radius + kBondSlack;
    std::erase_if(table[i], [&](const Neighbour& n) {
      const Site &own = s.sites[i], &beside = s.sites[static_cast<size_t>(n.site)];
      const bool apart = std::min(own.part, beside.part) < 0 && !PartsMeet(own, beside, n.IsIdentity());
      return apart || n.distance > r + s.scatterers[static_cast<size_t>(beside.scatterer)].radius || n.distance < 0.7;
    });
  }
  return table;
}

// The sites of one bonded group in the order of a walk along the skeleton, each with its place.
using Fragment = std::vector<std::pair<int, Fractional>>;

// Atoms are taken over in the image that is bonded to what is there already.
void Walk(const Structure& s, const NeighbourTable& bonds, int from, std::vector<char>& seen, Fragment& fragment) {
  struct Step {
    int site;
    SymmetryOperator image;
  };
  std::vector<Step> open{{from, s.group.all.front()}};
  while (!open.empty()) {
    const Step step = open.back();
    open.pop_back();
    const auto at = static_cast<size_t>(step.site);
    if (seen[at]) continue;
    seen[at] = 1;
    fragment.emplace_back(step.site, step.image.Apply(s.sites[at].x));
    // Neighbours with few neighbours of their own are visited first, so that numbers run along the skeleton.
    std::vector<Neighbour> next = bonds[at];
    std::stable_sort(next.begin(), next.end(), [&](const Neighbour& a, const Neighbour& b) {
      return bonds[static_cast<size_t>(a.site)].size() > bonds[static_cast<size_t>(b.site)].size();
    });
    for (const Neighbour& n : next) {
      if (seen[static_cast<size_t>(n.site)]) continue;
      open.push_back({n.site, step.image * s.group.all[static_cast<size_t>(n.operation)].Shifted(n.cell)});
    }
  }
}

Fractional CentreOf(const Fragment& fragment) {
  Fractional sum;
  for (const auto& [site, x] : fragment) sum += x;
  return sum / static_cast<double>(fragment.size());
}

}  // namespace

void GatherMolecules(Candidate& candidate) {
  Structure& s = candidate.structure;
  const NeighbourTable bonds = BondsOf(s);
  std::vector<char> seen(s.sites.size(), 0);
  // Walks start at ends of chains, those of few bonds first.
  std::vector<int> order(s.sites.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    return bonds[static_cast<size_t>(a)].size() < bonds[static_cast<size_t>(b)].size();
  });
  std::vector<Fragment> fragments;
  for (const int i : order) {
    if (seen[static_cast<size_t>(i)]) continue;
    fragments.emplace_back();
    Walk(s, bonds, i, seen, fragments.back());
    // Orientations of one group stand together, behind what is ordered.
    std::stable_sort(fragments.back().begin(), fragments.back().end(), [&](const auto& a, const auto& b) {
      const Site &first = s.sites[static_cast<size_t>(a.first)], &second = s.sites[static_cast<size_t>(b.first)];
      const auto group = [](const Site& site) { return std::fabs(site.code[kRawOccupancy]); };
      return first.part * second.part == 0
                 ? std::abs(first.part) < std::abs(second.part)
                 : std::pair(group(first), first.part) < std::pair(group(second), second.part);
    });
  }
  std::stable_sort(fragments.begin(), fragments.end(),
                   [](const Fragment& a, const Fragment& b) { return a.size() > b.size(); });
  std::vector<Site> sites;
  std::vector<double> shares;
  std::map<std::string, int> counters;
  Fractional main{0.5, 0.5, 0.5};
  for (size_t f = 0; f < fragments.size(); ++f) {
    const Fractional centre = CentreOf(fragments[f]);
    const SymmetryOperator* best = &s.group.all.front();
    Fractional shift;
    double least = 1e300;
    for (const SymmetryOperator& op : s.group.all) {
      const Fractional moved = op.Apply(centre);
      Fractional to = main - moved;
      for (int k = 0; k < 3; ++k) to[k] = std::round(to[k]);
      const double d = s.metric.DistanceSquared(moved + to, main);
      if (d < least - 1e-3) least = d, best = &op, shift = to;
      if (f == 0) break;
    }
    if (f == 0) main = best->Apply(centre) + shift;
    for (const auto& [index, x] : fragments[f]) {
      Site site = s.sites[static_cast<size_t>(index)];
      site.x = best->Apply(x) + shift;
      const std::string& symbol = s.scatterers[static_cast<size_t>(site.scatterer)].symbol;
      site.name = Printf("%s%d", symbol.c_str(), ++counters[symbol]);
      if (site.name.size() > 4) site.name.erase(1, site.name.size() - 4);
      site.label = site.name;
      sites.push_back(site);
      shares.push_back(candidate.shares[static_cast<size_t>(index)]);
    }
  }
  s.sites = std::move(sites);
  candidate.shares = std::move(shares);
}

void TurnToLargerPart(Candidate& candidate) {
  if (candidate.SecondPart() <= 0.5) return;
  Structure& s = candidate.structure;
  SymmetryOperator turn, back;
  turn.r = RotationOf(candidate.twin);
  while (turn * back != SymmetryOperator{}) back = turn * back;
  const auto& all = s.group.all;
  const bool same = std::all_of(all.begin(), all.end(), [&](const SymmetryOperator& op) {
    const SymmetryOperator turned = Wrapped(turn * op * back);
    return std::any_of(all.begin(), all.end(), [&](const SymmetryOperator& o) { return Wrapped(o) == turned; });
  });
  if (!same) return;
  for (Site& site : s.sites) site.x = turn.Apply(site.x);
  s.batchFractions[0] = 1.0 - s.batchFractions[0];
  candidate.twin = LawOf(back.r);
}

namespace {

// The group of the opposite hand, and where its origin lies in the inverted frame; false where no table has it.
bool OppositeGroup(const GroupCandidate& own, GroupCandidate& opposite, Fractional& shift) {
  gemmi::GroupOps inverted;
  for (const SymmetryOperator& op : own.group.pointOperators) {
    gemmi::Op o = gemmi::Op::identity();
    for (size_t i = 0; i < 3; ++i) {
      for (size_t j = 0; j < 3; ++j) o.rot[i][j] = op.r[i][j] * gemmi::Op::DEN;
      o.tran[i] = -RoundHalfAway(op.Translation(i) * gemmi::Op::DEN);
    }
    inverted.sym_ops.push_back(o.wrap());
  }
  for (const auto& c : own.group.centring) {
    constexpr int kParts = kTranslationParts / gemmi::Op::DEN;
    inverted.cen_ops.push_back({c[0] / kParts, c[1] / kParts, c[2] / kParts});
  }
  opposite = own;
  // The standard origin is at most a multiple of an eighth away.
  for (int n = 0; n < 512; ++n) {
    const gemmi::Op::Tran move{n / 64 * 3, n / 8 % 8 * 3, n % 8 * 3};
    gemmi::GroupOps moved = inverted;
    for (gemmi::Op& op : moved.sym_ops) {
      for (size_t i = 0; i < 3; ++i) {
        int t = op.tran[i] + move[i];
        for (size_t j = 0; j < 3; ++j) t -= op.rot[i][j] / gemmi::Op::DEN * move[j];
        op.tran[i] = t;
      }
      op.wrap();
    }
    const gemmi::SpaceGroup* found = gemmi::find_spacegroup_by_ops(moved);
    if (!found) continue;
    opposite.symbol = found->xhm();
    opposite.number = found->number;
    opposite.symm.clear();
    for (const gemmi::Op& op : found->operations().sym_ops) {
      if (op != gemmi::Op::identity()) opposite.symm.push_back(op.triplet());
    }
    std::string problem;
    const auto group = MakeSpaceGroup(own.latt, ListOperators(own.latt, opposite.symm), problem);
    if (!group) return false;
    opposite.group = *group;
    shift = {move[0] / 24.0, move[1] / 24.0, move[2] / 24.0};
    return true;
  }
  return false;
}

}  // namespace

void DecideHand(const Problem& problem, Candidate& candidate) {
  Structure& s = candidate.structure;
  if (s.group.hasInversion) return;
  Structure anomalous = s;
  for (size_t i = 0; i < problem.scatterers.size(); ++i)
    anomalous.scatterers[i].fDoublePrime = problem.scatterers[i].fDoublePrime;
  DataLimits limits;
  limits.wavelength = problem.wavelength;
  MergeStatistics unused;
  const auto merged = MergeReflections(problem.reflections, s.group, s.metric, limits, 2, unused);
  std::map<Miller, int> together;
  for (const Reflection& r : merged) ++together[s.group.Representative(r.h, true)];
  Observations pairs[2];
  std::vector<Reflection> measured, opposite;
  for (const Reflection& r : merged) {
    if (together[s.group.Representative(r.h, true)] < 2) continue;
    measured.push_back(r);
    opposite.push_back(r);
    opposite.back().h = {-r.h[0], -r.h[1], -r.h[2]};
  }
  if (measured.size() < 50) return;
  Calculated calculated[2];
  for (int k = 0; k < 2; ++k) {
    pairs[k] = MakeObservations(k == 0 ? measured : opposite, candidate.twin);
    WeightScheme weights;
    DataPass(anomalous, pairs[k], weights).Run(calculated[k]);
  }
  double scale = 0.0, sum = 0.0;
  for (size_t i = 0; i < measured.size(); ++i) {
    scale += calculated[0].fo2[i];
    sum += 0.5 * (calculated[0].fc2[i] + calculated[1].fc2[i]);
  }
  if (!(sum > 0.0)) return;
  scale /= sum;
  double top = 0.0, bottom = 0.0, chi = 0.0;
  for (size_t i = 0; i < measured.size(); ++i) {
    const double a = scale * calculated[0].fc2[i], b = scale * calculated[1].fc2[i], o = calculated[0].fo2[i];
    const double w = 1.0 / (std::pow(calculated[0].sigma[i], 2) + std::pow(0.1 * o, 2) + 1e-12);
    top += w * (o - a) * (b - a);
    bottom += w * (b - a) * (b - a);
    chi += w * (o - a) * (o - a);
  }
  if (!(bottom > 0.0)) return;
  candidate.flack = top / bottom;
  // Friedel opposites are dependent, which doubles the variance.
  candidate.flackError = std::sqrt(2.0 * std::max(1.0, chi / static_cast<double>(measured.size())) / bottom);
  if (candidate.flack < 0.5 || candidate.flackError > 0.2) return;
  GroupCandidate other;
  Fractional shift;
  if (!OppositeGroup(candidate.group, other, shift)) return;
  for (Site& site : s.sites) site.x = shift - site.x;
  candidate.group = other;
  s.group = other.group;
  candidate.flack = 1.0 - candidate.flack;
}

}  // namespace marvik::phase
