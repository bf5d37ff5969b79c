#pragma once

#include <array>

#include "model/document.h"
#include "util/mat3.h"

namespace marvik {

// The displacement tensor of an atom in Å² in the program's Cartesian frame, from U in file order (U11 U22 U33 U23 U13
// U12) on the reciprocal-length basis: M·N·U·N·Mᵀ with N = diag(a*, b*, c*). Isotropic atoms give Uiso times the unit
// matrix.
Mat3 CartesianTensor(const AtomRecord& atom, const CellParameters& cell, const OrthogonalisationMatrix& matrix);

// Principal axes of a displacement ellipsoid. Lengths are root mean square amplitudes in Å, ascending; multiply by
// ProbabilityScale for a surface.
struct DisplacementEllipsoid {
  bool positiveDefinite = false;  // when false, lengths are those of the absolute eigenvalues
  std::array<double, 3> lengths{};
  std::array<Cartesian, 3> axes{};  // unit vectors, a right-handed set
};
DisplacementEllipsoid EllipsoidAxes(const Mat3& tensor);

// Square root of the chi-square quantile with three degrees of freedom: 0.5 gives 1.5382. Above 0.9999 the value of
// 0.9999, at or below 0 gives 0.
double ProbabilityScale(double probability);

}  // namespace marvik
