#include "refine/constraints/hydrogens.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/instruction.h"

namespace marvik {
namespace {

constexpr double kStraight = 155.0;  // degrees

Cartesian Towards(const Structure& structure, const Cartesian& from, const Neighbour& n) {
  return Normalised(structure.metric.ToCartesian(ImagePosition(structure, n)) - from);
}

Cartesian CarrierPlace(const Structure& structure, const HydrogenGroup& group) {
  return structure.metric.ToCartesian(structure.sites[static_cast<size_t>(group.carrier)].x);
}

// Whether the atom beyond stands so far off the bond that it tells one torsion from another.
bool IsBent(const Structure& structure, const HydrogenGroup& group) {
  if (group.beyond.site < 0) return false;
  const Cartesian next = structure.metric.ToCartesian(ImagePosition(structure, group.around[0]));
  const Cartesian far = structure.metric.ToCartesian(ImagePosition(structure, group.beyond));
  return Angle(next, CarrierPlace(structure, group), far) < kStraight;
}

// The direction from which torsions of a terminal group are counted.
Cartesian ZeroDirection(const Structure& structure, const HydrogenGroup& group, const Cartesian& back) {
  if (group.beyond.site < 0) return AnyAcross(back);
  const Cartesian next = structure.metric.ToCartesian(ImagePosition(structure, group.around[0]));
  const Cartesian far = structure.metric.ToCartesian(ImagePosition(structure, group.beyond));
  const Cartesian d = far - next;
  const Cartesian across = d - Dot(d, back) * back;
  return Length(across) > 1e-3 ? Normalised(across) : AnyAcross(back);
}

// `sense` is -1 for groups whose hydrogens follow each other the other way round.
std::vector<Cartesian> DirectionsAtTorsion(const Structure& structure, const HydrogenGroup& group, double torsion,
                                           double sense = 1.0) {
  const Cartesian back = Towards(structure, CarrierPlace(structure, group), group.around[0]);
  return TerminalDirections(*group.Geometry(), back, ZeroDirection(structure, group, back), torsion, sense);
}

struct TorsionFit {
  double torsion = 0.0;  // of the first hydrogen, radians
  double sense = 1.0;
};

// How a terminal group stands now: the mean over its hydrogens, each turned back to the first one's place.
TorsionFit PresentTorsion(const Structure& structure, const HydrogenGroup& group) {
  const Cartesian carrier = CarrierPlace(structure, group);
  const Cartesian back = Towards(structure, carrier, group.around[0]);
  const Cartesian zero = ZeroDirection(structure, group, back);
  const Cartesian axis = -back;
  const Cartesian e1 = Normalised(zero - Dot(zero, axis) * axis);
  const Cartesian e2 = Cross(axis, e1);
  TorsionFit best;
  double longest = -1.0;
  for (const double sense : {1.0, -1.0}) {
    double sine = 0.0;
    double cosine = 0.0;
    for (size_t i = 0; i < group.hydrogens.size(); ++i) {
      const Cartesian d =
          structure.metric.ToCartesian(structure.sites[static_cast<size_t>(group.hydrogens[i])].x) - carrier;
      const double t = std::atan2(Dot(d, e2), Dot(d, e1)) - sense * TurnOf(group.m, i);
      sine += std::sin(t);
      cosine += std::cos(t);
    }
    if (std::hypot(sine, cosine) > longest + 1e-6) {
      longest = std::hypot(sine, cosine);
      best = {std::atan2(sine, cosine), sense};
    }
  }
  return best;
}

std::optional<std::vector<Cartesian>> Directions(const Structure& structure, const HydrogenGroup& group) {
  if (!group.Geometry()->isTerminal) {
    std::vector<Cartesian> around;
    for (const Neighbour& n : group.around) around.push_back(structure.metric.ToCartesian(ImagePosition(structure, n)));
    return FixedDirections(group.m, CarrierPlace(structure, group), around);
  }
  const TorsionFit now = PresentTorsion(structure, group);
  double torsion = now.torsion;
  if (group.m == 3 && !group.Rotates() && IsBent(structure, group)) {
    const double third = 120.0 * kRadiansPerDegree;
    torsion = third / 2.0 + third * std::round((torsion - third / 2.0) / third);
  }
  if (group.m == 9 && IsBent(structure, group)) {
    const double half = 180.0 * kRadiansPerDegree;
    torsion = half * std::round(torsion / half);
  }
  return DirectionsAtTorsion(structure, group, torsion, now.sense);
}

bool SameWay(const std::vector<Cartesian>& directions, const Structure& structure, const HydrogenGroup& group) {
  const Cartesian carrier = CarrierPlace(structure, group);
  double straight = 0.0;
  double swapped = 0.0;
  for (size_t i = 0; i < 2; ++i) {
    const Cartesian d =
        structure.metric.ToCartesian(structure.sites[static_cast<size_t>(group.hydrogens[i])].x) - carrier;
    straight += Dot(d, directions[i]);
    swapped += Dot(d, directions[1 - i]);
  }
  return straight >= swapped;
}

// Of the neighbours in different PARTs only those of the PART with the highest occupancy count, beside PART 0.
void KeepOnePart(const Structure& structure, std::vector<Neighbour>& around) {
  int best = 0;
  double highest = -1.0;
  for (const Neighbour& n : around) {
    const Site& site = structure.sites[static_cast<size_t>(n.site)];
    if (site.part != 0 && site.occupancy > highest) highest = site.occupancy, best = site.part;
  }
  std::erase_if(around, [&](const Neighbour& n) {
    const int part = structure.sites[static_cast<size_t>(n.site)].part;
    return part != 0 && part != best;
  });
}

// A metal that binds the face of a ring is no neighbour of the hydrogens in it.
void LeaveOutFaces(const Structure& structure, const HydrogenGroup& group, std::vector<Neighbour>& around) {
  const auto isMetal = [&](const Neighbour& n) {
    const Site& site = structure.sites[static_cast<size_t>(n.site)];
    return IsMetal(structure.scatterers[static_cast<size_t>(site.scatterer)].row);
  };
  const auto place = [&](const Neighbour& n) { return structure.metric.ToCartesian(ImagePosition(structure, n)); };
  std::vector<Cartesian> others;
  for (const Neighbour& n : around)
    if (!isMetal(n)) others.push_back(place(n));
  std::erase_if(around, [&](const Neighbour& n) {
    return isMetal(n) && BindsFace(CarrierPlace(structure, group), others, place(n));
  });
}

// What surrounds the carrier and fits its code: no hydrogens, and no atoms of another PART than the hydrogens'.
void FindSurroundings(const Structure& structure, const NeighbourTable& bonds, HydrogenGroup& group) {
  const Site& carrier = structure.sites[static_cast<size_t>(group.carrier)];
  const Site* first = group.hydrogens.empty() ? nullptr : &structure.sites[static_cast<size_t>(group.hydrogens[0])];
  const Site& side = first && first->part != 0 ? *first : carrier;
  for (const Neighbour& n : bonds[static_cast<size_t>(group.carrier)]) {
    const Site& other = structure.sites[static_cast<size_t>(n.site)];
    if (other.hydrogen || !PartsMeet(side, other, n.IsIdentity())) continue;
    group.around.push_back(n);
  }
  KeepOnePart(structure, group.around);
  const HfixGroup* code = group.Geometry();
  if (code && code->neighbours < 4 && group.around.size() > static_cast<size_t>(code->neighbours))
    LeaveOutFaces(structure, group, group.around);
  group.beyond.site = -1;
  if (group.around.empty()) return;
  for (const Neighbour& n : bonds[static_cast<size_t>(group.around[0].site)]) {
    const Site& other = structure.sites[static_cast<size_t>(n.site)];
    if (other.hydrogen || n.site == group.carrier || !PartsMeet(side, other, n.IsIdentity())) continue;
    // Only what lies in the carrier's own asymmetric unit with the neighbour: images of images are not followed.
    if (!group.around[0].IsIdentity()) continue;
    if (group.beyond.site < 0 || n.distance > group.beyond.distance) group.beyond = n;
  }
}

}  // namespace

std::vector<HydrogenGroup> FindHydrogenGroups(const Structure& structure, const NeighbourTable& bonds,
                                              double temperature, std::vector<std::string>& notes) {
  std::vector<HydrogenGroup> groups;
  int carrier = -1;
  int lastGroup = -1;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (!IsRidingCode(site.afix)) {
      carrier = static_cast<int>(i);
      lastGroup = -1;
      continue;
    }
    if (carrier < 0) {
      notes.push_back("AFIX " + Printf("%d", site.afix) + " of " + site.label + " has no atom to ride on");
      continue;
    }
    const HfixGroup* code = FindHfixGroup(site.afix / 10);
    const bool full = !groups.empty() && code && static_cast<int>(groups.back().hydrogens.size()) >= code->hydrogens;
    if (site.afixGroup != lastGroup || full) {
      HydrogenGroup group;
      group.m = site.afix / 10;
      group.n = site.afix % 10;
      group.carrier = carrier;
      double own = 0.0;
      if (ParseNumber(site.atom->Extras().afixWords, own) > 0 && own > 0.1) group.distance = own;
      groups.push_back(group);
      lastGroup = site.afixGroup;
    }
    groups.back().hydrogens.push_back(static_cast<int>(i));
  }
  for (HydrogenGroup& group : groups) {
    FindSurroundings(structure, bonds, group);
    const HfixGroup* code = group.Geometry();
    const Site& holder = structure.sites[static_cast<size_t>(group.carrier)];
    if (group.m == 0) continue;
    const std::string what = Printf("AFIX %d on %s", 10 * group.m + group.n, holder.label.c_str());
    if (!code) {
      notes.push_back(what + ": this geometry is not known; the hydrogens ride where they are");
      continue;
    }
    const int found = static_cast<int>(group.around.size());
    const bool enough = code->neighbours == 4 ? found >= 4 : found == code->neighbours;
    if (!enough || static_cast<int>(group.hydrogens.size()) != code->hydrogens) {
      notes.push_back(what + Printf(": %d neighbours and %zu hydrogens do not fit; the hydrogens ride where they are",
                                    found, group.hydrogens.size()));
      continue;
    }
    group.idealised = true;
    if (group.distance == 0.0 && !group.Stretches()) {
      const int electrons = structure.scatterers[static_cast<size_t>(holder.scatterer)].electrons;
      group.distance = HydrogenDistance(group.m, electrons, temperature);
    }
  }
  return groups;
}

bool FitsCode(const Structure& structure, const NeighbourTable& bonds, int carrier, int m) {
  const HfixGroup* code = FindHfixGroup(m);
  if (!code) return false;
  HydrogenGroup group;
  group.m = m;
  group.carrier = carrier;
  FindSurroundings(structure, bonds, group);
  const int found = static_cast<int>(group.around.size());
  return code->neighbours == 4 ? found >= 4 : found == code->neighbours;
}

void IdealiseHydrogens(Structure& structure, const HydrogenGroup& group) {
  if (!group.idealised) return;
  const auto found = Directions(structure, group);
  if (!found) return;  // neighbours in one plane with the carrier, say
  std::vector<Cartesian> directions = *found;
  if (group.m == 2 && !SameWay(directions, structure, group)) std::swap(directions[0], directions[1]);
  const Cartesian carrier = CarrierPlace(structure, group);
  double distance = group.distance;
  if (group.Stretches()) {
    distance = 0.0;
    for (const int h : group.hydrogens) {
      distance += Length(structure.metric.ToCartesian(structure.sites[static_cast<size_t>(h)].x) - carrier) /
                  static_cast<double>(group.hydrogens.size());
    }
  }
  for (size_t i = 0; i < group.hydrogens.size(); ++i) {
    structure.sites[static_cast<size_t>(group.hydrogens[i])].x =
        structure.metric.ToFractional(carrier + distance * directions[i]);
  }
}

std::vector<Cartesian> PlaceAtTorsion(const Structure& structure, const HydrogenGroup& group, double torsion) {
  const Cartesian carrier = CarrierPlace(structure, group);
  std::vector<Cartesian> places = DirectionsAtTorsion(structure, group, torsion * kRadiansPerDegree);
  for (Cartesian& p : places) p = carrier + group.distance * p;
  return places;
}

}  // namespace marvik
