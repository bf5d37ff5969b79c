#pragma once

#include <string>
#include <vector>

#include "chem/hydrogens/hydrogen_geometry.h"
#include "refine/structure/neighbours.h"
#include "refine/structure/structure.h"

namespace marvik {

// The hydrogens of one AFIX group on the atom that carries them. AFIX code 10·m + n.
struct HydrogenGroup {
  int m = 0;
  int n = 3;
  int carrier = -1;
  std::vector<int> hydrogens;
  double distance = 0.0;          // X-H in Å; 0 for what the geometry and the temperature ask for
  std::vector<Neighbour> around;  // bonded to the carrier, no hydrogens
  // Bonded to around[0] and not the carrier, by the longest bond: what published methyl groups are staggered to. Site
  // -1 without one.
  Neighbour beyond;
  bool idealised = false;  // whether coordinates are recomputed before each cycle

  // Null for a geometry that is not known.
  const HfixGroup* Geometry() const { return FindHfixGroup(m); }
  bool Rotates() const { return n == 7 || n == 8; }
  bool Stretches() const { return n == 4 || n == 8; }
};

// The groups of riding hydrogens (n = 3, 4, 7, 8). Groups whose surroundings do not fit their code are not idealised
// and are named in `notes`. The carrier is the last atom before the group that is not itself riding.
std::vector<HydrogenGroup> FindHydrogenGroups(const Structure& structure, const NeighbourTable& bonds,
                                              double temperature, std::vector<std::string>& notes);

// Puts the hydrogens of an idealised group where its geometry wants them; rotating groups keep their torsion.
void IdealiseHydrogens(Structure& structure, const HydrogenGroup& group);
// Whether the surroundings of an atom fit a code, for hydrogens that are yet to be made.
bool FitsCode(const Structure& structure, const NeighbourTable& bonds, int carrier, int m);

// The same at a given torsion (degrees) about the bond from around[0] to the carrier, measured from `beyond` or, where
// that is missing, from an arbitrary direction. For codes with a free torsion.
std::vector<Cartesian> PlaceAtTorsion(const Structure& structure, const HydrogenGroup& group, double torsion);

}  // namespace marvik
