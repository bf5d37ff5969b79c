#pragma once

#include <vector>

#include "language/instruction.h"
#include "refine/structure/structure.h"

namespace marvik {

// An image of a site beside another one.
struct Neighbour {
  int site = 0;
  int operation = 0;  // into SpaceGroup::all
  std::array<int, 3> cell{};
  double distance = 0.0;  // Å, when the table was made

  bool IsIdentity() const { return operation == 0 && cell == std::array<int, 3>{}; }
};

using NeighbourTable = std::vector<std::vector<Neighbour>>;

Fractional ImagePosition(const Structure& structure, const Neighbour& n);

// All images within a distance in Å of every site, nearest first; the site itself and what lies within 0.01 Å of it are
// left out. Where more than kMostBondingImages are that near, only those within a half, a quarter ... of the reach.
NeighbourTable ImagesWithin(const Structure& structure, double reach);

// Bonds by the sum of radii + 0.5 Å, within PART rules (equal or one of them 0; a negative PART not across symmetry),
// with FREE, BIND and CONN heeded. Two hydrogens are never bonded.
NeighbourTable MakeBonds(const Structure& structure, const Document& document,
                         const std::vector<Instruction>& commands);

bool PartsMeet(const Site& a, const Site& b, bool identity);

}  // namespace marvik
