#include "draw/renderer/interactive_renderer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "chem/bonds/crystal_fragments.h"
#include "draw/renderer/cell_box.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// Positions further out than this, in halves of the drawing area, are as good as not finite.
constexpr double kFarthest = 1e6;

constexpr Rgb kSelectionOnBlack{255, 80, 255};
constexpr Rgb kSelectionOnWhite{200, 0, 200};
constexpr double kOutsideSlab = 0.6;
// A line of one pixel on the screen is one of 0.2 mm on paper.
constexpr double kPageUnit = 20.0;

int16_t To16Bits(double v) {
  return static_cast<int16_t>(std::lround(std::clamp(v, -32768.0, 32767.0)));
}

bool WithinReach(const ViewPoint& p) {
  // False for anything not finite.
  return std::abs(p.x) < kFarthest && std::abs(p.y) < kFarthest && std::abs(p.z) < kFarthest;
}

double FiniteOr0(double v) {
  return std::isfinite(v) ? v : 0.0;
}

}  // namespace

InteractiveRenderer::InteractiveRenderer() : frame_(std::make_unique<RenderFrame>()) {}
InteractiveRenderer::~InteractiveRenderer() = default;
InteractiveRenderer::InteractiveRenderer(InteractiveRenderer&&) noexcept = default;
InteractiveRenderer& InteractiveRenderer::operator=(InteractiveRenderer&&) noexcept = default;

bool InteractiveRenderer::Render(Document& document, const ViewState& view, const RenderOptions& options,
                                 Canvas& canvas, const KeepGoing& keepGoing) {
  return frame_->Render(document, view, options, canvas, keepGoing);
}

const std::vector<PlacedLabel>& InteractiveRenderer::Labels() const {
  return frame_->labels;
}

const FrameLayout& InteractiveRenderer::Layout() const {
  return frame_->layout;
}

FrameHit InteractiveRenderer::At(CanvasPoint point, double slack) const {
  return frame_->At(point, slack);
}

std::optional<EllipseShape> InteractiveRenderer::BodyOf(const AtomRecord& atom) const {
  return frame_->BodyOf(atom);
}

bool InteractiveRenderer::LabelsSettled() const {
  return frame_->labelsSettled;
}

CanvasPoint InteractiveRenderer::LabelOffset(const AtomRecord& atom, const ViewState& view) const {
  const double scale = view.viewportWidth * 0.5 - 1.0;
  for (const PlacedLabel& label : frame_->labels) {
    if (label.atom != &atom || !(scale > 0.0)) continue;
    return {std::clamp((label.at.x - atom.screenX) / scale, -0.5, 0.5),
            std::clamp((atom.screenY - label.at.y) / scale, -0.5, 0.5)};
  }
  return {atom.labelOffsetX, atom.labelOffsetY};
}

bool RenderFrame::Render(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
                         const KeepGoing& keepGoing) {
  document_ = &document;
  view_ = &view;
  options_ = &options;
  canvas_ = &canvas;
  keepGoing_ = &keepGoing;
  colours_ = ColoursOf(options.look, options.printing || options.whiteBackground || options.blackWhite);
  if (options.blackWhite) colours_ = {kWhite, true, false, kWhite};
  SetUp();
  SetUpContacts();
  SetUpMeasures();
  labelsSettled = true;
  if (options.clear && !options.printing) canvas.Clear(Background());
  const bool scene = options.mode >= kBallAndStick && options.mode <= kPipes;
  if (!(scene ? RenderScene() : RenderWireFrame(view.depthNear, view.depthFar))) {
    atoms_.clear();
    labels.clear();
    return false;
  }
  DrawNetTexts();
  DrawMarks();
  DrawLabels();
  // What is asked about the picture goes by how it was drawn.
  drawnOptions_ = options;
  options_ = &drawnOptions_;
  return true;
}

void RenderFrame::SetUp() {
  SetUpMap();
  SetUpColours();
  SetUpBalls();
  scheme_.SetUp(*document_, options_->figure.colourBy);
  atoms_.clear();
  labels.clear();
  double highest = 0.0;
  bool peaks = false;
  for (AtomRecord* atom = document_->atoms.head; atom; atom = atom->next) {
    atom->scratch = -1;
    if (!document_->atoms.Passes(atom, kVisibleOnly)) continue;
    const ClipPoint p = view_->TransformPoint(atom->position - view_->viewCentre);
    atom->view = p.p;
    AddAtom(atom, p);
    if (atom->IsPeak()) {
      peaks = true;
      highest = std::max(highest, std::abs(FiniteOr0(atom->peakHeight)));
    }
  }
  if (peaks) ShadePeaks(highest);
  NumberMates();
  selectedBonds_.clear();
  if (options_->selection)
    selectedBonds_.assign(document_->atoms.selectedBonds.begin(), document_->atoms.selectedBonds.end());
  std::sort(selectedBonds_.begin(), selectedBonds_.end(), std::less<const BondRecord*>());
}

void RenderFrame::AddAtom(AtomRecord* atom, const ClipPoint& p) {
  constexpr int16_t kNowhere = std::numeric_limits<int16_t>::min();
  if (!WithinReach(p.p) || view_->CutsAway(p.p)) {
    if (!options_->printing) atom->screenX = atom->screenY = kNowhere;
    return;
  }
  FrameAtom frame;
  frame.atom = atom;
  frame.bonds = atom->bonds;
  frame.viewX = static_cast<float>(p.p.x);
  frame.viewY = static_cast<float>(p.p.y);
  frame.z = static_cast<float>(p.p.z);
  if (map_.whole) {
    const CanvasPoint at = DevicePoint(p.p, p.w);
    frame.x = static_cast<int16_t>(at.x);
    frame.y = static_cast<int16_t>(at.y);
  } else {
    const CanvasPoint v = map_.Vector(p.p);
    frame.x = To16Bits((map_.origin.x + v.x) * map_.fixedPoint);
    frame.y = To16Bits((map_.origin.y + v.y) * map_.fixedPoint);
  }
  if (!options_->printing) {
    atom->screenX = static_cast<int16_t>(frame.x / map_.fixedPoint);
    atom->screenY = static_cast<int16_t>(frame.y / map_.fixedPoint);
  }
  const int row = atom->element ? std::clamp(atom->element->atomicNumber, 0, kUnknownRow) : kUnknownRow;
  frame.unknown = row == kUnknownRow;
  frame.row = static_cast<uint8_t>(row);
  frame.colour = frame.unknown ? static_cast<uint8_t>(kGreyIndex) : frame.row;
  if (const auto shade = scheme_.ShadeOf(*atom); shade && !frame.unknown)
    frame.colour = static_cast<uint8_t>(kSchemeShade + *shade);
  frame.selected = options_->selection && atom->Has(kSelected);
  frame.pale = options_->figure.paleMates && !options_->blackWhite && IsGenerated(*atom);
  atom->scratch = static_cast<int32_t>(atoms_.size());
  atoms_.push_back(frame);
}

void RenderFrame::SetUpMap() {
  const ViewState& v = *view_;
  const double radius = std::max(FiniteOr0(v.viewRadius), 1e-6);
  const double side = std::clamp(FiniteOr0(v.drawingSize), 1.0, 32767.0);
  map_ = {};
  if (options_->printing) {
    // The page's scale and origin, as the view itself has them for the points (0, 0) and (1, 0).
    const double all = std::numeric_limits<double>::infinity();
    const auto probe = v.ProjectSegmentForPrint({{0, 0, 0}, 1.0}, {{1, 0, 0}, 1.0}, all, -all);
    if (probe) {
      map_.scale = probe->x2 - probe->x1;
      map_.origin = {probe->x1, -probe->y1};
    }
    map_.ball = 2.0 * map_.scale / radius;
    map_.pen = map_.scale / radius;
    map_.unit = kPageUnit;
    map_.whole = false;
    map_.low = {map_.origin.x - map_.scale, map_.origin.y - map_.scale};
    map_.high = {map_.origin.x + map_.scale, map_.origin.y + map_.scale};
    return;
  }
  map_.scale = std::max(v.viewportWidth * 0.5 - 1.0, 0.0);
  map_.origin = {v.viewportOffsetX + v.viewportWidth * 0.5 + v.deviceOriginX + v.panX,
                 v.fullHeight - 1 - (v.viewportOffsetY + v.viewportHeight * 0.5) + v.deviceOriginY + v.panY};
  map_.ball = side / radius;
  map_.pen = side / radius * 0.5;
  map_.unit = ThinLineOf(*options_, side);
  map_.whole = !options_->exact;
  map_.low = {static_cast<double>(v.deviceOriginX), static_cast<double>(v.deviceOriginY)};
  map_.high = {map_.low.x + v.fullWidth, map_.low.y + v.fullHeight};
  if (options_->exact) map_.fixedPoint = std::clamp(static_cast<int>(15000.0 / side), 1, 32);
}

void RenderFrame::SetUpColours() {
  const bool paper = Paper();
  for (int row = 0; row < kElementRows; ++row)
    palette_[static_cast<size_t>(row)] =
        LegibleOn(ElementColourOf(document_->elements, row, options_->safeColours), paper);
  const Rgb peak = LegibleOn(ElementColourOf(document_->elements, kUnknownRow, options_->safeColours), paper);
  for (int i = 0; i < kPeakShadeCount; ++i)
    palette_[static_cast<size_t>(kPeakShades + i)] =
        MixColours(Background(), peak, 0.35 + 0.65 * i / (kPeakShadeCount - 1));
  palette_[kGreyIndex] = options_->printing ? kBlack : kUnknownBondOnScreen;
  palette_[kSelectionIndex] = paper ? kSelectionOnWhite : kSelectionOnBlack;
  std::ranges::copy(CellColoursOn(paper), palette_.begin() + kCellA);
  for (int i = 0; i < kSchemeShades; ++i)
    palette_[static_cast<size_t>(kSchemeShade + i)] =
        LegibleOn(ColourScheme::ColourOf(options_->figure.colourBy, i), paper);
  if (options_->blackWhite) std::fill_n(palette_.begin(), kPaletteSize, kBlack);
  for (size_t i = 0; i < kPaletteSize; ++i)
    palette_[i + kDimIndex] = MixColours(Background(), palette_[i], kOutsideSlab);
}

void RenderFrame::ShadePeaks(double highest) {
  for (FrameAtom& frame : atoms_) {
    if (!frame.unknown || !frame.atom->IsPeak()) continue;
    const double share = highest > 0.0 ? std::abs(FiniteOr0(frame.atom->peakHeight)) / highest : 1.0;
    frame.colour = static_cast<uint8_t>(kPeakShades + std::lround(share * (kPeakShadeCount - 1)));
  }
}

CanvasPoint RenderFrame::Centre(const FrameAtom& atom) const {
  if (map_.fixedPoint == 1) return {static_cast<double>(atom.x), static_cast<double>(atom.y)};
  return {static_cast<double>(atom.x) / map_.fixedPoint, static_cast<double>(atom.y) / map_.fixedPoint};
}

CanvasPoint RenderFrame::DevicePoint(const ViewPoint& v, double w) const {
  if (!map_.whole) {
    const CanvasPoint offset = map_.Vector(v);
    return {std::clamp(map_.origin.x + offset.x, -32768.0, 32767.0),
            std::clamp(map_.origin.y + offset.y, -32768.0, 32767.0)};
  }
  const PixelPoint pixel = view_->ToPixel({v, w});
  return {std::clamp(static_cast<double>(pixel.x) + view_->panX, -32768.0, 32767.0),
          std::clamp(static_cast<double>(pixel.y) + view_->panY, -32768.0, 32767.0)};
}

bool RenderFrame::IsSelected(const BondRecord* bond) const {
  return !selectedBonds_.empty() &&
         std::binary_search(selectedBonds_.begin(), selectedBonds_.end(), bond, std::less<const BondRecord*>());
}

Rgb RenderFrame::ElementRgb(const FrameAtom& atom) const {
  if (options_->blackWhite) return kWhite;
  if (atom.colour >= kSchemeShade && !atom.unknown)
    return Paled(atom, ColourScheme::ColourOf(options_->figure.colourBy, atom.colour - kSchemeShade));
  return Paled(atom, atom.unknown ? palette_[atom.colour]
                                  : ElementColourOf(document_->elements, atom.row, options_->safeColours));
}

Rgb RenderFrame::Paled(const FrameAtom& atom, Rgb colour) const {
  return atom.pale ? MixColours(Background(), colour, kPaleInk) : colour;
}

}  // namespace marvik
