#pragma once

#include <memory>
#include <string>
#include <vector>

#include "refine/factors/normal_matrix.h"

namespace marvik {

// The symmetric system N·shift = gradient, upper triangle of N.
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

class NormalSolver {
 public:
  virtual ~NormalSolver() = default;
  // damping: 1 + damping/1000 multiplies the diagonal for the shifts.
  virtual Solution Solve(const NormalSystem& system, double damping) const = 0;
  // The inverse of the undamped matrix, n × n row by row, zero for singular parameters.
  virtual std::vector<double> Inverse(const NormalSystem& system) const = 0;
};

// Cholesky factorisation of the matrix scaled to a unit diagonal.
std::unique_ptr<NormalSolver> MakeCholeskySolver();

}  // namespace marvik
