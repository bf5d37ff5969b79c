#pragma once

#include <array>
#include <vector>

#include "chem/geometry/structure_geometry.h"

namespace marvik {

// A centre with four different ligands; a lone pair and a hydrogen that is not in the list count as the lowest.
struct StereoCentre {
  const AtomRecord* atom = nullptr;
  int part = 0;  // of the alternative that was looked at, 0 without disorder about it
  // 'R' or 'S' in the hand of the model, 'r' or 's' where only rule 5 parts two ligands (a mirror keeps the label); '?'
  // where the ligands are too large to follow, or hang on the label itself.
  char label = '?';
  std::vector<const AtomRecord*> ranked;  // the ligands, the highest first
};

// Of the file atoms, in list order, by the sequence rules (`SequenceTree`; R. S. Cahn, C. Ingold & V. Prelog, Angew.
// Chem. Int. Ed. 5 (1966) 385; P-92 of the IUPAC recommendations of 2013). Multiple bonds are told by missing
// neighbours and the shortest bonds; in a ring where they change places an atom is duplicated by carbon.
std::vector<StereoCentre> FindStereoCentres(const Document& document);

// "R at C1 and C5, S at C7"; "" where nothing has a label.
std::string ChiralitySentence(const std::vector<StereoCentre>& centres);

}  // namespace marvik
