#pragma once

#include <array>
#include <complex>
#include <cstddef>

namespace marvik {

// Real three-dimensional transforms in single precision, in place of what the caller owns. A grid of n1 × n2 × n3 reals
// goes with n1 × n2 × (n3 / 2 + 1) coefficients, the last index running fastest in both.
using GridShape = std::array<size_t, 3>;

// The next number without prime factors above 5.
size_t FriendlySize(size_t n);

// ρ(x) = Σ_h C(h) exp(+2πi hx), with C(-h) = conj C(h) implied; the coefficients are overwritten.
void TransformToReal(const GridShape& shape, std::complex<float>* coefficients, float* real);
// C(h) = Σ_x ρ(x) exp(-2πi hx), without a factor.
void TransformToCoefficients(const GridShape& shape, const float* real, std::complex<float>* coefficients);

}  // namespace marvik
