#pragma once

#include <array>

#include "base/mat3.h"
#include "base/vec3.h"
#include "crystal/crystal.h"

namespace marvik {

// The metric of a cell. Cartesian coordinates of the engine are in Å in the right-handed frame with a along X, b in the
// XY plane and c* along Z (International Tables B, 1.1), unlike the mirrored drawing frame of the program.
struct Metric {
  CellParameters cell;
  Mat3 orthogonal;               // fractional to Cartesian
  Mat3 fractional;               // Cartesian to fractional
  std::array<double, 6> direct;  // G: aa bb cc bc ac ab (dot products, Å²)
  std::array<double, 6> reciprocal;
  std::array<double, 3> reciprocalEdges;  // a* b* c*, 1/Å
  double volume = 0.0;

  Cartesian ToCartesian(const Fractional& f) const {
    const auto v = orthogonal * f;
    return {v.x, v.y, v.z};
  }
  Fractional ToFractional(const Cartesian& c) const {
    const auto v = fractional * c;
    return {v.x, v.y, v.z};
  }
  double DistanceSquared(const Fractional& a, const Fractional& b) const;
  // (sin θ / λ)², Å⁻².
  double SinThetaSquared(double h, double k, double l) const;
  // Ueq = Σ UeqWeights[i]·U[i]: one third of the trace of the orthogonalised tensor (Fischer & Tillmanns, Acta Cryst.
  // C44 (1988) 775), for U in file order.
  std::array<double, 6> UeqWeights() const;
  // The Cartesian tensor, Å².
  Mat3 CartesianU(const std::array<double, 6>& u) const;
};

Metric MakeMetric(const CellParameters& cell);

// Position in the file's order U11 U22 U33 U23 U13 U12 of element (i, j).
constexpr int TensorIndex(int i, int j) {
  return i == j ? i : 6 - i - j;
}

}  // namespace marvik
