#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "engine/parameters.h"
#include "util/numbers.h"

namespace marvik::engine {
namespace {

constexpr double kTurn = 6.283185307179586;

// Regular polygon of a given edge, in the XY plane, the atoms in order.
std::vector<Cartesian> Polygon(int n, double edge) {
  std::vector<Cartesian> points;
  const double radius = edge / (2.0 * std::sin(kTurn / (2.0 * n)));
  for (int i = 0; i < n; ++i) points.push_back({radius * std::cos(kTurn * i / n), radius * std::sin(kTurn * i / n), 0});
  return points;
}

// Usual edge lengths in Å: 1.42 for a cyclopentadienyl ring, 1.39 for benzene and naphthalene; ring to methyl 1.51 Å.
std::vector<Cartesian> IdealShape(int m) {
  if (m == 5) return Polygon(5, 1.42);
  if (m == 6 || m == 7) return Polygon(6, 1.39);
  if (m == 10) {
    std::vector<Cartesian> points = Polygon(5, 1.42);
    const double radius = Length(points[0]);
    for (size_t i = 0; i < 5; ++i) points.push_back((radius + 1.063) / radius * points[i]);
    return points;
  }
  if (m == 11) {
    // Two hexagons that share the edge between atoms 5 and 10, numbered around the outside with the fusion atoms in
    // place: 1 2 3 4 5(fused) 6 7 8 9 10(fused).
    const double d = 1.39;
    const double h = d * std::sqrt(3.0) / 2.0;
    return {{h, d, 0},   {2 * h, d / 2, 0},   {2 * h, -d / 2, 0}, {h, -d, 0}, {0, -d / 2, 0},
            {-h, -d, 0}, {-2 * h, -d / 2, 0}, {-2 * h, d / 2, 0}, {-h, d, 0}, {0, d / 2, 0}};
  }
  return {};
}

// The rotation (proper, or also improper for planar shapes where it does not matter) that best turns `from` into `to`,
// both relative to their own reference (Kabsch, Acta Cryst. A32 (1976) 922).
Eigen::Matrix3d BestRotation(const std::vector<Cartesian>& from, const std::vector<Cartesian>& to) {
  Eigen::Matrix3d sum = Eigen::Matrix3d::Zero();
  for (size_t i = 0; i < from.size(); ++i) {
    sum += Eigen::Vector3d(to[i].x, to[i].y, to[i].z) * Eigen::RowVector3d(from[i].x, from[i].y, from[i].z);
  }
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(sum, Eigen::ComputeFullU | Eigen::ComputeFullV);
  Eigen::Matrix3d middle = Eigen::Matrix3d::Identity();
  middle(2, 2) = (svd.matrixU() * svd.matrixV().transpose()).determinant() < 0.0 ? -1.0 : 1.0;
  return svd.matrixU() * middle * svd.matrixV().transpose();
}

Cartesian Turned(const Eigen::Matrix3d& r, const Cartesian& c) {
  const Eigen::Vector3d v = r * Eigen::Vector3d(c.x, c.y, c.z);
  return {v[0], v[1], v[2]};
}

std::vector<Cartesian> PlacesOf(const Structure& structure, const std::vector<int>& members) {
  std::vector<Cartesian> places;
  for (const int site : members)
    places.push_back(structure.metric.ToCartesian(structure.sites[static_cast<size_t>(site)].x));
  return places;
}

void MakeRelative(std::vector<Cartesian>& points, const Cartesian& origin) {
  for (Cartesian& p : points) p -= origin;
}

// Fits the ideal shape to the present atoms by their centroids and takes it over.
void Idealise(Structure& structure, RigidGroup& group, std::vector<Cartesian> ideal) {
  ideal.resize(group.members.size());
  std::vector<Cartesian> places = PlacesOf(structure, group.members);
  Cartesian from;
  Cartesian to;
  for (size_t i = 0; i < ideal.size(); ++i) {
    from += ideal[i] / static_cast<double>(ideal.size());
    to += places[i] / static_cast<double>(ideal.size());
  }
  MakeRelative(ideal, from);
  MakeRelative(places, to);
  const Eigen::Matrix3d r = BestRotation(ideal, places);
  for (size_t i = 0; i < ideal.size(); ++i) {
    structure.sites[static_cast<size_t>(group.members[i])].x = structure.metric.ToFractional(to + Turned(r, ideal[i]));
  }
}

}  // namespace

std::vector<RigidGroup> FindRigidGroups(Structure& structure, std::vector<std::string>& notes) {
  std::vector<RigidGroup> groups;
  int lastGroup = -1;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    const int n = site.afix % 10;
    const int m = site.afix / 10;
    const bool starts = (n == 6 || n == 9) && site.afixGroup != lastGroup;
    const std::vector<Cartesian> ideal = groups.empty() ? std::vector<Cartesian>() : IdealShape(groups.back().m);
    const bool full = !groups.empty() && !ideal.empty() && groups.back().members.size() >= ideal.size();
    if (site.afix == 0) {
      lastGroup = -1;
    } else if (starts || ((n == 6 || n == 9) && full)) {
      groups.push_back({m, n == 9, {static_cast<int>(i)}, {}});
      lastGroup = site.afixGroup;
    } else if ((n == 6 || n == 9 || n == 5) && !groups.empty() && !full) {
      groups.back().members.push_back(static_cast<int>(i));
    }
  }
  for (RigidGroup& group : groups) {
    const std::string name = structure.sites[static_cast<size_t>(group.members[0])].label;
    const std::vector<Cartesian> ideal = IdealShape(group.m);
    if (group.m != 0 && ideal.empty()) {
      notes.push_back(Printf("AFIX %d%d at %s: this shape is not known; the group is rigid as it is", group.m,
                             group.scaled ? 9 : 6, name.c_str()));
    } else if (!ideal.empty() && group.members.size() == ideal.size()) {
      Idealise(structure, group, ideal);
    } else if (!ideal.empty()) {
      notes.push_back(Printf("AFIX %d%d at %s: %zu atoms do not make the shape; the group is rigid as it is", group.m,
                             group.scaled ? 9 : 6, name.c_str(), group.members.size()));
    }
    group.shape = PlacesOf(structure, group.members);
    MakeRelative(group.shape, Cartesian(group.shape[0]));
  }
  return groups;
}

void RestoreShape(Structure& structure, const RigidGroup& group) {
  std::vector<Cartesian> places = PlacesOf(structure, group.members);
  const Cartesian origin = places[0];
  MakeRelative(places, origin);
  const Eigen::Matrix3d r = BestRotation(group.shape, places);
  double scale = 1.0;
  if (group.scaled) {
    double dot = 0.0;
    double square = 0.0;
    for (size_t i = 0; i < places.size(); ++i) {
      dot += Dot(places[i], Turned(r, group.shape[i]));
      square += Dot(group.shape[i], group.shape[i]);
    }
    scale = square > 0.0 ? dot / square : 1.0;
  }
  for (size_t i = 1; i < group.members.size(); ++i) {
    structure.sites[static_cast<size_t>(group.members[i])].x =
        structure.metric.ToFractional(origin + scale * Turned(r, group.shape[i]));
  }
}

}  // namespace marvik::engine
