#pragma once

#include <vector>

#include "phase/problem.h"

namespace marvik::phase {

// The scatterer of each site from its electron count (on an arbitrary scale, the same for all), the formula where it
// can be right, and what the bonds allow; what has a PART keeps its own. `fractions` are 1 over the order of the site
// symmetries; `bondSpread`, Å, says how exact the lengths are.
std::vector<int> ElementsOf(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
                            const std::vector<double>& fractions, double bondSpread = 0.05);

// Trades displacement for electrons: what an atom would count if it moved about as its neighbours do.
void LevelDisplacements(const Structure& structure, std::vector<double>& electrons);

}  // namespace marvik::phase
