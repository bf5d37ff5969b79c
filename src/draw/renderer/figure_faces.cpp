#include "draw/renderer/figure_faces.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/mat3.h"
#include "chem/hydrogens/hydrogen_geometry.h"
#include "model/element_table.h"

namespace marvik {
namespace {

constexpr size_t kFewestCorners = 4;
constexpr size_t kMostCorners = 24;
constexpr double kFlat = 0.02;  // of the polyhedron's size: corners so near to a plane are of one face

int RowOf(const AtomRecord& atom) {
  return atom.element ? std::clamp(atom.element->atomicNumber, 0, kUnknownRow) : kUnknownRow;
}

bool IsCentre(const AtomRecord& atom, std::span<const uint8_t> elements) {
  const int row = RowOf(atom);
  return row != kUnknownRow && std::ranges::find(elements, row) != elements.end();
}

bool IsShown(const Document& document, const AtomRecord& atom) {
  return document.atoms.Passes(&atom, kVisibleOnly) && IsFinite(atom.position);
}

// Sorts corners by their angle about the middle of them, seen along the normal.
void SortRound(std::vector<Cartesian>& corners, const Cartesian& normal) {
  Cartesian middle;
  for (const Cartesian& corner : corners) middle += corner / static_cast<double>(corners.size());
  const Cartesian first = corners.front() - middle;
  const Cartesian second = Cross(normal, first);
  std::ranges::sort(corners, {}, [&](const Cartesian& corner) {
    return std::atan2(Dot(corner - middle, second), Dot(corner - middle, first));
  });
}

// The convex hull: a plane through three corners that has all others on one side is a face, with those that lie in it.
void AddPolyhedron(const AtomRecord* centre, const std::vector<Cartesian>& points, std::vector<FigureFace>& faces) {
  double size = 0.0;
  for (const Cartesian& point : points) size = std::max(size, Length(point - points.front()));
  const size_t count = points.size();
  const auto add = [&](size_t i, size_t j, size_t k) {
    const Cartesian across = Cross(points[j] - points[i], points[k] - points[i]);
    if (!(Length(across) > 1e-4 * size * size)) return;
    const Cartesian normal = Normalised(across);
    std::vector<size_t> own;
    bool above = false, below = false;
    for (size_t n = 0; n < count; ++n) {
      const double off = Dot(points[n] - points[i], normal);
      if (n == i || n == j || n == k || std::abs(off) < kFlat * size) {
        own.push_back(n);
      } else {
        (off > 0.0 ? above : below) = true;
      }
    }
    // A face of more than three corners comes up for each three of them.
    if ((above && below) || own[0] != i || own[1] != j || own[2] != k) return;
    FigureFace face{{}, centre};
    for (const size_t n : own) face.corners.push_back(points[n]);
    SortRound(face.corners, normal);
    faces.push_back(std::move(face));
  };
  for (size_t i = 0; i < count; ++i)
    for (size_t j = i + 1; j < count; ++j)
      for (size_t k = j + 1; k < count; ++k) add(i, j, k);
}

void AddPolyhedra(const Document& document, std::span<const uint8_t> elements, std::vector<FigureFace>& faces) {
  std::vector<const AtomRecord*> centres;
  std::unordered_map<const AtomRecord*, std::vector<Cartesian>> corners;
  const auto isCentre = [&](const AtomRecord& atom) { return IsCentre(atom, elements); };
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (!IsFinite(atom->position)) continue;
    if (isCentre(*atom)) centres.push_back(atom);
    for (const BondRecord* bond = atom->bonds; bond; bond = bond->next) {
      if (!IsShown(document, *bond->partner)) continue;
      for (const auto& [from, to] : {std::pair{atom, static_cast<const AtomRecord*>(bond->partner)},
                                     std::pair{static_cast<const AtomRecord*>(bond->partner), atom}}) {
        const int row = RowOf(*to);
        if (isCentre(*from) && row != kUnknownRow && !IsHydrogenRow(row) && !IsMetal(row))
          corners[from].push_back(to->position);
      }
    }
  }
  for (const AtomRecord* centre : centres) {
    const std::vector<Cartesian>& own = corners[centre];
    if (own.size() >= kFewestCorners && own.size() <= kMostCorners) AddPolyhedron(centre, own, faces);
  }
}

}  // namespace

std::vector<FigureFace> FacesOf(const Document& document, std::span<const uint8_t> elements, const FigureMarks* marks) {
  std::vector<FigureFace> faces;
  if (!elements.empty()) AddPolyhedra(document, elements, faces);
  if (!marks) return faces;
  for (const std::vector<Cartesian>& plane : marks->planes) faces.push_back({plane, nullptr});
  return faces;
}

bool IsNoEdge(const BondRecord& bond, std::span<const uint8_t> elements) {
  if (elements.empty()) return false;
  const AtomRecord *a = bond.owner, *b = bond.partner;
  const bool metalA = IsMetal(RowOf(*a)), metalB = IsMetal(RowOf(*b));
  return (metalA && (metalB || IsCentre(*b, elements))) || (metalB && IsCentre(*a, elements));
}

std::vector<Cartesian> PlaneOutline(std::span<const Cartesian> places) {
  if (places.size() < 3) return {};
  Cartesian centre;
  for (const Cartesian& place : places) centre += place / static_cast<double>(places.size());
  Mat3 sums;
  for (const Cartesian& place : places) {
    const Cartesian d = place - centre;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) sums[i][static_cast<size_t>(j)] += d[i] * d[j];
  }
  const Eigen3 axes = SymmetricEigen(sums);
  if (!(axes.values[1] > 1e-4)) return {};
  const auto u = axes.Vector<CartesianSpace>(2), v = axes.Vector<CartesianSpace>(1);
  struct Point {
    double x, y;
  };
  std::vector<Point> points;
  for (const Cartesian& place : places) points.push_back({Dot(place - centre, u), Dot(place - centre, v)});
  std::ranges::sort(points, [](const Point& a, const Point& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  // Along the lower side, then back along the upper one (A. M. Andrew, Inf. Process. Lett. 9, 1979, 216).
  std::vector<Point> hull;
  const auto turnsLeft = [](const Point& a, const Point& b, const Point& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x) > 1e-9;
  };
  const auto walk = [&](const Point& point, size_t kept) {
    while (hull.size() > kept + 1 && !turnsLeft(hull[hull.size() - 2], hull.back(), point)) hull.pop_back();
    hull.push_back(point);
  };
  for (const Point& point : points) walk(point, 0);
  const size_t lower = hull.size() - 1;
  for (auto point = points.rbegin() + 1; point != points.rend(); ++point) walk(*point, lower);
  hull.pop_back();
  std::vector<Cartesian> outline;
  for (const Point& point : hull) outline.push_back(centre + u * point.x + v * point.y);
  return outline.size() < 3 ? std::vector<Cartesian>() : outline;
}

}  // namespace marvik
