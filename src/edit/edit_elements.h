#pragma once

#include <set>
#include <string>
#include <string_view>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// Made by GROW or PACK, in this session or in the one that wrote the file: not a file atom.
inline bool IsGrownAtom(const AtomRecord& atom) {
  return atom.generated != 0 || atom.Has(kFromGrownSection);
}

// Atoms of an element in the unit cell: operators times the decoded occupancies of the file atoms. Peaks count nowhere.
double CountInCell(const Document& document, int row);

// A short-form entry of the SFAC list with its number in UNIT, behind the last short one; the numbers that atoms were
// read with move along.
void AddSfacEntry(Document& document, int row);

// The UNIT numbers as the atoms have them, one for each SFAC entry; an entry whose element an earlier one has too gets
// none of the atoms. True when that changed anything.
bool RecountUnit(Document& document);

// Decides the elements of atoms that get names. A label of an element that is not on SFAC asks whether to add it, once
// for each element; where the user says no an atom that has an element keeps it, as SFAC numbers can say.
class ElementChooser {
 public:
  ElementChooser(Document& document, UserMessages& messages) : document_(document), messages_(messages) {}
  // Sets element and elementFromSfac of an atom that already bears its new name, "Q..." making a peak of it.
  void Decide(AtomRecord& atom);
  // Whether the element is on SFAC, if need be after asking.
  bool OnSfac(int row);
  // Gives UNIT numbers to the entries that were added, once all atoms have their names.
  void Finish();

 private:
  void KeepElements(int row);

  Document& document_;
  UserMessages& messages_;
  std::set<int> declined_;
  std::set<int> added_;
};

// Renames a file atom: the lines that name it, its element, its images made by GROW or PACK; a peak that gets a real
// name stands behind the last atom from now on, an atom that becomes a peak behind the last peak. The name has been
// checked.
void RenameAtom(Document& document, AtomRecord* atom, const std::string& name, ElementChooser& elements);
// The same without the lines that name it.
void SetAtomName(Document& document, AtomRecord* atom, const std::string& name, ElementChooser& elements);

// The row of an element symbol, letters in either case; 0 when there is none. "D" is deuterium.
int RowOfSymbol(std::string_view symbol);

}  // namespace marvik
