#pragma once

#include <string>
#include <vector>

#include "chem/mean_plane.h"
#include "chem/uncertainty.h"
#include "model/document.h"

namespace marvik {

// The atoms joined to one by a bond, wherever it is stored: those of its own list first, then the owners of the others
// in list order.
std::vector<const AtomRecord*> BondedAtoms(const Document& document, const AtomRecord& atom);

// The report, lines ended by "\r\n": a line for each neighbour, last to first, with its distance and the angles to
// those listed before it, and the heads of the columns below.
std::string BondsAndAnglesText(const Document& document, const AtomRecord& atom);

// One value of the tables beside it.
struct GeometryValue {
  std::vector<const AtomRecord*> atoms;  // two, three (the centre in the middle) or four
  double value = 0.0;                    // Å or degrees
  std::optional<double> su;
};
struct AtomGeometry {
  std::vector<GeometryValue> distances;
  std::vector<GeometryValue> angles;
  std::vector<GeometryValue> torsions;  // about each bond of the atom
};
AtomGeometry GeometryOf(const Document& document, const AtomRecord& atom, const GeometryUncertainty& uncertainty);

// Å²: that of an isotropic atom, else the mean of U11, U22 and U33 without the metric of the cell, which is meant.
double ListedUeq(const AtomRecord& atom);
// The table of label, peak height, type, place, hybridization, charge and Ueq, lines ended by "\r\n".
std::string AtomInformationText(const AtomSet& atoms);

}  // namespace marvik
