#include "chem/bonds/crowding.h"

#include <vector>

#include "chem/bonds/bond_rules.h"
#include "crystal/image_search.h"

namespace marvik {

const AtomRecord* FindCrowded(const Document& document) {
  double largest = 0.0;
  std::vector<const AtomRecord*> atoms;
  std::vector<Fractional> places;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    largest = std::max(largest, atom->element->bondRadius);
    atoms.push_back(atom);
    places.push_back(atom->fract);
  }
  const ImageSearch search(places, document.symmetry, document.cell, 2.0 * largest + kBondTolerance);
  std::vector<AtomImage> images;
  for (const AtomRecord* atom : atoms)
    if (!search.FindNear(atom->fract, atom->element->bondRadius + largest + kBondTolerance, images, kMostBondingImages))
      return atom;
  return nullptr;
}

std::string CrowdedText(const AtomRecord& atom) {
  return "More than " + std::to_string(kMostBondingImages) + " atoms or images stand within bonding distance of " +
         atom.name + ": ";
}

}  // namespace marvik
