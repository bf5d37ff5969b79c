#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "chem/drawn_contacts.h"
#include "draw/canvas/canvas.h"
#include "draw/labels/label_placer.h"
#include "draw/labels/label_text.h"
#include "draw/renderer/colour_scheme.h"
#include "draw/renderer/figure_marks.h"
#include "draw/renderer/look.h"
#include "draw/view/view_state.h"
#include "model/document.h"

namespace marvik {

struct DensityNet;

enum DisplayMode { kWireFrame = 0, kBallAndStick = 1, kThermalEllipsoid = 2, kPipes = 3 };

// The groups of lines over the bodies: those that lead to labels, before the labels' own, and those of measures and
// restraints.
inline constexpr char kLeaderGroup[] = "leaders";
inline constexpr char kMarkGroup[] = "marks";
// Those of what stands in the corners.
inline constexpr char kCornerGroup[] = "corners";

// What a figure shows beside atoms, bonds and labels.
struct FigureChoices {
  ColourBy colourBy = ColourBy::Element;
  bool tripod = false;             // the directions of a, b and c, lower left
  bool scaleBar = false;           // lower right
  bool legend = false;             // what the colours stand for, upper left
  bool hydrogensByU = false;       // among ellipsoids; else all of one small size
  bool hydrogenBonds = false;      // dashed, between atoms that are shown
  bool shortContacts = false;      // the same
  bool measures = false;           // distances and angles that the file keeps
  bool planes = false;             // planes and centroids, with what is measured between them
  bool restraints = false;         // by how well they are kept
  bool paleMates = false;          // atoms that were grown or packed nearer to the background
  bool bareMates = false;          // their labels lack the number of their operation, as in the classic look
  bool taperedBonds = false;       // wider toward the viewer
  bool ambientShadow = true;       // of the lit rendition, where much lies around
  std::vector<uint8_t> polyhedra;  // rows of the elements in their middle
};

// What a picture shows beside the view.
struct RenderOptions {
  int mode = kWireFrame;  // anything else than the four is the wire frame
  Look look = Look::Classic;
  bool safeColours = false;  // of elements, for colour-blind eyes
  bool labels = true;
  // Labels go toward their best places by small steps from where the last picture had them, so that they can be
  // followed while the model turns. Off: the picture depends on nothing but the document, the view and these options.
  bool steadyLabels = false;
  // Labels go along with their atoms from where the last picture with steady ones had them; none looks for a place.
  bool carriedLabels = false;
  bool hydrogenLabels = false;
  double labelPoints = 9.0;  // of the labels' type, on paper and screen; whoever makes the canvas goes by it
  LabelForm labelForm = LabelForm::Plain;
  bool hybridLabelColoration = false;
  bool showCell = false;
  bool printing = false;         // page units and paper colours
  bool whiteBackground = false;  // paper colours on a pixel canvas
  bool exact = false;            // vector figures: positions and sizes are not cut to whole pixels
  bool cutOctant = false;        // ellipsoids show their inside in the octant toward the viewer
  FigureChoices figure;
  double thinLine = 0.0;     // device units; 0: by the side of the picture
  double probability = 0.5;  // of thermal ellipsoids
  bool clear = true;         // off: what is there stays behind the picture
  bool layout = false;       // Layout() is going to be asked
  bool selection = true;     // what is selected is marked
  bool blackWhite = false;   // patterns of lines and dots by the element table instead of colours, on white
  std::shared_ptr<const DensityNet> net{};  // lines of electron density among the bodies; may be null
  // What the figure has of hydrogen bonds, short contacts and measured distances; may be null.
  std::shared_ptr<const std::vector<DrawnContact>> contacts{};
  std::shared_ptr<const FigureMarks> marks{};  // may be null
  bool bodies = true;                          // off: only what stands over atoms, bonds and cell: marks and texts
};

// Asked before each atom; false stops the picture where it is.
using KeepGoing = std::function<bool()>;

// Where a label of the last picture stands: the bottom left corner of its text and its size, in device units.
struct PlacedLabel {
  const AtomRecord* atom = nullptr;
  CanvasPoint at;
  CanvasPoint size;
  bool leader = false;  // a line leads to it
};

// What lies where in a picture, device units.
struct FrameLayout {
  struct Body {
    const AtomRecord* atom;
    EllipseShape shape;
  };
  struct Bond {
    const BondRecord* bond;
    LabelStick line;  // between the bodies
  };
  std::vector<PlacedLabel> labels;
  std::vector<const AtomRecord*> leftOut;  // wanted a label and had no room
  std::vector<Body> bodies;
  std::vector<Bond> bonds;
};

// What the last picture shows at a point: an atom, by its body or its label, or a bond; nothing where it is empty.
struct FrameHit {
  const AtomRecord* atom = nullptr;
  const BondRecord* bond = nullptr;
  EllipseShape body;  // of the atom
  CanvasPoint from;   // of the bond
  CanvasPoint to;
};

class RenderFrame;

// Draws the structure with plain two-dimensional drawing calls. Keeps its work arrays from frame to frame.
class InteractiveRenderer {
 public:
  InteractiveRenderer();
  ~InteractiveRenderer();
  InteractiveRenderer(InteractiveRenderer&&) noexcept;
  InteractiveRenderer& operator=(InteractiveRenderer&&) noexcept;

  // The whole picture in any mode: background, model, cell box, labels. Writes the transformed coordinates and, but on
  // paper, the screen positions into the atoms, and their place among the displayed ones into `scratch` (-1: not
  // displayed). Atoms whose position is not finite are left out, at screen position -32768, -32768. False when it was
  // interrupted.
  bool Render(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
              const KeepGoing& keepGoing);

  // Of the last picture, in drawing order.
  const std::vector<PlacedLabel>& Labels() const;
  // Of the last picture, if its options asked for it.
  const FrameLayout& Layout() const;
  // What is drawn at that point of the last picture, the foremost first, labels before all; in the wire frame labels
  // alone. To be asked only while the atoms and bonds of that picture are there. A bond can be missed by `slack`.
  FrameHit At(CanvasPoint point, double slack) const;
  // The body of an atom of the last picture; nothing for one that it does not show.
  std::optional<EllipseShape> BodyOf(const AtomRecord& atom) const;
  // False while labels of the last picture are still on their way: drawing it again brings them nearer, in at most a
  // few dozen pictures to where they stand without steadyLabels.
  bool LabelsSettled() const;
  // The offset that keeps a label where the last picture had it once it counts as placed by hand, in view units, each
  // within ±0.5: what labelOffsetX and labelOffsetY become when the user starts to move a label.
  CanvasPoint LabelOffset(const AtomRecord& atom, const ViewState& view) const;

 private:
  std::unique_ptr<RenderFrame> frame_;
};

// A solid stick of more than one unit is drawn twice: forth with the whole width, back with a fifth of it. Widths in
// device units, at least the thinnest line; `style` is a BondStyle.
void DrawBondLine(Canvas& canvas, Rgb colour, CanvasPoint a, CanvasPoint b, double width, int style);

}  // namespace marvik
