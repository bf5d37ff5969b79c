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

struct HfixGroup {
  int code;
  int hydrogens;
  int neighbours;                   // that fix the directions
  bool needsHeavy;                  // the neighbour has to be something else than hydrogen
  double uisoFactor;                // of the hydrogens, on the carrier's equivalent U
  double carbon, nitrogen, oxygen;  // length of the bond to the hydrogen, Å
};
// Nothing for a number that is none of the codes.
const HfixGroup* FindHfixGroup(int code);

// Distance in Å from a carrier of this atomic number to its hydrogens; that of carbon for any other element.
double HydrogenDistance(const HfixGroup& group, int carrierNumber);

// What stands about the carrier of a group. Places in Å.
struct CarrierSurroundings {
  Cartesian carrier;
  std::vector<Cartesian> neighbours;  // as many as the group needs
  std::vector<Cartesian> beyond;      // bonded to the one neighbour of a terminal group, the best first
  std::optional<Cartesian> acceptor;  // that a hydroxyl group turns to
  std::vector<Cartesian> hydrogens;   // that are there already and count for the group
};

// Unit vectors from the carrier to the hydrogens that are missing; nothing when the surroundings do not determine them.
// 13, 43 and 163 point away from the mean of the bonds, which 23 straddles with H-X-H equal to the four H-X-Y; terminal
// groups are tetrahedral (93: trigonal, in the plane of the atom beyond), anti to the first atom beyond, a hydroxyl
// group in the plane of its acceptor.
std::optional<std::vector<Cartesian>> HydrogenDirections(const HfixGroup& group, const CarrierSurroundings& around);

}  // namespace marvik
