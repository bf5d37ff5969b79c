#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "language/instruction.h"
#include "model/document.h"

namespace marvik {

// How instructions name atoms: "C1", "C1_2" in residue number 2, "C1_A:12" of chain A, "C1_+" in the next residue,
// "C1_$3" or "C1_2$3" moved by an EQIV operation. Letters in either case.

// The residue that a name or an instruction's suffix gives.
struct ResidueNumber {
  int number = 0;
  std::string chain;  // upper case
  friend auto operator<=>(const ResidueNumber&, const ResidueNumber&) = default;
};
// "2" or "A:2"; nothing for a class or "*".
std::optional<ResidueNumber> ParseResidueNumber(std::string_view text);
// That of an atom, number 0 outside of all.
ResidueNumber ResidueNumberOf(const Document& document, const AtomRecord& atom);

// One such word taken apart.
struct AtomReference {
  std::string name;                      // upper case; "$C" for an element
  std::optional<ResidueNumber> residue;  // as given
  int step = 0;                          // 1 and -1 for the residue after and before that of the instruction
  std::string equivalent;                // "$3"

  // Where a plain name stands: `from` is the residue of the instruction.
  ResidueNumber ResidueFrom(const ResidueNumber& from) const;
};
AtomReference ParseAtomReference(std::string_view word);

// What instructions know an atom by; texts in upper case.
struct NamedSite {
  std::string name;
  ResidueNumber residue;
  std::string className;
  std::string element;
  bool hydrogen = false;
};
NamedSite NamedSiteOf(const Document& document, const AtomRecord& atom);

// Sites by name and residue; a site is told by its place in the list. Among equal names the first wins.
class AtomNameIndex {
 public:
  explicit AtomNameIndex(std::vector<NamedSite> sites);
  // -1 where there is none.
  int At(const std::string& upperName, const ResidueNumber& residue) const;
  // A name without a residue of its own is looked for in the residue of the instruction, then outside of all.
  int Find(const AtomReference& reference, const ResidueNumber& from) const;
  const std::vector<NamedSite>& Sites() const { return sites_; }

 private:
  std::vector<NamedSite> sites_;
  std::unordered_map<std::string, int> byName_;
};

// The residues that an instruction speaks of: the one of its number, every one of a class, every one ("*"), or, with no
// suffix, number 0. What speaks of several is carried out in each of them in turn.
std::vector<ResidueNumber> ResiduesOf(const AtomNameIndex& index, const Instruction& instruction);

struct NamedAtoms {
  struct Named {
    int site = 0;
    std::string equivalent;  // of EQIV, "" for none
  };
  std::vector<Named> atoms;
  std::vector<std::string> missing;  // words that name no atom
};
// Atoms in the order in which the words name them: names, "$C" (all atoms of an element in the instruction's residue,
// everywhere without a suffix), "C1 > C6" and "C6 < C1" (ranges in list order, without hydrogens).
NamedAtoms AtomsNamed(const AtomNameIndex& index, const Instruction& instruction, const std::vector<std::string>& words,
                      const ResidueNumber& residue);

}  // namespace marvik
