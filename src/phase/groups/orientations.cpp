#include "phase/groups/orientations.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "refine/map/fourier.h"

namespace marvik::phase {
namespace {

constexpr double kCoarseStep = 0.3;   // Å
constexpr double kSameCentre = 0.25;  // Å, nearer to each other two centres are one
constexpr double kSameTurn = 0.3;     // Å, mean distance of ends below which two orientations are one
constexpr double kSecondGain = 0.96;  // of R1, that a second orientation needs
constexpr double kOnlyOne = 0.86;     // share of one orientation that leaves no second
constexpr double kHopeless = 1.8;     // of R1 with one orientation, that no second one mends
constexpr double kPromising = 1.15;   // of R1, that is worth a second round
constexpr double kEightPiSquared = 8.0 * std::numbers::pi * std::numbers::pi;

Factors ComplexOf(const Calculated& c) {
  Factors f(c.a.size());
  for (size_t i = 0; i < f.size(); ++i) f[i] = {c.a[i], c.b[i]};
  return f;
}

}  // namespace

bool Orientations::Evaluate() {
  Calculated c;
  DataPass(structure_, observations_, {}).Run(c);
  total_ = ComplexOf(c);
  fo_.clear(), s2_ = c.s2, strong_.clear();
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    // Of a twin what falls to the first part.
    const double part = observations_.Components() > 1 && c.fc2[i] > 0.0 ? std::norm(total_[i]) / c.fc2[i] : 1.0;
    fo_.push_back(std::sqrt(std::max(0.0, c.fo2[i]) * part));
    strong_.push_back(IsStrong(c.fo2[i], c.sigma[i]));
  }
  return !total_.empty();
}

Factors Orientations::FactorsOf(std::vector<Site> sites) const {
  if (sites.empty()) return Factors(total_.size());
  Structure part = structure_;
  part.sites = std::move(sites);
  Calculated c;
  DataPass(part, observations_, {}).Run(c);
  return ComplexOf(c);
}

// Fo with the phases of a model, less a part of it.
DensityMap Orientations::MapOf(const Factors& phases, const Factors& less) const {
  std::vector<MapCoefficient> terms;
  for (size_t i = 0; i < phases.size(); ++i) {
    const double modulus = std::abs(phases[i]);
    if (modulus < 1e-6) continue;
    std::complex<double> f = phases[i] / modulus * fo_[i];
    if (!less.empty()) f -= less[i];
    terms.push_back({observations_.indices[0][i], f});
  }
  return Synthesise(structure_.group, structure_.metric.volume,
                    GridSize(structure_.metric, structure_.group, observations_.indices[0], kCoarseStep), terms);
}

double Orientations::R1Of(const Factors& model) const {
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

Factors Orientations::Mixed(const Factors& kept, const Factors& first, const Factors& second, const Mixture& m) const {
  Factors sum = kept;
  for (size_t i = 0; i < sum.size(); ++i)
    sum[i] += std::exp(-kEightPiSquared * m.more * s2_[i]) *
              (m.first * first[i] + (second.empty() ? 0.0 : 1.0 - m.first) * (second.empty() ? 0.0 : second[i]));
  return sum;
}

// Shares and displacement of least R1.
Mixture Orientations::BestMixture(const Factors& kept, const Factors& first, const Factors& second) const {
  Mixture best;
  for (const double more : {0.0, 0.02, 0.05, 0.09}) {
    for (double share = 0.1; share < 1.01; share += 0.1) {
      const Mixture m{share, more, R1Of(Mixed(kept, first, second, {share, more, 1.0}))};
      if (m.r1 < best.r1) best = m;
    }
  }
  return best;
}

Proposal Orientations::Propose(const Trial& a) const {
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
    p.poses[k] = BestPose(MapOf(phases, less), metric, a.shape, a.anchor, a.place).second;
    parts[k] = FactorsOf(a.sites(p.poses[k]));
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
  p.one =
      std::max(share, 1.0 - share) > kOnlyOne || Apart(a.shape, p.poses[0], p.poses[1]) < kSameTurn ||
      p.mixture.r1 > (a.secondGain > 0.0 ? alone.r1 - a.secondGain * (R1Of(kept) - alone.r1) : kSecondGain * alone.r1);
  if (p.one) p.mixture = alone;
  p.useful = p.mixture.r1 < a.spare * before && (!p.one || alone.first > kOnlyOne);
  if (!p.useful) return p;
  if (p.mixture.first < 0.5) {
    std::swap(p.poses[0], p.poses[1]), std::swap(parts[0], parts[1]);
    p.mixture.first = 1.0 - p.mixture.first;
  }
  p.total = Mixed(kept, parts[0], p.one ? Factors() : parts[1], p.mixture);
  return p;
}

bool AddOrientations(const Trial& trial, const Proposal& p, Structure& structure, std::vector<Site>& added) {
  const Mixture& m = p.mixture;
  const bool shared = !p.one && trial.shape.HasRoot() && Length(p.poses[0].centre - p.poses[1].centre) < kSameCentre;
  const int variable = p.one ? 1 : static_cast<int>(structure.freeVariables.size()) + 2;
  for (size_t k = 0; k < (p.one ? 1 : 2); ++k) {
    std::vector<Site> sites = trial.sites(p.poses[k]);
    if (shared) sites[0].x = 0.5 * (sites[0].x + structure.metric.ToFractional(p.poses[1 - k].centre));
    for (size_t i = k == 1 && shared ? 1 : 0; i < sites.size(); ++i) {
      Site& site = sites[i];
      site.u[0] += m.more;
      if ((!p.one || trial.part < 0) && !(shared && i == 0)) {
        site.part = k == 0 ? trial.part : trial.part + (trial.part < 0 ? -1 : 1);
        site.code[kRawOccupancy] = (k == 0 ? 1.0 : -1.0) * (10.0 * variable + site.occupancy);
        if (!p.one) site.occupancy *= k == 0 ? m.first : 1.0 - m.first;
      }
      added.push_back(site);
    }
  }
  if (!p.one) structure.freeVariables.push_back(m.first);
  return !p.one;
}

void ReplaceSites(const std::vector<char>& gone, const std::vector<Site>& added, Structure& structure,
                  std::vector<double>& shares, std::vector<double>& fractions) {
  size_t to = 0;
  for (size_t i = 0; i < gone.size(); ++i) {
    if (gone[i]) continue;
    structure.sites[to] = structure.sites[i];
    shares[to] = shares[i], fractions[to] = fractions[i];
    ++to;
  }
  structure.sites.resize(to), shares.resize(to), fractions.resize(to);
  for (const Site& site : added) {
    structure.sites.push_back(site);
    shares.push_back(site.occupancy);
    fractions.push_back(1.0);
  }
}

}  // namespace marvik::phase
