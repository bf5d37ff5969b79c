#pragma once

#include <array>
#include <vector>

#include "crystal/space_group.h"

namespace marvik {

// Rotations that bring the lattice of these centring vectors (in kTranslationParts, the zero vector first) onto itself
// and leave its metric as it is within shares of the product of two edges: `edges` for the square of each, `angles` for
// what two make with each other. Their columns are the images of the axes, no longer than two cells. Of a centred
// lattice some have fractions. Nothing where more than 24 fit, as no lattice has: the metric tells nothing.
std::vector<std::array<double, 9>> LatticeRotations(const Metric& metric,
                                                    const std::vector<std::array<int, 3>>& centring, double edges,
                                                    double angles);
// The same of a group's lattice, with one tolerance for both.
std::vector<std::array<double, 9>> LatticeRotations(const Metric& metric, const SpaceGroup& group, double tolerance);

}  // namespace marvik
