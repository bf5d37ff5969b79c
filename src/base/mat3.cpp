#include "base/mat3.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace marvik {

Mat3 operator*(const Mat3& a, const Mat3& b) {
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
  return r;
}

Mat3 Transposed(const Mat3& a) {
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r[i][j] = a[j][i];
  return r;
}

double Determinant(const Mat3& a) {
  return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
         a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
}

Mat3 Inverse(const Mat3& a) {
  const double d = 1.0 / Determinant(a);
  Mat3 r;
  for (int i = 0; i < 3; ++i) {
    const int i1 = (i + 1) % 3, i2 = (i + 2) % 3;
    for (int j = 0; j < 3; ++j) {
      const int j1 = (j + 1) % 3, j2 = (j + 2) % 3;
      r[j][i] = (a[i1][j1] * a[i2][j2] - a[i1][j2] * a[i2][j1]) * d;
    }
  }
  return r;
}

Eigen3 SymmetricEigen(const Mat3& a) {
  Mat3 s, v = Mat3::Identity();
  bool finite = true;
  double scale = 0.0;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      s[i][j] = i <= j ? a[i][j] : a[j][i];
      finite = finite && std::isfinite(s[i][j]);
      scale = std::max(scale, std::fabs(s[i][j]));
    }
  // Elements of about 1, by an exact power of two, so that no product leaves the range of a double.
  const int exponent = finite && scale > 0.0 ? std::ilogb(scale) : 0;
  for (auto& row : s.m)
    for (double& element : row) element = std::scalbn(element, -exponent);
  for (int sweep = 0; finite && sweep < 60; ++sweep) {
    const double off = std::fabs(s[0][1]) + std::fabs(s[0][2]) + std::fabs(s[1][2]);
    if (off < 1e-17) break;
    for (const auto& [p, q] : {std::pair{0, 1}, std::pair{0, 2}, std::pair{1, 2}}) {
      if (s[p][q] == 0.0) continue;
      const double theta = (s[q][q] - s[p][p]) / (2.0 * s[p][q]);
      const double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::hypot(theta, 1.0));
      const double c = 1.0 / std::hypot(t, 1.0), sn = t * c;
      for (int k = 0; k < 3; ++k) {
        const double kp = s[k][p], kq = s[k][q];
        s[k][p] = c * kp - sn * kq;
        s[k][q] = sn * kp + c * kq;
      }
      for (int k = 0; k < 3; ++k) {
        const double pk = s[p][k], qk = s[q][k];
        s[p][k] = c * pk - sn * qk;
        s[q][k] = sn * pk + c * qk;
        const double vp = v[p][k], vq = v[q][k];
        v[p][k] = c * vp - sn * vq;
        v[q][k] = sn * vp + c * vq;
      }
      s[p][q] = s[q][p] = 0.0;
    }
  }
  std::array<int, 3> order{0, 1, 2};
  std::stable_sort(order.begin(), order.end(), [&](int i, int j) { return s[i][i] < s[j][j]; });
  Eigen3 r;
  for (int i = 0; i < 3; ++i) {
    const int from = order[static_cast<size_t>(i)];
    r.values[static_cast<size_t>(i)] = std::scalbn(s[from][static_cast<size_t>(from)], exponent);
    r.vectors[i] = v[from];
  }
  if (Determinant(r.vectors) < 0.0)
    for (double& e : r.vectors[2]) e = -e;
  return r;
}

}  // namespace marvik
