#pragma once

#include <cstddef>
#include <vector>

namespace marvik {

// Σ D Dᵀ over blocks of reflections, where D holds one row of lanes per parameter. Only the upper triangle is summed.
class NormalMatrix {
 public:
  explicit NormalMatrix(size_t parameters);

  // Adds a block: `rows` is parameters × kBlock, row by row.
  void Update(const double* rows);
  void Add(const NormalMatrix& other);
  // Element (i, j), i <= j.
  double& At(size_t i, size_t j) { return values_[i * stride_ + j]; }
  double At(size_t i, size_t j) const { return values_[i * stride_ + j]; }
  size_t Size() const { return size_; }
  void Clear();

 private:
  size_t size_;
  size_t stride_;  // a multiple of the tile width
  std::vector<double> values_;
  std::vector<double> packed_;  // the block in panels of eight parameters, reflection by reflection
};

}  // namespace marvik
