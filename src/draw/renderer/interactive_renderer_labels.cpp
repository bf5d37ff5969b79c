#include <algorithm>
#include <cmath>

#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// Up to so many labels all are shown, moved apart where they overlap. Of more, nobody could read all: nearer ones then
// keep their places and those behind them are left out.
constexpr size_t kMostReadable = 1500;
constexpr double kBodyGap = 2.0;  // between a body and its label, pixels of the screen
// A lone atom's label stands to the upper right; this is how much that counts against the directions of its bonds.
constexpr CanvasPoint kPreferred{0.3, -0.25};

// How far labels that others moved, or that change sides, go in each degree that the model turns, and at least in each
// frame.
constexpr double kSteerPerDegree = 9.0;  // pixels of the screen, around the atom
constexpr double kLeastSteer = 0.15;     // radians, so that labels of large bodies arrive, too
constexpr double kPushPerDegree = 7.0;

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

// A rim in the background's colour keeps a label legible over a body; left out where there are very many.
constexpr size_t kMostRimmed = 400;
constexpr std::array<CanvasPoint, 4> kRim{{{-1, 0}, {1, 0}, {0, -1}, {0, 1}}};

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
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

// Bodies close by on the screen turn a label away from them, the more the closer they are.
void RenderFrame::AddCrowding() {
  labelPoints_.resize(atoms_.size());
  double largest = 0.0;
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    labelPoints_[i] = Centre(atoms_[i]);
    largest = std::max(largest, BodyRadius(i));
  }
  const double text = canvas_->TextSize("C10").x;
  labelGrid_.Build(labelPoints_, 2.0 * largest + text);
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    const CanvasPoint own = labelPoints_[i];
    CanvasPoint& direction = labelDirections_[i];
    labelGrid_.ForEachNear(own, [&](uint32_t j) {
      const double dx = own.x - labelPoints_[j].x;
      const double dy = own.y - labelPoints_[j].y;
      const double distance = std::sqrt(dx * dx + dy * dy);
      const double reach = BodyRadius(i) + BodyRadius(j) + text;
      if (!(distance > 0.0) || distance >= reach) return;
      const double weight = 1.5 * (1.0 - distance / reach) / distance;
      direction = {direction.x + dx * weight, direction.y + dy * weight};
    });
  }
}

bool RenderFrame::WantsLabel(const AtomRecord& atom) const {
  if (atom.flags2 & kLabelOff) return false;
  if (options_->hydrogenLabels || !atom.element) return true;
  return !atom.IsHydrogen();
}

Rgb RenderFrame::LabelColour(const FrameAtom& atom) const {
  if (options_->hybridLabelColoration && !atom.unknown) {
    const auto code = static_cast<size_t>(atom.atom->Hybridization());
    return kHybridLabelColours[std::min(code, kHybridLabelColours.size() - 1)];
  }
  return Paper() ? kBlack : kWhite;
}

// How far what is drawn for the atom reaches in a direction, with a gap.
double RenderFrame::LabelRadius(uint32_t index, double dx, double dy) const {
  const double gap = kBodyGap * map_.unit;
  if (options_->mode != kThermalEllipsoid || !ellipsoids_[index].drawable) return BodyRadius(index) + gap;
  const double length = std::hypot(dx, dy);
  const OutlineConic outline = OutlineOf(ellipsoids_[index].axes);
  const CanvasPoint p = map_.Vector(outline.p);
  const CanvasPoint q = map_.Vector(outline.q);
  if (!(length > 0.0)) return std::hypot(p.x, p.y) + gap;
  return std::hypot((p.x * dx + p.y * dy) / length, (q.x * dx + q.y * dy) / length) + gap;
}

void RenderFrame::SetUpSteadyLabels() {
  if (labelMemory_.size() != atoms_.size()) labelMemory_.assign(atoms_.size(), {});
  labelStep_ = std::max(1.0, TurnBetween(view_->modelview, labelRotation_));
  labelRotation_ = view_->modelview;
}

// The direction where the sum of what a label avoids points turns round at once when that sum passes through zero; the
// label follows at its own pace.
CanvasPoint RenderFrame::Steered(uint32_t index, CanvasPoint direction, double width) {
  LabelMemory& memory = labelMemory_[index];
  const CanvasPoint last = memory.direction;
  const uint32_t serial = atoms_[index].atom->serial;
  const double angle =
      std::atan2(last.x * direction.y - last.y * direction.x, last.x * direction.x + last.y * direction.y);
  const double around = BodyRadius(index) + width / 2;
  const double most = labelStep_ * std::max(kSteerPerDegree * map_.unit / std::max(around, map_.unit), kLeastSteer);
  if (memory.serial == serial && std::abs(angle) > most) {
    const double c = std::cos(most);
    const double s = std::copysign(std::sin(most), angle);
    direction = {last.x * c - last.y * s, last.x * s + last.y * c};
    labelsSettled = false;
  }
  if (memory.serial != serial) memory = {serial, true, {}, {}, {}};
  memory.direction = direction;
  return direction;
}

// What the labels were moved apart by changes by small steps, too.
void RenderFrame::SteadyPushes() {
  const double most = kPushPerDegree * map_.unit * labelStep_;
  for (size_t i = 0; i < labelAtoms_.size(); ++i) {
    LabelBox& box = labelBoxes_[i];
    if (box.fixed) continue;
    LabelMemory& memory = labelMemory_[labelAtoms_[i]];
    const CanvasPoint push{box.corner.x - memory.home.x, box.corner.y - memory.home.y};
    const CanvasPoint change{push.x - memory.push.x, push.y - memory.push.y};
    const double length = std::hypot(change.x, change.y);
    if (memory.fresh || length <= most) {
      memory.push = push;
    } else {
      memory.push = {memory.push.x + change.x / length * most, memory.push.y + change.y / length * most};
      box.corner = {memory.home.x + memory.push.x, memory.home.y + memory.push.y};
      ClearBody(box);
      labelsSettled = false;
    }
    memory.fresh = false;
  }
}

LabelBox RenderFrame::LabelOf(uint32_t index) {
  const FrameAtom& atom = atoms_[index];
  LabelBox box;
  box.size = canvas_->TextSize(Trimmed(atom.atom->name));
  box.body = Centre(atom);
  const float offsetX = atom.atom->labelOffsetX;
  const float offsetY = atom.atom->labelOffsetY;
  box.fixed = (atom.atom->flags2 & kLabelPlaced) != 0 || offsetX != 0.0f || offsetY != 0.0f;
  if (box.fixed && std::isfinite(offsetX) && std::isfinite(offsetY)) {
    box.corner = {box.body.x + offsetX * map_.scale, box.body.y - offsetY * map_.scale};
    return box;
  }
  CanvasPoint direction{labelDirections_[index].x + kPreferred.x, labelDirections_[index].y + kPreferred.y};
  const bool steady = !labelMemory_.empty();
  if (steady) direction = Steered(index, direction, box.size.x);
  box.bodyRadius = LabelRadius(index, direction.x, direction.y);
  box.corner = LabelCorner(box.body, box.bodyRadius, box.size, direction.x, direction.y);
  if (steady) labelMemory_[index].home = box.corner;
  return box;
}

// The labels to be shown, farther ones first.
void RenderFrame::CollectLabels() {
  items_.clear();
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (!options_->printing && !map_.Shows(Centre(atoms_[i]), map_.scale)) continue;
    if (WantsLabel(*atoms_[i].atom)) items_.push_back({OrderedKey(atoms_[i].z), i});
  }
  labelBoxes_.clear();
  labelAtoms_.clear();
  if (options_->steadyLabels && items_.size() <= kMostReadable) {
    SetUpSteadyLabels();
  } else {
    labelMemory_.clear();
  }
  if (items_.size() <= kMostReadable) {
    if (atoms_.size() <= 2 * kMostReadable) AddCrowding();
    for (const DrawItem& item : items_) {
      labelBoxes_.push_back(LabelOf(item.reference));
      labelAtoms_.push_back(item.reference);
    }
    for (const CellLetter& letter : cellLetters_) labelBoxes_.push_back(letter.box);
    spreader_.Spread(labelBoxes_);
    labelBoxes_.resize(labelAtoms_.size());
    if (!labelMemory_.empty()) SteadyPushes();
    return;
  }
  CollectNearestLabels();
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
    const LabelBox box = LabelOf(index);
    if (!occupancy_.Take(box)) continue;
    labelBoxes_.push_back(box);
    labelAtoms_.push_back(index);
  }
  std::reverse(labelBoxes_.begin(), labelBoxes_.end());
  std::reverse(labelAtoms_.begin(), labelAtoms_.end());
}

void RenderFrame::DrawLabels() {
  cellLetters_.clear();
  if (options_->showCell) SetUpCellLetters();
  if (Grouped() && (options_->labels || options_->showCell)) canvas_->BeginGroup("labels");
  if (options_->labels) {
    CollectLabels();
    labels.reserve(labelBoxes_.size());
    const bool rim = map_.whole && options_->mode != kWireFrame && labelBoxes_.size() <= kMostRimmed;
    for (size_t i = 0; i < labelBoxes_.size(); ++i) {
      const FrameAtom& atom = atoms_[labelAtoms_[i]];
      const std::string_view text = Trimmed(atom.atom->name);
      if (text.empty()) continue;
      const LabelBox& box = labelBoxes_[i];
      if (rim) {
        for (const CanvasPoint& shift : kRim)
          canvas_->Text({box.corner.x + shift.x, box.corner.y + shift.y}, TextAnchor::BottomLeft, text, Background());
      }
      canvas_->Text(box.corner, TextAnchor::BottomLeft, text, LabelColour(atom));
      labels.push_back({atom.atom, box.corner, box.size});
    }
  }
  for (const CellLetter& letter : cellLetters_)
    canvas_->Text(letter.box.corner, TextAnchor::BottomLeft, {&letter.letter, 1}, Paper() ? kBlack : kWhite);
  if (Grouped() && (options_->labels || options_->showCell)) canvas_->EndGroup();
}

}  // namespace marvik
