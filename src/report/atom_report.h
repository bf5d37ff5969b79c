#pragma once

#include <array>
#include <string>
#include <string_view>

#include "model/document.h"

namespace marvik {

inline constexpr std::array<std::string_view, 6> kReportKinds{"atoms", "bonds",          "hybrid",
                                                              "plane", "weighted-plane", "centroid"};

// Tables of the structure: tab-separated text under a line of headings, or a JSON array of objects with the same names.
// They tell of the selected atoms when any are selected, else of all; a bond is told of when one of its ends is.
// Numbers that are not finite are null in JSON.
//
// name, element, x y z (fractional), occupancy (decoded), Uiso or the mean of U11, U22 and U33 in Å² (a
// negative one rides on the parent's), part, residue number (0: none).
std::string AtomReport(const Document& document, bool json);
// atom1, atom2, length in Å, order; in list order of the first atom.
std::string BondReport(const Document& document, bool json);

// "Single", "Double", "Triple", "Aromatic" or "Pi".
const char* OrderWord(int order);

}  // namespace marvik
