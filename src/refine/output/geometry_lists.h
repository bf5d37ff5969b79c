#pragma once

#include <array>
#include <string>
#include <vector>

#include "refine/job/session.h"
#include "refine/output/geometry.h"

namespace marvik {

// The bonds, angles, torsions and hydrogen bonds that listing and CIF tell of, as places in the crystal.

bool IsListedBond(const Session& session, int site, const Neighbour& n);
// Whether the bond is, but for symmetry, one that an earlier atom has without any.
bool IsRepeatedBond(const Session& session, int site, const Neighbour& n);

// Every three atoms a-b-c of the bond table, b in the middle.
struct BondAngle {
  int middle;
  Neighbour first;
  Neighbour second;
};
std::vector<BondAngle> AnglesOf(const Session& session);

using FourAtoms = std::array<SiteImage, 4>;
// What CONF asks for: the four atoms that it names; without names every torsion about a bond shorter than its first
// number (1.9 Å) between angles below its second (170°), hydrogens left out.
std::vector<FourAtoms> TorsionsOf(const Session& session, const Geometry& geometry);

struct HydrogenBondSites {
  SiteImage donor;
  SiteImage hydrogen;
  SiteImage acceptor;
};
// What HTAB asks for: between the two atoms that it names the hydrogen with the widest angle; without names every
// D-H...A with H...A shorter than the acceptor's radius + 2 Å (a number instead of the 2) and an angle above 110°.
std::vector<HydrogenBondSites> HydrogenBondsOf(const Session& session, const Geometry& geometry);

}  // namespace marvik
