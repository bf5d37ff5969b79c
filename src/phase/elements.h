#pragma once

#include <vector>

#include "phase/problem.h"

namespace marvik::phase {

// The scatterer of each site from its electron count (on an arbitrary scale, the same for all): the scale that suits
// the elements of SFAC best, then each site's likeliest element with the formula's shares as prior. `fractions` are 1
// over the order of the site symmetries, `expected` how many atoms but hydrogen the asymmetric unit should have.
std::vector<int> ElementsOf(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
                            const std::vector<double>& fractions, double expected);

}  // namespace marvik::phase
