#pragma once

#include <utility>

#include "refine/solve/least_squares.h"

namespace marvik {

// Values of a and b for which the mean of w(Fo² - Fc²)² over ranges of Fc² and over all data comes nearest to one.
std::pair<double, double> SuggestWeights(const Calculated& calculated, double maximumShare);

}  // namespace marvik
