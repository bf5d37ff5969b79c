#pragma once

#include <vector>

#include "refine/job/session.h"

namespace marvik {

// Where the hydrogens of a group that turns about its bond have the most difference density.
struct TurnedGroup {
  const HydrogenGroup* group = nullptr;
  std::vector<Fractional> places;  // of its hydrogens, none far from where another one stood
  double degrees = 0.0;            // from where they stood
  double density = 0.0;            // e/Å³, mean over the hydrogens there
  double before = 0.0;             // where they stood
  double contrast = 0.0;           // how far it rises above the mean of the circle, in sigma of the map
};

// Groups of a session that turn freely: methyl and hydroxyl groups whose surroundings fit. Left out are a methyl group
// whose code keeps it staggered, and carriers with several groups, as disordered methyl groups have.
std::vector<const HydrogenGroup*> TurningGroups(const Session& session);

// From the difference map of the session's model without the hydrogens of all these groups. Nothing is moved.
std::vector<TurnedGroup> TurnToDensity(Session& session, const std::vector<const HydrogenGroup*>& groups);

}  // namespace marvik
