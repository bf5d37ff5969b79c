#pragma once

#include <string>
#include <string_view>

#include "model/document.h"

namespace marvik {

// What the arguments of a RESI line say ("CCF3 5", "5 CCF3", "A:12 ALA"), without the line itself.
Residue ParseResidue(std::string_view arguments);

// Number 0 without a class: the atoms are in no residue.
bool IsNoResidue(const Residue& residue);

// One text per residue, letters in one case: what tells residues apart.
std::string ResidueKey(const Residue& residue);

// The RESI line to write for an index of the document's residues, "RESI 0" for -1.
std::string ResidueLine(const Document& document, int residue);

// The name by which instructions refer to an atom: with its residue number when that is not 0 ("C1_3", "C1_A:12").
std::string QualifiedName(const Document& document, const AtomRecord& atom);

}  // namespace marvik
