#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/user_messages.h"
#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// Atom names in the instructions beside the atom lines: HFIX lines, BOND, and the kept lines of every instruction that
// takes atom names, those before an atom included. BIND and FREE pairs refer to the atoms themselves. A name stands for
// an atom of the line's residue ("SADI_2 C1 C2"), of the one that the line stands in, or with its residue behind it
// ("C1_2"); a line for a class or for all residues names no atom in particular.

// Puts one name in the place of another throughout, letters in either case: `before` and `after` are bare names of an
// atom of that residue. A name that is a whole word is changed, with "_$1" behind it too. Gives the number of changes.
size_t ReplaceNameElsewhere(Document& document, const std::string& before, const std::string& after, int residue);

// The lines that name one of these atoms, each once, without continuation marks; `names` as QualifiedName gives them.
std::vector<std::string> LinesNaming(Document& document, const std::set<std::string>& names);

// After these have been killed: shows the lines that still name atoms which no live atom stands for.
void TellOfLinesNaming(Document& document, std::set<std::string> killed, UserMessages& messages);

// What is wrong with a new name for an atom, for the field of this key: not a letter first, more than four characters,
// characters that the file gives a meaning, an instruction's name.
EditFault CheckAtomName(std::string_view name, const char* key = "name", const char* caption = "Name");
// The live file atom of that name in that residue, but for `except`. Nothing when the name is free.
const AtomRecord* HolderOfName(const Document& document, std::string_view name, int residue, const AtomRecord* except);

}  // namespace marvik
