#pragma once

#include <vector>

#include "refine/restraints/restraints.h"
#include "refine/solve/least_squares.h"
#include "refine/solve/solver.h"

namespace marvik {

// The parameters of each atom, and those of none.
std::vector<std::vector<int>> ParameterGroups(const Parametrisation& parametrisation);

// Shifts by conjugate gradients on the normal equations (Hestenes & Stiefel, J. Res. NBS 49 (1952) 409) without ever
// forming the matrix, so that memory grows with the parameters and not with their square; preconditioned by the
// inverses of the blocks that `groups` are on the diagonal, which also give the variances. Derivative rows are kept in
// single precision where they fit into a budget and recomputed where they do not. `frozen` parameters stay.
Solution ConjugateGradientShifts(DataPass& pass, const Parametrisation& parametrisation,
                                 const std::vector<std::vector<int>>& groups,
                                 const std::vector<ParameterEquation>& equations, int iterations,
                                 const std::vector<bool>& frozen, Calculated& calculated);

}  // namespace marvik
