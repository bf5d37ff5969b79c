#pragma once

#include <algorithm>
#include <string>

#include "model/document.h"

namespace marvik {

// Files that make no sense, thousands of atoms on one line, say, must not cost the square or the cube of their atoms.

// The first live atom with more than kMostBondingImages images within bonding distance, null in a structure that makes
// sense.
const AtomRecord* FindCrowded(const Document& document);
// The sentence that names that limit, up to what cannot be done: "More than 1000 atoms ... of C1: ".
std::string CrowdedText(const AtomRecord& atom);

// More bonds, angles or torsion angles than any structure has that makes sense; lists of them end one behind so many.
inline size_t MostGeometry(const Document& document) {
  return std::max<size_t>(1'000'000, 64 * document.atoms.LiveCount());
}

}  // namespace marvik
