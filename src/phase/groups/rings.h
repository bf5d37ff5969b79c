#pragma once

#include <vector>

#include "phase/problem.h"
#include "refine/data/observations.h"

namespace marvik::phase {

// Puts six-membered rings of solvent, with halogen or methyl where the formula has them, in the place of loose atoms
// that make no molecule, in one or two orientations. About a centre or an axis of symmetry they get negative parts and
// half the occupancy. They stay where R1 is no higher than with the loose atoms. `shares` and `fractions` go with the
// sites. Whether anything was changed.
bool FitRings(const Problem& problem, const Observations& observations, Structure& structure,
              std::vector<double>& shares, std::vector<double>& fractions);

}  // namespace marvik::phase
