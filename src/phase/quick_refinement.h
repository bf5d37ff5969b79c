#pragma once

#include "refine/solve/least_squares.h"

namespace marvik::phase {

constexpr double kSiteTolerance = 0.45;  // Å, nearer to an element of symmetry a site lies on it

// What the quick refinement moves besides the coordinates.
struct Freedom {
  bool occupancies = false;
  bool scale = false;
  bool ownDisplacements = false;  // else one U for all
};

// Damped cycles of least squares on F² with one block for each site, and the share of a twin's second part; what has a
// PART stays where it is. Gives the residuals and what was calculated at the end.
Residuals RefineQuickly(Structure& structure, const Observations& observations, int cycles, const Freedom& freedom,
                        Calculated& calculated);

}  // namespace marvik::phase
