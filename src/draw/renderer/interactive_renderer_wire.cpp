#include <algorithm>
#include <cmath>

#include "draw/renderer/figure_faces.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

constexpr size_t kColours = 256;
constexpr size_t kStyles = 3;
constexpr uint32_t kAtomsBetweenQuestions = 2048;
// Half sizes of the marks and the distance of parallel lines, in pixels of the screen.
constexpr double kCrossArm = 3.0;
constexpr double kDiamondArm = 3.0;
constexpr double kRingRadius = 6.0;
constexpr double kParallel = 1.5;

int16_t Whole(double v) {
  const double rounded = v < 0.0 ? v - 0.5 : v + 0.5;
  return static_cast<int16_t>(std::clamp(rounded, -32768.0, 32767.0));
}

int ZoneOf(double z, double near, double far) {
  return z < near ? -1 : z > far ? 1 : 0;
}

}  // namespace

bool RenderFrame::RenderWireFrame(double near, double far) {
  pieces_.resize(kColours * kStyles);
  for (auto& bucket : pieces_) bucket.clear();
  DrawNet();
  SetUpFaces();
  for (const Facet& facet : facets_) DrawFacet(facet);
  for (const ViewPoint& centroid : centroids_) DrawCentroid(centroid);
  if (Grouped()) return DrawWireGroups(near, far);
  for (const FrameContact& contact : contacts_) DrawContact(contact);
  labelDirections_.assign(options_->labels ? atoms_.size() : 0, {});
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (i % kAtomsBetweenQuestions == 0 && !GoOn()) return false;
    FrameAtom& atom = atoms_[i];
    for (const BondRecord* bond = atom.bonds; bond; bond = bond->next) {
      if (bond->partner->scratch >= 0 && !IsNoEdge(*bond, options_->figure.polyhedra))
        AddWireBond(atom, atoms_[FrameIndex(bond->partner)], bond, near, far);
    }
  }
  for (const FrameAtom& atom : atoms_) {
    if (!atom.bonded || atom.unknown || atom.selected) AddWireMarks(atom);
  }
  DrawPieces();
  if (options_->showCell) DrawCellBox(near, far);
  return true;
}

// One bond or atom at a time, farther ones first.
bool RenderFrame::DrawWireGroups(double near, double far) {
  CollectBonds();
  cellPieces_.clear();
  netPieces_.clear();
  facets_.clear();
  centroids_.clear();
  SortScene();
  labelDirections_.assign(labelDirections_.size(), {});
  if (options_->showCell) DrawCellBox(near, far);
  for (const DrawItem& item : items_) {
    const uint32_t index = item.reference & ~kItemKind;
    if ((item.reference & kItemKind) == kBondItem) {
      const BondRecord& bond = *bonds_[index].bond;
      AddWireBond(atoms_[FrameIndex(bond.owner)], atoms_[FrameIndex(bond.partner)], &bond, near, far);
      NameBond(bond);
      DrawWireGroup(groupName_);
    } else if ((item.reference & kItemKind) == kContactItem) {
      DrawContact(contacts_[index]);
    } else {
      if (!GoOn()) return false;
      const FrameAtom& atom = atoms_[index];
      if (atom.bonded && !atom.unknown && !atom.selected) continue;
      AddWireMarks(atom);
      DrawWireGroup(atom.atom->name);
    }
  }
  return true;
}

void RenderFrame::DrawWireGroup(std::string_view name) {
  canvas_->BeginGroup(name);
  DrawPieces();
  canvas_->EndGroup();
  for (auto& bucket : pieces_) bucket.clear();
}

void RenderFrame::AddPiece(uint8_t colour, int style, double x1, double y1, double x2, double y2) {
  pieces_[static_cast<size_t>(style) * kColours + colour].push_back({Whole(x1), Whole(y1), Whole(x2), Whole(y2)});
}

void RenderFrame::AddWireBond(FrameAtom& a, FrameAtom& b, const BondRecord* bond, double near, double far) {
  a.bonded = b.bonded = true;
  if (!labelDirections_.empty()) AddLabelDirections(a, b);
  if (a.x == b.x && a.y == b.y) {
    const double arm = map_.unit * map_.fixedPoint;
    const auto colour = a.selected ? static_cast<uint8_t>(kSelectionIndex) : a.colour;
    for (const double row : {a.y - arm, static_cast<double>(a.y)})
      AddPiece(colour, kSolid, a.x - arm, row, a.x + arm, row);
    return;
  }
  const bool grey = a.unknown || b.unknown;
  const uint8_t colourA = grey ? static_cast<uint8_t>(kGreyIndex) : LineColour(a);
  const uint8_t colourB = grey ? static_cast<uint8_t>(kGreyIndex) : LineColour(b);
  // Where the bond changes its colour or passes a plane of the depth slab, in order.
  std::array<double, 5> cuts{0.0, 1.0};
  size_t count = 2;
  const auto cut = [&](double t) {
    size_t at = count++;
    for (; cuts[at - 1] > t; --at) cuts[at] = cuts[at - 1];
    cuts[at] = t;
  };
  if (colourA != colourB) cut(0.5);
  if (ZoneOf(a.z, near, far) != ZoneOf(b.z, near, far)) {
    for (const double plane : {near, far}) {
      const double t = (plane - a.z) / (static_cast<double>(b.z) - a.z);
      if (t > 0.0 && t < 1.0) cut(t);
    }
  }
  for (size_t i = 0; i + 1 < count; ++i) {
    const double middle = (cuts[i] + cuts[i + 1]) / 2.0;
    uint8_t colour = middle < 0.5 ? colourA : colourB;
    if (ZoneOf(a.z + (b.z - a.z) * middle, near, far) != 0) colour |= kDimIndex;
    AddWirePiece(a, b, bond, cuts[i], cuts[i + 1], colour);
  }
  if (IsSelected(bond)) {
    AddParallel(a, b, 2 * kParallel, 0.0, 1.0, kSelectionIndex, kSolid);
    AddParallel(a, b, -2 * kParallel, 0.0, 1.0, kSelectionIndex, kSolid);
  }
}

// The stretch from t0 to t1 of a bond, with as many lines as its order asks for.
void RenderFrame::AddWirePiece(const FrameAtom& a, const FrameAtom& b, const BondRecord* bond, double t0, double t1,
                               uint8_t colour) {
  const int style = std::min(bond->Style(), static_cast<int>(kDotted));
  switch (bond->Order()) {
    case kDouble:
      AddParallel(a, b, kParallel, t0, t1, colour, style);
      AddParallel(a, b, -kParallel, t0, t1, colour, style);
      break;
    case kTriple:
      for (const double side : {-2 * kParallel, 0.0, 2 * kParallel}) AddParallel(a, b, side, t0, t1, colour, style);
      break;
    case kAromatic:
      AddParallel(a, b, kParallel, t0, t1, colour, style);
      AddParallel(a, b, -kParallel, t0, t1, colour, kDashed);
      break;
    case kPi:
      AddParallel(a, b, 0.0, t0, t1, colour, kDotted);
      break;
    default:
      AddParallel(a, b, 0.0, t0, t1, colour, style);
  }
}

// `side` is the distance from the middle line in pixels of the screen.
void RenderFrame::AddParallel(const FrameAtom& a, const FrameAtom& b, double side, double t0, double t1, uint8_t colour,
                              int style) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  double x = a.x;
  double y = a.y;
  if (side != 0.0) {
    const double shift = side * map_.unit * map_.fixedPoint / std::hypot(dx, dy);
    x -= dy * shift;
    y += dx * shift;
  }
  AddPiece(colour, style, x + dx * t0, y + dy * t0, x + dx * t1, y + dy * t1);
}

// A cross for an atom without bonds, a diamond for a peak, a ring around a selected atom.
void RenderFrame::AddWireMarks(const FrameAtom& atom) {
  const double unit = map_.unit * map_.fixedPoint;
  const auto colour = InSlab(atom.z) ? LineColour(atom) : static_cast<uint8_t>(atom.colour | kDimIndex);
  const double x = atom.x;
  const double y = atom.y;
  if (atom.unknown) {
    const double arm = kDiamondArm * unit;
    AddPiece(colour, kSolid, x - arm, y, x, y - arm);
    AddPiece(colour, kSolid, x, y - arm, x + arm, y);
    AddPiece(colour, kSolid, x + arm, y, x, y + arm);
    AddPiece(colour, kSolid, x, y + arm, x - arm, y);
  } else if (!atom.bonded) {
    const double arm = kCrossArm * unit;
    AddPiece(colour, kSolid, x - arm, y, x + arm, y);
    AddPiece(colour, kSolid, x, y - arm, x, y + arm);
  }
  if (!atom.selected) return;
  constexpr int kCorners = 12;
  const double radius = kRingRadius * unit;
  CanvasPoint last{x + radius, y};
  for (int i = 1; i <= kCorners; ++i) {
    const double angle = i * 360.0 / kCorners * kRadiansPerDegree;
    const CanvasPoint next{x + radius * std::cos(angle), y + radius * std::sin(angle)};
    AddPiece(kSelectionIndex, kSolid, last.x, last.y, next.x, next.y);
    last = next;
  }
}

// One pen per colour and style; what lies outside the depth slab first, so that it never covers what lies inside.
void RenderFrame::DrawPieces() {
  const auto draw = [this](size_t colour) {
    for (size_t style = 0; style < kStyles; ++style) {
      const auto& bucket = pieces_[style * kColours + colour];
      if (bucket.empty()) continue;
      const Pen pen{palette_[colour], map_.unit, static_cast<LineStyle>(style)};
      if (map_.fixedPoint == 1) {
        canvas_->Lines(bucket, pen);
        continue;
      }
      const double scale = 1.0 / map_.fixedPoint;
      for (const LinePiece& p : bucket) canvas_->Line({p.x1 * scale, p.y1 * scale}, {p.x2 * scale, p.y2 * scale}, pen);
    }
  };
  for (size_t colour = kDimIndex; colour < kColours; ++colour) draw(colour);
  for (size_t colour = 0; colour < kDimIndex; ++colour) draw(colour);
}

}  // namespace marvik
