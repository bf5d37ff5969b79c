#pragma once

#include <string>
#include <vector>

#include "insfile/cif_text.h"
#include "model/crystal.h"
#include "util/user_messages.h"

namespace marvik {

struct CifSymmetry {
  std::vector<std::string> lines;  // the texts of the SYMM lines: every operator but the identity
  SymmetryList operators;          // the same as numbers, behind the identity
  bool isGiven = false;            // the CIF had operators
};

// The operators of a block as they are spelled there. Of operators in more dimensions (modulated structures) or with
// time reversal the part in space is taken; what is no operator is left out. Without operators the identity alone.
CifSymmetry ReadCifSymmetry(const CifBlock& block, UserMessages& messages);

// How many operators move a place onto itself, whole cells apart and within 0.05 Å; at least 1.
int SiteSymmetryOrder(const Fractional& place, const SymmetryList& operators, const OrthogonalisationMatrix& matrix);

}  // namespace marvik
