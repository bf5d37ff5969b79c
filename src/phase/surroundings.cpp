#include "phase/surroundings.h"

#include <algorithm>

#include "phase/bond_prices.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kReach = 2.5;         // Å
constexpr double kOverlap = 0.78;      // of the sum of radii: nearer no two atoms come
constexpr double kOverlapPrice = 3.0;  // for each of two
constexpr double kTripleBond = 1.18;   // Å, at most
constexpr double kBridgePrice = 14.0;  // of fluorine between carbon and a metal
constexpr double kSigmaPrice = 1.5;    // of carbon on a metal by one bond
constexpr double kShortPrice = 5.0;    // of carbon and nitrogen nearer to a metal than the radii allow
constexpr double kCarbonRadius = 0.76, kNitrogenRadius = 0.71, kShorter = 0.15;  // Å
constexpr double kGeminalPrice = 3.5;  // of what is no halogen, twice on one carbon at short distance

}  // namespace

Surroundings::Surroundings(const Structure& structure, double spread, const std::vector<Kind>& kinds,
                           const std::vector<size_t>& kind)
    : kinds_(kinds), kind_(kind), spread_(spread) {
  const NeighbourTable table = ImagesWithin(structure, kReach);
  for (size_t i = 0; i < table.size(); ++i) {
    bonds_.emplace_back();
    for (const Neighbour& n : table[i]) {
      if (n.distance > 1.0 &&
          PartsMeet(structure.sites[i], structure.sites[static_cast<size_t>(n.site)], n.IsIdentity()))
        bonds_.back().push_back({static_cast<size_t>(n.site), n.distance});
    }
  }
  FindGeminal();
  FindNear();
}

double Surroundings::Price(size_t site) const {
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
double Surroundings::OnMetalPrice(size_t site, int z, size_t bonds) const {
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

bool Surroundings::HasMetal(size_t site) const {
  return std::any_of(bonds_[site].begin(), bonds_[site].end(),
                     [&](const Bond& b) { return !IsNonmetal(kinds_[kind_[b.other]].z); });
}

// Of carbonyls, cyanides and nitrosyls the metal has the lighter end.
double Surroundings::TriplePrice(int z, bool inner, size_t other, bool outer) const {
  const int to = kinds_[kind_[other]].z;
  if (inner) return (z == 8 ? 4.0 : 0.0) + (to < z && LightBonds(other) == 1 ? 3.0 : 0.0);
  return (z == 8) != outer && z != 7 ? 2.0 : 0.0;
}

size_t Surroundings::LightBonds(size_t site) const {
  return static_cast<size_t>(std::count_if(bonds_[site].begin(), bonds_[site].end(),
                                           [&](const Bond& b) { return b.length < kLightBond && !InRotor(site, b); }));
}

// Ends of a tetrahedral atom that are as short as C-F and not alone: CF3, CF2.
void Surroundings::FindGeminal() {
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

// Two ends of one atom that lie nearer to each other than to it belong to two orientations.
bool Surroundings::InRotor(size_t site, const Bond& b) const {
  for (const Bond& own : bonds_[site]) {
    if (own.other == b.other || own.length > 2.0) continue;
    for (const Bond& its : bonds_[b.other])
      if (its.other == own.other && b.length < 1.45 && own.length < 1.5 && its.length < 1.5) return true;
  }
  return false;
}

double Surroundings::PriceAround(size_t a, size_t b) const {
  std::vector<size_t>& touched = touched_;
  touched.assign({a, b});
  for (const size_t site : {a, b})
    for (const Bond& bond : bonds_[site]) touched.push_back(bond.other);
  std::sort(touched.begin(), touched.end());
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  double price = 0.0;
  for (const size_t site : touched) price += Price(site);
  return price;
}

// Sites whose chemistry a site can have a part in: two bonds away.
void Surroundings::FindNear() {
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

}  // namespace marvik::phase
