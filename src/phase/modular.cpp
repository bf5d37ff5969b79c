#include "phase/modular.h"

#include <cstdlib>
#include <utility>

namespace marvik::phase {

Vector TurnedVector(const Rotation& r, const Vector& x) {
  Vector y{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) y[i] += r[i][j] * x[j];
  return y;
}

ModularEquations::ModularEquations(std::vector<std::array<int, 3>> matrix) : a_(std::move(matrix)) {
  const size_t n = a_.size();
  rows_.assign(n, std::vector<int>(n, 0));
  for (size_t i = 0; i < n; ++i) rows_[i][i] = 1;
  for (size_t d = 0; d < 3; ++d) Clear(d);
}

void ModularEquations::Clear(size_t d) {
  const size_t n = a_.size();
  while (true) {
    size_t pi = n, pj = 3;
    for (size_t i = d; i < n; ++i)
      for (size_t j = d; j < 3; ++j)
        if (a_[i][j] != 0 && (pi == n || std::abs(a_[i][j]) < std::abs(a_[pi][pj]))) pi = i, pj = j;
    if (pi == n) return;
    std::swap(a_[d], a_[pi]);
    std::swap(rows_[d], rows_[pi]);
    for (auto& row : a_) std::swap(row[d], row[pj]);
    for (auto& row : columns_) std::swap(row[d], row[pj]);
    bool done = true;
    for (size_t i = 0; i < n; ++i) {
      if (i == d || a_[i][d] == 0) continue;
      const int q = a_[i][d] / a_[d][d];
      for (size_t j = 0; j < 3; ++j) a_[i][j] -= q * a_[d][j];
      for (size_t j = 0; j < n; ++j) rows_[i][j] -= q * rows_[d][j];
      done = done && a_[i][d] == 0;
    }
    for (size_t j = d + 1; j < 3; ++j) {
      const int q = a_[d][j] / a_[d][d];
      for (auto& row : a_) row[j] -= q * row[d];
      for (auto& row : columns_) row[j] -= q * row[d];
      done = done && a_[d][j] == 0;
    }
    if (done) return;
  }
}

std::vector<Vector> ModularEquations::Solve(const std::vector<double>& b) const {
  std::vector<Vector> solutions{{}};
  for (size_t i = 0; i < 3; ++i) {
    const int s = i < a_.size() ? std::abs(a_[i][i]) : 0;
    if (s == 0) continue;
    double c = 0.0;
    for (size_t j = 0; j < b.size(); ++j) c += rows_[i][j] * b[j];
    std::vector<Vector> more;
    for (const Vector& y : solutions) {
      for (int k = 0; k < s; ++k) {
        more.push_back(y);
        more.back()[i] = (c + k) / a_[i][i];
      }
    }
    solutions = std::move(more);
  }
  for (Vector& y : solutions) y = TurnedVector(columns_, y);
  return solutions;
}

}  // namespace marvik::phase
