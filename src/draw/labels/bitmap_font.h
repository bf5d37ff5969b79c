#pragma once

#include <array>
#include <cstdint>

namespace marvik {

// Letters of last resort: 5 columns of 7 dots for the characters 32 to 126, bit 0 the top row. The base line lies below
// the seventh row; bit 7 is not used.
inline constexpr int kBitmapColumns = 5;
inline constexpr int kBitmapRows = 7;
inline constexpr int kBitmapFirst = 32;
inline constexpr int kBitmapCount = 95;

extern const std::array<std::array<uint8_t, kBitmapColumns>, kBitmapCount> kBitmapLetters;

}  // namespace marvik
