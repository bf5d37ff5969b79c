#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <numbers>

// Elementary functions written so that a compiler turns loops over lanes into vector code: no branches, no library
// calls. Truncated Taylor series on reduced arguments; the largest errors are noted beside them.
namespace marvik {

// Σ a·b over kCount lanes, in eight partial sums: the order of additions is the same on every processor.
template <size_t kCount, class Number>
[[gnu::always_inline]] inline Number SumOfProducts(const Number* a, const Number* b) {
  constexpr size_t kWidth = 8;
  Number partial[kWidth] = {};
  for (size_t i = 0; i < kCount; i += kWidth) {
    for (size_t j = 0; j < kWidth; ++j) partial[j] += a[i + j] * b[i + j];
  }
  Number sum = 0;
  for (const Number p : partial) sum += p;
  return sum;
}

// Adding and taking away 1.5·2^52 rounds to the nearest integer.
inline constexpr double kRoundingShift = 6755399441055744.0;

// sin and cos of 2π·turns, absolute error below 3e-13 for |turns| up to 1e5.
[[gnu::always_inline]] inline void SineCosine(double turns, double& sine, double& cosine) {
  const double r = turns - ((turns + kRoundingShift) - kRoundingShift);
  // Half of the angle is at most π/2; the double-angle formulas give the rest.
  const double x = std::numbers::pi * r;
  const double y = x * x;
  double s = 2.8114572543455206e-15;
  s = s * y - 7.6471637318198164e-13;
  s = s * y + 1.6059043836821613e-10;
  s = s * y - 2.5052108385441719e-08;
  s = s * y + 2.7557319223985893e-06;
  s = s * y - 1.9841269841269841e-04;
  s = s * y + 8.3333333333333333e-03;
  s = s * y - 1.6666666666666667e-01;
  s = s * y * x + x;
  double c = -1.5619206968586225e-16;
  c = c * y + 4.7794773323873853e-14;
  c = c * y - 1.1470745597729725e-11;
  c = c * y + 2.0876756987868099e-09;
  c = c * y - 2.7557319223985891e-07;
  c = c * y + 2.4801587301587302e-05;
  c = c * y - 1.3888888888888889e-03;
  c = c * y + 4.1666666666666667e-02;
  c = c * y - 0.5;
  c = c * y + 1.0;
  sine = 2.0 * s * c;
  cosine = 1.0 - 2.0 * s * s;
}

// exp(x), relative error below 2e-14, for -700 < x < 700; below that the result is that of -700.
[[gnu::always_inline]] inline double Exponential(double x) {
  x = x < -700.0 ? -700.0 : x;
  x = x > 700.0 ? 700.0 : x;
  const double shifted = x * 1.4426950408889634 + kRoundingShift;
  const double n = shifted - kRoundingShift;
  const double r = (x - n * 0.693147180369123816490) - n * 1.90821492927058770002e-10;
  double e = 2.5052108385441720e-08;
  e = e * r + 2.7557319223985888e-07;
  e = e * r + 2.7557319223985893e-06;
  e = e * r + 2.4801587301587302e-05;
  e = e * r + 1.9841269841269841e-04;
  e = e * r + 1.3888888888888889e-03;
  e = e * r + 8.3333333333333333e-03;
  e = e * r + 4.1666666666666667e-02;
  e = e * r + 1.6666666666666667e-01;
  e = e * r + 0.5;
  e = e * r + 1.0;
  e = e * r + 1.0;
  const auto bits = std::bit_cast<uint64_t>(shifted) << 52;
  return std::bit_cast<double>(std::bit_cast<uint64_t>(e) + bits);
}

}  // namespace marvik
