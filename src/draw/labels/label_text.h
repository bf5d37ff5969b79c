#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "draw/canvas/canvas.h"

namespace marvik {

// C12, C(12) or C with 12 as a subscript.
enum class LabelForm : uint8_t { Plain, Parentheses, Lowered };

// A label as a journal sets it.
struct LabelText {
  std::string text;
  TextShift shift;
};
// From the name of an atom: the symbol of its element as elements are written ("SI1" is Si1), primes as primes, the
// number in its form, and for a symmetry mate, which has the name of its source, the roman numeral of its operation
// raised behind it (0: none).
LabelText TypesetLabel(std::string_view name, std::string_view symbol, LabelForm form, int mate);

// "iv"; "" below 1 and from 4000 on.
std::string RomanNumeral(int number);

}  // namespace marvik
