#include "phase/groups/oriented_groups.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace marvik::phase {
namespace {

// Mean geometry of ordered groups, Å and degrees.
constexpr double kCarbonFluorine = 1.335;
constexpr double kCarbonCarbon = 1.545;
constexpr double kOutwards = 111.5;  // X-C-F
constexpr double kSpread = 109.5;    // X-C-C
constexpr size_t kClimbs = 6;        // from the best starts
constexpr int kDirections = 48;      // of an axis that is free to all sides

constexpr std::array<Cartesian, 4> kTetrahedron{{{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}}};
constexpr std::array<Cartesian, 6> kOctahedron{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}}};

// Three places around the end of a bond: `zero` is at right angles to the axis.
void AddTripod(const Cartesian& centre, const Cartesian& axis, const Cartesian& zero, double turn, double length,
               double angle, std::vector<Cartesian>& places) {
  const Cartesian other = Cross(axis, zero);
  const double along = -length * std::cos(angle * kRadiansPerDegree);
  const double aside = length * std::sin(angle * kRadiansPerDegree);
  for (int k = 0; k < 3; ++k) {
    const double t = (turn + 120.0 * k) * kRadiansPerDegree;
    places.push_back(centre + along * axis + aside * (std::cos(t) * zero + std::sin(t) * other));
  }
}

void AddBranches(const Pose& pose, std::vector<Cartesian>& places) {
  const auto& [x, y, z] = pose.frame;
  std::vector<Cartesian> inner;
  AddTripod(pose.centre, z, x, 0.0, kCarbonCarbon, kSpread, inner);
  for (size_t k = 0; k < 3; ++k) {
    const Cartesian axis = Normalised(inner[k] - pose.centre);
    const Cartesian zero = Normalised(Dot(z, axis) * axis - z);
    AddTripod(inner[k], axis, zero, 60.0 + pose.twist[k], kCarbonFluorine, kOutwards, places);
  }
  places.insert(places.end(), inner.begin(), inner.end());
}

Cartesian Turned(const Cartesian& v, const Cartesian& axis, double degrees) {
  const double c = std::cos(degrees * kRadiansPerDegree), s = std::sin(degrees * kRadiansPerDegree);
  return c * v + s * Cross(axis, v) + (1.0 - c) * Dot(axis, v) * axis;
}

void Turn(Pose& pose, const Cartesian& axis, double degrees) {
  for (Cartesian& direction : pose.frame) direction = Turned(direction, axis, degrees);
}

Cartesian AtRightAnglesTo(const Cartesian& z) {
  const Cartesian any = std::fabs(z.x) < 0.7 ? Cartesian{1, 0, 0} : Cartesian{0, 1, 0};
  return Normalised(any - Dot(any, z) * z);
}

// Every atom must have density: a sum of roots is not bought by one high peak.
double Score(const DensityMap& map, const Metric& metric, const GroupShape& group, const Pose& pose) {
  double sum = 0.0;
  for (const Cartesian& place : PlacesOf(group, pose))
    sum += std::sqrt(std::max(0.0, map.Interpolate(metric.ToFractional(place))));
  return sum;
}

Pose Moved(Pose pose, const GroupShape& group, size_t parameter, double step) {
  if (parameter < 3) {
    Turn(pose, pose.frame[parameter], 12.0 * step);
  } else if (parameter < 6) {
    pose.centre += 0.12 * step * pose.frame[parameter - 3];
  } else {
    pose.twist[parameter - 6] += (group.shape == Shape::BranchedTripod ? 12.0 : 20.0) * step;
  }
  return pose;
}

// Climbs to the nearest maximum.
double Improve(const DensityMap& map, const Metric& metric, const GroupShape& group, Pose& pose) {
  double best = Score(map, metric, group, pose);
  for (double step = 1.0; step > 0.2; step *= 0.5) {
    for (int round = 0; round < 8; ++round) {
      bool better = false;
      for (size_t p = 0; p < (group.shape == Shape::BranchedTripod ? 9u : 6u); ++p) {
        for (const double way : {step, -step}) {
          const Pose trial = Moved(pose, group, p, way);
          const double score = Score(map, metric, group, trial);
          if (score > best) best = score, pose = trial, better = true;
        }
      }
      if (!better) break;
    }
  }
  return best;
}

std::vector<Pose> TurnsAboutBond(bool branched, const Cartesian& anchor, const Cartesian& centre) {
  const Cartesian z = Normalised(centre - anchor), x = AtRightAnglesTo(z);
  std::vector<Pose> poses;
  for (const double tilt : {0.0, 12.0}) {
    for (double way = 0.0; way < (tilt > 0.0 ? 360.0 : 1.0); way += 90.0) {
      for (double turn = 0.0; turn < 120.0; turn += branched ? 6.0 : 10.0) {
        for (const double twist : {0.0, -18.0, 18.0}) {
          if (!branched && twist != 0.0) continue;
          poses.push_back({centre, {Turned(x, z, turn), Turned(Cross(z, x), z, turn), z}, {twist, twist, twist}});
          Turn(poses.back(), Turned(x, z, way), tilt);
        }
      }
    }
  }
  return poses;
}

// Axes spread evenly over the sphere along a spiral, each with turns of 12° about it as far as the symmetry asks.
std::vector<Pose> TurnsToAllSides(Shape shape, const Cartesian& centre) {
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  const double most = shape == Shape::Ring ? 60.0 : shape == Shape::Octahedron ? 90.0 : 180.0;
  std::vector<Pose> poses;
  for (int i = 0; i < kDirections; ++i) {
    const double height = shape == Shape::Ring ? (i + 0.5) / kDirections : 1.0 - (2.0 * i + 1.0) / kDirections;
    const double aside = std::sqrt(1.0 - height * height);
    const Cartesian z{aside * std::cos(golden * i), aside * std::sin(golden * i), height}, x = AtRightAnglesTo(z);
    for (double turn = 0.0; turn < most; turn += 12.0)
      poses.push_back({centre, {Turned(x, z, turn), Turned(Cross(z, x), z, turn), z}, {}});
  }
  return poses;
}

}  // namespace

size_t GroupShape::Ends() const {
  switch (shape) {
    case Shape::Tripod:
      return 3;
    case Shape::BranchedTripod:
      return 9;
    case Shape::Tetrahedron:
      return 4;
    default:
      return 6;
  }
}

std::vector<Cartesian> PlacesOf(const GroupShape& group, const Pose& pose) {
  std::vector<Cartesian> places;
  const auto& [x, y, z] = pose.frame;
  const auto add = [&places, &pose](const Cartesian& d, double scale) {
    places.push_back(pose.centre + scale * (d.x * pose.frame[0] + d.y * pose.frame[1] + d.z * pose.frame[2]));
  };
  switch (group.shape) {
    case Shape::Tripod:
      AddTripod(pose.centre, z, x, pose.twist[0], kCarbonFluorine, kOutwards, places);
      break;
    case Shape::BranchedTripod:
      AddBranches(pose, places);
      break;
    case Shape::Tetrahedron:
      for (const Cartesian& d : kTetrahedron) add(d, group.length / std::numbers::sqrt3);
      break;
    case Shape::Octahedron:
      for (const Cartesian& d : kOctahedron) add(d, group.length);
      break;
    case Shape::Ring:
      for (int k = 0; k < 6; ++k)
        add({std::cos(k * std::numbers::pi / 3.0), std::sin(k * std::numbers::pi / 3.0), 0.0}, group.length);
      break;
  }
  return places;
}

std::pair<double, Pose> BestPose(const DensityMap& map, const Metric& metric, const GroupShape& group,
                                 const Cartesian& anchor, const Cartesian& centre) {
  const bool branched = group.shape == Shape::BranchedTripod;
  std::vector<std::pair<double, Pose>> starts;
  for (const Pose& pose : branched || group.shape == Shape::Tripod ? TurnsAboutBond(branched, anchor, centre)
                                                                   : TurnsToAllSides(group.shape, centre))
    starts.emplace_back(Score(map, metric, group, pose), pose);
  const auto higher = [](const auto& a, const auto& b) { return a.first > b.first; };
  std::partial_sort(starts.begin(), starts.begin() + kClimbs, starts.end(), higher);
  starts.resize(kClimbs);
  for (auto& [score, pose] : starts) score = Improve(map, metric, group, pose);
  return *std::min_element(starts.begin(), starts.end(), higher);
}

double Apart(const GroupShape& group, const Pose& a, const Pose& b) {
  const auto first = PlacesOf(group, a), second = PlacesOf(group, b);
  double sum = 0.0;
  for (size_t i = 0; i < group.Ends(); ++i) {
    double least = 1e9;
    for (size_t j = 0; j < group.Ends(); ++j) least = std::min(least, Length(first[i] - second[j]));
    sum += least;
  }
  return sum / static_cast<double>(group.Ends());
}

}  // namespace marvik::phase
