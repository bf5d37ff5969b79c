#pragma once

#include <vector>

#include "phase/groups/oriented_groups.h"
#include "phase/problem.h"
#include "refine/data/observations.h"

namespace marvik::phase {

// A middle with four or six ends, by atomic numbers.
struct AnionKind {
  int middle, end;
  GroupShape group;
};

// Those that are known, with mean lengths in crystals.
const std::vector<AnionKind>& AnionKinds();

// Puts tetrahedral and octahedral anions in two orientations where an ordered model of one has too many ends, ends
// there in part or ends that move about, and the formula has the elements. They stay where R1 is lower with them, as
// parts of one free variable. `shares` and `fractions` go with the sites. Whether anything was changed.
bool FitAnions(const Problem& problem, const Observations& observations, Structure& structure,
               std::vector<double>& shares, std::vector<double>& fractions);

}  // namespace marvik::phase
