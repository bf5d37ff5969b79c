#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "crystal/crystal.h"

namespace marvik {

// The operator, counted from 0, and the lattice translation of an nklm number from 1000 on.
constexpr uint32_t OperatorNumberOf(int32_t code) {
  return static_cast<uint32_t>(code / 1000 - 1);
}
constexpr std::array<int, 3> TranslationOf(int32_t code) {
  return {code / 100 % 10 - 5, code / 10 % 10 - 5, code % 10 - 5};
}

// The operation of an nklm number (SymmetryCodeOf), with its translation; nothing for a number that is none.
std::optional<SymmetryOperator> OperatorOfCode(const SymmetryList& operators, int32_t code);

}  // namespace marvik
