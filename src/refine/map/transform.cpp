// Rows go through the library side by side, in lanes of our own: its own vectors are as wide as the compiler was told,
// and it asks for aligned memory for every row.
#define POCKETFFT_NO_VECTORS

#include "refine/map/transform.h"

#include <algorithm>
#include <gemmi/third_party/pocketfft_hdronly.h>
#include <map>
#include <memory>
#include <vector>

// One version per instruction set with all of the library in it, chosen when the program starts; no other instructions
// than wider ones, so that the results are the same.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define MARVIK_CLONES __attribute__((target_clones("avx2", "default"), flatten))
#else
#define MARVIK_CLONES
#endif

namespace marvik {
namespace {

using Complex = std::complex<float>;
constexpr size_t kLanes = 8;

struct Lanes {
  using Values [[gnu::vector_size(kLanes * sizeof(float)), gnu::aligned(16)]] = float;
  Values v;

  Lanes& operator+=(const Lanes& o) { return v += o.v, *this; }
  Lanes& operator-=(const Lanes& o) { return v -= o.v, *this; }
  Lanes& operator*=(float f) { return v *= f, *this; }
  friend Lanes operator+(const Lanes& a, const Lanes& b) { return {a.v + b.v}; }
  friend Lanes operator-(const Lanes& a, const Lanes& b) { return {a.v - b.v}; }
  friend Lanes operator-(const Lanes& a) { return {-a.v}; }
  friend Lanes operator*(const Lanes& a, float f) { return {a.v * f}; }
  friend Lanes operator*(float f, const Lanes& a) { return {a.v * f}; }
};

using ComplexPlan = pocketfft::detail::cfftp<float>;
using RealPlan = pocketfft::detail::rfftp<float>;
using ComplexLanes = pocketfft::detail::cmplx<Lanes>;

template <class Plan>
const Plan& PlanOf(size_t length) {
  thread_local std::map<size_t, std::unique_ptr<Plan>> plans;
  std::unique_ptr<Plan>& plan = plans[length];
  if (!plan) plan = std::make_unique<Plan>(length);
  return *plan;
}

// In place along columns that lie side by side: `length` elements each, `stride` apart.
MARVIK_CLONES void TransformColumns(const ComplexPlan& plan, Complex* data, size_t length, size_t stride,
                                    size_t columns, bool forward, ComplexLanes* work) {
  for (size_t first = 0; first < columns; first += kLanes) {
    const size_t lanes = std::min(kLanes, columns - first);
    for (size_t i = 0; i < length; ++i) {
      const Complex* from = data + i * stride + first;
      for (size_t k = 0; k < lanes; ++k) work[i].r.v[k] = from[k].real(), work[i].i.v[k] = from[k].imag();
    }
    plan.exec(work, 1.0f, forward);
    for (size_t i = 0; i < length; ++i) {
      Complex* to = data + i * stride + first;
      for (size_t k = 0; k < lanes; ++k) to[k] = {work[i].r.v[k], work[i].i.v[k]};
    }
  }
}

MARVIK_CLONES void RowsToReal(const RealPlan& plan, const Complex* from, float* to, size_t length, size_t rows,
                              Lanes* work) {
  const size_t half = length / 2 + 1;
  for (size_t first = 0; first < rows; first += kLanes) {
    const size_t lanes = std::min(kLanes, rows - first);
    for (size_t k = 0; k < lanes; ++k) {
      const Complex* row = from + (first + k) * half;
      work[0].v[k] = row[0].real();
      for (size_t i = 1; 2 * i < length; ++i) work[2 * i - 1].v[k] = row[i].real(), work[2 * i].v[k] = row[i].imag();
      if (length % 2 == 0) work[length - 1].v[k] = row[length / 2].real();
    }
    plan.exec(work, 1.0f, false);
    for (size_t k = 0; k < lanes; ++k)
      for (size_t i = 0; i < length; ++i) to[(first + k) * length + i] = work[i].v[k];
  }
}

MARVIK_CLONES void RowsToComplex(const RealPlan& plan, const float* from, Complex* to, size_t length, size_t rows,
                                 Lanes* work) {
  const size_t half = length / 2 + 1;
  for (size_t first = 0; first < rows; first += kLanes) {
    const size_t lanes = std::min(kLanes, rows - first);
    for (size_t k = 0; k < lanes; ++k)
      for (size_t i = 0; i < length; ++i) work[i].v[k] = from[(first + k) * length + i];
    plan.exec(work, 1.0f, true);
    for (size_t k = 0; k < lanes; ++k) {
      Complex* row = to + (first + k) * half;
      row[0] = {work[0].v[k], 0.0f};
      for (size_t i = 1; 2 * i < length; ++i) row[i] = {work[2 * i - 1].v[k], work[2 * i].v[k]};
      if (length % 2 == 0) row[length / 2] = {work[length - 1].v[k], 0.0f};
    }
  }
}

// Along the first two of three indices.
void TransformPlanes(const GridShape& shape, Complex* data, bool forward) {
  const auto [n1, n2, n3] = shape;
  const size_t half = n3 / 2 + 1;
  std::vector<ComplexLanes> work(std::max(n1, n2));
  TransformColumns(PlanOf<ComplexPlan>(n1), data, n1, n2 * half, n2 * half, forward, work.data());
  for (size_t i = 0; i < n1; ++i)
    TransformColumns(PlanOf<ComplexPlan>(n2), data + i * n2 * half, n2, half, half, forward, work.data());
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
  TransformPlanes(shape, coefficients, false);
  std::vector<Lanes> work(shape[2]);
  RowsToReal(PlanOf<RealPlan>(shape[2]), coefficients, real, shape[2], shape[0] * shape[1], work.data());
}

void TransformToCoefficients(const GridShape& shape, const float* real, std::complex<float>* coefficients) {
  std::vector<Lanes> work(shape[2]);
  RowsToComplex(PlanOf<RealPlan>(shape[2]), real, coefficients, shape[2], shape[0] * shape[1], work.data());
  TransformPlanes(shape, coefficients, true);
}

}  // namespace marvik
