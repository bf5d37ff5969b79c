#pragma once

#include <string_view>

#include "base/user_messages.h"
#include "crystal/crystal.h"

namespace marvik {

// Parses one SYMM text ("SYMM -X+1/2, Y, 0.5-Z", the keyword optional, any case, blanks anywhere) into the name and the
// twelve numbers. A translation runs from the first number of its component to the last digit; negative ones are raised
// to 0 or more, 1 and more are kept. Missing components are rows of zeros; a denominator of 0 gives a translation of 0.
// A text too long for a TextString is reported through `messages` and leaves an operator of zeros without a name.
void ParseSymmetryText(std::string_view text, SymmetryOperator& result, UserMessages& messages);

// Parses `text`, appends the operator and then the copies that the lattice code implies; nothing for a text that is too
// long.
void AddSymmetryOperator(SymmetryList& list, std::string_view text, int latticeCode, int originFlag,
                         UserMessages& messages);
// Appends (-R, t), named "Added Center": the translation is not negated.
void AddCentredCopy(SymmetryList& list, const SymmetryOperator& source, UserMessages& messages);
// Appends a copy shifted by (dx, dy, dz) without reduction, named "Added Translation".
void AddTranslatedCopy(SymmetryList& list, const SymmetryOperator& source, double dx, double dy, double dz,
                       UserMessages& messages);

}  // namespace marvik
