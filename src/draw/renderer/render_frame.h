#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "draw/canvas/colours.h"
#include "draw/density/density_net.h"
#include "draw/labels/label_layout.h"
#include "draw/labels/label_placer.h"
#include "draw/labels/label_text.h"
#include "draw/renderer/colour_scheme.h"
#include "draw/renderer/interactive_renderer.h"

namespace marvik {

// Inside of the interactive renderer: one frame and the work arrays that live on to the next.

// How view coordinates and lengths become device units.
struct DeviceMap {
  double scale = 1.0;  // device units per normalised unit
  CanvasPoint origin;  // of the view's centre; y runs down from it
  double ball = 0.0;   // drawn radius per Å of an element's ball radius
  double pen = 0.0;    // drawn width per Å of a bond's width
  double unit = 1.0;   // what one pixel is on the screen: thin lines and small marks are multiples of it
  int fixedPoint = 1;  // the frame's integer positions count these parts of a device unit
  bool whole = true;   // positions and sizes in whole pixels
  CanvasPoint low;     // corners of the picture
  CanvasPoint high;

  bool Shows(CanvasPoint p, double margin) const {
    return p.x > low.x - margin && p.x < high.x + margin && p.y > low.y - margin && p.y < high.y + margin;
  }
  // Whether a segment with something of that size around it may reach into the picture.
  bool Shows(CanvasPoint a, CanvasPoint b, double margin) const {
    return std::max(a.x, b.x) > low.x - margin && std::min(a.x, b.x) < high.x + margin &&
           std::max(a.y, b.y) > low.y - margin && std::min(a.y, b.y) < high.y + margin;
  }

  // The linear part alone, for offsets and half axes.
  CanvasPoint Vector(const ViewPoint& v) const { return {v.x * scale, -v.y * scale}; }
};

// Entries of the frame's colour table; 0..105 are the rows of the element table.
enum PaletteIndex : uint8_t {
  kPeakShades = kElementRows,
  kPeakShadeCount = 8,
  kGreyIndex = kPeakShades + kPeakShadeCount,
  kSelectionIndex,
  kCellA,
  kCellB,
  kCellC,
  kCellEdge,
  kSchemeShade,
  kPaletteSize = kSchemeShade + kSchemeShades,
};
// Added to an index: 60 % brightness, outside the depth slab.
inline constexpr uint8_t kDimIndex = 128;
static_assert(kPaletteSize <= kDimIndex);

// What drawing needs of an atom, so that its record is left alone.
struct FrameAtom {
  AtomRecord* atom = nullptr;
  const BondRecord* bonds = nullptr;
  float viewX = 0.0f;  // view units
  float viewY = 0.0f;
  float z = 0.0f;
  int16_t x = 0;  // device units times DeviceMap::fixedPoint
  int16_t y = 0;
  uint8_t row = 0;       // of the element table
  uint8_t colour = 0;    // of lines
  bool unknown = false;  // of row 105: a mark instead of a body
  bool bonded = false;
  bool selected = false;
  bool pale = false;  // a symmetry mate of what the file holds
  uint16_t mate = 0;  // whose operation has this number in the figure
  float ball = 0.0f;  // radius in device units where it is not that of the element
};

struct FrameBond {
  uint32_t a = 0;  // the farther end
  uint32_t b = 0;
  float width = 0.0f;  // Å
  uint8_t order = 0;   // BondOrder and BondStyle, nothing beyond them
  uint8_t style = 0;
  const BondRecord* bond = nullptr;
};

// A displacement ellipsoid: three semi-axes in view units, at right angles. Not drawable when the tensor is not
// positive definite.
struct FrameEllipsoid {
  std::array<ViewPoint, 3> axes{};
  bool drawable = false;
};

// The outline of an ellipsoid under the parallel projection along z: the conic of the points where the derivative of
// its quadric in z vanishes. With the quadric's matrix a (vᵀ·a·v = 1) its matrix is a11 - a13²/a33 and so on; here it
// is had as the inverse of that, the upper left 2 × 2 block of Σ axis·axisᵀ. p and q are its semi-axes in view units (z
// 0).
struct OutlineConic {
  ViewPoint p;
  ViewPoint q;
};
OutlineConic OutlineOf(const std::array<ViewPoint, 3>& axes);

// The front half of the principal ellipse cos t · p + sin t · q of an ellipsoid whose semi-axes p and q are: from
// middle - π/2 to middle + π/2.
double FrontMiddle(const ViewPoint& p, const ViewPoint& q);

// Sorts references by an ascending float key; equal keys keep their order.
struct DrawItem {
  uint32_t key = 0;
  uint32_t reference = 0;
};
uint32_t OrderedKey(float z);
void SortItems(std::vector<DrawItem>& items, std::vector<DrawItem>& scratch);

class RenderFrame {
 public:
  bool Render(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
              const KeepGoing& keepGoing);

  FrameHit At(CanvasPoint point, double slack) const;
  std::optional<EllipseShape> BodyOf(const AtomRecord& atom) const;

  std::vector<PlacedLabel> labels;
  bool labelsSettled = true;
  FrameLayout layout;

 private:
  enum Reference : uint32_t {
    kAtomItem = 0,
    kBondItem = 1u << 29,
    kCellItem = 2u << 29,
    kFacetItem = 3u << 29,
    kNetItem = 4u << 29,
    kContactItem = 5u << 29,
    kCentroidItem = 6u << 29,
    kItemKind = 7u << 29
  };
  struct CellPiece {
    CanvasPoint a, b;
    float z = 0.0f;
    uint8_t colour = 0;
  };
  struct Facet {
    std::vector<CanvasPoint> corners;
    float z = 0.0f;
    Rgb fill;
    double opacity = 0.0;
    bool ofPlane = false;
  };
  // Where a line ends: at the body of an atom, or at a place (kNoAtom).
  static constexpr uint32_t kNoAtom = ~0u;
  struct FrameEnd {
    uint32_t atom = kNoAtom;
    ViewPoint at;
  };
  struct FrameContact {
    FrameEnd from;
    FrameEnd to;
    ContactLine line = ContactLine::Short;
  };
  struct FrameMeasure {
    std::vector<FrameEnd> ends;
    const std::string* text = nullptr;
    CanvasPoint at;       // where its text belongs
    CanvasPoint towards;  // the side of that on which it had best stand
    std::vector<CanvasPoint> arc;
  };
  struct CellLetter {
    LabelBox box;
    char letter = ' ';
    CanvasPoint at;       // the corner of the cell
    CanvasPoint towards;  // away from its middle
    bool shown = true;
    bool rim = false;
  };
  struct ShownLabel {
    uint32_t atom = 0;  // behind the atoms are the measures
    CanvasPoint corner;
    CanvasPoint size;
    bool rim = false;  // something may lie under it
    bool leader = false;
    CanvasPoint from;  // of the line that leads to it
    CanvasPoint to;
  };
  // Where the middle of a label of the last frame stood, from the middle of its atom.
  struct LabelMemory {
    uint32_t serial = 0;  // of the atom or measure, 0: none
    CanvasPoint goal;
    CanvasPoint now;
  };

  // Frame set-up.
  void SetUp();
  void SetUpMap();
  void SetUpColours();
  void AddAtom(AtomRecord* atom, const ClipPoint& p);
  void ShadePeaks(double highest);
  bool GoOn() const { return !*keepGoing_ || (*keepGoing_)(); }
  bool Paper() const { return colours_.light; }
  Rgb Background() const { return colours_.background; }
  bool Classic() const { return options_->look == Look::Classic; }
  CanvasPoint Centre(const FrameAtom& atom) const;
  CanvasPoint DevicePoint(const ViewPoint& v, double w = 1.0) const;
  bool InSlab(double z) const { return z >= view_->depthNear && z <= view_->depthFar; }
  Pen ThinPen(Rgb colour) const { return {colour, map_.unit, LineStyle::Solid}; }
  uint32_t FrameIndex(const AtomRecord* atom) const { return static_cast<uint32_t>(atom->scratch); }
  bool IsSelected(const BondRecord* bond) const;
  // Only devices that are not made of pixels keep groups.
  bool Grouped() const { return !map_.whole; }
  Rgb ElementRgb(const FrameAtom& atom) const;
  Rgb Paled(const FrameAtom& atom, Rgb colour) const;
  uint8_t LineColour(const FrameAtom& atom) const {
    return static_cast<uint8_t>(atom.pale ? atom.colour | kDimIndex : atom.colour);
  }

  // Wire frame.
  bool RenderWireFrame(double near, double far);
  bool DrawWireGroups(double near, double far);
  void DrawWireGroup(std::string_view name);
  void NameBond(const BondRecord& bond);
  void AddWireBond(FrameAtom& a, FrameAtom& b, const BondRecord* bond, double near, double far);
  void AddWirePiece(const FrameAtom& a, const FrameAtom& b, const BondRecord* bond, double t0, double t1,
                    uint8_t colour);
  void AddParallel(const FrameAtom& a, const FrameAtom& b, double side, double t0, double t1, uint8_t colour,
                   int style);
  void AddWireMarks(const FrameAtom& atom);
  void AddPiece(uint8_t colour, int style, double x1, double y1, double x2, double y2);
  void DrawPieces();

  // Depth-sorted scene.
  bool RenderScene();
  void CollectBonds();
  void SortScene();
  bool DrawInDepthOrder();
  void DrawAtom(uint32_t index);
  void DrawBall(const FrameAtom& atom);
  void DrawMark(const FrameAtom& atom);
  double MarkArm(const FrameAtom& atom) const;
  bool IsBoxed(uint32_t index) const;
  double BodyRadius(uint32_t index) const;
  double BodyReach(uint32_t index) const;
  double SurfaceFraction(uint32_t index, const ViewPoint& delta) const;
  void SetUpBalls();
  double BallRadius(const FrameAtom& atom) const { return atom.ball > 0.0f ? atom.ball : ballRadius_[atom.row]; }
  void SetUpIsotropicBalls();
  void DrawPattern(const EllipseShape& shape, int texture);
  void DrawSelection();
  void DrawRing(uint32_t index, double gap, const Pen& pen);

  // Ellipsoids.
  void SetUpEllipsoids();
  void DrawEllipsoid(const FrameAtom& atom, const FrameEllipsoid& ellipsoid);
  void DrawOctant(CanvasPoint centre, const FrameEllipsoid& ellipsoid, Rgb fill);
  double BoxArm(const FrameAtom& atom) const;
  void DrawCrossedBox(const FrameAtom& atom);

  // Bonds.
  void DrawBond(const FrameBond& bond);
  void DrawSticks(const FrameBond& bond, CanvasPoint a, CanvasPoint b);
  void DrawStick(const FrameBond& bond, CanvasPoint a, CanvasPoint b, double width, int style);
  bool IsHidden(const FrameBond& bond) const;
  void DrawSleeve(const FrameBond& bond);
  void DrawPiece(const FrameBond& bond, CanvasPoint a, CanvasPoint b, Rgb colour, double width, double rim, int style);
  double NearnessFactor(const FrameBond& bond, CanvasPoint at) const;
  Rgb BondColour(const FrameBond& bond) const;
  void SetUpPipes();
  void DrawPipes(uint32_t index);
  double PipeRadius(uint32_t index) const;
  double StickWidth(double width) const;
  bool BondEnds(const FrameBond& bond, CanvasPoint& a, CanvasPoint& b) const;

  // Hydrogen bonds and short contacts.
  void SetUpContacts();
  void DrawContact(const FrameContact& contact);

  // Measures and restraints.
  FrameEnd EndAt(uint32_t index) const;
  bool EndOf(const FigureMarks::Place& place, FrameEnd& end) const;
  CanvasPoint PointOf(const FrameEnd& end) const;
  void SetUpMeasures();
  void SetUpArc(FrameMeasure& measure) const;
  void DrawMarks();
  void DrawStrains();
  void DrawMeasureTexts();
  Rgb MeasureInk() const;
  LabelRequest RequestOf(const FrameMeasure& measure);

  // Polyhedra, planes and their centroids.
  static constexpr double kCentroidBall = 0.1;  // Å
  void SetUpFaces();
  void DrawFacet(const Facet& facet);
  double CentroidRadius() const;
  void DrawCentroid(const ViewPoint& centroid);

  // Cell box.
  bool CellCorners(std::array<ViewPoint, 8>& corners) const;
  void SetUpCellBox();
  void DrawCellBox(double near, double far);
  void SetUpCellLetters();

  // Nets of electron density.
  void SetUpNet();
  CanvasPoint NetPoint(const ViewPoint& p) const;
  Rgb NetColour(NetTone tone) const;
  void AddNetItems();
  void DrawNetLayer(uint32_t layer);
  void DrawNet();
  void DrawNetTexts();

  // Labels.
  void AddLabelDirections(const FrameAtom& a, const FrameAtom& b);
  void DrawLabels();
  void DrawLabelTexts();
  void DrawCorners();
  void DrawTripod();
  void DrawScaleBar();
  void DrawLegend();
  void CollectLabels();
  void CollectNearestLabels();
  void CarryLabels();
  void PlaceLabels();
  LabelRequest RequestOf(uint32_t index);
  EllipseShape BodyShape(uint32_t index) const;
  void CollectObstacles();
  double HalfWidth(const FrameBond& bond) const;
  bool FreeLine(uint32_t a, uint32_t b, CanvasPoint& from, CanvasPoint& to) const {
    return FreeLine(EndAt(a), EndAt(b), from, to);
  }
  bool FreeLine(const FrameEnd& a, const FrameEnd& b, CanvasPoint& from, CanvasPoint& to) const;
  void AddStick(const BondRecord* bond, uint32_t a, uint32_t b, double halfWidth);
  void KeepLayout();
  void SetUpSteadyLabels();
  CanvasPoint AnchorOf(uint32_t index) const;
  uint32_t SerialOf(uint32_t index) const;
  void Glide(ShownLabel& label);
  void AddLeader(ShownLabel& label, const EllipseShape& body);
  LabelText TextOf(const FrameAtom& atom) const;
  void NumberMates();
  void PlaceCellLetters(std::span<const LabelPlace> places);
  void DrawCellLetters();
  int ImportanceOf(const FrameAtom& atom) const;
  bool WantsLabel(const AtomRecord& atom) const;
  Rgb LabelColour(const FrameAtom& atom) const;

  Document* document_ = nullptr;
  const ViewState* view_ = nullptr;
  const RenderOptions* options_ = nullptr;
  Canvas* canvas_ = nullptr;
  const KeepGoing* keepGoing_ = nullptr;
  RenderOptions drawnOptions_;  // of the last picture

  DeviceMap map_;
  LookColours colours_;
  ColourScheme scheme_;
  std::array<Rgb, 256> palette_{};
  std::vector<FrameAtom> atoms_;
  std::vector<FrameBond> bonds_;
  std::vector<const BondRecord*> selectedBonds_;  // sorted
  std::vector<std::vector<LinePiece>> pieces_;    // by colour and style
  std::vector<DrawItem> items_;
  std::vector<DrawItem> itemScratch_;
  std::vector<FrameEllipsoid> ellipsoids_;
  std::vector<uint32_t> pipeStart_;  // of each atom's entries in pipes_
  std::vector<uint32_t> pipes_;      // indices into bonds_
  std::vector<CellPiece> cellPieces_;
  std::vector<Facet> facets_;
  std::vector<ViewPoint> centroids_;
  std::vector<FrameContact> contacts_;
  std::vector<FrameMeasure> measures_;
  std::vector<std::vector<LinePiece>> netPieces_;  // by layer of depth and tone
  std::array<double, 2> netDepths_{};              // where the layers begin, and how deep they are in all
  std::vector<ViewPoint> netEnds_;
  std::string groupName_;
  std::vector<CanvasPoint> labelDirections_;
  std::vector<ShownLabel> shownLabels_;
  std::vector<uint32_t> leftOut_;  // atoms whose labels had no room
  std::vector<LabelRequest> requests_;
  std::vector<EllipseShape> labelBodies_;
  std::vector<uint32_t> labelBodyAtoms_;
  std::vector<LabelStick> labelSticks_;
  std::vector<const BondRecord*> labelStickBonds_;
  std::vector<LabelMemory> labelMemory_;  // by place in the frame, empty when nothing is to be remembered
  Matrix4 labelRotation_{};               // of the frame remembered
  double labelTurn_ = 0.0;                // degrees since that frame
  std::vector<CellLetter> cellLetters_;
  std::vector<int32_t> mateCodes_;  // of the operations that made what is shown, ascending
  LabelPlacer placer_;
  LabelOccupancy occupancy_;

  // Shades of balls by element row, kept while the row keeps its colour.
  struct Shades {
    Rgb colour;
    bool known = false;
    std::array<Rgb, 8> screen;
  };
  std::array<Shades, kElementRows> shades_{};
  std::array<double, kElementRows> ballRadius_{};  // device units
};

}  // namespace marvik
