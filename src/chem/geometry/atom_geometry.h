#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "chem/geometry/mean_plane.h"
#include "chem/geometry/uncertainty.h"
#include "model/document.h"

namespace marvik {

// The atoms joined to one by a bond, wherever it is stored: those of its own list first, then the owners of the others
// in list order.
std::vector<const AtomRecord*> BondedAtoms(const Document& document, const AtomRecord& atom);

// The same for all atoms at once; holds as long as atoms and bonds stay.
class BondPartners {
 public:
  explicit BondPartners(const Document& document);
  const std::vector<const AtomRecord*>& Of(const AtomRecord& atom) const;

 private:
  std::unordered_map<const AtomRecord*, std::vector<const AtomRecord*>> partners_;
};

// The report, lines ended by "\r\n": a line for each neighbour, last to first, with its distance and the angles to
// those listed before it, and the heads of the columns below.
std::string BondsAndAnglesText(const Document& document, const AtomRecord& atom);

// Å²: that of an isotropic atom, of a riding one (a negative value in the file) that of the atom before it times the
// factor, else a third of the trace of the orthogonalised tensor.
double ListedUeq(const Document& document, const AtomRecord& atom);
// U11 U22 U33 U23 U13 U12, or Uiso alone, decoded as above.
std::vector<double> ListedU(const Document& document, const AtomRecord& atom);
// The table of label, peak height, type, place, hybridization, charge and Ueq, lines ended by "\r\n".
std::string AtomInformationText(const Document& document, const AtomSet& atoms);

}  // namespace marvik
