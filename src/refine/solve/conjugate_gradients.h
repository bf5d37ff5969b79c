#pragma once

#include <vector>

#include "refine/restraints/restraints.h"
#include "refine/solve/least_squares.h"

namespace marvik {

// Shifts by preconditioned conjugate gradients on the normal equations (Hestenes & Stiefel, J. Res. NBS 49 (1952) 409)
// without ever forming the matrix, so that memory grows with the parameters and not with their square. Derivative rows
// are kept in single precision where they fit into a budget and recomputed where they do not. `frozen` parameters stay.
std::vector<double> ConjugateGradientShifts(DataPass& pass, const Parametrisation& parametrisation,
                                            const std::vector<ParameterEquation>& equations, int iterations,
                                            const std::vector<bool>& frozen, Calculated& calculated);

}  // namespace marvik
