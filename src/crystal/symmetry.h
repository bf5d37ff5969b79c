#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "crystal/crystal.h"

namespace marvik {

// The operator of "-X+1/2, Y, 0.5-Z" in any case and with blanks anywhere, or blanks in the place of both commas. What
// stands behind a third comma counts for nothing. Decimals mean the twenty-fourth within 0.005, where there is one.
// Nothing for anything else: other letters, a missing component, a rotation whose determinant is
// not ±1, a translation that is no whole number of kTranslationParts.
std::optional<SymmetryOperator> ParseOperator(std::string_view text);

// "-x+1/2, y, z".
std::string OperatorText(const SymmetryOperator& op, std::string_view separator = ", ");

// The same operation with translations from 0 to below 1.
SymmetryOperator Wrapped(const SymmetryOperator& op);

// The translations of a lattice (P I R F A B C by the absolute value of the code; R is obverse) but the zero vector, in
// kTranslationParts. None for any other code.
std::span<const std::array<int, 3>> CentringTranslations(int latticeCode);

// Appends the operator of a SYMM text, keyword optional, and then the copies that the lattice code implies: shifted by
// the centring without reduction, and (-R, t) for a centre. Negative translations are raised to 0 or more, 1 and more
// are kept.
void AddSymmetryOperator(SymmetryList& list, std::string_view text, int latticeCode, int originFlag);

// What a LATT code and these SYMM texts stand for: the identity and its copies, then theirs.
SymmetryList ListOperators(int latticeCode, const std::vector<std::string>& texts);

}  // namespace marvik
