#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/document.h"

namespace marvik {

// The live atom that a text names: "C1", "C1_2" in residue number 2, "C1_A:2" of chain A, or "#17" by serial number.
// Letter case counts only when two names differ in nothing else; among equal names the first wins. Nothing when there
// is none.
AtomRecord* FindAtomByText(const Document& document, std::string_view text);

// What a selection text stands for, in list order, each atom once; only displayed atoms. Words are separated by blanks
// or commas: a name with "*" and "?", with or without a residue behind "_", "#17" (a serial number), "$C" for an
// element, "C1 > C6" for the stretch of the list between two atoms, whichever comes first, "PART:-1", "RESI:2",
// "RESI:A:2" or "RESI:ALA", PEAKS, HYDROGENS (deuterium too). Letter case does not count.
struct AtomChoice {
  std::vector<AtomRecord*> atoms;
  std::string unmatched;  // the first word that names no atom
};
AtomChoice ChooseAtoms(const Document& document, std::string_view text);
// The same among the killed atoms, latest first, without ranges.
AtomChoice ChooseKilledAtoms(const Document& document, std::string_view text);

// Atoms whose name another atom of the same residue has too, in list order; generated atoms do not count. Letter case
// does not count, as in the files.
std::vector<AtomRecord*> AtomsWithDuplicateNames(const Document& document);

}  // namespace marvik
