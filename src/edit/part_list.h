#pragma once

#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// Atoms of one PART whose occupancies one free variable gives, or none.
struct PartGroup {
  int part = 0;
  int variable = 0;        // negative for what it leaves of 1, 0 for none
  double occupancy = 0.0;  // of the first atom, decoded
  std::vector<const AtomRecord*> atoms;
};
// By free variable, then PART. Atoms of PART 0 without a free variable are in none; neither are images and peaks.
std::vector<PartGroup> PartGroups(const Document& document);

// The PARTs to be hidden so that of every disorder one alternative is seen, the n-th by number (from 1); the last where
// there are fewer. Negative PARTs stay.
std::vector<int> PartsBeside(const Document& document, int alternative);
// The most alternatives that a disorder of the document has, 0 without any.
int MostAlternatives(const Document& document);
// Which of them is shown alone now, 0 for all or something else.
int ShownAlternative(const Document& document);

}  // namespace marvik
