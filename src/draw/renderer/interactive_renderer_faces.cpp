#include <algorithm>

#include "draw/renderer/figure_faces.h"
#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

constexpr double kFarthest = 1e6;  // halves of the drawing area

}  // namespace

// Polyhedra and planes, and the centroids of these.
void RenderFrame::SetUpFaces() {
  facets_.clear();
  centroids_.clear();
  const auto place = [this](const Cartesian& at, ViewPoint& point) {
    point = view_->TransformPoint(at - view_->viewCentre).p;
    return IsFinite(point) && Length(point) < kFarthest && !view_->CutsAway(point);
  };
  ViewPoint point;
  for (const FigureFace& face : FacesOf(*document_, options_->figure.polyhedra, options_->marks.get())) {
    if (face.centre && face.centre->scratch < 0) continue;
    Facet facet;
    facet.fill = face.centre ? ElementRgb(atoms_[FrameIndex(face.centre)]) : MeasureInk();
    facet.opacity = face.Opacity();
    facet.ofPlane = !face.centre;
    for (const Cartesian& corner : face.corners) {
      if (!place(corner, point)) continue;
      facet.corners.push_back(DevicePoint(point));
      facet.z += static_cast<float>(point.z / static_cast<double>(face.corners.size()));
    }
    if (facet.corners.size() == face.corners.size()) facets_.push_back(std::move(facet));
  }
  if (!options_->marks) return;
  for (const Cartesian& centroid : options_->marks->centroids) {
    if (place(centroid, point)) centroids_.push_back(point);
  }
}

void RenderFrame::DrawFacet(const Facet& facet) {
  const Rgb edge = options_->blackWhite ? kBlack : MixColours(facet.fill, Paper() ? kBlack : kWhite, 0.45);
  if (Grouped()) canvas_->BeginGroup(facet.ofPlane ? "plane" : "polyhedron");
  canvas_->Facet(facet.corners, facet.fill, options_->blackWhite ? 0.0 : facet.opacity,
                 {edge, map_.unit, LineStyle::Solid});
  if (Grouped()) canvas_->EndGroup();
}

double RenderFrame::CentroidRadius() const {
  const double angstrom = view_->halfExtent > 0.0 ? map_.scale / view_->halfExtent : 0.0;
  return std::clamp(kCentroidBall * angstrom, 2.0 * map_.unit, 1000.0);
}

void RenderFrame::DrawCentroid(const ViewPoint& centroid) {
  const double radius = CentroidRadius();
  if (Grouped()) canvas_->BeginGroup("centroid");
  canvas_->FillEllipse({NetPoint(centroid), {radius, 0.0}, {0.0, radius}}, MeasureInk(), ThinPen(Background()));
  if (Grouped()) canvas_->EndGroup();
}

}  // namespace marvik
