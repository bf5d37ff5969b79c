#include <algorithm>
#include <cmath>

#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

constexpr double kArc = 0.45;  // of the shorter leg of an angle
constexpr int kArcPieces = 12;
constexpr double kMeasurePen = 1.2;  // thin lines
constexpr double kStrainPen = 4.0;
constexpr double kStrainRing = 2.0;
constexpr double kStrainGap = 3.0;

// Of M. Okabe and K. Ito ("Color Universal Design", 2008).
Rgb ColourOfStrain(double strain) {
  if (strain < 1.0) return {0, 114, 178};
  if (strain < 2.0) return {0, 158, 115};
  if (strain < 3.0) return {230, 159, 0};
  return {213, 0, 40};
}

CanvasPoint Middle(CanvasPoint a, CanvasPoint b) {
  return {(a.x + b.x) / 2.0, (a.y + b.y) / 2.0};
}

}  // namespace

RenderFrame::FrameEnd RenderFrame::EndAt(uint32_t index) const {
  return {index, {atoms_[index].viewX, atoms_[index].viewY, atoms_[index].z}};
}

// False where it is out of reach.
bool RenderFrame::EndOf(const FigureMarks::Place& place, FrameEnd& end) const {
  if (place.atom && place.atom->scratch < 0) return false;
  end = place.atom ? EndAt(FrameIndex(place.atom))
                   : FrameEnd{kNoAtom, view_->TransformPoint(place.at - view_->viewCentre).p};
  return IsFinite(end.at) && Length(end.at) < 1e6 && !view_->CutsAway(end.at);
}

CanvasPoint RenderFrame::PointOf(const FrameEnd& end) const {
  return end.atom == kNoAtom ? NetPoint(end.at) : Centre(atoms_[end.atom]);
}

// Where the text of each belongs, and the arc of an angle; the lines of distances are contacts.
void RenderFrame::SetUpMeasures() {
  measures_.clear();
  if (!options_->marks) return;
  for (const FigureMarks::Measure& given : options_->marks->measures) {
    FrameMeasure measure{{}, &given.text, {}, {}, {}};
    FrameEnd end;
    for (const FigureMarks::Place& place : given.places)
      if (EndOf(place, end)) measure.ends.push_back(end);
    const size_t count = measure.ends.size();
    if (count != given.places.size() || count < 2 || count > 4) continue;
    const CanvasPoint first = PointOf(measure.ends[count / 2 - 1]);
    const CanvasPoint second = PointOf(measure.ends[count / 2]);
    measure.at = Middle(first, second);
    measure.towards = {second.y - first.y, first.x - second.x};
    if (measure.towards.y > 0.0) measure.towards = {-measure.towards.x, -measure.towards.y};
    if (count == 3) SetUpArc(measure);
    measures_.push_back(std::move(measure));
  }
}

// Between the legs of an angle, in their plane.
void RenderFrame::SetUpArc(FrameMeasure& measure) const {
  const ViewPoint corner = measure.ends[1].at;
  const ViewPoint a = measure.ends[0].at - corner;
  const ViewPoint b = measure.ends[2].at - corner;
  const double radius = kArc * std::min(Length(a), Length(b));
  if (!(radius > 0.0)) return;
  const ViewPoint u = a / Length(a);
  const ViewPoint across = b - u * Dot(b, u);
  if (!(Length(across) > 1e-9)) return;
  const ViewPoint v = across / Length(across);
  const double angle = std::atan2(Dot(b, v), Dot(b, u));
  const CanvasPoint centre = PointOf(measure.ends[1]);
  for (int i = 0; i <= kArcPieces; ++i) {
    const double t = angle * i / kArcPieces;
    const CanvasPoint by = map_.Vector((u * std::cos(t) + v * std::sin(t)) * radius);
    measure.arc.push_back({centre.x + by.x, centre.y + by.y});
  }
  measure.at = measure.arc[kArcPieces / 2];
  measure.towards = {measure.at.x - centre.x, measure.at.y - centre.y};
}

// Over bodies and under labels: arcs of angles, the way along torsion angles, restraints.
void RenderFrame::DrawMarks() {
  if (!options_->marks) return;
  DrawStrains();
  if (measures_.empty()) return;
  const Pen pen{MeasureInk(), kMeasurePen * map_.unit, LineStyle::Solid};
  canvas_->BeginGroup(kMarkGroup);
  for (const FrameMeasure& measure : measures_) {
    for (size_t i = 1; i < measure.arc.size(); ++i) canvas_->Line(measure.arc[i - 1], measure.arc[i], pen);
    // Between other places than atoms there are lines already.
    const bool ofAtoms = std::ranges::find(measure.ends, kNoAtom, &FrameEnd::atom) == measure.ends.end();
    if (measure.ends.size() != 4 || !ofAtoms) continue;
    for (size_t i = 1; i < 4; ++i) {
      CanvasPoint from, to;
      if (FreeLine(measure.ends[i - 1], measure.ends[i], from, to)) canvas_->Line(from, to, pen);
    }
  }
  canvas_->EndGroup();
}

void RenderFrame::DrawStrains() {
  if (options_->marks->strains.empty()) return;
  canvas_->BeginGroup(kMarkGroup);
  for (const FigureMarks::Strain& mark : options_->marks->strains) {
    if (!std::ranges::all_of(mark.atoms, [](const AtomRecord* atom) { return atom->scratch >= 0; })) continue;
    const Rgb colour = options_->blackWhite ? kBlack : ColourOfStrain(mark.strain);
    CanvasPoint from, to;
    if (mark.atoms.size() == 2) {
      if (FreeLine(FrameIndex(mark.atoms[0]), FrameIndex(mark.atoms[1]), from, to))
        canvas_->Line(from, to, {colour, kStrainPen * map_.unit, LineStyle::Solid});
      continue;
    }
    for (const AtomRecord* atom : mark.atoms)
      DrawRing(FrameIndex(atom), kStrainGap * map_.unit, {colour, kStrainRing * map_.unit, LineStyle::Solid});
  }
  canvas_->EndGroup();
}

Rgb RenderFrame::MeasureInk() const {
  return options_->blackWhite ? kBlack : MeasureColour(Paper());
}

LabelRequest RenderFrame::RequestOf(const FrameMeasure& measure) {
  LabelRequest request;
  request.size = canvas_->TextSize(*measure.text);
  request.body = {measure.at, {map_.unit, 0.0}, {0.0, map_.unit}};
  request.towards = measure.towards;
  request.importance = kElementRows + kPeakShadeCount;
  return request;
}

void RenderFrame::DrawMeasureTexts() {
  if (measures_.empty()) return;
  if (Grouped()) canvas_->BeginGroup("measurements");
  for (const ShownLabel& label : shownLabels_) {
    if (label.atom < atoms_.size()) continue;
    TextLook look(MeasureInk());
    look.rimColour = Background();
    look.rim = map_.unit;
    canvas_->Text(label.corner, TextAnchor::BottomLeft, *measures_[label.atom - atoms_.size()].text, look);
  }
  if (Grouped()) canvas_->EndGroup();
}

}  // namespace marvik
