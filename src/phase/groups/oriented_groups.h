#pragma once

#include <array>
#include <utility>
#include <vector>

#include "crystal/cell_metric.h"
#include "crystal/density_map.h"

namespace marvik::phase {

// Where one orientation of a group lies: its first atom or its middle, a frame whose third axis points away from what
// holds it, and how far its ends are turned from staggered.
struct Pose {
  Cartesian centre;
  std::array<Cartesian, 3> frame;
  std::array<double, 3> twist{};  // degrees
};

// CF3 and C(CF3)3 at the end of a bond; what has a middle and is free to turn; six atoms in a plane.
enum class Shape { Tripod, BranchedTripod, Tetrahedron, Octahedron, Ring };

struct GroupShape {
  Shape shape = Shape::Tripod;
  double length = 0.0;  // Å, from the middle to each end; tripods have lengths of their own

  size_t Ends() const;
  // Whether the atom at the centre turns with the group, as its first.
  bool HasRoot() const { return shape == Shape::Tripod || shape == Shape::BranchedTripod; }
};

// The ends first, then the atoms that bear them; without the middle.
std::vector<Cartesian> PlacesOf(const GroupShape& group, const Pose& pose);

// The orientation with density at all its atoms, and how much. Tripods are turned about the axis from anchor to centre
// and tilted a little, the others turned to all sides; the centre moves up to half an Å or so.
std::pair<double, Pose> BestPose(const DensityMap& map, const Metric& metric, const GroupShape& group,
                                 const Cartesian& anchor, const Cartesian& centre);

// Mean distance in Å of the ends of one orientation to the nearest ones of the other.
double Apart(const GroupShape& group, const Pose& a, const Pose& b);

}  // namespace marvik::phase
