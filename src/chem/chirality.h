#pragma once

#include <array>
#include <vector>

#include "chem/structure_geometry.h"

namespace marvik {

// A centre with four different ligands; a lone pair and a hydrogen that is not in the list count as the lowest.
struct StereoCentre {
  const AtomRecord* atom = nullptr;
  int part = 0;  // of the alternative that was looked at, 0 without disorder about it
  // 'R' or 'S' in the hand of the model; '?' where constitution and masses do not tell the ligands apart, or where they
  // are too large to follow.
  char label = '?';
  std::vector<const AtomRecord*> ranked;  // the ligands, the highest first
};

// Of the file atoms, in list order, by the sequence rules 1 and 2 (atomic numbers by spheres of the hierarchical
// digraph, then masses; R. S. Cahn, C. Ingold & V. Prelog, Angew. Chem. Int. Ed. 5 (1966) 385; P-92 of the IUPAC
// recommendations of 2013). Multiple bonds are told by missing neighbours and the shortest bonds; in a ring where they
// change places an atom is duplicated by carbon. Rules 3 to 5, which need the labels of other centres, are not applied.
std::vector<StereoCentre> FindStereoCentres(const Document& document);

// "R at C1 and C5, S at C7"; "" where nothing has a label.
std::string ChiralitySentence(const std::vector<StereoCentre>& centres);

}  // namespace marvik
