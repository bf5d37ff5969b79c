#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "crystal/crystal.h"
#include "files/cif/cif_elements.h"
#include "files/cif/cif_text.h"

namespace marvik {

// One row of the atom-site loop with what the displacement loop says about it.
struct CifAtom {
  std::string_view label;
  int row = kUnknownRow;
  Fractional fract;
  double occupancy = 1.0;  // of the site, symmetry not counted
  int part = 0;
  int uCount = 1;                                // 1 or 6
  std::array<double, 6> u{0.05, 0, 0, 0, 0, 0};  // as AtomRecord::u
};

// What a translation could not take over as it stood, for the user.
struct CifLosses {
  size_t withoutCoordinates = 0;
  size_t shiftedByCells = 0;
  size_t otherOccupancies = 0;
  size_t otherDisplacements = 0;
  size_t unknownElements = 0;
  bool atomLoopIsCut = false;
};

// Whether the block has an atom with three coordinates.
bool HasAtoms(const CifBlock& block);

// Every atom of the block that has coordinates, in the order of its rows. An instruction file's coding has no room for
// coordinates of 5 and more (shifted by whole cells), negative occupancies or those of 5 and more (made 1), and
// negative isotropic displacement values or any of 5 and more (made 0.05); `losses` counts them. Displacement values
// given as B or beta become U; without any an atom gets the 0.05 of new atoms.
std::vector<CifAtom> ReadCifAtoms(const CifBlock& block, const CellParameters& cell,
                                  const std::vector<FormulaElement>& formula, CifLosses& losses);

}  // namespace marvik
