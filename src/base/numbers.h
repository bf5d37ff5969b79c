#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace marvik {

// The missing-number mark of the instruction-file code.
inline constexpr double kMissingNumber = -std::numeric_limits<double>::infinity();

inline bool IsMissing(double v) {
  return v == kMissingNumber;
}

// The longest decimal number at the start of `text` (sign, digits, point, exponent), whatever the locale. Gives the
// number of characters used, 0 when there is none. Words such as "inf", "nan" and hexadecimal forms are not numbers;
// what a double cannot hold becomes the largest double or zero.
size_t ParseNumber(std::string_view text, double& value);

// As ParseNumber, for text that must be a number from end to end (blanks around it allowed).
bool ParseWholeNumber(std::string_view text, double& value);

// Half away from zero, as every integer of an instruction file is rounded; clamped to the range of int, NaN gives 0,
// the missing-number mark gives 0.
int RoundHalfAway(double v);

// printf in the "C" locale: the decimal separator is always a point.
[[gnu::format(printf, 1, 2)]] std::string Printf(const char* format, ...);
[[gnu::format(printf, 2, 3)]] void AppendPrintf(std::string& out, const char* format, ...);

}  // namespace marvik
