#pragma once

#include <array>
#include <vector>

#include "crystal/space_group.h"

namespace marvik {

// Rotations that bring the lattice, the group's centring included, onto itself and leave its metric as it is within
// `tolerance` (of the product of two edges); their columns are the images of the axes, no longer than two cells. Of a
// centred lattice some have fractions. Nothing where more than 24 fit, as no lattice has: the metric tells nothing.
std::vector<std::array<double, 9>> LatticeRotations(const Metric& metric, const SpaceGroup& group, double tolerance);

}  // namespace marvik
