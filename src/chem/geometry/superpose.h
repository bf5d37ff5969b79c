#pragma once

#include <optional>
#include <span>

#include "base/mat3.h"
#include "crystal/crystal.h"

namespace marvik {

// How one set of places is moved onto another: x' = rotation·(x - from) + to.
struct Superposition {
  Mat3 rotation;
  Cartesian from;
  Cartesian to;
  double rms = 0.0;  // Å, between the moved places and the others

  Cartesian operator()(const Cartesian& place) const { return rotation * (place - from) + to; }
};

// The rotation of least squares by the largest eigenvalue of the quaternion matrix (B. K. P. Horn, J. Opt. Soc. Am. A4
// (1987) 629-642), both sets in right-handed frames. With `inverted` the first set is turned into its other hand
// before. Nothing for fewer than three pairs, and where either set lies on one line.
std::optional<Superposition> Superpose(std::span<const Cartesian> places, std::span<const Cartesian> onto,
                                       bool inverted = false);

}  // namespace marvik
