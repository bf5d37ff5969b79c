#pragma once

#include <optional>
#include <span>
#include <vector>

#include "base/vec3.h"

namespace marvik {

// The hydrogen-fixing codes of the refinement: the geometry of a group and its freedom.
enum HfixCode : int {
  kHfixTertiary = 13,
  kHfixSecondary = 23,
  kHfixAromatic = 43,
  kHfixBondedHydroxyl = 83,
  kHfixTerminal = 93,
  kHfixMethyl = 137,
  kHfixHydroxyl = 147,
  kHfixAlkyne = 163,
};

// The groups by m of their AFIX code 10·m + n, where n is the freedom that they have.
struct HfixGroup {
  int m;
  int hydrogens;
  int neighbours;     // that fix the directions; of a cage at least so many
  bool isTerminal;    // turns about its one bond, which leads to something else than hydrogen
  double uisoFactor;  // of the hydrogens, on the carrier's equivalent U
};
// Nothing for a number that is none of the groups.
const HfixGroup* FindHfixGroup(int m);

// Distance in Å from a carrier of this atomic number to the hydrogens of a group, at a temperature in °C.
double HydrogenDistance(int m, int carrierNumber, double temperature);

// Unit vectors from a carrier to the hydrogens of a group whose neighbours fix them. One of three neighbours makes
// equal angles with them: the normal of the plane through the ends of the three unit vectors; others point away from
// the mean of the bonds, which two hydrogens straddle. Nothing where the neighbours
// do not determine them. Places in Å.
std::optional<std::vector<Cartesian>> FixedDirections(int m, const Cartesian& carrier,
                                                      std::span<const Cartesian> neighbours);

// Radians from the first hydrogen of a terminal group to another one, about the bond.
double TurnOf(int m, size_t hydrogen);
// Unit vectors from a carrier to the hydrogens of a terminal group. `back` points to the neighbour, `zero` across it to
// where the first hydrogen stands at a torsion of 0; both are unit vectors. The torsion (radians) and, with a `sense`
// of 1, the turns from hydrogen to hydrogen are about the direction from the neighbour to the carrier.
std::vector<Cartesian> TerminalDirections(const HfixGroup& group, const Cartesian& back, const Cartesian& zero,
                                          double torsion, double sense = 1.0);

// Elements that bind the face of a ligand.
bool IsMetal(int atomicNumber);
// Whether a metal binds the face of a carbon with two or more other neighbours, as in cyclopentadienyl and arene
// ligands, and leaves the place of its hydrogen free: it does not stand on the far side of the others. Places in Å.
bool BindsFace(const Cartesian& carrier, std::span<const Cartesian> others, const Cartesian& metal);

// Some unit vector at right angles to another one.
Cartesian AnyAcross(const Cartesian& axis);

// What stands about the carrier of a group. Places in Å.
struct CarrierSurroundings {
  Cartesian carrier;
  std::vector<Cartesian> neighbours;  // as many as the group needs
  std::vector<Cartesian> beyond;      // bonded to the one neighbour of a terminal group, the best first
  std::optional<Cartesian> acceptor;  // that a hydroxyl group turns to
  std::vector<Cartesian> hydrogens;   // that are there already and count for the group
};

// Unit vectors from the carrier to the hydrogens that are missing; nothing when the surroundings do not determine them.
// Terminal groups are anti to the first atom beyond, a hydroxyl group in the plane of its acceptor.
std::optional<std::vector<Cartesian>> HydrogenDirections(const HfixGroup& group, const CarrierSurroundings& around);

}  // namespace marvik
