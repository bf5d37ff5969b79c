#pragma once

#include <cstdint>
#include <optional>

#include "crystal/crystal.h"

namespace marvik {

// The operation of an nklm number (SymmetryCodeOf), with its translation; nothing for a number that is none.
std::optional<SymmetryOperator> OperatorOfCode(const SymmetryList& operators, int32_t code);

}  // namespace marvik
