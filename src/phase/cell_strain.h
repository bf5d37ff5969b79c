#pragma once

#include <array>
#include <string>
#include <vector>

#include "refine/structure/structure.h"

namespace marvik::phase {

// By how much lengths of bonds between nonmetals, and distances between light atoms bonded to a common third, ask for
// other edges of the cell.
struct CellStrain {
  std::array<double, 3> excess{};  // of a, b, c: 0.1 is 10 % too long
  std::array<double, 3> error{};   // standard deviations
  size_t lengths = 0;              // that tell; 0 where too few do for a fit
};

// Of sites that are there as a whole, `shares` (1 for that) goes with them.
CellStrain FitCellStrain(const Structure& structure, const std::vector<double>& shares);

// What is to be said of edges that are clearly wrong; empty for a cell that is as it should be.
std::string DescribeCellStrain(const CellStrain& strain);

}  // namespace marvik::phase
