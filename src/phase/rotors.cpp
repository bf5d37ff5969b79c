#include "phase/rotors.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

#include "refine/map/fourier.h"
#include "refine/solve/least_squares.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

// Mean geometry of ordered groups, Å and degrees.
constexpr double kCarbonFluorine = 1.335;
constexpr double kCarbonCarbon = 1.545;
constexpr double kOutwards = 111.5;     // X-C-F
constexpr double kSpread = 109.5;       // X-C-C
constexpr double kMapStep = 0.3;        // Å
constexpr double kStartingU = 0.04;     // Å²
constexpr double kSameCentre = 0.25;    // Å, nearer to each other two centres are one
constexpr double kSameTurn = 0.3;       // Å, mean distance of ends below which two orientations are one
constexpr double kSecondGain = 0.96;    // of R1, that a second orientation needs
constexpr double kOnlyOne = 0.86;       // share of one orientation that leaves no second
constexpr double kHopeless = 1.8;       // of R1 with one orientation, that no second one mends
constexpr double kPromising = 1.15;     // of R1, that is worth a second round
constexpr double kFormulaSlack = 1.25;  // of the fluorine that the formula has
constexpr size_t kMostRotors = 24;
constexpr double kEightPiSquared = 8.0 * std::numbers::pi * std::numbers::pi;

// Where one orientation of a group lies: its first atom, a frame whose third axis points away from what holds it, and
// how far its ends are turned from staggered.
struct Pose {
  Cartesian centre;
  std::array<Cartesian, 3> frame;
  std::array<double, 3> twist{};  // degrees
};

// A group of one carbon that bears three ends, each fluorine or CF3.
struct RotorKind {
  bool branched;  // C(CF3)3
  double reach;   // Å, of its ends from its first atom
  double spare;   // of R1, what the fewer parameters may cost: wrong ones cost 1.2 and more of thirteen atoms
  size_t Ends() const { return branched ? 9 : 3; }
};
constexpr RotorKind kKinds[] = {{true, 2.85, 1.06}, {false, 1.75, 1.01}};

// Three places around the end of a bond: `zero` is at right angles to the axis.
void AddTripod(const Cartesian& centre, const Cartesian& axis, const Cartesian& zero, double turn, double length,
               double angle, std::vector<Cartesian>& places) {
  const Cartesian other = Cross(axis, zero);
  const double along = -length * std::cos(angle * kRadiansPerDegree);
  const double aside = length * std::sin(angle * kRadiansPerDegree);
  for (int k = 0; k < 3; ++k) {
    const double t = (turn + 120.0 * k) * kRadiansPerDegree;
    places.push_back(centre + along * axis + aside * (std::cos(t) * zero + std::sin(t) * other));
  }
}

// The ends first, then the carbon atoms that bear them; without the centre.
std::vector<Cartesian> PlacesOf(const RotorKind& kind, const Pose& pose) {
  std::vector<Cartesian> inner, places;
  const auto& [x, y, z] = pose.frame;
  if (!kind.branched) {
    AddTripod(pose.centre, z, x, pose.twist[0], kCarbonFluorine, kOutwards, places);
    return places;
  }
  AddTripod(pose.centre, z, x, 0.0, kCarbonCarbon, kSpread, inner);
  for (size_t k = 0; k < 3; ++k) {
    const Cartesian axis = Normalised(inner[k] - pose.centre);
    const Cartesian zero = Normalised(Dot(z, axis) * axis - z);
    AddTripod(inner[k], axis, zero, 60.0 + pose.twist[k], kCarbonFluorine, kOutwards, places);
  }
  places.insert(places.end(), inner.begin(), inner.end());
  return places;
}

Cartesian Turned(const Cartesian& v, const Cartesian& axis, double degrees) {
  const double c = std::cos(degrees * kRadiansPerDegree), s = std::sin(degrees * kRadiansPerDegree);
  return c * v + s * Cross(axis, v) + (1.0 - c) * Dot(axis, v) * axis;
}

void Turn(Pose& pose, const Cartesian& axis, double degrees) {
  for (Cartesian& direction : pose.frame) direction = Turned(direction, axis, degrees);
}

// Every atom must have density: a sum of roots is not bought by one high peak.
double Score(const DensityMap& map, const Metric& metric, const RotorKind& kind, const Pose& pose) {
  double sum = 0.0;
  for (const Cartesian& place : PlacesOf(kind, pose))
    sum += std::sqrt(std::max(0.0, map.Interpolate(metric.ToFractional(place))));
  return sum;
}

Pose Moved(Pose pose, const RotorKind& kind, size_t parameter, double step) {
  if (parameter < 3) {
    Turn(pose, pose.frame[parameter], 12.0 * step);
  } else if (parameter < 6) {
    pose.centre += 0.12 * step * pose.frame[parameter - 3];
  } else {
    pose.twist[parameter - 6] += (kind.branched ? 12.0 : 20.0) * step;
  }
  return pose;
}

// Climbs to the nearest maximum.
double Improve(const DensityMap& map, const Metric& metric, const RotorKind& kind, Pose& pose) {
  double best = Score(map, metric, kind, pose);
  for (double step = 1.0; step > 0.2; step *= 0.5) {
    for (int round = 0; round < 8; ++round) {
      bool better = false;
      for (size_t p = 0; p < (kind.branched ? 9u : 6u); ++p) {
        for (const double way : {step, -step}) {
          const Pose trial = Moved(pose, kind, p, way);
          const double score = Score(map, metric, kind, trial);
          if (score > best) best = score, pose = trial, better = true;
        }
      }
      if (!better) break;
    }
  }
  return best;
}

// The best of all turns about the axis from anchor to centre.
std::pair<double, Pose> BestPose(const DensityMap& map, const Metric& metric, const RotorKind& kind,
                                 const Cartesian& anchor, const Cartesian& centre) {
  const Cartesian z = Normalised(centre - anchor);
  const Cartesian any = std::fabs(z.x) < 0.7 ? Cartesian{1, 0, 0} : Cartesian{0, 1, 0};
  const Cartesian x = Normalised(any - Dot(any, z) * z);
  std::vector<std::pair<double, Pose>> starts;
  for (const double tilt : {0.0, 12.0}) {
    for (double way = 0.0; way < (tilt > 0.0 ? 360.0 : 1.0); way += 90.0) {
      for (double turn = 0.0; turn < 120.0; turn += kind.branched ? 6.0 : 10.0) {
        for (const double twist : {0.0, -18.0, 18.0}) {
          if (!kind.branched && twist != 0.0) continue;
          Pose pose{centre, {Turned(x, z, turn), Turned(Cross(z, x), z, turn), z}, {twist, twist, twist}};
          Turn(pose, Turned(x, z, way), tilt);
          starts.emplace_back(Score(map, metric, kind, pose), pose);
        }
      }
    }
  }
  const auto higher = [](const auto& a, const auto& b) { return a.first > b.first; };
  std::partial_sort(starts.begin(), starts.begin() + 6, starts.end(), higher);
  starts.resize(6);
  for (auto& [score, pose] : starts) score = Improve(map, metric, kind, pose);
  return *std::min_element(starts.begin(), starts.end(), higher);
}

// Mean distance of the ends of one orientation to the nearest ones of the other.
double Apart(const RotorKind& kind, const Pose& a, const Pose& b) {
  const auto first = PlacesOf(kind, a), second = PlacesOf(kind, b);
  double sum = 0.0;
  for (size_t i = 0; i < kind.Ends(); ++i) {
    double least = 1e9;
    for (size_t j = 0; j < kind.Ends(); ++j) least = std::min(least, Length(first[i] - second[j]));
    sum += least;
  }
  return sum / static_cast<double>(kind.Ends());
}

using Factors = std::vector<std::complex<double>>;

// What a group could replace.
struct Anchor {
  const RotorKind* kind = nullptr;
  size_t centre = 0;  // site
  Cartesian place, anchor;
  std::vector<char> replaced;  // by site, the centre included
  Pose pose;
  double score = 0.0;
};

// Shares of up to two orientations, what their displacements add to the starting one, and how well that fits.
struct Mixture {
  double first = 1.0, more = 0.0, r1 = 1.0;
};

struct Proposal {
  bool useful = false;
  bool one = true;  // orientation
  std::array<Pose, 2> poses;
  Mixture mixture;
  Factors total;  // of the whole model with it
};

// Works on copies of the model until a group has proven itself.
class RotorFit {
 public:
  RotorFit(const Problem& problem, Structure& structure, const Observations& observations)
      : structure_(structure), observations_(observations) {
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
      if (!Evaluate()) return any;
      std::vector<Anchor> anchors = FindAnchors(kind, shares, fractions);
      if (anchors.empty()) continue;
      const DensityMap map = MapOf(total_, {});
      for (Anchor& a : anchors) std::tie(a.score, a.pose) = BestPose(map, structure_.metric, kind, a.anchor, a.place);
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
          for (size_t i = 0; i < gone.size(); ++i) clash = clash || (gone[i] && a.replaced[i]);
          if (clash) continue;
          Proposal other = Propose(a);
          if (other.useful && (!best || other.mixture.r1 < proposal.mixture.r1)) best = &a, proposal = std::move(other);
        }
        if (!best) continue;
        total_ = proposal.total;
        AddSites(kind, proposal, added);
        for (size_t i = 0; i < gone.size(); ++i) gone[i] = gone[i] || best->replaced[i];
        room_ -= static_cast<double>(kind.Ends());
        any = true;
      }
      Replace(gone, added, shares, fractions);
    }
    return any;
  }

 private:
  // Factors of the whole model, and Fo on its scale.
  bool Evaluate() {
    Calculated c;
    DataPass(structure_, observations_, {}).Run(c);
    total_ = FactorsOf(c);
    fo_.clear(), s2_ = c.s2, strong_.clear();
    for (size_t i = 0; i < c.fo2.size(); ++i) {
      fo_.push_back(std::sqrt(std::max(0.0, c.fo2[i])));
      strong_.push_back(IsStrong(c.fo2[i], c.sigma[i]));
    }
    return !total_.empty();
  }

  static Factors FactorsOf(const Calculated& c) {
    Factors f(c.a.size());
    for (size_t i = 0; i < f.size(); ++i) f[i] = {c.a[i], c.b[i]};
    return f;
  }

  Factors FactorsOf(std::vector<Site> sites) const {
    if (sites.empty()) return Factors(total_.size());
    Structure part = structure_;
    part.sites = std::move(sites);
    Calculated c;
    DataPass(part, observations_, {}).Run(c);
    return FactorsOf(c);
  }

  // Fo with the phases of a model, less a part of it.
  DensityMap MapOf(const Factors& phases, const Factors& less) const {
    std::vector<MapCoefficient> terms;
    for (size_t i = 0; i < phases.size(); ++i) {
      const double modulus = std::abs(phases[i]);
      if (modulus < 1e-6) continue;
      std::complex<double> f = phases[i] / modulus * fo_[i];
      if (!less.empty()) f -= less[i];
      terms.push_back({observations_.indices[0][i], f});
    }
    return Synthesise(structure_.group, structure_.metric.volume,
                      GridSize(structure_.metric, structure_.group, observations_.indices[0], kMapStep), terms);
  }

  double R1Of(const Factors& model) const {
    double cross = 0.0, square = 0.0, sum = 0.0, off = 0.0;
    std::vector<double> fc;
    for (const auto& f : model) fc.push_back(std::sqrt(std::norm(f)));
    for (size_t i = 0; i < fc.size(); ++i)
      if (strong_[i]) cross += fo_[i] * fc[i], square += fc[i] * fc[i], sum += fo_[i];
    const double scale = square > 0.0 ? cross / square : 1.0;
    for (size_t i = 0; i < fc.size(); ++i)
      if (strong_[i]) off += std::fabs(fo_[i] - scale * fc[i]);
    return sum > 0.0 ? off / sum : 1.0;
  }

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
        a.kind = &kind, a.centre = i, a.place = place;
        a.anchor = structure_.metric.ToCartesian(ImagePosition(structure_, hold));
        a.replaced.assign(near.size(), 0);
        a.replaced[i] = 1;
        size_t inner = 0, ends = 0;
        bool usual = true, possible = true;
        double lengths = 0.0;
        for (const Neighbour& n : near[i]) {
          if (n.distance > kind.reach || n.site == hold.site) continue;
          const Cartesian to = structure_.metric.ToCartesian(ImagePosition(structure_, n)) - place;
          const double cosine = Dot(Normalised(to), Normalised(place - a.anchor));
          if (n.distance > 1.2 && cosine < (kind.branched ? -0.3 : -0.15)) continue;
          const auto at = static_cast<size_t>(n.site);
          const Site& site = structure_.sites[at];
          possible = possible && site.part == 0 && fractions[at] > 0.99 && (electrons(n) < 10 || shares[at] < 0.75) &&
                     !a.replaced[at];
          a.replaced[at] = 1;
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
    const auto places = PlacesOf(kind, pose);
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

  Factors Mixed(const Factors& kept, const Factors& first, const Factors& second, const Mixture& m) const {
    Factors sum = kept;
    for (size_t i = 0; i < sum.size(); ++i)
      sum[i] += std::exp(-kEightPiSquared * m.more * s2_[i]) *
                (m.first * first[i] + (second.empty() ? 0.0 : 1.0 - m.first) * (second.empty() ? 0.0 : second[i]));
    return sum;
  }

  // Shares and displacement of least R1.
  Mixture BestMixture(const Factors& kept, const Factors& first, const Factors& second) const {
    Mixture best;
    for (const double more : {0.0, 0.02, 0.05, 0.09}) {
      for (double share = 0.1; share < 1.01; share += 0.1) {
        const Mixture m{share, more, R1Of(Mixed(kept, first, second, {share, more, 1.0}))};
        if (m.r1 < best.r1) best = m;
      }
    }
    return best;
  }

  // Fits one orientation and a second into what it leaves, each once more into what the other leaves. Of use when R1
  // is as good as that of the atoms that stand there.
  Proposal Propose(const Anchor& a) const {
    const Metric& metric = structure_.metric;
    std::vector<Site> old;
    for (size_t i = 0; i < a.replaced.size(); ++i)
      if (a.replaced[i]) old.push_back(structure_.sites[i]);
    Factors kept = total_;
    const Factors gone = FactorsOf(old);
    for (size_t i = 0; i < kept.size(); ++i) kept[i] -= gone[i];
    const double before = R1Of(total_);
    Proposal p;
    Factors parts[2];
    const auto fit = [&](size_t k, const Factors& phases, const Factors& less) {
      p.poses[k] = BestPose(MapOf(phases, less), metric, *a.kind, a.anchor, a.place).second;
      parts[k] = FactorsOf(SitesOf(*a.kind, p.poses[k]));
    };
    fit(0, total_, kept);
    const Mixture alone = BestMixture(kept, parts[0], {});
    p.mixture = alone;
    if (alone.r1 > kHopeless * before) return p;
    for (int round = 0; round < 2 && (round == 0 || p.mixture.r1 < kPromising * before); ++round) {
      const Factors phases = round == 0 ? total_ : Mixed(kept, parts[0], parts[1], p.mixture);
      for (const size_t k : {1u, 0u}) {
        if (round == 0 && k == 0) continue;
        Factors less = kept;
        const double share = k == 1 ? std::min(0.8, p.mixture.first) : 1.0 - p.mixture.first;
        for (size_t i = 0; i < less.size(); ++i)
          less[i] += share * std::exp(-kEightPiSquared * p.mixture.more * s2_[i]) * parts[1 - k][i];
        fit(k, phases, less);
      }
      p.mixture = BestMixture(kept, parts[0], parts[1]);
    }
    const double share = p.mixture.first;
    p.one = std::max(share, 1.0 - share) > kOnlyOne || Apart(*a.kind, p.poses[0], p.poses[1]) < kSameTurn ||
            p.mixture.r1 > kSecondGain * alone.r1;
    if (p.one) p.mixture = alone;
    p.useful = p.mixture.r1 < a.kind->spare * before && (!p.one || alone.first > kOnlyOne);
    if (!p.useful) return p;
    if (p.mixture.first < 0.5) {
      std::swap(p.poses[0], p.poses[1]), std::swap(parts[0], parts[1]);
      p.mixture.first = 1.0 - p.mixture.first;
    }
    p.total = Mixed(kept, parts[0], p.one ? Factors() : parts[1], p.mixture);
    return p;
  }

  void AddSites(const RotorKind& kind, const Proposal& p, std::vector<Site>& added) {
    const auto& [useful, one, poses, m, total] = p;
    const bool shared = !one && Length(poses[0].centre - poses[1].centre) < kSameCentre;
    const int variable = one ? 0 : static_cast<int>(structure_.freeVariables.size()) + 2;
    for (int k = 0; k < (one ? 1 : 2); ++k) {
      std::vector<Site> sites = SitesOf(kind, poses[k]);
      if (shared) sites[0].x = 0.5 * (sites[0].x + structure_.metric.ToFractional(poses[1 - k].centre));
      for (size_t i = k == 1 && shared ? 1 : 0; i < sites.size(); ++i) {
        Site& site = sites[i];
        site.u[0] += m.more;
        if (!one && !(shared && i == 0)) {
          site.part = k + 1;
          site.occupancy = k == 0 ? m.first : 1.0 - m.first;
          site.code[kRawOccupancy] = (k == 0 ? 1.0 : -1.0) * (10.0 * variable + 1.0);
        }
        added.push_back(site);
      }
    }
    if (!one) structure_.freeVariables.push_back(m.first), ++rotors_;
  }

  void Replace(const std::vector<char>& gone, const std::vector<Site>& added, std::vector<double>& shares,
               std::vector<double>& fractions) {
    size_t to = 0;
    for (size_t i = 0; i < gone.size(); ++i) {
      if (gone[i]) continue;
      structure_.sites[to] = structure_.sites[i];
      shares[to] = shares[i], fractions[to] = fractions[i];
      ++to;
    }
    structure_.sites.resize(to), shares.resize(to), fractions.resize(to);
    for (const Site& site : added) {
      structure_.sites.push_back(site);
      shares.push_back(site.occupancy);
      fractions.push_back(1.0);
    }
  }

  Structure& structure_;
  const Observations& observations_;
  Factors total_;
  std::vector<double> fo_, s2_;
  std::vector<char> strong_;
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
