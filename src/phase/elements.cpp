#include "phase/elements.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kSpread = 0.08;      // of ln(electrons)
constexpr double kCountPrice = 2.0;   // for each atom more or less than the formula has
constexpr double kHeavyPrice = 10.0;  // the same for a heavy atom more
constexpr double kWorst = 6.0;        // of one term: no single length decides alone
constexpr double kReach = 2.5;        // Å
constexpr double kRoughBonds = 0.05;  // Å, how exact lengths are at first
constexpr double kExactBonds = 0.03;  // after full-matrix refinement
constexpr double kUnusualBond = 2.0;  // price of a bond that the table does not have
constexpr double kOverlap = 0.78;     // of the sum of radii: nearer no two atoms come
constexpr int kSweeps = 12;
constexpr double kRootTwoPi = 2.5066282746;
constexpr double kLeastShare = 0.25;  // of an atom that is there in part
constexpr double kMostPartial = 0.5;  // how likely that is of what shakes most
constexpr double kLeastPartial = 0.01;
constexpr double kWhole = 0.75;         // of the median of the electrons, that an atom there in part seldom has
constexpr double kShortestBond = 1.1;   // Å
constexpr double kExchangePrice = 0.5;  // of each element in the place of another that is missing, squared
constexpr double kOverlapPrice = 3.0;   // for each of two
constexpr double kTripleBond = 1.18;    // Å, at most
constexpr double kLightBond = 1.75;     // Å, at most between light atoms
constexpr double kBridgePrice = 14.0;   // of fluorine between carbon and a metal
constexpr double kSigmaPrice = 1.5;     // of carbon on a metal by one bond
constexpr double kShortPrice = 5.0;     // of carbon and nitrogen nearer to a metal than the radii allow
constexpr double kCarbonRadius = 0.76, kNitrogenRadius = 0.71, kShorter = 0.15;  // Å
constexpr double kSwapPrice = 15.0;         // in electrons, that no chemistry makes up for
constexpr double kGeminalPrice = 3.5;       // of what is no halogen, twice on one carbon at short distance
constexpr double kHeavier = 1.5;            // times the neighbours, that a heavy middle is
constexpr double kDisplacementSlope = 6.0;  // of ln(electrons) with U, Å⁻²: how the two trade

struct Kind {
  int scatterer = 0;
  int z = 6;
  double radius = 0.77;   // Å
  double expected = 0.0;  // in the asymmetric unit; negative when the formula is not known
  double share = 1.0;
};

// Usual lengths between atoms but hydrogen, Å, and what the mere bond costs (F. H. Allen et al., J. Chem. Soc. Perkin
// Trans. II (1987) S1).
struct BondRange {
  int a, b;
  double shortest, longest, price;
};
constexpr BondRange kBonds[] = {
    {5, 5, 1.65, 1.90, 0},   {5, 6, 1.53, 1.65, 0},   {5, 7, 1.37, 1.62, 0},   {5, 8, 1.33, 1.50, 0},
    {5, 9, 1.32, 1.43, 0},   {6, 6, 1.18, 1.58, 0},   {6, 7, 1.13, 1.53, 0},   {6, 8, 1.11, 1.45, 0},
    {6, 9, 1.28, 1.40, 0},   {7, 7, 1.09, 1.45, 0.5}, {7, 8, 1.14, 1.44, 0.5}, {7, 9, 1.36, 1.42, 4},
    {8, 8, 1.43, 1.49, 3},   {8, 9, 1.40, 1.44, 5},   {9, 9, 1.41, 1.42, 6},   {6, 14, 1.83, 1.92, 0},
    {8, 14, 1.58, 1.68, 0},  {7, 14, 1.70, 1.78, 0},  {6, 15, 1.76, 1.88, 0},  {7, 15, 1.55, 1.72, 0},
    {8, 15, 1.44, 1.65, 0},  {9, 15, 1.50, 1.63, 0},  {6, 16, 1.64, 1.85, 0},  {7, 16, 1.52, 1.72, 0},
    {8, 16, 1.40, 1.62, 0},  {9, 16, 1.53, 1.60, 0},  {6, 17, 1.70, 1.82, 0},  {7, 17, 1.70, 1.78, 2},
    {8, 17, 1.36, 1.48, 0},  {15, 15, 2.15, 2.28, 0}, {15, 16, 1.90, 2.12, 0}, {15, 17, 1.95, 2.15, 0},
    {16, 16, 2.00, 2.12, 0}, {6, 35, 1.84, 1.97, 0},  {6, 53, 2.04, 2.20, 0},  {6, 34, 1.85, 1.98, 0},
};

bool IsNonmetal(int z) {
  return (z >= 5 && z <= 9) || (z >= 14 && z <= 17) || (z >= 33 && z <= 35) || z == 53;
}

// Metals without d electrons to give.
bool IsMainGroup(int z) {
  return z == 3 || z == 4 || (z >= 11 && z <= 13) || z == 19 || z == 20 || (z >= 30 && z <= 32) || z == 37 || z == 38 ||
         (z >= 48 && z <= 51) || z == 55 || z == 56 || (z >= 80 && z <= 83);
}

double BondPrice(int a, int b, double d, double spread) {
  if (a > b) std::swap(a, b);
  for (const BondRange& r : kBonds) {
    if (r.a != a || r.b != b) continue;
    const double beyond = std::max({0.0, r.shortest - d, d - r.longest}) / spread;
    return r.price + std::min(kWorst, 0.5 * beyond * beyond);
  }
  return kUnusualBond;
}

struct Bond {
  size_t other = 0;
  double length = 0.0;  // Å
};

// How many neighbours but hydrogen and metals an element has at most, and what one more costs.
double CoordinationPrice(int z, size_t bonds, size_t metals) {
  const auto over = [&](size_t most) { return bonds > most ? static_cast<double>(bonds - most) : 0.0; };
  const auto under = [&](size_t least) {
    return bonds + metals < least ? static_cast<double>(least - bonds - metals) : 0.0;
  };
  switch (z) {
    case 6:
      return 4.0 * over(4) + (bonds == 0 && metals == 0 ? 4.0 : 0.0);
    case 7:
      return 2.5 * over(3) + (bonds == 0 && metals == 0 ? 3.0 : 0.0);
    case 8:
      return 4.0 * over(2);
    case 9:
      return 4.0 * over(1) + (bonds == 0 && metals == 0 ? 3.0 : 0.0);
    case 14:
      return 1.5 * under(4);
    case 15:
      return 1.5 * under(3);
    case 17:
      return bonds == 2 || bonds == 3 ? 3.0 : 0.0;
    case 35:
    case 53:
      return 2.0 * over(1);
    default:
      return 0.0;
  }
}

// What an atom at the end of a chain tells by its one bond to carbon.
double EndPrice(int z, double d, double spread) {
  const auto outside = [&](double low, double high) {
    const double beyond = std::max({0.0, low - d, d - high}) / spread;
    return std::min(2.5, 0.5 * beyond * beyond);
  };
  switch (z) {
    case 6:  // methyl; =CH2 and alkynes are rare
      return std::min(outside(1.46, 1.56), 1.5 + outside(1.17, 1.34));
    case 7:  // amine, nitrile
      return std::min(outside(1.31, 1.49), outside(1.12, 1.17));
    case 8:  // carbonyl of a metal; ketone to alcohol
      return std::min(outside(1.11, 1.17), outside(1.19, 1.44));
    case 9:
      return outside(1.29, 1.40);
    default:
      return 0.0;
  }
}

class Assignment {
 public:
  Assignment(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
             const std::vector<double>& fractions, bool refined)
      : fractions_(fractions), spread_(refined ? kExactBonds : kRoughBonds), absolute_(refined) {
    FindKinds(problem, structure);
    FindSpreads(structure);
    for (const double e : electrons) logs_.push_back(std::log(std::max(e, 0.3)));
    const NeighbourTable table = ImagesWithin(structure, kReach);
    for (size_t i = 0; i < table.size(); ++i) {
      const Site& own = structure.sites[i];
      bonds_.emplace_back();
      for (const Neighbour& n : table[i]) {
        if (n.distance > 1.0 && PartsMeet(own, structure.sites[static_cast<size_t>(n.site)], n.IsIdentity()))
          bonds_.back().push_back({static_cast<size_t>(n.site), n.distance});
      }
      const auto known =
          std::find_if(kinds_.begin(), kinds_.end(), [&](const Kind& kind) { return kind.scatterer == own.scatterer; });
      fixed_.push_back(own.part != 0 && known != kinds_.end() ? known - kinds_.begin() : -1);
    }
    FindGeminal();
    FindNear();
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
    for (size_t i = 0; i < kind_.size(); ++i) price += Electrons(i, kind_[i]) + Chemistry(i);
    return price;
  }

  // The sites whose place says that they are bonded: as kinds a and b.
  static bool Bonded(int a, int b, double d) {
    if (!IsNonmetal(a) || !IsNonmetal(b)) return false;
    const bool heavy = a > 10 || b > 10, both = a > 10 && b > 10;
    return d < (both ? 2.4 : heavy ? (a > 18 || b > 18 ? 2.25 : 2.0) : 1.75);
  }

  double Chemistry(size_t site) const {
    const int z = kinds_[kind_[site]].z;
    double price = 0.0;
    size_t bonds = 0, metals = 0, carbons = 0;
    double only = 0.0, longest = 0.0, sum = 0.0;
    int to = 0;
    size_t end = site;
    for (const Bond& b : bonds_[site]) {
      const int other = kinds_[kind_[b.other]].z;
      if (b.length < kOverlap * (kinds_[kind_[site]].radius + kinds_[kind_[b.other]].radius) && (z > 10 || other > 10))
        price += kOverlapPrice;
      if (!IsNonmetal(other)) ++metals;
      if (!Bonded(z, other, b.length) || InRotor(site, b)) continue;
      ++bonds;
      carbons += other == 6;
      only = b.length;
      end = b.other;
      longest = std::max(longest, b.length);
      sum += b.length;
      to = other;
      price += 0.5 * BondPrice(z, other, b.length, spread_);
    }
    if (!IsNonmetal(z)) return price;
    // A cation NR4 has bonds as long as those of carbon.
    const bool cation = z == 7 && bonds == 4 && metals == 0 && longest < 1.58;
    if (z > 10 && carbons > 0 && bonds > 1 && (z == 17 || z == 35)) price += 3.0;
    price += cation ? 0.3 : CoordinationPrice(z, bonds, metals);
    if (bonds == 1 && metals == 0 && to == 6) price += EndPrice(z, only, spread_);
    if (bonds == 1 && only < kTripleBond) price += TriplePrice(z, metals > 0, end, HasMetal(end));
    if (geminal_[site] && z >= 6 && z <= 8) price += kGeminalPrice;
    if (z == 9 && bonds > 0 && metals > 0) price += kBridgePrice;
    if ((z == 6 || z == 7) && metals > 0) price += OnMetalPrice(site, z, bonds);
    // Furans and esters apart, two short bonds are those of carbon or nitrogen, the more so on a metal.
    if (z == 8 && bonds == 2 && sum < 2.77) price += metals > 0 ? 4.0 : 1.5;
    return price;
  }

  // Carbon on a metal by one bond of its own, not in a row of atoms that all lie on it, is rarer than nitrogen; and
  // metals that give nothing back hold neither nearer than the radii say.
  double OnMetalPrice(size_t site, int z, size_t bonds) const {
    double price = 0.0;
    for (const Bond& b : bonds_[site]) {
      const Kind& metal = kinds_[kind_[b.other]];
      if (IsNonmetal(metal.z)) continue;
      const bool row = std::any_of(bonds_[site].begin(), bonds_[site].end(), [&](const Bond& next) {
        return next.length < kLightBond && std::any_of(bonds_[next.other].begin(), bonds_[next.other].end(),
                                                       [&](const Bond& its) { return its.other == b.other; });
      });
      if (z == 6 && !row && bonds == 2) price = std::max(price, kSigmaPrice);
      if (IsMainGroup(metal.z) && b.length < metal.radius + (z == 6 ? kCarbonRadius : kNitrogenRadius) - kShorter)
        price = kShortPrice;
    }
    return price;
  }

  bool HasMetal(size_t site) const {
    return std::any_of(bonds_[site].begin(), bonds_[site].end(),
                       [&](const Bond& b) { return !IsNonmetal(kinds_[kind_[b.other]].z); });
  }

  // Of carbonyls, cyanides and nitrosyls the metal has the lighter end.
  double TriplePrice(int z, bool inner, size_t other, bool outer) const {
    const int to = kinds_[kind_[other]].z;
    if (inner) return (z == 8 ? 4.0 : 0.0) + (to < z && LightBonds(other) == 1 ? 3.0 : 0.0);
    return (z == 8) != outer && z != 7 ? 2.0 : 0.0;
  }

  size_t LightBonds(size_t site) const {
    return static_cast<size_t>(std::count_if(bonds_[site].begin(), bonds_[site].end(), [&](const Bond& b) {
      return b.length < kLightBond && !InRotor(site, b);
    }));
  }

  // Ends of a tetrahedral atom that are as short as C-F and not alone: CF3, CF2.
  void FindGeminal() {
    geminal_.assign(bonds_.size(), false);
    for (size_t centre = 0; centre < bonds_.size(); ++centre) {
      std::vector<size_t> ends;
      size_t neighbours = 0;
      for (const Bond& b : bonds_[centre]) {
        if (b.length > kLightBond) continue;
        ++neighbours;
        if (b.length > 1.22 && b.length < 1.43 && LightBonds(b.other) == 1) ends.push_back(b.other);
      }
      if (neighbours < 4 || ends.size() < 2) continue;
      for (const size_t end : ends) geminal_[end] = true;
    }
  }

  // What two whole light atoms hold is whole itself.
  void FindWhole() {
    std::vector<double> sorted = logs_;
    if (sorted.empty()) return;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    for (size_t i = 0; i < bonds_.size(); ++i) {
      const auto holding = std::count_if(bonds_[i].begin(), bonds_[i].end(), [&](const Bond& b) {
        return b.length > kShortestBond && b.length < kLightBond && logs_[b.other] > *middle + std::log(kWhole);
      });
      if (holding >= 2) partial_[i] = kLeastPartial;
    }
  }

  // Two ends of one atom that lie nearer to each other than to it belong to two orientations.
  bool InRotor(size_t site, const Bond& b) const {
    for (const Bond& own : bonds_[site]) {
      if (own.other == b.other || own.length > 2.0) continue;
      for (const Bond& its : bonds_[b.other])
        if (its.other == own.other && b.length < 1.45 && own.length < 1.5 && its.length < 1.5) return true;
    }
    return false;
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
    return Electrons(a, kind_[a]) + (b != a ? Electrons(b, kind_[b]) : 0.0) + CountsPrice() + ChemistryAround(a, b);
  }

  double ChemistryAround(size_t a, size_t b) const {
    std::vector<size_t>& touched = touched_;
    touched.assign({a, b});
    for (const size_t site : {a, b})
      for (const Bond& bond : bonds_[site]) touched.push_back(bond.other);
    std::sort(touched.begin(), touched.end());
    touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
    double price = 0.0;
    for (const size_t site : touched) price += Chemistry(site);
    return price;
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
    const double before = ChemistryAround(site, site);
    kind_[site] = kind;
    known = ChemistryAround(site, site) - before;
    kind_[site] = own;
    return known;
  }

  void Forget(size_t site) {
    for (const size_t i : near_[site])
      std::fill_n(with_.begin() + static_cast<std::ptrdiff_t>(i * kinds_.size()), kinds_.size(), std::nan(""));
  }

  // Sites whose chemistry a site can have a part in: two bonds away.
  void FindNear() {
    near_.assign(bonds_.size(), {});
    for (size_t i = 0; i < bonds_.size(); ++i) {
      std::vector<size_t>& near = near_[i];
      near.push_back(i);
      for (size_t from = 0, ring = 0; ring < 2; ++ring) {
        const size_t to = near.size();
        for (; from < to; ++from)
          for (const Bond& b : bonds_[near[from]])
            if (std::find(near.begin(), near.end(), b.other) == near.end()) near.push_back(b.other);
      }
      std::sort(near.begin(), near.end());
    }
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
        const bool apart = !std::binary_search(near_[i].begin(), near_[i].end(), j);
        double more =
            counted - CountsPrice() + (apart ? ChemistryWith(i, b) + ChemistryWith(j, a) : -ChemistryAround(i, j));
        Set(i, b), Set(j, a);
        more += CountsPrice() + (apart ? 0.0 : ChemistryAround(i, j));
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
  std::vector<std::vector<Bond>> bonds_;
  std::vector<size_t> kind_;
  std::vector<double> found_;
  std::vector<bool> geminal_;
  std::vector<std::ptrdiff_t> fixed_;  // kind of a site that has a part of a known group, else -1
  std::vector<double> spreads_;        // of ln(electrons), by site
  std::vector<double> partial_;        // how likely it is there in part, by site
  mutable std::vector<size_t> touched_;
  std::vector<double> counted_;            // prices of the electrons at the present scale, by site and kind
  std::vector<double> with_;               // by site and kind, see ChemistryWith
  std::vector<std::vector<size_t>> near_;  // in order
  double spread_;                          // Å, of lengths
  bool absolute_;                          // electrons are counted as they are
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
