#pragma once

#include <vector>

#include "phase/problem.h"

namespace marvik::phase {

// The scatterer of each site from its electron count, the formula where it can be right, and what the bonds allow; what
// has a PART keeps its own. `fractions` are 1 over the order of the site symmetries. The counts are on an arbitrary
// scale, the same for all, but of a `refined` structure on their own, and its bond lengths are more exact.
std::vector<int> ElementsOf(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
                            const std::vector<double>& fractions, bool refined = false);

// Trades displacement for electrons: what an atom would count if it moved about as its neighbours do.
void LevelDisplacements(const Structure& structure, std::vector<double>& electrons);

}  // namespace marvik::phase
