#include "refine/job/turn_groups.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/stop.h"

namespace marvik {
namespace {

constexpr int kStep = 5;      // degrees on the circle, then
constexpr int kFineStep = 1;  // about the best place

double MeanDensity(const Structure& structure, const DensityMap& map, const std::vector<Cartesian>& places) {
  double sum = 0.0;
  for (const Cartesian& p : places) sum += map.Interpolate(structure.metric.ToFractional(p));
  return sum / static_cast<double>(std::max<size_t>(places.size(), 1));
}

// The hydrogens of a group are alike: each goes to a place near the one where it stood.
void KeepNear(const std::vector<Cartesian>& stood, std::vector<Cartesian>& places) {
  for (size_t i = 0; i + 1 < std::min(places.size(), stood.size()); ++i) {
    const auto nearest = std::min_element(
        places.begin() + static_cast<long>(i), places.end(),
        [&](const Cartesian& a, const Cartesian& b) { return Distance(a, stood[i]) < Distance(b, stood[i]); });
    std::iter_swap(places.begin() + static_cast<long>(i), nearest);
  }
}

// The angle about the bond between two places of a hydrogen.
double DegreesBetween(const Structure& structure, const HydrogenGroup& group, const Cartesian& a, const Cartesian& b) {
  const Cartesian carrier = structure.metric.ToCartesian(structure.sites[static_cast<size_t>(group.carrier)].x);
  const Cartesian axis = Normalised(structure.metric.ToCartesian(ImagePosition(structure, group.around[0])) - carrier);
  const auto across = [&](const Cartesian& p) { return Normalised(p - carrier - Dot(p - carrier, axis) * axis); };
  return std::acos(std::clamp(Dot(across(a), across(b)), -1.0, 1.0)) * kDegreesPerRadian;
}

TurnedGroup BestOnCircle(const Structure& structure, const DensityMap& map, const HydrogenGroup& group) {
  TurnedGroup turned{&group, {}, 0.0, 0.0, 0.0, 0.0};
  std::vector<Cartesian> stood;
  for (const int h : group.hydrogens)
    stood.push_back(structure.metric.ToCartesian(structure.sites[static_cast<size_t>(h)].x));
  double mean = 0.0;
  double best = -1e30;
  int at = 0;
  const auto look = [&](int torsion) {
    const double density = MeanDensity(structure, map, PlaceAtTorsion(structure, group, torsion));
    if (density > best) best = density, at = torsion;
    return density;
  };
  for (int torsion = 0; torsion < 360; torsion += kStep) mean += look(torsion) * kStep / 360.0;
  const int middle = at;
  for (int off = 1 - kStep; off < kStep; off += kFineStep) look(middle + off);
  std::vector<Cartesian> places = PlaceAtTorsion(structure, group, at);
  KeepNear(stood, places);
  places.resize(std::min(places.size(), stood.size()));
  for (const Cartesian& p : places) turned.places.push_back(structure.metric.ToFractional(p));
  turned.degrees = DegreesBetween(structure, group, stood[0], places[0]);
  turned.density = best;
  turned.before = MeanDensity(structure, map, stood);
  turned.contrast = map.sigma > 0.0 ? (best - mean) / map.sigma : 0.0;
  return turned;
}

}  // namespace

std::vector<const HydrogenGroup*> TurningGroups(const Session& session) {
  std::map<int, int> groupsOf;
  for (const HydrogenGroup& group : session.hydrogens) ++groupsOf[group.carrier];
  std::vector<const HydrogenGroup*> turning;
  for (const HydrogenGroup& group : session.hydrogens) {
    const HfixGroup* geometry = group.Geometry();
    const bool turns = geometry && geometry->isTerminal && geometry->hydrogens != 2;
    if (!turns || !group.idealised || group.around.empty() || groupsOf[group.carrier] > 1) continue;
    if (group.m == 3 && !group.Rotates()) continue;
    turning.push_back(&group);
  }
  return turning;
}

std::vector<TurnedGroup> TurnToDensity(Session& s, const std::vector<const HydrogenGroup*>& groups) {
  if (groups.empty()) return {};
  std::vector<double> occupancies;
  for (const Site& site : s.structure.sites) occupancies.push_back(site.occupancy);
  for (const HydrogenGroup* group : groups)
    for (const int h : group->hydrogens) s.structure.sites[static_cast<size_t>(h)].occupancy = 0.0;
  Calculated calculated;
  DataPass pass(s.structure, s.observations, s.job.weights);
  MatchScale(s.structure, pass, calculated);
  const DensityMap map = MakeMap(s.structure, s.observations, calculated);
  for (size_t i = 0; i < occupancies.size(); ++i) s.structure.sites[i].occupancy = occupancies[i];
  std::vector<TurnedGroup> turned;
  if (StopWanted()) return turned;
  for (const HydrogenGroup* group : groups) turned.push_back(BestOnCircle(s.structure, map, *group));
  return turned;
}

}  // namespace marvik
