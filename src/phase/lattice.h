#pragma once

#include <array>
#include <string>
#include <vector>

#include "phase/problem.h"
#include "refine/data/observations.h"

namespace marvik::phase {

// On the axes of the cell: x' = R·x, h' = h·R.
using Rotation = std::array<std::array<int, 3>, 3>;

// A choice of lattice points of the user's cell, with a primitive basis of it: p[i] are its vectors in fractions of the
// user's axes. Indices on the primitive basis are h·p[i], coordinates x = Σ x'_i p[i].
struct Centring {
  char symbol = 'P';
  int latt = 1;
  std::vector<std::array<double, 3>> points;
  std::array<std::array<double, 3>, 3> p{};

  bool Allows(const Miller& h) const;
  Miller ToPrimitive(const Miller& h) const;
  Miller FromPrimitive(const Miller& h) const;
};

const std::vector<Centring>& KnownCentrings();

// Rotations of the user's cell (proper ones, as matrices on its axes) that leave its metric and the lattice alone, the
// identity first. Edges may differ by 0.6 %, angles by as much.
std::vector<Rotation> MetricSymmetry(const Metric& metric, const Centring& centring);

Rotation Product(const Rotation& a, const Rotation& b);
Miller Turned(const Miller& h, const Rotation& r);
// Every proper group that some of the rotations make, each closed and sorted, the trivial one first.
std::vector<std::vector<Rotation>> RotationGroups(const std::vector<Rotation>& rotations);

// The rotations of a group's operations, each once, those of improper ones turned into proper ones.
std::vector<Rotation> ProperRotations(const SpaceGroup& group);
// Laws of twinning that the lattice allows and the group does not have, one for each way to lie.
std::vector<Rotation> TwinLaws(const Metric& metric, int latt, const SpaceGroup& group);
// As a law of two parts, for indices.
TwinLaw LawOf(const Rotation& rotation);
// The rotation of a law of two parts.
Rotation RotationOf(const TwinLaw& law);
// Its matrix, " -1 0 0 0 -1 0 0 0 1".
std::string LawText(const TwinLaw& law);
// Of the class that has these rotations: "-1", "2/m", "mmm" ...
std::string LaueSymbol(const std::vector<Rotation>& proper);

}  // namespace marvik::phase
