#include "refine/factors/normal_matrix.h"

#include <algorithm>
#include <cstring>

#include "refine/factors/structure_factors.h"

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
#define MARVIK_CLONES __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define MARVIK_CLONES
#endif

namespace marvik {
namespace {

constexpr size_t kPanel = 8;
using Vector = double __attribute__((vector_size(kPanel * sizeof(double)), aligned(8)));

// out[8][8] += Σ_k a[k][0..7] × b[k][0..7].
MARVIK_CLONES void Tile(const double* a, const double* b, double* out, size_t stride) {
  Vector sum[kPanel] = {};
  for (size_t k = 0; k < static_cast<size_t>(kBlock); ++k) {
    Vector right;
    std::memcpy(&right, b + k * kPanel, sizeof right);
    for (size_t i = 0; i < kPanel; ++i) sum[i] += a[k * kPanel + i] * right;
  }
  for (size_t i = 0; i < kPanel; ++i) {
    Vector old;
    std::memcpy(&old, out + i * stride, sizeof old);
    old += sum[i];
    std::memcpy(out + i * stride, &old, sizeof old);
  }
}

}  // namespace

NormalMatrix::NormalMatrix(size_t parameters)
    : size_(parameters),
      stride_((parameters + kPanel - 1) / kPanel * kPanel),
      values_(stride_ * stride_),
      packed_(stride_ * kBlock) {}

void NormalMatrix::Update(const double* rows) {
  for (size_t p = 0; p < size_; ++p) {
    double* panel = &packed_[p / kPanel * kPanel * kBlock + p % kPanel];
    const double* row = rows + p * kBlock;
    for (size_t k = 0; k < static_cast<size_t>(kBlock); ++k) panel[k * kPanel] = row[k];
  }
  const size_t panels = stride_ / kPanel;
  for (size_t i = 0; i < panels; ++i) {
    for (size_t j = i; j < panels; ++j) {
      Tile(&packed_[i * kPanel * kBlock], &packed_[j * kPanel * kBlock], &values_[i * kPanel * stride_ + j * kPanel],
           stride_);
    }
  }
}

void NormalMatrix::Add(const NormalMatrix& other) {
  for (size_t i = 0; i < values_.size(); ++i) values_[i] += other.values_[i];
}

void NormalMatrix::Clear() {
  std::fill(values_.begin(), values_.end(), 0.0);
}

}  // namespace marvik
