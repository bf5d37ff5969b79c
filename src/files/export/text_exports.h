#pragma once

#include <optional>
#include <string>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// Plain-text files for other programs, of the visible atoms in list order with Cartesian coordinates in Å. Nothing,
// after a message, when a peak is among them.

// Skeleton Protein Data Bank file, right-handed: the only one of the three whose Z is negated. `fileName` stands in its
// first line. A label of more than four characters takes blanks from the coordinate behind it, so that columns hold.
std::optional<std::string> ComposePdb(const Document& document, const std::string& fileName, UserMessages& messages);
// Title, counts, atoms, bonds; in the program's mirrored frame.
std::optional<std::string> ComposeConnectionTable(const Document& document, UserMessages& messages);
// Input of the ATOMS drawing program; in the program's mirrored frame.
std::optional<std::string> ComposeAtomsInput(const Document& document, UserMessages& messages);

}  // namespace marvik
