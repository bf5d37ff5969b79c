#pragma once

#include <vector>

#include "refine/structure/structure.h"

namespace marvik::phase {

constexpr double kLightBond = 1.75;  // Å, at most between light atoms

// An element that sites may have.
struct Kind {
  int scatterer = 0;
  int z = 6;
  double radius = 0.77;   // Å
  double expected = 0.0;  // in the asymmetric unit; negative when the formula is not known
  double share = 1.0;
};

struct Bond {
  size_t other = 0;
  double length = 0.0;  // Å
};

// What stands beside each site, and what that says against the elements chosen; prices are of -ln(likelihood).
class Surroundings {
 public:
  // `spread` is that of lengths in Å. The kind of each site is looked up whenever a price is asked for.
  Surroundings(const Structure& structure, double spread, const std::vector<Kind>& kinds,
               const std::vector<size_t>& kind);

  const std::vector<Bond>& BondsOf(size_t site) const { return bonds_[site]; }
  // Sites whose chemistry a site can have a part in, two bonds away, in order.
  const std::vector<size_t>& Near(size_t site) const { return near_[site]; }
  double Price(size_t site) const;
  // Of two sites and all that are bonded to them.
  double PriceAround(size_t a, size_t b) const;

 private:
  void FindGeminal();
  void FindNear();
  double OnMetalPrice(size_t site, int z, size_t bonds) const;
  double TriplePrice(int z, bool inner, size_t other, bool outer) const;
  bool HasMetal(size_t site) const;
  size_t LightBonds(size_t site) const;
  bool InRotor(size_t site, const Bond& b) const;

  const std::vector<Kind>& kinds_;
  const std::vector<size_t>& kind_;
  std::vector<std::vector<Bond>> bonds_;
  std::vector<bool> geminal_;
  std::vector<std::vector<size_t>> near_;
  mutable std::vector<size_t> touched_;
  double spread_;
};

}  // namespace marvik::phase
