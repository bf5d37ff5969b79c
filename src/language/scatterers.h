#pragma once

#include <array>
#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// The entry of the SFAC list that an atom is of: that of the number it was read with while this names its element, else
// the first one of its element; -1 when there is none.
int SfacEntryOf(const Instructions& instructions, const AtomRecord& atom);

// The symbol or, where that says less, the label of the file; "" for an entry of row 105 that has none.
std::string SfacLabel(const Document& document, size_t entry);

}  // namespace marvik
