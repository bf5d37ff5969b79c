#include <algorithm>
#include <bit>
#include <cmath>

#include "draw/renderer/figure_faces.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

constexpr double kRingGap = 3.0;  // between a body and its selection ring, pixels of the screen
constexpr double kRingWidth = 2.0;
constexpr double kBoxCorner = 1.41;  // half sides of a box from its middle
constexpr size_t kCarbonRow = 6;

}  // namespace

uint32_t OrderedKey(float z) {
  const auto bits = std::bit_cast<uint32_t>(z + 0.0f);  // no negative zero
  return bits & 0x80000000u ? ~bits : bits | 0x80000000u;
}

// Least significant digit first, three digits of 11 bits.
void SortItems(std::vector<DrawItem>& items, std::vector<DrawItem>& scratch) {
  constexpr unsigned kBits = 11;
  constexpr uint32_t kMask = (1u << kBits) - 1;
  scratch.resize(items.size());
  for (unsigned shift = 0; shift < 33; shift += kBits) {
    std::array<uint32_t, kMask + 2> start{};
    for (const DrawItem& item : items) ++start[(item.key >> shift & kMask) + 1];
    for (size_t i = 1; i < start.size(); ++i) start[i] += start[i - 1];
    for (const DrawItem& item : items) scratch[start[item.key >> shift & kMask]++] = item;
    items.swap(scratch);
  }
}

bool RenderFrame::RenderScene() {
  if (options_->mode == kThermalEllipsoid) SetUpEllipsoids();
  CollectBonds();
  if (options_->mode == kPipes) SetUpPipes();
  cellPieces_.clear();
  if (options_->showCell) SetUpCellBox();
  SetUpFaces();
  netPieces_.clear();
  SetUpNet();
  if (options_->bodies && !DrawInDepthOrder()) return false;
  DrawSelection();
  return true;
}

void RenderFrame::CollectBonds() {
  bonds_.clear();
  labelDirections_.assign(options_->labels ? atoms_.size() : 0, {});
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    for (const BondRecord* bond = atoms_[i].bonds; bond; bond = bond->next) {
      if (bond->partner->scratch < 0 || IsNoEdge(*bond, options_->figure.polyhedra)) continue;
      const uint32_t j = FrameIndex(bond->partner);
      atoms_[i].bonded = atoms_[j].bonded = true;
      FrameBond frame{i,
                      j,
                      bond->width,
                      static_cast<uint8_t>(std::min(bond->Order(), static_cast<int>(kPi))),
                      static_cast<uint8_t>(std::min(bond->Style(), static_cast<int>(kDotted))),
                      bond};
      if (atoms_[j].z < atoms_[i].z) std::swap(frame.a, frame.b);
      bonds_.push_back(frame);
      if (!labelDirections_.empty()) AddLabelDirections(atoms_[i], atoms_[j]);
    }
  }
}

// One reference each for atoms, bonds (but in pipes, which are parts of their atoms) and pieces of the cell box.
// A bond is painted between its two atoms: over the body of the farther one, under that of the nearer one. Bonds stand
// before atoms in the unsorted list, so that among equals the bodies cover the ends of a bond that lies flat.
void RenderFrame::SortScene() {
  items_.clear();
  if (options_->mode != kPipes) {
    for (uint32_t i = 0; i < bonds_.size(); ++i) {
      const float z = 0.5f * (atoms_[bonds_[i].a].z + atoms_[bonds_[i].b].z);
      items_.push_back({OrderedKey(z), kBondItem | i});
    }
  }
  for (uint32_t i = 0; i < cellPieces_.size(); ++i) items_.push_back({OrderedKey(cellPieces_[i].z), kCellItem | i});
  for (uint32_t i = 0; i < facets_.size(); ++i) items_.push_back({OrderedKey(facets_[i].z), kFacetItem | i});
  for (uint32_t i = 0; i < contacts_.size(); ++i) {
    const double z = 0.5 * (contacts_[i].from.at.z + contacts_[i].to.at.z);
    items_.push_back({OrderedKey(static_cast<float>(z)), kContactItem | i});
  }
  for (uint32_t i = 0; i < centroids_.size(); ++i)
    items_.push_back({OrderedKey(static_cast<float>(centroids_[i].z)), kCentroidItem | i});
  for (uint32_t i = 0; i < atoms_.size(); ++i) items_.push_back({OrderedKey(atoms_[i].z), kAtomItem | i});
  AddNetItems();
  SortItems(items_, itemScratch_);
}

bool RenderFrame::DrawInDepthOrder() {
  SortScene();
  for (const DrawItem& item : items_) {
    const uint32_t index = item.reference & ~kItemKind;
    switch (item.reference & kItemKind) {
      case kBondItem:
        DrawBond(bonds_[index]);
        break;
      case kCellItem: {
        const CellPiece& piece = cellPieces_[index];
        canvas_->Line(piece.a, piece.b, ThinPen(palette_[piece.colour]));
        break;
      }
      case kFacetItem:
        DrawFacet(facets_[index]);
        break;
      case kNetItem:
        DrawNetLayer(index);
        break;
      case kContactItem:
        DrawContact(contacts_[index]);
        break;
      case kCentroidItem:
        DrawCentroid(centroids_[index]);
        break;
      default:
        if (!GoOn()) return false;
        if (Grouped()) canvas_->BeginGroup(atoms_[index].atom->name);
        DrawAtom(index);
        if (Grouped()) canvas_->EndGroup();
    }
  }
  return true;
}

void RenderFrame::DrawAtom(uint32_t index) {
  const FrameAtom& atom = atoms_[index];
  if (options_->mode == kPipes) {
    DrawPipes(index);
  } else if (!options_->printing && !map_.Shows(Centre(atom), BodyReach(index))) {
    return;
  } else if (atom.unknown) {
    DrawMark(atom);
  } else if (options_->mode == kThermalEllipsoid && atom.atom->IsAnisotropic()) {
    DrawEllipsoid(atom, ellipsoids_[index]);
  } else {
    DrawBall(atom);
  }
}

// A diamond in the shade of the peak's height, outlined so that it shows on every background.
void RenderFrame::DrawMark(const FrameAtom& atom) {
  const CanvasPoint c = Centre(atom);
  const double arm = MarkArm(atom);
  const std::array<CanvasPoint, 4> corners{{{c.x, c.y - arm}, {c.x + arm, c.y}, {c.x, c.y + arm}, {c.x - arm, c.y}}};
  const Rgb fill = palette_[atom.colour];
  if (!Classic()) {
    const std::array<CanvasPoint, 5> around{corners[0], corners[1], corners[2], corners[3], corners[0]};
    canvas_->Polyline(around, {fill, 1.5 * map_.unit, LineStyle::Solid});
    return;
  }
  canvas_->Polygon(corners, fill, ThinPen(MixColours(fill, kBlack, 0.5)));
}

double RenderFrame::MarkArm(const FrameAtom& atom) const {
  if (!Classic()) return std::max(2.5 * map_.unit, ballRadius_[kCarbonRow] / 3.0);
  return std::max(3.0 * map_.unit, 0.7 * BallRadius(atom));
}

// Whether a crossed box stands for it.
bool RenderFrame::IsBoxed(uint32_t index) const {
  const FrameAtom& atom = atoms_[index];
  return options_->mode == kThermalEllipsoid && !atom.unknown && atom.atom->IsAnisotropic() &&
         !ellipsoids_[index].drawable;
}

// Of what is drawn for the atom, without ellipsoids, device units.
double RenderFrame::BodyRadius(uint32_t index) const {
  const FrameAtom& atom = atoms_[index];
  const bool scene = options_->mode >= kBallAndStick && options_->mode <= kPipes;
  if (!scene) return atom.bonded ? 0.0 : 3.0 * map_.unit;
  if (atom.unknown) return MarkArm(atom);
  if (IsBoxed(index)) return kBoxCorner * BoxArm(atom);
  return options_->mode == kPipes ? PipeRadius(index) : BallRadius(atom);
}

// No less than what is drawn for the atom reaches in any direction.
double RenderFrame::BodyReach(uint32_t index) const {
  double reach = 1.2 * BodyRadius(index) + 2.0 * map_.unit;
  if (options_->mode == kThermalEllipsoid && ellipsoids_[index].drawable) {
    for (const ViewPoint& axis : ellipsoids_[index].axes) reach = std::max(reach, Length(axis) * map_.scale + 2.0);
  }
  return reach;
}

// The fraction of `delta` (view units, from the atom's centre) that lies inside the body drawn there.
double RenderFrame::SurfaceFraction(uint32_t index, const ViewPoint& delta) const {
  if (options_->mode == kThermalEllipsoid && ellipsoids_[index].drawable) {
    double sum = 0.0;
    for (const ViewPoint& axis : ellipsoids_[index].axes) {
      const double component = Dot(delta, axis) / Dot(axis, axis);
      sum += component * component;
    }
    return sum > 0.0 ? 1.0 / std::sqrt(sum) : 1.0;
  }
  const bool boxed = IsBoxed(index);  // a cube that faces the viewer
  const double length = boxed ? std::max({std::fabs(delta.x), std::fabs(delta.y), std::fabs(delta.z)}) : Length(delta);
  const double reach = boxed ? BoxArm(atoms_[index]) : BodyRadius(index);
  return length > 0.0 ? reach / (length * map_.scale) : 1.0;
}

// Around the body of an atom.
void RenderFrame::DrawRing(uint32_t i, double gap, const Pen& pen) {
  EllipseShape ring{Centre(atoms_[i]), {BodyRadius(i) + gap, 0.0}, {0.0, BodyRadius(i) + gap}};
  if (options_->mode == kThermalEllipsoid && ellipsoids_[i].drawable) {
    const OutlineConic outline = OutlineOf(ellipsoids_[i].axes);
    for (auto [axis, view] : {std::pair{&ring.p, &outline.p}, std::pair{&ring.q, &outline.q}}) {
      const double length = Length(*view);
      const double longer = length > 0.0 ? 1.0 + gap / (length * map_.scale) : 1.0;
      *axis = map_.Vector(*view * longer);
    }
  }
  canvas_->Arc(ring, 0.0, 2.0 * 180.0 * kRadiansPerDegree, pen);
}

// Over everything, so that what is selected shows wherever it lies.
void RenderFrame::DrawSelection() {
  const Pen pen{palette_[kSelectionIndex], kRingWidth * map_.unit, LineStyle::Solid};
  const double gap = kRingGap * map_.unit;
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (atoms_[i].selected) DrawRing(i, gap, pen);
  }
  if (selectedBonds_.empty()) return;
  for (const FrameBond& bond : bonds_) {
    if (IsSelected(bond.bond)) DrawSleeve(bond);
  }
}

}  // namespace marvik
