#include "phase/groups/rings.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "phase/groups/orientations.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kRingRadius = 1.387;  // Å
constexpr double kStartingU = 0.06;    // Å²
constexpr double kReach = 2.6;         // Å, of bonds but those of the heaviest
constexpr double kBondSlack = 0.3;     // Å beyond the sum of radii
constexpr double kRoom = 2.6;          // Å, that other atoms leave around the middle
constexpr double kOwnImage = 3.6;      // Å, of an atom from its image in the same ring
constexpr double kSameCentre = 0.4;    // Å
constexpr size_t kMostAtoms = 14;      // of loose ones together
constexpr size_t kMostCentres = 4;     // for each of them
constexpr double kWhole = 0.99;        // share
constexpr double kLoose = 2.5;         // times the usual displacement
constexpr double kClash = 1.15;        // Å
constexpr double kSpare = 1.04;        // of R1, what a ring may cost before its ends are there
constexpr double kSecondGain = 0.12;   // of what the first orientation explains
constexpr double kEndGain = 0.997;     // of R1, that an end on the ring needs
constexpr size_t kMostRings = 4;
constexpr size_t kMostEnds = 3;         // of an orientation
constexpr double kFormulaSlack = 1.25;  // of the carbon that the formula has

// What the carbon atoms of a ring bear, and how far from them, Å.
struct End {
  int z;
  double length;
};
constexpr End kEnds[] = {{9, 1.358}, {17, 1.735}, {35, 1.897}, {6, 1.506}};

class RingFit {
 public:
  RingFit(const Problem& problem, Structure& structure, const Observations& observations)
      : problem_(problem), structure_(structure), orientations_(structure, observations) {
    carbon_ = problem.ScattererOf(6);
    for (const Site& site : structure.sites) nextPart_ = std::min(nextPart_, site.part - 1);
  }

  // The first that fits.
  bool AddOne(std::vector<double>& shares, std::vector<double>& fractions) {
    if (carbon_ < 0) return false;
    for (const std::vector<size_t>& loose : LooseAtoms(shares)) {
      if (!orientations_.Evaluate() || NoRoom(loose)) continue;
      Trial best;
      Proposal proposal;
      for (const auto& [centre, special] : Centres(loose)) {
        const Trial trial = TrialAt(loose, centre, special);
        const Proposal other = orientations_.Propose(trial);
        if (other.useful && (!proposal.useful || other.mixture.r1 < proposal.mixture.r1))
          proposal = other, best = trial;
      }
      if (!proposal.useful) continue;
      const double before = orientations_.R1();
      const std::vector<double> variables = structure_.freeVariables;
      std::vector<Site> added;
      AddOrientations(best, proposal, structure_, added);
      const double after = AddEnds(best, proposal, added);
      if (after > before) {
        structure_.freeVariables = variables;
        continue;
      }
      ReplaceSites(best.replaced, added, structure_, shares, fractions);
      return true;
    }
    return false;
  }

 private:
  int Electrons(size_t site) const {
    return structure_.scatterers[static_cast<size_t>(structure_.sites[site].scatterer)].electrons;
  }

  // Bonded groups of few light atoms of which one at least is there in part, moves about or stands too near to another.
  std::vector<std::vector<size_t>> LooseAtoms(const std::vector<double>& shares) const {
    const auto& sites = structure_.sites;
    const NeighbourTable near = ImagesWithin(structure_, kReach);
    std::vector<double> sorted;
    for (const Site& site : sites) sorted.push_back(site.u[0]);
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2), sorted.end());
    const double usual = sorted[sorted.size() / 2];
    std::vector<char> seen(sites.size(), 0);
    std::vector<std::vector<size_t>> groups;
    for (size_t from = 0; from < sites.size(); ++from) {
      if (seen[from]) continue;
      std::vector<size_t> group{from};
      bool light = true, loose = false;
      seen[from] = 1;
      for (size_t at = 0; at < group.size(); ++at) {
        const size_t i = group[at];
        light = light && sites[i].part == 0 && Electrons(i) < 18;
        loose = loose || shares[i] < kWhole || sites[i].u[0] > kLoose * usual;
        for (const Neighbour& n : near[i]) {
          const auto j = static_cast<size_t>(n.site);
          const double most = structure_.scatterers[static_cast<size_t>(sites[i].scatterer)].radius +
                              structure_.scatterers[static_cast<size_t>(sites[j].scatterer)].radius + kBondSlack;
          if (n.distance > most) continue;
          loose = loose || n.distance < kClash;
          if (!seen[j]) seen[j] = 1, group.push_back(j);
        }
      }
      if (light && loose && group.size() <= kMostAtoms) groups.push_back(std::move(group));
    }
    return groups;
  }

  // Whether other atoms are carbon enough for the formula.
  bool NoRoom(const std::vector<size_t>& loose) const {
    if (!problem_.formulaFits) return false;
    double carbon = 3.0;
    for (const Site& site : structure_.sites) carbon += site.scatterer == carbon_ ? site.occupancy : 0.0;
    for (const size_t i : loose) carbon -= structure_.sites[i].scatterer == carbon_ ? structure_.sites[i].occupancy : 0;
    return carbon > kFormulaSlack * problem_.formula[static_cast<size_t>(carbon_)].count /
                        static_cast<double>(structure_.group.all.size());
  }

  // Where a ring could have its middle: half-way between an atom and its image, and amid the atoms.
  std::vector<std::pair<Cartesian, bool>> Centres(const std::vector<size_t>& loose) const {
    const NeighbourTable near = ImagesWithin(structure_, kOwnImage);
    const Cartesian first = structure_.metric.ToCartesian(structure_.sites[loose[0]].x);
    std::vector<std::pair<Cartesian, bool>> centres;
    const auto add = [&](const Cartesian& x, bool special) {
      const bool known =
          std::any_of(centres.begin(), centres.end(), [&](const auto& c) { return Length(c.first - x) < kSameCentre; });
      if (!known && centres.size() < kMostCentres && HasRoom(loose, x)) centres.emplace_back(x, special);
    };
    Cartesian sum = first;
    double count = 1.0;
    for (const size_t i : loose) {
      const Cartesian own = structure_.metric.ToCartesian(structure_.sites[i].x);
      for (const Neighbour& n : near[i])
        if (n.site == static_cast<int>(i))
          add(0.5 * (own + structure_.metric.ToCartesian(ImagePosition(structure_, n))), true);
    }
    for (const Neighbour& n : near[loose[0]]) {
      if (std::find(loose.begin(), loose.end(), static_cast<size_t>(n.site)) == loose.end()) continue;
      sum += structure_.metric.ToCartesian(ImagePosition(structure_, n)), count += 1.0;
    }
    add((1.0 / count) * sum, false);
    return centres;
  }

  bool HasRoom(const std::vector<size_t>& loose, const Cartesian& centre) const {
    const Fractional x = structure_.metric.ToFractional(centre);
    for (size_t i = 0; i < structure_.sites.size(); ++i) {
      if (std::find(loose.begin(), loose.end(), i) != loose.end()) continue;
      for (const SymmetryOperator& op : structure_.group.all) {
        Fractional d = op.Apply(structure_.sites[i].x) - x;
        for (int k = 0; k < 3; ++k) d[k] -= std::round(d[k]);
        if (structure_.metric.DistanceSquared(d, {}) < kRoom * kRoom) return false;
      }
    }
    return true;
  }

  Trial TrialAt(const std::vector<size_t>& loose, const Cartesian& centre, bool special) const {
    Trial trial;
    trial.shape = {Shape::Ring, kRingRadius};
    trial.place = centre;
    trial.spare = kSpare, trial.secondGain = kSecondGain;
    trial.part = special ? nextPart_ : 1;
    trial.replaced.assign(structure_.sites.size(), 0);
    for (const size_t i : loose) trial.replaced[i] = 1;
    trial.sites = [this, special, shape = trial.shape](const Pose& pose) {
      std::vector<Site> sites;
      Site site;
      site.u = {kStartingU, 0, 0, 0, 0, 0};
      site.scatterer = carbon_;
      site.occupancy = special ? 0.5 : 1.0;
      for (const Cartesian& place : PlacesOf(shape, pose)) {
        site.x = structure_.metric.ToFractional(place);
        sites.push_back(site);
      }
      return sites;
    };
    return trial;
  }

  // Halogen and methyl on the rings that were placed, with a share of their own, one by one as they lower R1, which it
  // gives.
  double AddEnds(const Trial& trial, const Proposal& p, std::vector<Site>& added) const {
    Factors total = p.total;
    double r1 = orientations_.R1Of(total);
    for (size_t k = 0; k < (p.one ? 1 : 2); ++k) {
      for (size_t count = 0; count < kMostEnds; ++count) {
        double least = kEndGain * r1;
        Site best;
        Factors with;
        for (const Cartesian& place : PlacesOf(trial.shape, p.poses[k])) {
          const bool taken = std::any_of(added.begin(), added.end(), [&](const Site& s) {
            const double d = Length(structure_.metric.ToCartesian(s.x) - place);
            return d > 0.1 && d < 2.0 && Length(structure_.metric.ToCartesian(s.x) - p.poses[k].centre) > 2.0;
          });
          if (taken) continue;
          for (const End& end : kEnds) {
            const Cartesian x = place + end.length * Normalised(place - p.poses[k].centre);
            Site site = *std::find_if(added.begin(), added.end(), [&](const Site& s) {
              return Length(structure_.metric.ToCartesian(s.x) - place) < 0.01;
            });
            const double whole = site.occupancy;
            site.scatterer = problem_.ScattererOf(end.z);
            site.x = structure_.metric.ToFractional(x);
            if (site.scatterer < 0) continue;
            const Factors own = orientations_.FactorsOf({site});
            for (const double share : {1.0, 0.6, 0.3}) {
              Factors sum = total;
              for (size_t i = 0; i < sum.size(); ++i) sum[i] += share * own[i];
              const double other = orientations_.R1Of(sum);
              if (other >= least) continue;
              least = other, best = site, with = std::move(sum);
              best.occupancy = share * whole;
              const double code = std::fabs(site.code[kRawOccupancy]);
              const double variable = 10.0 * std::floor(code / 10.0);
              best.code[kRawOccupancy] = std::copysign(variable + share * (code - variable), site.code[kRawOccupancy]);
            }
          }
        }
        if (with.empty()) break;
        added.push_back(best);
        total = std::move(with), r1 = least;
      }
    }
    return r1;
  }

  const Problem& problem_;
  Structure& structure_;
  Orientations orientations_;
  int carbon_ = -1;
  int nextPart_ = -1;
};

}  // namespace

bool FitRings(const Problem& problem, const Observations& observations, Structure& structure,
              std::vector<double>& shares, std::vector<double>& fractions) {
  size_t rings = 0;
  while (rings < kMostRings && RingFit(problem, structure, observations).AddOne(shares, fractions)) ++rings;
  return rings > 0;
}

}  // namespace marvik::phase
