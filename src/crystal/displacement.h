#pragma once

#include <array>

#include "base/mat3.h"
#include "crystal/crystal.h"

namespace marvik {

// Six displacement parameters in file order, U11 U22 U33 U23 U13 U12 in Å², on the reciprocal-length basis (those of
// exp(-2π² Σ U_ij h_i h_j a*_i a*_j)), as a matrix and back.
Mat3 TensorFromFileOrder(const std::array<double, 6>& u);
std::array<double, 6> FileOrderOf(const Mat3& u);

// Turns displacement tensors of one cell from file order into Å² in the program's drawing frame: M·N·U·N·Mᵀ with
// N = diag(a*, b*, c*) (R. W. Grosse-Kunstleve and P. D. Adams, J. Appl. Cryst. 35 (2002) 477-480).
class DisplacementFrame {
 public:
  DisplacementFrame(const CellParameters& cell, const OrthogonalisationMatrix& matrix);
  Mat3 TensorOf(const std::array<double, 6>& u) const;

 private:
  Mat3 toCartesian_;  // M·N
};

// The tensor of the image of an anisotropic atom under an operator, both in file order: R·N·U·N·Rᵀ taken back to the
// file's basis. `reciprocal` are a*, b*, c*. An isotropic atom's Uiso is its image's too.
std::array<double, 6> RotatedTensor(const std::array<double, 6>& u, const SymmetryOperator& op,
                                    const std::array<double, 3>& reciprocal);

// Principal axes of a displacement ellipsoid. Lengths are root mean square amplitudes in Å, ascending by the signed
// eigenvalue; multiply by ProbabilityScale for a surface. A tensor that is not finite gives lengths of 0.
struct DisplacementEllipsoid {
  bool positiveDefinite = false;  // when false, lengths are those of the absolute eigenvalues
  std::array<double, 3> lengths{};
  std::array<Cartesian, 3> axes{};  // unit vectors, a right-handed set
};
DisplacementEllipsoid EllipsoidAxes(const Mat3& tensor);

// The radius within which a point of a three-dimensional unit normal distribution lies with this probability, that is
// the square root of the chi-square quantile with three degrees of freedom: 0.5 gives 1.5382. It solves
// erf(r/√2) - √(2/π)·r·exp(-r²/2) = p. Above 0.9999 the value of 0.9999, at or below 0 (and for NaN) 0.
double ProbabilityScale(double probability);

}  // namespace marvik
