#include "phase/groups/rotors.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "phase/groups/orientations.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kStartingU = 0.04;     // Å²
constexpr double kFormulaSlack = 1.25;  // of the fluorine that the formula has
constexpr size_t kMostRotors = 24;

// A group of one carbon that bears three ends, each fluorine or CF3.
struct RotorKind {
  bool branched;  // C(CF3)3
  double reach;   // Å, of its ends from its first atom
  double spare;   // of R1, what the fewer parameters may cost: wrong ones cost 1.2 and more of thirteen atoms
  GroupShape Shaped() const { return {branched ? Shape::BranchedTripod : Shape::Tripod}; }
  size_t Ends() const { return Shaped().Ends(); }
};
constexpr RotorKind kKinds[] = {{true, 2.85, 1.06}, {false, 1.75, 1.01}};

// What a group could replace.
struct Anchor {
  size_t centre = 0;  // site
  Trial trial;
  double score = 0.0;
};

// Works on copies of the model until a group has proven itself.
class RotorFit {
 public:
  RotorFit(const Problem& problem, Structure& structure, const Observations& observations)
      : structure_(structure), orientations_(structure, observations) {
    for (size_t i = 0; i < problem.scatterers.size(); ++i) {
      if (problem.scatterers[i].electrons == 6) carbon_ = static_cast<int>(i);
      if (problem.scatterers[i].electrons == 9) fluorine_ = static_cast<int>(i), room_ = problem.formula[i].count;
    }
    room_ = problem.formulaFits ? kFormulaSlack * room_ / static_cast<double>(structure.group.all.size())
                                : std::numeric_limits<double>::max();
  }

  // Whether the model was changed.
  bool Run(std::vector<double>& shares, std::vector<double>& fractions) {
    if (carbon_ < 0 || fluorine_ < 0) return false;
    bool any = false;
    for (const RotorKind& kind : kKinds) {
      if (!orientations_.Evaluate()) return any;
      std::vector<Anchor> anchors = FindAnchors(kind, shares, fractions);
      if (anchors.empty()) continue;
      const DensityMap map = orientations_.Map();
      for (Anchor& a : anchors)
        a.score = BestPose(map, structure_.metric, kind.Shaped(), a.trial.anchor, a.trial.place).first;
      std::stable_sort(anchors.begin(), anchors.end(),
                       [](const Anchor& a, const Anchor& b) { return a.score > b.score; });
      std::vector<char> gone(structure_.sites.size(), 0);
      std::vector<Site> added;
      std::vector<char> tried = gone;
      for (const Anchor& next : anchors) {
        if (tried[next.centre] || rotors_ >= kMostRotors || static_cast<double>(kind.Ends()) > room_) continue;
        tried[next.centre] = 1;
        // What holds it is what makes the better model.
        const Anchor* best = nullptr;
        Proposal proposal;
        for (const Anchor& a : anchors) {
          bool clash = a.centre != next.centre;
          for (size_t i = 0; i < gone.size(); ++i) clash = clash || (gone[i] && a.trial.replaced[i]);
          if (clash) continue;
          Proposal other = orientations_.Propose(a.trial);
          if (other.useful && (!best || other.mixture.r1 < proposal.mixture.r1)) best = &a, proposal = std::move(other);
        }
        if (!best) continue;
        orientations_.Take(proposal);
        rotors_ += AddOrientations(best->trial, proposal, structure_, added);
        for (size_t i = 0; i < gone.size(); ++i) gone[i] = gone[i] || best->trial.replaced[i];
        room_ -= static_cast<double>(kind.Ends());
        any = true;
      }
      ReplaceSites(gone, added, structure_, shares, fractions);
    }
    return any;
  }

 private:
  // Carbon with enough neighbours that do not look like what an ordered model of other atoms would have.
  std::vector<Anchor> FindAnchors(const RotorKind& kind, const std::vector<double>& shares,
                                  const std::vector<double>& fractions) const {
    std::vector<Anchor> anchors;
    const NeighbourTable near = ImagesWithin(structure_, 3.0);
    const auto electrons = [&](const Neighbour& n) {
      return structure_.scatterers[static_cast<size_t>(structure_.sites[static_cast<size_t>(n.site)].scatterer)]
          .electrons;
    };
    for (size_t i = 0; i < near.size(); ++i) {
      if (structure_.sites[i].part != 0 || fractions[i] < 0.99) continue;
      const Cartesian place = structure_.metric.ToCartesian(structure_.sites[i].x);
      for (const Neighbour& hold : near[i]) {
        if (hold.distance < 1.2 || hold.distance > (electrons(hold) > 10 ? 1.95 : 1.62)) continue;
        if (structure_.sites[static_cast<size_t>(hold.site)].scatterer == fluorine_) continue;
        Anchor a;
        a.centre = i;
        a.trial.shape = kind.Shaped(), a.trial.spare = kind.spare, a.trial.place = place;
        a.trial.sites = [this, &kind](const Pose& pose) { return SitesOf(kind, pose); };
        a.trial.anchor = structure_.metric.ToCartesian(ImagePosition(structure_, hold));
        a.trial.replaced.assign(near.size(), 0);
        a.trial.replaced[i] = 1;
        size_t inner = 0, ends = 0;
        bool usual = true, possible = true;
        double lengths = 0.0;
        for (const Neighbour& n : near[i]) {
          if (n.distance > kind.reach || n.site == hold.site) continue;
          const Cartesian to = structure_.metric.ToCartesian(ImagePosition(structure_, n)) - place;
          const double cosine = Dot(Normalised(to), Normalised(place - a.trial.anchor));
          if (n.distance > 1.2 && cosine < (kind.branched ? -0.3 : -0.15)) continue;
          const auto at = static_cast<size_t>(n.site);
          const Site& site = structure_.sites[at];
          possible = possible && site.part == 0 && fractions[at] > 0.99 && (electrons(n) < 10 || shares[at] < 0.75) &&
                     !a.trial.replaced[at];
          a.trial.replaced[at] = 1;
          const bool end = n.distance > (kind.branched ? 1.9 : 1.0);
          (end ? ends : inner) += 1;
          if (end) lengths += n.distance;
          usual = usual && shares[at] > 0.99 && (site.scatterer == fluorine_) == (end || !kind.branched);
        }
        const bool regular = usual && ends == kind.Ends() && inner == (kind.branched ? 3u : 0u);
        const bool enough = kind.branched ? inner >= 2 && ends >= 5 : ends >= 3;
        const double mean = lengths / static_cast<double>(std::max<size_t>(1, ends));
        if (possible && enough && !regular && mean < (kind.branched ? 2.45 : 1.44)) anchors.push_back(std::move(a));
      }
    }
    return anchors;
  }

  std::vector<Site> SitesOf(const RotorKind& kind, const Pose& pose) const {
    std::vector<Site> sites;
    const auto places = PlacesOf(kind.Shaped(), pose);
    Site site;
    site.u = {kStartingU, 0, 0, 0, 0, 0};
    site.scatterer = carbon_;
    site.x = structure_.metric.ToFractional(pose.centre);
    sites.push_back(site);
    for (size_t i = 0; i < places.size(); ++i) {
      site.scatterer = i < kind.Ends() ? fluorine_ : carbon_;
      site.x = structure_.metric.ToFractional(places[i]);
      sites.push_back(site);
    }
    return sites;
  }

  Structure& structure_;
  Orientations orientations_;
  int carbon_ = -1, fluorine_ = -1;
  double room_ = 0.0;  // for more fluorine
  size_t rotors_ = 0;
};

}  // namespace

bool FitRotors(const Problem& problem, const Observations& observations, Structure& structure,
               std::vector<double>& shares, std::vector<double>& fractions) {
  return RotorFit(problem, structure, observations).Run(shares, fractions);
}

}  // namespace marvik::phase
