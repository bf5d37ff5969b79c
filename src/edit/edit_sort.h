#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// Sorts the file atoms by element, then by the number in the label, then by what follows it; what is equal keeps its
// order. As text: symbols in the order wanted ("C N O"); elements that are not named follow in the order of SFAC.
struct AtomOrder {
  std::vector<int> rows;  // of the element table
};
std::optional<AtomOrder> ParseAtomOrder(const EditArguments& arguments, EditFault& fault);
// The elements of the file atoms: SFAC's first, in its order, then others by atomic number.
std::vector<int> ElementsInFile(const Document& document);

// Riding hydrogens stay behind their parent; AFIX groups that begin at another atom, and the atoms of a SAME group,
// keep their inner order; PART and RESI groups stay whole, sorted within; residues keep their order, behind the atoms
// that are in none; peaks come last, by their number; generated atoms stay between. Lines that act from where they
// stand divide the list, and no atom crosses them; behind a SAME line that is kept as text nothing moves.
struct SortResult {
  bool changed = false;
  std::vector<std::string> held;          // lines behind which atoms would have moved and may not
  std::vector<std::string> brokenRanges;  // lines with a range such as "C1 > C6" that now spans other atoms
};
SortResult SortAtoms(Document& document, const AtomOrder& order);

}  // namespace marvik
