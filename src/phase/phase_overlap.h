#pragma once

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "phase/modular.h"
#include "refine/map/transform.h"

namespace marvik::phase {

constexpr double kTurn = 2.0 * std::numbers::pi;

inline double Dot(const Miller& h, const Vector& u) {
  return h[0] * u[0] + h[1] * u[1] + h[2] * u[2];
}

// T(u) = Σ E(h) E(hR) cos(φ(hR) - φ(h) + 2π h·u) / Σ E(h) E(hR): 1 where (R, u) is an operation of the structure.
struct Overlap {
  static constexpr size_t kPeaks = 3;  // at most

  Rotation rotation{};  // on the primitive basis
  std::vector<Miller> h;
  std::vector<std::complex<double>> terms;  // sum of moduli 1
  GridShape grid{};
  std::vector<float> map;
  std::vector<Vector> peaks;  // highest first

  double At(const Vector& u) const {
    double sum = 0.0;
    for (size_t i = 0; i < h.size(); ++i) {
      const double a = kTurn * Dot(h[i], u);
      sum += terms[i].real() * std::cos(a) - terms[i].imag() * std::sin(a);
    }
    return sum;
  }
  double Interpolated(const Vector& u) const;
  void MakeMap();
  void FindPeaks();
  void Climb(Vector& u) const;
};

}  // namespace marvik::phase
