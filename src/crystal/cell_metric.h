#pragma once

#include <array>

#include "crystal/crystal.h"

namespace marvik {

// The matrix of a cell. False, with the matrix unchanged, for an impossible cell: an edge <= 0, an angle outside
// 0..180, 1 - X² <= 0 or anything not finite.
bool BuildOrthogonalisation(const CellParameters& cell, OrthogonalisationMatrix& matrix);

// The inverse of matrix * fractional.
Fractional CartesianToFractional(const OrthogonalisationMatrix& matrix, const Cartesian& place);

// Å.
double Distance(const Cartesian& a, const Cartesian& b);

// Angle at `a` between the directions to `b` and `c` in degrees, by the law of cosines with the cosine clamped to ±1;
// 0 when one of the two distances is 0.
double Angle(const Cartesian& a, const Cartesian& b, const Cartesian& c);

// Cell volume in Å³ and the reciprocal edge lengths a*, b*, c* in 1/Å (without 2π).
double CellVolume(const CellParameters& cell);
std::array<double, 3> ReciprocalEdges(const CellParameters& cell);

}  // namespace marvik
