#pragma once

#include <array>
#include <vector>

#include "phase/lattice.h"

namespace marvik::phase {

using Vector = std::array<double, 3>;

Vector TurnedVector(const Rotation& r, const Vector& x);

// A·x = b modulo 1 with whole numbers in A, ready for many right sides: row and column steps made A diagonal.
class ModularEquations {
 public:
  explicit ModularEquations(std::vector<std::array<int, 3>> matrix);

  // Every x as far as A has rank; free directions stay 0.
  std::vector<Vector> Solve(const std::vector<double>& b) const;

 private:
  void Clear(size_t d);

  std::vector<std::array<int, 3>> a_;
  std::vector<std::vector<int>> rows_;  // unimodular, of the size of a
  Rotation columns_{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
};

}  // namespace marvik::phase
