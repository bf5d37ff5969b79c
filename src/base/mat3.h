#pragma once

#include <array>

#include "base/vec3.h"

namespace marvik {

// 3 × 3 matrix, row-major: m[row][column].
struct Mat3 {
  std::array<std::array<double, 3>, 3> m{};

  static Mat3 Identity() { return Diagonal(1.0, 1.0, 1.0); }
  static Mat3 Diagonal(double a, double b, double c) { return {{{{a, 0, 0}, {0, b, 0}, {0, 0, c}}}}; }

  std::array<double, 3>& operator[](int row) { return m[static_cast<size_t>(row)]; }
  const std::array<double, 3>& operator[](int row) const { return m[static_cast<size_t>(row)]; }
  friend bool operator==(const Mat3&, const Mat3&) = default;
};

Mat3 operator*(const Mat3& a, const Mat3& b);
Mat3 Transposed(const Mat3& a);
double Determinant(const Mat3& a);
// Adjugate over determinant; a singular matrix gives non-finite elements.
Mat3 Inverse(const Mat3& a);

template <class S>
Triple<S> operator*(const Mat3& a, const Triple<S>& v) {
  return {a.m[0][0] * v.x + a.m[0][1] * v.y + a.m[0][2] * v.z, a.m[1][0] * v.x + a.m[1][1] * v.y + a.m[1][2] * v.z,
          a.m[2][0] * v.x + a.m[2][1] * v.y + a.m[2][2] * v.z};
}

// Eigenvalues in ascending order with their unit eigenvectors as the rows of `vectors`, a right-handed set.
// Equal eigenvalues stand in the order in which the diagonalised matrix holds them.
struct Eigen3 {
  std::array<double, 3> values{};
  Mat3 vectors;

  template <class S>
  Triple<S> Vector(int i) const {
    return {vectors[i][0], vectors[i][1], vectors[i][2]};
  }
};

// Cyclic Jacobi rotations on a symmetric matrix (only the upper triangle is read). A matrix with a non-finite element
// gives its diagonal with unit vectors.
Eigen3 SymmetricEigen(const Mat3& a);

}  // namespace marvik
