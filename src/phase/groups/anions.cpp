#include "phase/groups/anions.h"

#include <algorithm>
#include <cmath>

#include "phase/groups/orientations.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kNearestEnd = 0.55;  // of the length, that a peak of the group stands from its middle
constexpr double kFarthestEnd = 1.3;
constexpr double kMiddleOff = 0.35;     // of the middle's electrons, that it may seem to have more or less
constexpr double kReach = 2.85;         // Å
constexpr double kWhole = 0.99;         // share
constexpr double kShaking = 2.5;        // times the displacement of the middle
constexpr double kLongestBond = 1.85;   // Å, to what would make it a part of a molecule
constexpr double kSecondGain = 0.12;    // of what the first orientation explains
constexpr double kSpare = 1.01;         // of R1, what the fewer parameters may cost
constexpr double kSpareOrdered = 0.99;  // the same where as many ends as one orientation has only move about

class AnionFit {
 public:
  AnionFit(const Problem& problem, Structure& structure, const Observations& observations)
      : problem_(problem), structure_(structure), orientations_(structure, observations) {}

  bool Run(std::vector<double>& shares, std::vector<double>& fractions) {
    const NeighbourTable near = ImagesWithin(structure_, kReach);
    std::vector<char> gone(structure_.sites.size(), 0);
    std::vector<Site> added;
    for (size_t i = 0; i < near.size(); ++i) {
      if (structure_.sites[i].part != 0 || fractions[i] < kWhole) continue;
      // Elements beside each other may be mistaken: of all that it could be, what fits best.
      const AnionKind* best = nullptr;
      Trial trial;
      Proposal proposal;
      for (const AnionKind& kind : AnionKinds()) {
        Trial other;
        if (!Has(kind.middle) || !Has(kind.end) || !CouldBe(kind, near, i, shares, fractions, gone, other)) continue;
        if (orientations_.Total().empty() && !orientations_.Evaluate()) return false;
        Proposal tried = orientations_.Propose(other);
        if (!tried.useful || tried.one || (best && tried.mixture.r1 > proposal.mixture.r1)) continue;
        best = &kind, trial = std::move(other), proposal = std::move(tried);
      }
      if (!best) continue;
      orientations_.Take(proposal);
      AddOrientations(trial, proposal, structure_, added);
      structure_.sites[i].scatterer = problem_.ScattererOf(best->middle);
      for (size_t k = 0; k < gone.size(); ++k) gone[k] = gone[k] || trial.replaced[k];
    }
    ReplaceSites(gone, added, structure_, shares, fractions);
    return !added.empty();
  }

 private:
  bool Has(int z) const {
    const int scatterer = problem_.ScattererOf(z);
    return scatterer >= 0 && (!problem_.formulaFits || problem_.formula[static_cast<size_t>(scatterer)].count > 0.0);
  }

  // Whether the site, which stays where it is, has peaks around that are no ordered group, none of them gone.
  bool CouldBe(const AnionKind& kind, const NeighbourTable& near, size_t i, const std::vector<double>& shares,
               const std::vector<double>& fractions, const std::vector<char>& gone, Trial& trial) const {
    const Site& middle = structure_.sites[i];
    if (std::fabs(Electrons(middle) * shares[i] - kind.middle) > kMiddleOff * kind.middle) return false;
    trial.replaced.assign(near.size(), 0);
    size_t ends = 0;
    bool ordered = true;
    for (const Neighbour& n : near[i]) {
      const auto at = static_cast<size_t>(n.site);
      const Site& site = structure_.sites[at];
      if (n.distance > kFarthestEnd * kind.group.length) continue;
      if (site.part != 0 || fractions[at] < kWhole || trial.replaced[at] || gone[at] ||
          Electrons(site) > std::max(9, kind.end) || n.distance < kNearestEnd * kind.group.length)
        return false;
      trial.replaced[at] = 1;
      ++ends;
      ordered = ordered && shares[at] > kWhole && site.u[0] < kShaking * middle.u[0];
    }
    if (ends < 3 || (ordered && ends == kind.group.Ends())) return false;
    for (size_t k = 0; k < near.size(); ++k) {
      if (!trial.replaced[k]) continue;
      for (const Neighbour& n : near[k]) {
        const auto at = static_cast<size_t>(n.site);
        if (n.distance < kLongestBond && at != i && !trial.replaced[at]) return false;
      }
    }
    trial.shape = kind.group;
    trial.place = structure_.metric.ToCartesian(middle.x);
    trial.secondGain = kSecondGain;
    trial.spare = ends == kind.group.Ends() ? kSpareOrdered : kSpare;
    trial.sites = [this, &kind, u = middle.u[0]](const Pose& pose) { return EndsOf(kind, pose, u); };
    return true;
  }

  int Electrons(const Site& site) const { return structure_.scatterers[static_cast<size_t>(site.scatterer)].electrons; }

  std::vector<Site> EndsOf(const AnionKind& kind, const Pose& pose, double u) const {
    std::vector<Site> sites;
    Site site;
    site.u = {u, 0, 0, 0, 0, 0};
    site.scatterer = problem_.ScattererOf(kind.end);
    for (const Cartesian& place : PlacesOf(kind.group, pose)) {
      site.x = structure_.metric.ToFractional(place);
      sites.push_back(site);
    }
    return sites;
  }

  const Problem& problem_;
  Structure& structure_;
  Orientations orientations_;
};

}  // namespace

const std::vector<AnionKind>& AnionKinds() {
  static const std::vector<AnionKind> kinds{
      {5, 9, {Shape::Tetrahedron, 1.38}},   {17, 8, {Shape::Tetrahedron, 1.43}},  {15, 9, {Shape::Octahedron, 1.585}},
      {33, 9, {Shape::Octahedron, 1.70}},   {51, 9, {Shape::Octahedron, 1.865}},  {16, 8, {Shape::Tetrahedron, 1.472}},
      {13, 17, {Shape::Tetrahedron, 2.13}}, {31, 17, {Shape::Tetrahedron, 2.17}},
  };
  return kinds;
}

bool FitAnions(const Problem& problem, const Observations& observations, Structure& structure,
               std::vector<double>& shares, std::vector<double>& fractions) {
  return AnionFit(problem, structure, observations).Run(shares, fractions);
}

}  // namespace marvik::phase
