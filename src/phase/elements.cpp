#include "phase/elements.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "phase/surroundings.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kSpread = 0.08;      // of ln(electrons)
constexpr double kCountPrice = 2.0;   // for each atom more or less than the formula has
constexpr double kHeavyPrice = 10.0;  // the same for a heavy atom more
constexpr double kRoughBonds = 0.05;  // Å, how exact lengths are at first
constexpr double kExactBonds = 0.03;  // after full-matrix refinement
constexpr int kSweeps = 12;
constexpr double kRootTwoPi = 2.5066282746;
constexpr double kLeastShare = 0.25;  // of an atom that is there in part
constexpr double kMostPartial = 0.5;  // how likely that is of what shakes most
constexpr double kLeastPartial = 0.01;
constexpr double kWhole = 0.75;             // of the median of the electrons, that an atom there in part seldom has
constexpr double kShortestBond = 1.1;       // Å
constexpr double kExchangePrice = 0.5;      // of each element in the place of another that is missing, squared
constexpr double kSwapPrice = 15.0;         // in electrons, that no chemistry makes up for
constexpr double kHeavier = 1.5;            // times the neighbours, that a heavy middle is
constexpr double kDisplacementSlope = 6.0;  // of ln(electrons) with U, Å⁻²: how the two trade

class Assignment {
 public:
  Assignment(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
             const std::vector<double>& fractions, bool refined)
      : fractions_(fractions),
        surroundings_(structure, refined ? kExactBonds : kRoughBonds, kinds_, kind_),
        absolute_(refined) {
    FindKinds(problem, structure);
    FindSpreads(structure);
    for (const double e : electrons) logs_.push_back(std::log(std::max(e, 0.3)));
    for (const Site& site : structure.sites) {
      const auto known = std::find_if(kinds_.begin(), kinds_.end(),
                                      [&](const Kind& kind) { return kind.scatterer == site.scatterer; });
      fixed_.push_back(site.part != 0 && known != kinds_.end() ? known - kinds_.begin() : -1);
    }
    FindWhole();
  }

  std::vector<int> Solve() {
    if (kinds_.empty()) return {};
    FindScale();
    // The scale that suits the likeliest elements may be off by the step between neighbours: a few are tried.
    const double middle = scale_;
    double least = std::numeric_limits<double>::max();
    std::vector<size_t> best;
    for (const double off : {0.0, 0.12, -0.12, 0.24}) {
      if (absolute_ && off != 0.0) break;
      UseScale(middle + off);
      const double price = Settle();
      if (price < least - 1e-6) least = price, best = kind_;
    }
    std::vector<int> elements;
    for (const size_t k : best) elements.push_back(kinds_[k].scatterer);
    return elements;
  }

 private:
  void FindKinds(const Problem& problem, const Structure& structure) {
    double sum = 0.0;
    for (size_t i = 0; i < problem.formula.size(); ++i) {
      const int z = problem.scatterers[i].electrons;
      if (z <= 1) continue;
      const double count = problem.formula[i].count / static_cast<double>(structure.group.all.size());
      kinds_.push_back({static_cast<int>(i), z, problem.scatterers[i].radius, problem.formulaFits ? count : -1.0,
                        problem.formulaFits ? count : 1.0});
      sum += kinds_.back().share;
    }
    for (Kind& k : kinds_) k.share = std::max(0.003, k.share / std::max(sum, 1e-9));
  }

  // What moves about more than usual says less by its electrons.
  void FindSpreads(const Structure& structure) {
    std::vector<double> u;
    for (const Site& site : structure.sites) u.push_back(site.u[0]);
    if (u.empty()) return;
    const auto middle = u.begin() + static_cast<std::ptrdiff_t>(u.size() / 2);
    std::nth_element(u.begin(), middle, u.end());
    for (const Site& site : structure.sites) {
      const double ratio = site.u[0] / std::max(*middle, 1e-4);
      spreads_.push_back(kSpread * std::clamp(ratio, 1.0, 2.0));
      partial_.push_back(std::clamp(0.25 * (ratio - 1.5), kLeastPartial, kMostPartial));
    }
  }

  double Electrons(size_t site, size_t kind) const { return counted_[site * kinds_.size() + kind]; }

  void UseScale(double scale) {
    scale_ = scale;
    counted_.resize(logs_.size() * kinds_.size());
    for (size_t i = 0; i < logs_.size(); ++i)
      for (size_t k = 0; k < kinds_.size(); ++k) counted_[i * kinds_.size() + k] = Count(i, k);
  }

  double Count(size_t site, size_t kind) const {
    if (fixed_[site] >= 0) return 0.0;
    const double off = logs_[site] - scale_ - std::log(static_cast<double>(kinds_[kind].z));
    const double d = off / spreads_[site];
    // Far off, the price grows slowly: what is disordered has too few of any.
    const double squared = d * d < 9.0 ? d * d : 6.0 * std::fabs(d) - 9.0;
    double likely = (1.0 - partial_[site]) * std::exp(-0.5 * squared);
    // Of what is there in part any share is as likely as another.
    if (off < 0.05 && std::exp(off) > kLeastShare)
      likely += partial_[site] * kRootTwoPi * spreads_[site] * std::exp(off) / (1.0 - kLeastShare);
    return -std::log(std::max(likely, 1e-300) * kinds_[kind].share);
  }

  void FindScale() {
    if (absolute_) return;
    double best = std::numeric_limits<double>::max();
    double chosen = 0.0;
    for (scale_ = -1.6; scale_ <= 1.6; scale_ += 0.01) {
      double sum = 0.0;
      for (size_t i = 0; i < logs_.size(); ++i) {
        double least = std::numeric_limits<double>::max();
        for (size_t k = 0; k < kinds_.size(); ++k) least = std::min(least, Count(i, k));
        sum += fractions_[i] * std::min(least, 20.0) * kSpread / spreads_[i];
      }
      sum += 0.02 * static_cast<double>(logs_.size()) * scale_ * scale_;
      if (sum < best) best = sum, chosen = scale_;
    }
    scale_ = chosen;
  }

  // Elements at the present scale, then the scale of these elements, in turns; gives the price of all.
  double Settle() {
    kind_.assign(logs_.size(), 0);
    for (size_t i = 0; i < logs_.size(); ++i) {
      if (fixed_[i] >= 0) kind_[i] = static_cast<size_t>(fixed_[i]);
      for (size_t k = 1; k < kinds_.size(); ++k)
        if (Electrons(i, k) < Electrons(i, kind_[i])) kind_[i] = k;
    }
    found_.assign(kinds_.size(), 0.0);
    for (size_t i = 0; i < kind_.size(); ++i) found_[kind_[i]] += fractions_[i];
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
      const bool changed = ChangeOne(), swapped = SwapTwo();
      if (absolute_ && !changed && !swapped) break;
      if (absolute_) continue;
      std::vector<double> offsets;
      for (size_t i = 0; i < logs_.size(); ++i)
        if (spreads_[i] <= kSpread && fixed_[i] < 0)
          offsets.push_back(logs_[i] - std::log(static_cast<double>(kinds_[kind_[i]].z)));
      if (offsets.empty()) break;
      const auto middle = offsets.begin() + static_cast<std::ptrdiff_t>(offsets.size() / 2);
      std::nth_element(offsets.begin(), middle, offsets.end());
      UseScale(0.5 * (scale_ + *middle));
      if (!changed && !swapped && std::fabs(scale_ - *middle) < 0.01) break;
    }
    double price = CountsPrice();
    for (size_t i = 0; i < kind_.size(); ++i) price += Electrons(i, kind_[i]) + surroundings_.Price(i);
    return price;
  }

  // What two whole light atoms hold is whole itself.
  void FindWhole() {
    std::vector<double> sorted = logs_;
    if (sorted.empty()) return;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    for (size_t i = 0; i < logs_.size(); ++i) {
      const auto holding = std::ranges::count_if(surroundings_.BondsOf(i), [&](const Bond& b) {
        return b.length > kShortestBond && b.length < kLightBond && logs_[b.other] > *middle + std::log(kWhole);
      });
      if (holding >= 2) partial_[i] = kLeastPartial;
    }
  }

  // One heavy atom too many is seldom in a formula; light ones are solvent or disorder.
  double CountsPrice() const {
    double price = 0.0, over = 0.0, under = 0.0;
    for (size_t k = 0; k < kinds_.size(); ++k) {
      if (kinds_[k].expected < 0.0) continue;
      const double more = found_[k] - kinds_[k].expected;
      price += (more > 0.0 && kinds_[k].z > 10 ? kHeavyPrice : kCountPrice) * std::fabs(more);
      price += more * more / (0.5 * kinds_[k].expected + 1.0);
      (more > 0.0 ? over : under) += std::fabs(more);
    }
    const double exchanged = std::min(over, under);
    return price + kExchangePrice * exchanged * exchanged / (1.0 + 0.02 * static_cast<double>(kind_.size()));
  }

  // All that changes when these sites change.
  double Around(size_t a, size_t b) const {
    return Electrons(a, kind_[a]) + (b != a ? Electrons(b, kind_[b]) : 0.0) + CountsPrice() +
           surroundings_.PriceAround(a, b);
  }

  void Set(size_t site, size_t kind) {
    found_[kind_[site]] -= fractions_[site];
    kind_[site] = kind;
    found_[kind] += fractions_[site];
  }

  // What the chemistry around a site alone costs more with this kind; kept until something near changes.
  double ChemistryWith(size_t site, size_t kind) {
    double& known = with_[site * kinds_.size() + kind];
    if (!std::isnan(known)) return known;
    const size_t own = kind_[site];
    const double before = surroundings_.PriceAround(site, site);
    kind_[site] = kind;
    known = surroundings_.PriceAround(site, site) - before;
    kind_[site] = own;
    return known;
  }

  void Forget(size_t site) {
    for (const size_t i : surroundings_.Near(site))
      std::fill_n(with_.begin() + static_cast<std::ptrdiff_t>(i * kinds_.size()), kinds_.size(), std::nan(""));
  }

  bool ChangeOne() {
    bool any = false;
    for (size_t i = 0; i < kind_.size(); ++i) {
      if (fixed_[i] >= 0) continue;
      const size_t before = kind_[i];
      size_t best = before;
      double least = Around(i, i) - 1e-9;
      for (size_t k = 0; k < kinds_.size(); ++k) {
        if (k == before) continue;
        Set(i, k);
        const double price = Around(i, i);
        if (price < least) least = price, best = k;
      }
      Set(i, best);
      any = any || best != before;
    }
    return any;
  }

  bool SwapTwo() {
    bool any = false;
    with_.assign(kind_.size() * kinds_.size(), std::nan(""));
    for (size_t i = 0; i < kind_.size(); ++i) {
      for (size_t j = i + 1; j < kind_.size(); ++j) {
        const size_t a = kind_[i], b = kind_[j];
        if (a == b || fixed_[i] >= 0 || fixed_[j] >= 0 || std::fabs(logs_[i] - logs_[j]) > 0.5) continue;
        const double counted = Electrons(i, b) + Electrons(j, a) - Electrons(i, a) - Electrons(j, b);
        if (counted > kSwapPrice) continue;
        const bool apart = !std::binary_search(surroundings_.Near(i).begin(), surroundings_.Near(i).end(), j);
        double more = counted - CountsPrice() +
                      (apart ? ChemistryWith(i, b) + ChemistryWith(j, a) : -surroundings_.PriceAround(i, j));
        Set(i, b), Set(j, a);
        more += CountsPrice() + (apart ? 0.0 : surroundings_.PriceAround(i, j));
        if (more < -1e-9) {
          any = true;
          Forget(i), Forget(j);
        } else {
          Set(i, a), Set(j, b);
        }
      }
    }
    return any;
  }

  const std::vector<double>& fractions_;
  std::vector<Kind> kinds_;
  std::vector<double> logs_;
  std::vector<size_t> kind_;  // of each site
  Surroundings surroundings_;
  std::vector<double> found_;
  std::vector<std::ptrdiff_t> fixed_;  // kind of a site that has a part of a known group, else -1
  std::vector<double> spreads_;        // of ln(electrons), by site
  std::vector<double> partial_;        // how likely it is there in part, by site
  std::vector<double> counted_;        // prices of the electrons at the present scale, by site and kind
  std::vector<double> with_;           // by site and kind, see ChemistryWith
  bool absolute_;                      // electrons are counted as they are
  double scale_ = 0.0;
};

}  // namespace

std::vector<int> ElementsOf(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
                            const std::vector<double>& fractions, bool refined) {
  std::vector<int> elements = Assignment(problem, structure, electrons, fractions, refined).Solve();
  if (elements.empty()) elements.assign(electrons.size(), static_cast<int>(structure.scatterers.size()) - 1);
  return elements;
}

void LevelDisplacements(const Structure& structure, std::vector<double>& electrons) {
  // Occupancy and displacement go together; an atom moves about as its neighbours do.
  const NeighbourTable near = ImagesWithin(structure, 2.3);
  const std::vector<double> counted = electrons;
  for (size_t i = 0; i < electrons.size(); ++i) {
    double sum = 0.0, weights = 0.0, n = 0.0;
    for (const Neighbour& other : near[i]) {
      if (other.distance < 1.0) continue;
      sum += structure.sites[static_cast<size_t>(other.site)].u[0];
      weights += counted[static_cast<size_t>(other.site)];
      n += 1.0;
    }
    // The middle of a group of lighter atoms that turn moves as it does.
    if (n == 0.0 || (n > 2.5 && counted[i] > kHeavier * weights / n)) continue;
    const double usual = sum / n * (n < 1.5 ? 1.25 : 1.0);
    electrons[i] *= std::exp(-kDisplacementSlope * std::clamp(structure.sites[i].u[0] - usual, -0.03, 0.03));
  }
}

}  // namespace marvik::phase
