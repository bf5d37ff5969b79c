#pragma once

#include "phase/solution.h"

namespace marvik::phase {

// Brings the atoms together in bonded groups, the largest first and in the cell, the others near it, and names them
// along the skeleton: element and a number of its own for each element.
void GatherMolecules(Candidate& candidate);

// Makes the larger part of a twin the first where the law leaves the group as it is.
void TurnToLargerPart(Candidate& candidate);

// Compares the measured Friedel opposites with the model and with its opposite (H. D. Flack, Acta Cryst. A39 (1983)
// 876, as one linear least-squares step), and turns the model round where the data say so.
void DecideHand(const Problem& problem, Candidate& candidate);

}  // namespace marvik::phase
