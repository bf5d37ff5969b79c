#pragma once

#include <string>
#include <vector>

#include "crystal/cell_metric.h"
#include "files/cif/cif_text.h"

namespace marvik {

struct CifSymmetry {
  std::vector<std::string> lines;  // the texts of the SYMM lines: every operator but the identity, once
  SymmetryList operators;          // the same as numbers, behind the identity
  bool isListed = false;           // the block had a list of operators
  std::string source;              // without one: the symbol that they were made from, if any

  void Add(std::string text);
};

// The operators of a block as they are spelled there. Of operators in more dimensions (modulated structures) or with
// time reversal the part in space is taken; what is no operator is left out. A block without a list of them has those
// of its Hall symbol or Hermann-Mauguin name where these fit the cell, else the identity alone.
CifSymmetry ReadCifSymmetry(const CifBlock& block, const Metric& metric);

// The Hermann-Mauguin name as given.
CifValue CifSpaceGroupName(const CifBlock& block);

}  // namespace marvik
