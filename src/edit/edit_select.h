#pragma once

#include <string>
#include <string_view>

#include "language/atom_names.h"

namespace marvik {

// What Select Atoms does with the atoms that a text names. As text a sign in front: "=" replaces the selection, "+"
// adds, "-" removes, "~" turns each from selected to not or back; "~" alone does that with every displayed atom.
// Without a sign it is up to the command.
enum class SelectMode { Replace, Add, Remove, Invert };
struct SelectChoice {
  SelectMode mode = SelectMode::Replace;
  std::string atoms;
};
SelectChoice ParseSelectChoice(std::string_view text, SelectMode usual);
std::string SelectText(const SelectChoice& choice);

// Atoms that join go behind those that were selected before, in list order. Bonds are deselected by Replace.
void SelectAtoms(AtomList& list, const std::vector<AtomRecord*>& atoms, SelectMode mode);

}  // namespace marvik
