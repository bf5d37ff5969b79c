#pragma once

#include <cstdint>
#include <vector>

#include "cryst/image_search.h"
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
  // `tolerance` in Å is the largest that will be asked for.
  NeighbourSearch(const Document& document, double tolerance);

  // Every image no farther than the two bond radii plus `tolerance`, at least 0.05 Å away and no nearer than 0.05 Å to
  // one already found. Translations run from -1 to +2 along each axis, an asymmetric range that is meant. The images
  // stand in the reverse of the order atom, operator, tx, ty, tz in which they are found.
  std::vector<NeighbourImage> FindNeighbours(const AtomRecord& atom, double tolerance) const {
    return FindNeighboursAt(atom.fract, atom.element->bondRadius, tolerance);
  }
  // The same around any place, with the bond radius in Å of what stands there.
  std::vector<NeighbourImage> FindNeighboursAt(const Fractional& place, double bondRadius, double tolerance) const;
  // What FindNeighbours gives, short of what does not belong to one alternative of a disordered structure (see
  // KeepOneAlternative).
  std::vector<NeighbourImage> FindBonded(const AtomRecord& atom, double tolerance) const;
  // What stands around the atom in the crystal: images within a radius in Å, no farther than Reach(), with translations
  // without bounds, in the order in which they are found. Of images of one atom at one place the first stands for all.
  std::vector<NeighbourImage> FindWithin(const AtomRecord& atom, double radius) const;

  // The largest radius that FindWithin may be asked for.
  double Reach() const { return reach_; }

 private:
  std::vector<AtomRecord*> atoms_;
  double largestRadius_ = 0.0;
  double reach_ = 0.0;
  ImageSearch images_;
};

// Drops, of an atom's neighbours, those that are not there together with it: atoms of a part that may not bond to its
// part, symmetry images where either part is negative, and, around an atom without a part, what stands in nearly the
// direction of a neighbour of another part (the part of the smaller number stays).
void KeepOneAlternative(const AtomRecord& atom, std::vector<NeighbourImage>& neighbours);

}  // namespace marvik
