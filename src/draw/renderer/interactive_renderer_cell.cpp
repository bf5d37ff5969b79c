#include <array>
#include <cmath>

#include "draw/renderer/cell_box.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// In the scene an edge is cut into so many pieces, each in its own place in the depth order.
constexpr int kPiecesPerEdge = 24;

uint8_t ColourOf(const CellEdge& edge) {
  return static_cast<uint8_t>(kCellA + static_cast<uint8_t>(edge.axis));
}

ViewPoint Along(const ViewPoint& a, const ViewPoint& b, double t) {
  return a + (b - a) * t;
}

}  // namespace

// All corners in view coordinates; false when one is out of reach.
bool RenderFrame::CellCorners(std::array<ViewPoint, 8>& corners) const {
  for (size_t i = 0; i < corners.size(); ++i) {
    corners[i] = view_->TransformPoint(document_->matrix * kCellCorners[i].at - view_->viewCentre).p;
    if (!IsFinite(corners[i]) || Length(corners[i]) > 1e6) return false;
  }
  return true;
}

void RenderFrame::SetUpCellBox() {
  std::array<ViewPoint, 8> corners;
  if (!CellCorners(corners)) return;
  for (const CellEdge& edge : kCellEdges) {
    const CanvasPoint a = DevicePoint(corners[edge.from]);
    const CanvasPoint b = DevicePoint(corners[edge.to]);
    const auto at = [&](double t) { return CanvasPoint{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; };
    for (int i = 0; i < kPiecesPerEdge; ++i) {
      const double t0 = static_cast<double>(i) / kPiecesPerEdge;
      const double t1 = (i + 1.0) / kPiecesPerEdge;
      const double z = Along(corners[edge.from], corners[edge.to], (t0 + t1) / 2.0).z;
      const auto colour = InSlab(z) ? ColourOf(edge) : static_cast<uint8_t>(ColourOf(edge) + kDimIndex);
      cellPieces_.push_back({at(t0), at(t1), static_cast<float>(z), colour});
    }
  }
}

// Edges without regard to the model, those parts outside the depth slab at 60 % brightness.
void RenderFrame::DrawCellBox(double near, double far) {
  std::array<ViewPoint, 8> corners;
  if (!CellCorners(corners)) return;
  for (const CellEdge& edge : kCellEdges) {
    const ViewPoint& p = corners[edge.from];
    const ViewPoint& q = corners[edge.to];
    const CanvasPoint a = DevicePoint(p);
    const CanvasPoint b = DevicePoint(q);
    const auto at = [&](double t) { return CanvasPoint{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; };
    std::array<double, 4> cuts{0.0, 1.0, 1.0, 1.0};
    if (p.z != q.z) {
      double t0 = std::clamp((near - p.z) / (q.z - p.z), 0.0, 1.0);
      double t1 = std::clamp((far - p.z) / (q.z - p.z), 0.0, 1.0);
      if (t0 > t1) std::swap(t0, t1);
      cuts = {0.0, t0, t1, 1.0};
    }
    for (size_t i = 0; i + 1 < cuts.size(); ++i) {
      if (!(cuts[i] < cuts[i + 1])) continue;
      const double z = Along(p, q, (cuts[i] + cuts[i + 1]) / 2.0).z;
      const bool inside = z >= near && z <= far;
      const Rgb colour = palette_[inside ? ColourOf(edge) : ColourOf(edge) + kDimIndex];
      canvas_->Line(at(cuts[i]), at(cuts[i + 1]), ThinPen(colour));
    }
  }
}

// Each letter stands outside the box, away from its middle.
void RenderFrame::SetUpCellLetters() {
  std::array<ViewPoint, 8> corners;
  if (!CellCorners(corners)) return;
  const CanvasPoint middle = DevicePoint(Along(corners[0], corners[7], 0.5));
  for (size_t i = 0; i < corners.size(); ++i) {
    if (kCellCorners[i].letter == ' ') continue;
    const std::string_view text(&kCellCorners[i].letter, 1);
    const CanvasPoint at = DevicePoint(corners[i]);
    const CanvasPoint size = canvas_->TextSize(text);
    // An axis toward the viewer has its end on the origin.
    const CanvasPoint fromOrigin{at.x - DevicePoint(corners[7]).x, at.y - DevicePoint(corners[7]).y};
    if (!Classic() && i < 7 && std::hypot(fromOrigin.x, fromOrigin.y) < size.y) continue;
    CanvasPoint corner = LabelCorner(at, 2.0 * map_.unit, size, at.x - middle.x, at.y - middle.y);
    for (const CellLetter& other : cellLetters_) {
      const CanvasPoint by{corner.x - other.box.corner.x, corner.y - other.box.corner.y};
      if (!Classic() && std::abs(by.x) < size.x && std::abs(by.y) < size.y) corner.x += size.x - by.x + map_.unit;
    }
    cellLetters_.push_back({{corner, size}, kCellCorners[i].letter, at, {at.x - middle.x, at.y - middle.y}});
  }
}

// As the labels' places were found.
void RenderFrame::PlaceCellLetters(std::span<const LabelPlace> places) {
  for (size_t i = 0; i < cellLetters_.size(); ++i) {
    cellLetters_[i].box.corner = places[i].corner;
    cellLetters_[i].shown = places[i].shown;
    cellLetters_[i].rim = !Classic() && !places[i].clear;
  }
}

void RenderFrame::DrawCellLetters() {
  TextLook look(Paper() ? kBlack : kWhite);
  look.rimColour = Background();
  for (const CellLetter& letter : cellLetters_) {
    look.rim = letter.rim ? map_.unit : 0.0;
    if (letter.shown) canvas_->Text(letter.box.corner, TextAnchor::BottomLeft, {&letter.letter, 1}, look);
  }
}

}  // namespace marvik
