#pragma once

#include <cstdint>
#include <vector>

#include "chem/bonds/bond_rules.h"
#include "crystal/image_search.h"
#include "model/document.h"

namespace marvik {

// A copy of an atom at one symmetry image.
struct NeighbourImage {
  AtomRecord* atom = nullptr;
  uint32_t op = 0;           // index into the operator list
  int32_t symmetryCode = 0;  // 1000·k + 100·(tx + 5) + 10·(ty + 5) + (tz + 5), k from 1
  Fractional fract;
  Cartesian position;     // Å
  double distance = 0.0;  // Å
};

// The symmetry images of every atom within bonding distance of an atom. Made once for a state of the document, so that
// asking for each atom in turn costs in proportion to their number.
class NeighbourSearch {
 public:
  // `tolerance` in Å, kBondTolerance at least, is the largest that will be asked for. Atoms with any of the bits
  // `without` in flags2 are not found.
  NeighbourSearch(const Document& document, double tolerance, unsigned without = 0);

  // Every image no farther than the two bond radii plus `tolerance`, at least 0.05 Å away and no nearer than 0.05 Å to
  // one already found. Translations run from -1 to +2 along each axis, an asymmetric range that is meant. The images
  // stand in the reverse of the order atom, operator, tx, ty, tz in which they are found. None where more than
  // kMostBondingImages are that near.
  std::vector<NeighbourImage> FindNeighbours(const AtomRecord& atom, double tolerance) const {
    return FindNeighboursAt(atom.fract, atom.element->bondRadius, tolerance);
  }
  // The same around any place, with the bond radius in Å of what stands there.
  std::vector<NeighbourImage> FindNeighboursAt(const Fractional& place, double bondRadius, double tolerance) const;
  // What the atom is bonded to: the same by BondRules, with what a BIND line joins to it and short of what is not there
  // together with it: its alternatives, symmetry images where either part is negative, and of neighbours that are
  // alternatives of each other in nearly the same direction all but one (the part of the smaller number stays).
  std::vector<NeighbourImage> FindBonded(const AtomRecord& atom) const;
  // What stands around the atom in the crystal: images within a radius in Å, no farther than Reach(), with translations
  // without bounds, in the order in which they are found. Of images of one atom at one place the first stands for all.
  // None where there are more than ten times kMostBondingImages.
  std::vector<NeighbourImage> FindWithin(const AtomRecord& atom, double radius) const;

  // The largest radius that FindWithin may be asked for.
  double Reach() const { return reach_; }
  const BondRules& Rules() const { return rules_; }

 private:
  template <class Accept>
  std::vector<NeighbourImage> Collect(const Fractional& place, double bondRadius, double tolerance,
                                      Accept accept) const;

  BondRules rules_;
  std::vector<AtomRecord*> atoms_;
  double largestRadius_ = 0.0;
  double reach_ = 0.0;
  ImageSearch images_;
};

}  // namespace marvik
