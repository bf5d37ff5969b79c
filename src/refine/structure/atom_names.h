#pragma once

#include <string>
#include <vector>

#include "language/instruction.h"
#include "refine/structure/structure.h"

namespace marvik {

// A site as an instruction names it, perhaps moved by an EQIV operation.
struct SiteImage {
  int site = 0;
  bool moved = false;
  SymmetryOperator operation;
};

struct ResolvedNames {
  std::vector<SiteImage> images;
  std::vector<std::string> missing;
};

// The residues that an instruction speaks of: the one number, every residue of a class, every residue ("*"), or, with
// no suffix, residue 0. Instructions of a class are applied to each of its residues in turn.
std::vector<int> ResiduesOf(const Structure& structure, const Instruction& command);

// Names in the order given: C1, C1_2 (residue), C1_$1 (EQIV), $C (all atoms of an element), C1 > C6 and C1 < C6
// (ranges in list order, without hydrogens). Names that are not there are listed as missing. `residue` is where plain
// names are looked up first; then residue 0.
ResolvedNames ResolveAtoms(const Structure& structure, const Instruction& command,
                           const std::vector<Instruction>& commands, const std::vector<std::string>& names,
                           int residue = 0);

}  // namespace marvik
