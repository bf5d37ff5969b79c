#define POCKETFFT_CACHE_SIZE 32

#include "refine/map/transform.h"

#include <gemmi/third_party/pocketfft_hdronly.h>

namespace marvik {
namespace {

pocketfft::stride_t Strides(size_t n2, size_t n3, size_t element) {
  return {static_cast<std::ptrdiff_t>(n2 * n3 * element), static_cast<std::ptrdiff_t>(n3 * element),
          static_cast<std::ptrdiff_t>(element)};
}

}  // namespace

size_t FriendlySize(size_t n) {
  while (true) {
    size_t m = n;
    for (const size_t f : {2, 3, 5}) {
      while (m % f == 0) m /= f;
    }
    if (m == 1) return n;
    ++n;
  }
}

void TransformToReal(const GridShape& shape, std::complex<float>* coefficients, float* real) {
  const auto [n1, n2, n3] = shape;
  const size_t half = n3 / 2 + 1;
  const auto complexStrides = Strides(n2, half, sizeof(std::complex<float>));
  pocketfft::c2c<float>({n1, n2, half}, complexStrides, complexStrides, {0, 1}, pocketfft::BACKWARD, coefficients,
                        coefficients, 1.0f, 1);
  pocketfft::c2r<float>({n1, n2, n3}, complexStrides, Strides(n2, n3, sizeof(float)), 2, pocketfft::BACKWARD,
                        coefficients, real, 1.0f, 1);
}

void TransformToCoefficients(const GridShape& shape, const float* real, std::complex<float>* coefficients) {
  const auto [n1, n2, n3] = shape;
  const size_t half = n3 / 2 + 1;
  const auto complexStrides = Strides(n2, half, sizeof(std::complex<float>));
  pocketfft::r2c<float>({n1, n2, n3}, Strides(n2, n3, sizeof(float)), complexStrides, 2, pocketfft::FORWARD, real,
                        coefficients, 1.0f, 1);
  pocketfft::c2c<float>({n1, n2, half}, complexStrides, complexStrides, {0, 1}, pocketfft::FORWARD, coefficients,
                        coefficients, 1.0f, 1);
}

}  // namespace marvik
