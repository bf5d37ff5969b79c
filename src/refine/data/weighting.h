#pragma once

#include <utility>

#include "refine/solve/least_squares.h"

namespace marvik {

// Values of a and b for which the means of w(Fo² - Fc²)² over ten ranges of Fc² come nearest to one.
std::pair<double, double> SuggestWeights(const Calculated& calculated, double maximumShare);

}  // namespace marvik
