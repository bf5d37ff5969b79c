#pragma once

#include <string>
#include <vector>

#include "phase/problem.h"
#include "refine/data/observations.h"

namespace marvik::phase {

// Puts CF3 and C(CF3)3 in the place of atoms that a refined isotropic model has there, in one or two orientations,
// where the density asks for them and the formula has the fluorine. Those of two have PART 1 and 2 and a free variable
// for their shares. `shares` and `fractions` go with the sites. Whether anything was changed.
bool FitRotors(const Problem& problem, const Observations& observations, Structure& structure,
               std::vector<double>& shares, std::vector<double>& fractions);

// Makes two places of one atom of what stands nearer to each other than two ends of one atom can and is there in part.
bool SplitEnds(const Problem& problem, Structure& structure, std::vector<double>& shares,
               const std::vector<double>& fractions);

// DFIX, DANG, SADI, SIMU and RIGU lines that hold together what has a PART; the sites must have their names and lie
// beside each other.
std::string RotorRestraints(const Structure& structure);

// A sentence with the first atom of each and its share; empty where there is none.
std::string DescribeRotors(const Structure& structure);

}  // namespace marvik::phase
