#include <algorithm>
#include <cmath>

#include "base/words.h"
#include "chem/bonds/crystal_fragments.h"
#include "draw/renderer/bond_sticks.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// Up to so many labels each looks for a place of its own. Of more, nobody could read all: nearer ones then keep their
// places and those behind them are left out.
constexpr size_t kMostReadable = 1500;
constexpr size_t kMostRimmed = 400;  // of those
constexpr double kBodyGap = 2.0;     // between a body and its label, pixels of the screen
// A lone atom's label stands to the upper right; this is how much that counts against the directions of its bonds.
constexpr CanvasPoint kPreferred{0.3, -0.25};
// What labels under way go in each degree that the model turns, and at least in each frame; pixels of the screen.
constexpr double kGlidePerDegree = 8.0;
constexpr double kLeastTurn = 1e-4;    // degrees
constexpr double kLeastLeader = 0.75;  // heights of a text between a body and its label that ask for a line
constexpr double kLeaderInk = 0.55;
constexpr int kCarbonRow = 6;

// Degrees between two rotations, whatever their scales.
double TurnBetween(const Matrix4& a, const Matrix4& b) {
  double product = 0.0;
  double squareA = 0.0;
  double squareB = 0.0;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      product += a[i][j] * b[i][j];
      squareA += a[i][j] * a[i][j];
      squareB += b[i][j] * b[i][j];
    }
  }
  const double trace = 3.0 * product / std::sqrt(squareA * squareB);
  return trace < 3.0 ? std::acos(std::max(trace - 1.0, -2.0) / 2.0) / kRadiansPerDegree : 0.0;
}

}  // namespace

// Each end of a bond remembers where the bond runs on the screen, so that its label can stand on the other side; a bond
// toward the viewer counts little.
void RenderFrame::AddLabelDirections(const FrameAtom& a, const FrameAtom& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double dz = (b.z - a.z) * map_.scale * map_.fixedPoint;
  const double length = std::sqrt(dx * dx + dy * dy + dz * dz);
  if (!(length > 0.0)) return;
  CanvasPoint& atA = labelDirections_[FrameIndex(a.atom)];
  CanvasPoint& atB = labelDirections_[FrameIndex(b.atom)];
  atA = {atA.x - dx / length, atA.y - dy / length};
  atB = {atB.x + dx / length, atB.y + dy / length};
}

bool RenderFrame::WantsLabel(const AtomRecord& atom) const {
  if (atom.flags2 & kLabelOff) return false;
  if (options_->hydrogenLabels || !atom.element) return true;
  if (!Classic() && options_->selection && atom.Has(kSelected)) return true;
  return !atom.IsHydrogen();
}

Rgb RenderFrame::LabelColour(const FrameAtom& atom) const {
  if (options_->blackWhite) return kBlack;
  if (options_->hybridLabelColoration && !atom.unknown) {
    const auto code = static_cast<size_t>(atom.atom->Hybridization());
    return kHybridLabelColours[std::min(code, kHybridLabelColours.size() - 1)];
  }
  return Paper() ? kBlack : kWhite;
}

LabelText RenderFrame::TextOf(const FrameAtom& atom) const {
  const std::string_view name = Trimmed(atom.atom->name, " ");
  if (Classic() && options_->labelForm == LabelForm::Plain) return {std::string(name), {}};
  const std::string_view symbol = Classic() || atom.unknown ? "" : atom.atom->element->Symbol();
  return TypesetLabel(name, symbol, options_->labelForm, atom.mate);
}

// The operations of mates by which they are told apart, in the order of their codes.
void RenderFrame::NumberMates() {
  mateCodes_.clear();
  if (Classic() || options_->figure.bareMates || !options_->labels) return;
  for (const FrameAtom& frame : atoms_)
    if (IsGenerated(*frame.atom) && !frame.atom->IsPeak()) mateCodes_.push_back(frame.atom->symmetryCode);
  std::ranges::sort(mateCodes_);
  mateCodes_.erase(std::unique(mateCodes_.begin(), mateCodes_.end()), mateCodes_.end());
  if (mateCodes_.empty()) return;
  for (FrameAtom& frame : atoms_) {
    if (!IsGenerated(*frame.atom) || frame.atom->IsPeak()) continue;
    const auto at = std::ranges::lower_bound(mateCodes_, frame.atom->symmetryCode) - mateCodes_.begin();
    frame.mate = static_cast<uint16_t>(std::min<ptrdiff_t>(at + 1, 65535));
  }
}

// Of two labels that want one place the atom's that says more keeps it: heavier ones, then what is no carbon, then
// carbon, hydrogens, peaks.
int RenderFrame::ImportanceOf(const FrameAtom& atom) const {
  if (atom.unknown) return atom.colour >= kPeakShades ? atom.colour - kPeakShades : 0;
  if (IsHydrogenRow(atom.row)) return kPeakShadeCount;
  return kPeakShadeCount + (atom.row == kCarbonRow ? 1 : 1 + atom.row);
}

EllipseShape RenderFrame::BodyShape(uint32_t index) const {
  const CanvasPoint centre = Centre(atoms_[index]);
  if (options_->mode == kThermalEllipsoid && ellipsoids_[index].drawable) {
    const OutlineConic outline = OutlineOf(ellipsoids_[index].axes);
    return {centre, map_.Vector(outline.p), map_.Vector(outline.q)};
  }
  const double radius = BodyRadius(index);
  return {centre, {radius, 0.0}, {0.0, radius}};
}

// What is left between the two bodies. False where that is nothing.
bool RenderFrame::FreeLine(const FrameEnd& a, const FrameEnd& b, CanvasPoint& from, CanvasPoint& to) const {
  const CanvasPoint start = PointOf(a);
  const CanvasPoint end = PointOf(b);
  const ViewPoint delta = b.at - a.at;
  const bool bodies = options_->mode >= kBallAndStick && options_->mode <= kThermalEllipsoid;
  const double t0 = bodies && a.atom != kNoAtom ? SurfaceFraction(a.atom, delta) : 0.0;
  const double t1 = bodies && b.atom != kNoAtom ? 1.0 - SurfaceFraction(b.atom, -delta) : 1.0;
  const auto at = [&](double t) {
    return CanvasPoint{start.x + (end.x - start.x) * t, start.y + (end.y - start.y) * t};
  };
  from = at(t0);
  to = at(t1);
  return t0 < t1 && (options_->printing || map_.Shows(from, to, 4.0 * map_.unit));
}

void RenderFrame::AddStick(const BondRecord* bond, uint32_t a, uint32_t b, double halfWidth) {
  LabelStick stick;
  stick.halfWidth = halfWidth;
  if (!FreeLine(a, b, stick.a, stick.b)) return;
  labelSticks_.push_back(stick);
  labelStickBonds_.push_back(bond);
}

// Of all its sticks together.
double RenderFrame::HalfWidth(const FrameBond& bond) const {
  double half = 0.5 * map_.unit;
  if (atoms_[bond.a].unknown || atoms_[bond.b].unknown) return half;
  const double width = std::max(StickWidth(bond.width), map_.unit) * (options_->mode == kPipes ? 3.0 : 1.0);
  for (const BondStick& stick : SticksOfOrder(bond.order))
    half = std::max(half, (std::abs(stick.side) + 0.5 * stick.share) * width);
  return half;
}

// What labels are to keep off: bodies, bonds and, where nothing else is free, contacts and the edges of the cell.
void RenderFrame::CollectObstacles() {
  labelBodies_.clear();
  labelBodyAtoms_.clear();
  labelSticks_.clear();
  labelStickBonds_.clear();
  const bool scene = options_->mode >= kBallAndStick && options_->mode <= kPipes;
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (!options_->printing && !map_.Shows(Centre(atoms_[i]), BodyReach(i))) continue;
    const EllipseShape shape = BodyShape(i);
    if (!(std::hypot(shape.p.x, shape.p.y) > 0.0)) continue;
    labelBodies_.push_back(shape);
    labelBodyAtoms_.push_back(i);
  }
  if (!scene) {
    for (uint32_t i = 0; i < atoms_.size(); ++i) {
      for (const BondRecord* bond = atoms_[i].bonds; bond; bond = bond->next) {
        if (bond->partner->scratch >= 0) AddStick(bond, i, FrameIndex(bond->partner), map_.unit);
      }
    }
  } else {
    for (const FrameBond& bond : bonds_) {
      if (!IsHidden(bond)) AddStick(bond.bond, bond.a, bond.b, HalfWidth(bond));
    }
  }
  for (const FrameContact& contact : contacts_) {
    LabelStick stick{{}, {}, 0.5 * map_.unit, true};
    if (FreeLine(contact.from, contact.to, stick.a, stick.b)) labelSticks_.push_back(stick);
  }
  if (!scene) return;
  for (const FrameMeasure& measure : measures_)
    for (size_t i = 1; i < measure.arc.size(); ++i)
      labelSticks_.push_back({measure.arc[i - 1], measure.arc[i], 0.5 * map_.unit, true});
  for (const ViewPoint& centroid : centroids_)
    labelSticks_.push_back({NetPoint(centroid), NetPoint(centroid), CentroidRadius()});
  for (const CellPiece& piece : cellPieces_) labelSticks_.push_back({piece.a, piece.b, 0.5 * map_.unit, true});
}

// When the model has been turned, labels stay near where they were going, so that they follow it instead of hopping;
// at rest they find the places that a fresh picture gives them.
void RenderFrame::SetUpSteadyLabels() {
  const size_t count = atoms_.size() + measures_.size();
  if (labelMemory_.size() != count) labelMemory_.assign(count, {});
  labelTurn_ = TurnBetween(view_->modelview, labelRotation_);
  labelRotation_ = view_->modelview;
}

CanvasPoint RenderFrame::AnchorOf(uint32_t index) const {
  return index < atoms_.size() ? Centre(atoms_[index]) : measures_[index - atoms_.size()].at;
}

uint32_t RenderFrame::SerialOf(uint32_t index) const {
  constexpr uint32_t kOfMeasures = 1u << 31;
  return index < atoms_.size() ? atoms_[index].atom->serial
                               : kOfMeasures | (index - static_cast<uint32_t>(atoms_.size()));
}

LabelRequest RenderFrame::RequestOf(uint32_t index) {
  if (index >= atoms_.size()) return RequestOf(measures_[index - atoms_.size()]);
  const FrameAtom& atom = atoms_[index];
  LabelRequest request;
  const LabelText label = TextOf(atom);
  request.size = canvas_->TextSize(label.text, label.shift);
  request.body = BodyShape(index);
  request.importance = ImportanceOf(atom);
  const float offsetX = atom.atom->labelOffsetX;
  const float offsetY = atom.atom->labelOffsetY;
  const bool placed = (atom.atom->flags2 & kLabelPlaced) != 0 || offsetX != 0.0f || offsetY != 0.0f;
  request.fixed = placed && std::isfinite(offsetX) && std::isfinite(offsetY);
  request.corner = {request.body.centre.x + offsetX * map_.scale, request.body.centre.y - offsetY * map_.scale};
  request.towards = {labelDirections_[index].x + kPreferred.x, labelDirections_[index].y + kPreferred.y};
  return request;
}

// Labels under way go around their atoms, by small steps.
void RenderFrame::Glide(ShownLabel& label) {
  LabelMemory& memory = labelMemory_[label.atom];
  const uint32_t serial = SerialOf(label.atom);
  const CanvasPoint centre = AnchorOf(label.atom);
  const CanvasPoint goal{label.corner.x + label.size.x / 2 - centre.x, label.corner.y - label.size.y / 2 - centre.y};
  if (memory.serial != serial) memory = {serial, goal, goal};
  memory.goal = goal;
  const CanvasPoint now = memory.now;
  const double angle = std::atan2(now.x * goal.y - now.y * goal.x, now.x * goal.x + now.y * goal.y);
  const double from = std::hypot(now.x, now.y);
  const double to = std::hypot(goal.x, goal.y);
  const double way = std::abs(angle) * std::max(from, to) + std::abs(to - from);
  const double most = kGlidePerDegree * map_.unit * std::max(1.0, labelTurn_);
  memory.now = goal;
  if (way <= most) return;
  const double part = most / way;
  const double direction = std::atan2(now.y, now.x) + angle * part;
  const double radius = from + (to - from) * part;
  memory.now = {radius * std::cos(direction), radius * std::sin(direction)};
  label.corner = {centre.x + memory.now.x - label.size.x / 2, centre.y + memory.now.y + label.size.y / 2};
  label.rim = true;
  labelsSettled = false;
}

void RenderFrame::AddLeader(ShownLabel& label, const EllipseShape& body) {
  label.to = {std::clamp(body.centre.x, label.corner.x, label.corner.x + label.size.x),
              std::clamp(body.centre.y, label.corner.y - label.size.y, label.corner.y)};
  label.from = EdgeToward(body, label.to);
  const double gap = std::hypot(label.to.x - label.from.x, label.to.y - label.from.y);
  label.leader = gap > kLeastLeader * label.size.y + kBodyGap * map_.unit;
}

void RenderFrame::CarryLabels() {
  if (labelMemory_.size() != atoms_.size() + measures_.size()) return;
  for (const DrawItem& item : items_) {
    const LabelRequest request = RequestOf(item.reference);
    const LabelMemory& memory = labelMemory_[item.reference];
    if (!request.fixed && memory.serial != SerialOf(item.reference)) continue;
    ShownLabel label;
    label.atom = item.reference;
    label.size = request.size;
    label.rim = true;
    const CanvasPoint& centre = request.body.centre;
    label.corner = request.fixed ? request.corner
                                 : CanvasPoint{centre.x + memory.now.x - label.size.x / 2,
                                               centre.y + memory.now.y + label.size.y / 2};
    if (!request.fixed) AddLeader(label, request.body);
    shownLabels_.push_back(label);
  }
}

void RenderFrame::PlaceLabels() {
  if (options_->steadyLabels) {
    SetUpSteadyLabels();
  } else {
    labelMemory_.clear();
  }
  requests_.clear();
  for (const DrawItem& item : items_) {
    const uint32_t index = item.reference;
    LabelRequest& request = requests_.emplace_back(RequestOf(index));
    if (!labelMemory_.empty() && labelMemory_[index].serial == SerialOf(index) && labelTurn_ > kLeastTurn)
      request.last = labelMemory_[index].goal;
  }
  for (const CellLetter& letter : cellLetters_) {
    LabelRequest& request = requests_.emplace_back();
    request.size = letter.box.size;
    request.corner = letter.box.corner;
    request.fixed = Classic();
    request.body = {letter.at, {map_.unit, 0.0}, {0.0, map_.unit}};
    request.towards = letter.towards;
    request.importance = kElementRows + kPeakShadeCount;
  }
  const auto& places = placer_.Place(requests_, labelBodies_, labelSticks_, map_.low, map_.high, kBodyGap * map_.unit);
  PlaceCellLetters(std::span(places).subspan(items_.size()));
  for (size_t i = 0; i < items_.size(); ++i) {
    const uint32_t index = items_[i].reference;
    if (!places[i].shown) {
      if (index < atoms_.size()) leftOut_.push_back(index);
      if (!labelMemory_.empty()) labelMemory_[index].serial = 0;
      continue;
    }
    ShownLabel label;
    label.atom = index;
    label.corner = places[i].corner;
    label.size = requests_[i].size;
    label.rim = !places[i].clear;
    if (!requests_[i].fixed) {
      if (!labelMemory_.empty()) Glide(label);
      AddLeader(label, requests_[i].body);
    }
    shownLabels_.push_back(label);
  }
}

// The labels to be shown, farther ones first, then those of measures.
void RenderFrame::CollectLabels() {
  items_.clear();
  for (uint32_t i = 0; i < atoms_.size() && options_->labels; ++i) {
    if (!options_->printing && !map_.Shows(Centre(atoms_[i]), map_.scale)) continue;
    if (WantsLabel(*atoms_[i].atom) && !Trimmed(atoms_[i].atom->name, " ").empty())
      items_.push_back({OrderedKey(atoms_[i].z), i});
  }
  shownLabels_.clear();
  leftOut_.clear();
  const bool readable = items_.size() <= kMostReadable;
  for (uint32_t i = 0; i < measures_.size() && readable; ++i)
    items_.push_back({0, static_cast<uint32_t>(atoms_.size()) + i});
  if ((readable && !options_->carriedLabels) || options_->layout) CollectObstacles();
  if (readable && options_->carriedLabels) {
    CarryLabels();
  } else if (readable) {
    PlaceLabels();
  } else {
    labelMemory_.clear();
    CollectNearestLabels();
  }
}

// Nearest first, each where no earlier one stands.
void RenderFrame::CollectNearestLabels() {
  SortItems(items_, itemScratch_);
  const double height = std::max(canvas_->TextSize("0").y, 1.0);
  const double cell = height / 3.0;
  occupancy_.Reset(map_.low, {map_.high.x - map_.low.x, map_.high.y - map_.low.y}, cell);
  for (size_t i = items_.size(); i-- > 0;) {
    const uint32_t index = items_[i].reference;
    // A look at the nearest corner of its place spares most of them the rest.
    const double dx = labelDirections_[index].x + kPreferred.x;
    const double dy = labelDirections_[index].y + kPreferred.y;
    const double away = (BodyRadius(index) + 0.5 * height) / std::max(std::sqrt(dx * dx + dy * dy), 1e-3);
    const CanvasPoint centre = Centre(atoms_[index]);
    if (occupancy_.IsTaken(centre) || occupancy_.IsTaken({centre.x + dx * away, centre.y + dy * away})) continue;
    const LabelRequest request = RequestOf(index);
    LabelBox box{request.corner, request.size};
    if (!request.fixed) {
      const double length = std::max(std::hypot(dx, dy), 1e-9);
      const double reach = ReachOf(request.body, {dx / length, dy / length}) + kBodyGap * map_.unit;
      box.corner = LabelCorner(request.body.centre, reach, box.size, dx, dy);
    }
    if (!occupancy_.Take(box)) continue;
    shownLabels_.push_back({index, box.corner, box.size, true, false, {}, {}});
  }
  std::reverse(shownLabels_.begin(), shownLabels_.end());
  const bool rimmed = shownLabels_.size() <= kMostRimmed;
  for (ShownLabel& label : shownLabels_) label.rim = rimmed;
  for (uint32_t i = 0; i < measures_.size(); ++i) {
    const LabelRequest request = RequestOf(measures_[i]);
    const CanvasPoint corner{request.body.centre.x - request.size.x / 2.0,
                             request.body.centre.y + request.size.y / 2.0};
    shownLabels_.push_back({static_cast<uint32_t>(atoms_.size()) + i, corner, request.size, true, false, {}, {}});
  }
}

void RenderFrame::DrawLabels() {
  cellLetters_.clear();
  layout = {};
  if (options_->showCell) SetUpCellLetters();
  const bool collected = options_->labels || !measures_.empty() || (!Classic() && !cellLetters_.empty());
  if (collected) CollectLabels();
  if (collected && std::ranges::any_of(shownLabels_, &ShownLabel::leader)) {
    const Pen pen = ThinPen(MixColours(Background(), Paper() ? kBlack : kWhite, kLeaderInk));
    canvas_->BeginGroup(kLeaderGroup);
    for (const ShownLabel& label : shownLabels_) {
      if (label.leader) canvas_->Line(label.from, label.to, pen);
    }
    canvas_->EndGroup();
  }
  DrawCorners();
  DrawMeasureTexts();
  if (!options_->labels && !options_->showCell) return;
  if (Grouped()) canvas_->BeginGroup("labels");
  if (options_->labels) DrawLabelTexts();
  DrawCellLetters();
  if (Grouped()) canvas_->EndGroup();
  if (options_->layout) KeepLayout();
}

void RenderFrame::DrawLabelTexts() {
  labels.reserve(shownLabels_.size());
  for (const ShownLabel& label : shownLabels_) {
    if (label.atom >= atoms_.size()) continue;
    const FrameAtom& atom = atoms_[label.atom];
    TextLook look = LabelColour(atom);
    look.rimColour = Background();
    // In the wire frame lines are all there is under a label.
    look.rim = label.rim && options_->mode != kWireFrame ? map_.unit : 0.0;
    const LabelText text = TextOf(atom);
    look.shift = text.shift;
    canvas_->Text(label.corner, TextAnchor::BottomLeft, text.text, look);
    labels.push_back({atom.atom, label.corner, label.size, label.leader});
  }
}

void RenderFrame::KeepLayout() {
  layout.labels = labels;
  for (const uint32_t index : leftOut_) layout.leftOut.push_back(atoms_[index].atom);
  for (size_t i = 0; i < labelBodies_.size(); ++i)
    layout.bodies.push_back({atoms_[labelBodyAtoms_[i]].atom, labelBodies_[i]});
  for (size_t i = 0; i < labelStickBonds_.size(); ++i) layout.bonds.push_back({labelStickBonds_[i], labelSticks_[i]});
}

}  // namespace marvik
