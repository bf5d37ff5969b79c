#pragma once

#include <array>

#include "base/mat3.h"
#include "crystal/crystal.h"

namespace marvik {

// Position in the file's order U11 U22 U33 U23 U13 U12 of element (i, j).
constexpr int TensorIndex(int i, int j) {
  return i == j ? i : 6 - i - j;
}

// The metric of a cell, and its right-handed frame, in which whatever has a hand is worked out.
struct Metric {
  CellParameters cell;
  Mat3 orthogonal;               // fractional to Cartesian
  Mat3 fractional;               // Cartesian to fractional
  std::array<double, 6> direct;  // G: aa bb cc bc ac ab (dot products, Å²)
  std::array<double, 6> reciprocal;
  std::array<double, 3> reciprocalEdges;  // a* b* c*, 1/Å (without 2π)
  double volume = 0.0;                    // Å³

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
  // The equivalent isotropic displacement Σ UeqWeights[i]·U[i]: one third of the trace of the orthogonalised tensor
  // (Fischer & Tillmanns, Acta Cryst. C44 (1988) 775), for U in file order.
  std::array<double, 6> UeqWeights() const;
  double Ueq(const std::array<double, 6>& u) const;
  // The tensor in the right-handed frame, Å².
  Mat3 CartesianU(const std::array<double, 6>& u) const;
};

// False for an edge below 0.1 Å, an angle outside 0..180, angles that do not fit together, or anything not finite.
bool IsPossible(const CellParameters& cell);

// Of an impossible cell the numbers mean nothing.
Metric MakeMetric(const CellParameters& cell);

// The matrix of the drawing frame. False, with the matrix unchanged, for an impossible cell.
bool BuildOrthogonalisation(const CellParameters& cell, OrthogonalisationMatrix& matrix);

// The inverse of matrix * fractional.
Fractional CartesianToFractional(const OrthogonalisationMatrix& matrix, const Cartesian& place);

// Å.
double Distance(const Cartesian& a, const Cartesian& b);

// Angle at `a` between the directions to `b` and `c` in degrees, as exact near 180° as elsewhere; 0 when one of the two
// distances is 0.
double Angle(const Cartesian& a, const Cartesian& b, const Cartesian& c);

}  // namespace marvik
