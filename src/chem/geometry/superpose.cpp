#include "chem/geometry/superpose.h"

#include <array>
#include <cmath>

namespace marvik {
namespace {

constexpr double kLeastWidth = 0.05;  // Å, of a set across its longest direction

Cartesian CentreOf(std::span<const Cartesian> places) {
  Cartesian sum;
  for (const Cartesian& place : places) sum += place;
  return sum / static_cast<double>(places.size());
}

bool IsLine(std::span<const Cartesian> places, const Cartesian& centre) {
  Mat3 sums;
  for (const Cartesian& place : places) {
    const Cartesian d = place - centre;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) sums[i][static_cast<size_t>(j)] += d[i] * d[j];
  }
  return SymmetricEigen(sums).values[1] < kLeastWidth * kLeastWidth * static_cast<double>(places.size());
}

using Matrix4x4 = std::array<std::array<double, 4>, 4>;

// The unit eigenvector of the largest eigenvalue of a symmetric matrix, by cyclic Jacobi rotations.
std::array<double, 4> LargestVector(Matrix4x4 a) {
  constexpr int kSweeps = 30;
  Matrix4x4 v{};
  for (size_t i = 0; i < 4; ++i) v[i][i] = 1.0;
  for (int sweep = 0; sweep < kSweeps; ++sweep) {
    for (size_t p = 0; p < 4; ++p) {
      for (size_t q = p + 1; q < 4; ++q) {
        if (std::fabs(a[p][q]) < 1e-300) continue;
        const double angle = 0.5 * std::atan2(2.0 * a[p][q], a[q][q] - a[p][p]);
        const double c = std::cos(angle), s = std::sin(angle);
        const auto turn = [c, s](double& x, double& y) {
          const double before = x;
          x = c * before - s * y;
          y = s * before + c * y;
        };
        for (size_t k = 0; k < 4; ++k) turn(a[k][p], a[k][q]);
        for (size_t k = 0; k < 4; ++k) turn(a[p][k], a[q][k]);
        for (size_t k = 0; k < 4; ++k) turn(v[k][p], v[k][q]);
      }
    }
  }
  size_t best = 0;
  for (size_t i = 1; i < 4; ++i)
    if (a[i][i] > a[best][best]) best = i;
  return {v[0][best], v[1][best], v[2][best], v[3][best]};
}

Mat3 RotationOf(const std::array<double, 4>& q) {
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  return {{{{w * w + x * x - y * y - z * z, 2 * (x * y - w * z), 2 * (x * z + w * y)},
            {2 * (x * y + w * z), w * w - x * x + y * y - z * z, 2 * (y * z - w * x)},
            {2 * (x * z - w * y), 2 * (y * z + w * x), w * w - x * x - y * y + z * z}}}};
}

}  // namespace

std::optional<Superposition> Superpose(std::span<const Cartesian> places, std::span<const Cartesian> onto,
                                       bool inverted) {
  if (places.size() < 3 || places.size() != onto.size()) return std::nullopt;
  Superposition fit{Mat3::Identity(), CentreOf(places), CentreOf(onto), 0.0};
  if (IsLine(places, fit.from) || IsLine(onto, fit.to)) return std::nullopt;
  const double hand = inverted ? -1.0 : 1.0;
  std::array<std::array<double, 3>, 3> s{};
  for (size_t k = 0; k < places.size(); ++k) {
    const Cartesian a = (places[k] - fit.from) * hand;
    const Cartesian b = onto[k] - fit.to;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) s[static_cast<size_t>(i)][static_cast<size_t>(j)] += a[i] * b[j];
  }
  const Matrix4x4 n{{{s[0][0] + s[1][1] + s[2][2], s[1][2] - s[2][1], s[2][0] - s[0][2], s[0][1] - s[1][0]},
                     {s[1][2] - s[2][1], s[0][0] - s[1][1] - s[2][2], s[0][1] + s[1][0], s[2][0] + s[0][2]},
                     {s[2][0] - s[0][2], s[0][1] + s[1][0], -s[0][0] + s[1][1] - s[2][2], s[1][2] + s[2][1]},
                     {s[0][1] - s[1][0], s[2][0] + s[0][2], s[1][2] + s[2][1], -s[0][0] - s[1][1] + s[2][2]}}};
  fit.rotation = RotationOf(LargestVector(n));
  for (auto& row : fit.rotation.m)
    for (double& element : row) element *= hand;
  double sum = 0.0;
  for (size_t k = 0; k < places.size(); ++k) {
    const double d = Length(fit(places[k]) - onto[k]);
    sum += d * d;
  }
  fit.rms = std::sqrt(sum / static_cast<double>(places.size()));
  return fit;
}

}  // namespace marvik
