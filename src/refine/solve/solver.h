#pragma once

#include <vector>

#include "refine/factors/normal_matrix.h"

namespace marvik {

// The symmetric system N·shift = gradient.
struct NormalSystem {
  explicit NormalSystem(size_t n) : matrix(n), gradient(n) {}
  NormalMatrix matrix;
  std::vector<double> gradient;
};

struct Solution {
  std::vector<double> shifts;
  std::vector<double> variances;  // diagonal of the inverse of the undamped matrix, not yet times S²
  std::vector<int> singular;      // parameters that the data do not determine; their shift is 0
};

// By Cholesky factorisation of the matrix scaled to a unit diagonal, in place: the system is used up.
class NormalSolver {
 public:
  explicit NormalSolver(size_t threads) : threads_(threads) {}
  // damping: 1 + damping/1000 multiplies the diagonal for the shifts. Beyond kMostExact parameters singular ones are
  // looked for in the first call only, so that a cycle costs one factorisation, and variances come from blocks on the
  // diagonal: `groups` of parameters that belong together.
  Solution Solve(NormalSystem& system, double damping, const std::vector<std::vector<int>>& groups);
  // The matrix becomes its inverse, zero for singular parameters.
  void Invert(NormalMatrix& matrix) const;

  static constexpr size_t kMostExact = 3000;

 private:
  size_t threads_;
  bool searched_ = false;
  std::vector<int> singular_;
};

// The diagonal of the inverses of the blocks on the diagonal of a matrix, 0 where a block is singular.
std::vector<double> BlockVariances(const NormalMatrix& matrix, const std::vector<std::vector<int>>& groups);

}  // namespace marvik
