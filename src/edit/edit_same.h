#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/document.h"

namespace marvik {

// Starts a SAME group at `first`: it and the file atoms behind it in the list, hydrogens left out, are to be like the
// pattern, which is taken in list order without its hydrogens. Gives what is in the way, "" when done: no pattern,
// fewer atoms than the pattern has, another element at some place, an atom in both, a name that others share.
std::string StartSameGroup(Document& document, std::vector<AtomRecord*> pattern, AtomRecord* first);

// Whether a line is a SAME of plain names, which says that the atoms from the one behind it on are like those.
bool IsPlainSame(std::string_view line);

}  // namespace marvik
