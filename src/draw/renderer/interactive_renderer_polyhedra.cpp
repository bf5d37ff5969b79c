#include <algorithm>
#include <cmath>

#include "chem/hydrogen_geometry.h"
#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

constexpr double kOpacity = 0.45;
constexpr size_t kFewestCorners = 4;
constexpr size_t kMostCorners = 24;
constexpr double kFlat = 0.02;  // of the polyhedron's size: corners so near to a plane are of one face

}  // namespace

// About each atom of the elements chosen, of what it is bonded to but metals and hydrogens.
void RenderFrame::SetUpPolyhedra() {
  facets_.clear();
  const std::vector<uint8_t>& rows = options_->figure.polyhedra;
  if (rows.empty()) return;
  std::vector<std::vector<uint32_t>> neighbours(atoms_.size());
  for (const FrameBond& bond : bonds_) {
    for (const auto& [from, to] : {std::pair{bond.a, bond.b}, std::pair{bond.b, bond.a}}) {
      const int row = atoms_[to].row;
      if (!atoms_[to].unknown && !IsHydrogenRow(row) && !IsMetal(row)) neighbours[from].push_back(to);
    }
  }
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    const bool chosen = !atoms_[i].unknown && std::ranges::find(rows, atoms_[i].row) != rows.end();
    if (chosen && neighbours[i].size() >= kFewestCorners && neighbours[i].size() <= kMostCorners)
      AddPolyhedron(i, neighbours[i]);
  }
}

// The convex hull: a plane through three corners that has all others on one side is a face, with those that lie in it.
void RenderFrame::AddPolyhedron(uint32_t centre, const std::vector<uint32_t>& corners) {
  std::vector<ViewPoint> points;
  double size = 0.0;
  for (const uint32_t corner : corners) {
    const FrameAtom& atom = atoms_[corner];
    points.push_back({atom.viewX, atom.viewY, atom.z});
    size = std::max(size, Length(points.back() - points.front()));
  }
  const size_t count = points.size();
  for (size_t i = 0; i < count; ++i) {
    for (size_t j = i + 1; j < count; ++j) {
      for (size_t k = j + 1; k < count; ++k) {
        const ViewPoint across = Cross(points[j] - points[i], points[k] - points[i]);
        const double length = Length(across);
        if (!(length > 1e-4 * size * size)) continue;
        const ViewPoint normal = across * (1.0 / length);
        std::vector<size_t> face;
        bool above = false, below = false;
        for (size_t n = 0; n < count; ++n) {
          const double off = Dot(points[n] - points[i], normal);
          const bool own = n == i || n == j || n == k;
          if (own || std::abs(off) < kFlat * size) {
            face.push_back(n);
          } else {
            (off > 0.0 ? above : below) = true;
          }
        }
        // A face of more than three corners comes up for each three of them.
        if ((above && below) || face[0] != i || face[1] != j || face[2] != k) continue;
        ViewPoint middle{};
        for (const size_t n : face) middle = middle + points[n] * (1.0 / static_cast<double>(face.size()));
        const ViewPoint first = points[face[0]] - middle;
        const ViewPoint second = Cross(normal, first);
        std::ranges::sort(face, {}, [&](size_t n) {
          return std::atan2(Dot(points[n] - middle, second), Dot(points[n] - middle, first));
        });
        Facet facet{{}, static_cast<float>(middle.z), centre};
        for (const size_t n : face) facet.corners.push_back(Centre(atoms_[corners[n]]));
        facets_.push_back(std::move(facet));
      }
    }
  }
}

void RenderFrame::DrawFacet(const Facet& facet) {
  const FrameAtom& atom = atoms_[facet.centre];
  const Rgb fill = ElementRgb(atom);
  const Rgb edge = options_->blackWhite ? kBlack : MixColours(fill, Paper() ? kBlack : kWhite, 0.45);
  if (Grouped()) canvas_->BeginGroup("polyhedron");
  canvas_->Facet(facet.corners, fill, options_->blackWhite ? 0.0 : kOpacity, {edge, map_.unit, LineStyle::Solid});
  if (Grouped()) canvas_->EndGroup();
}

}  // namespace marvik
