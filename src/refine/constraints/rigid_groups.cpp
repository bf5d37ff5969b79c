#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/numbers.h"
#include "refine/constraints/parameters.h"

namespace marvik {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;
constexpr int kLowestFragment = 17;  // codes of FRAG

// Regular polygon of a given edge, in the XY plane, the atoms in order.
std::vector<Cartesian> Polygon(int n, double edge) {
  std::vector<Cartesian> points;
  const double radius = edge / (2.0 * std::sin(kTurn / (2.0 * n)));
  for (int i = 0; i < n; ++i) points.push_back({radius * std::cos(kTurn * i / n), radius * std::sin(kTurn * i / n), 0});
  return points;
}

// Usual edge lengths in Å: 1.42 for a cyclopentadienyl ring, 1.39 for benzene and naphthalene; ring to methyl 1.51 Å.
std::vector<Cartesian> IdealShape(int m, const std::vector<Fragment>& fragments) {
  for (const Fragment& f : fragments) {
    if (f.code == m) return f.points;
  }
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

Cartesian Centroid(const std::vector<Cartesian>& points) {
  Cartesian sum;
  for (const Cartesian& p : points) sum += p / static_cast<double>(points.size());
  return sum;
}

// Factor that brings a turned shape to the size of the places, both about their centroids.
double FittedSize(const std::vector<Cartesian>& shape, const std::vector<Cartesian>& places, const Eigen::Matrix3d& r) {
  double dot = 0.0;
  double square = 0.0;
  for (size_t i = 0; i < shape.size(); ++i) {
    dot += Dot(places[i], Turned(r, shape[i]));
    square += Dot(shape[i], shape[i]);
  }
  return square > 0.0 ? dot / square : 1.0;
}

// Whether the points span a plane, so that a turn is determined by them.
bool SpanAPlane(const std::vector<Cartesian>& points) {
  for (const Cartesian& a : points) {
    for (const Cartesian& b : points) {
      if (Length(Cross(a - points[0], b - points[0])) > 0.1) return true;
    }
  }
  return false;
}

// Fits the ideal shape to the atoms of the group that have a place, by their centroids, and puts all of them where it
// says. What is wrong, or empty.
std::string Idealise(Structure& structure, const RigidGroup& group, std::vector<Cartesian> ideal) {
  std::vector<Cartesian> shape;
  std::vector<int> placed;
  for (size_t i = 0; i < ideal.size(); ++i) {
    const Site& site = structure.sites[static_cast<size_t>(group.members[i])];
    bool somewhere = false;
    for (int k = 0; k < 3; ++k) somewhere = somewhere || site.x[k] != 0.0 || site.code[static_cast<size_t>(k)] != 0.0;
    if (!somewhere) continue;
    placed.push_back(group.members[i]);
    shape.push_back(ideal[i]);
  }
  std::vector<Cartesian> places = PlacesOf(structure, placed);
  if (placed.size() < 3 || !SpanAPlane(shape) || !SpanAPlane(places))
    return "fewer than three atoms, or a line of them, have a place";
  const Cartesian from = Centroid(shape);
  const Cartesian to = Centroid(places);
  MakeRelative(shape, from);
  MakeRelative(places, to);
  MakeRelative(ideal, from);
  const Eigen::Matrix3d r = BestRotation(shape, places);
  // A refined size must come back to what it was when the result is read again.
  const double size = group.n == 9 ? std::clamp(FittedSize(shape, places, r), 0.5, 2.0) : 1.0;
  for (size_t i = 0; i < ideal.size(); ++i) {
    structure.sites[static_cast<size_t>(group.members[i])].x =
        structure.metric.ToFractional(to + size * Turned(r, ideal[i]));
  }
  return {};
}

// The members of every group, in file order.
std::vector<RigidGroup> GroupsOf(const Structure& structure, const std::vector<Fragment>& fragments) {
  std::vector<RigidGroup> groups;
  int lastGroup = -1;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    const int n = site.afix % 10;
    const int m = site.afix / 10;
    const bool opens = n == 6 || n == 9 || (n == 0 && m >= kLowestFragment);
    const size_t complete = groups.empty() ? 0 : IdealShape(groups.back().m, fragments).size();
    const bool full = complete > 0 && groups.back().members.size() >= complete;
    if (site.afix == 0) {
      lastGroup = -1;
    } else if (opens && (site.afixGroup != lastGroup || full)) {
      groups.push_back({m, n, {static_cast<int>(i)}, {}});
      lastGroup = site.afixGroup;
    } else if ((opens || n == 5) && !groups.empty() && !full) {
      groups.back().members.push_back(static_cast<int>(i));
    }
  }
  return groups;
}

}  // namespace

std::vector<RigidGroup> FindRigidGroups(Structure& structure, const std::vector<Fragment>& fragments,
                                        std::vector<std::string>& notes) {
  std::vector<RigidGroup> groups = GroupsOf(structure, fragments);
  for (RigidGroup& group : groups) {
    const std::vector<Cartesian> ideal = IdealShape(group.m, fragments);
    std::string problem;
    if (group.m != 0 && ideal.empty()) {
      problem = group.m >= kLowestFragment ? Printf("there is no FRAG %d", group.m) : "this shape is not known";
    } else if (!ideal.empty() && group.members.size() != ideal.size()) {
      problem = Printf("the shape has %zu atoms and the group %zu", ideal.size(), group.members.size());
    } else if (!ideal.empty()) {
      problem = Idealise(structure, group, ideal);
    }
    if (!problem.empty()) {
      const std::string& name = structure.sites[static_cast<size_t>(group.members[0])].label;
      notes.push_back(Printf("AFIX %d at %s: %s; ", 10 * group.m + group.n, name.c_str(), problem.c_str()) +
                      (group.n == 0 ? "nothing is fitted" : "the group is rigid as it is"));
    }
    group.shape = PlacesOf(structure, group.members);
    MakeRelative(group.shape, Cartesian(group.shape[0]));
  }
  std::erase_if(groups, [](const RigidGroup& g) { return g.n == 0; });
  return groups;
}

void RestoreShape(Structure& structure, const RigidGroup& group) {
  std::vector<Cartesian> places = PlacesOf(structure, group.members);
  const Cartesian origin = places[0];
  MakeRelative(places, origin);
  const Eigen::Matrix3d r = BestRotation(group.shape, places);
  const double scale = group.n == 9 ? FittedSize(group.shape, places, r) : 1.0;
  for (size_t i = 1; i < group.members.size(); ++i) {
    structure.sites[static_cast<size_t>(group.members[i])].x =
        structure.metric.ToFractional(origin + scale * Turned(r, group.shape[i]));
  }
}

}  // namespace marvik
