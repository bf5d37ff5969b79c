#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/vec3.h"
#include "draw/canvas/canvas.h"
#include "draw/labels/label_font.h"
#include "gl/gl_picture.h"

namespace marvik {

// What a picture shows, in view units: the middle of the picture is the origin, half its side is 1, x runs to the
// right, y up and z to the viewer.

enum class GlShape : uint8_t { Ball, Ellipsoid, Mark, CrossedBox };

struct GlAtom {
  ViewPoint at;
  GlShape shape = GlShape::Ball;
  double radius = 0.0;              // of a ball; half the width of marks and boxes
  std::array<ViewPoint, 3> axes{};  // semi-axes of an ellipsoid, right-handed, pointing to the viewer's side
  Rgb colour;
  bool pale = false;       // lets the background through once it is lit
  int texture = 0;         // code of black-and-white pictures
  uint32_t firstBond = 0;  // of the bonds drawn with it, which end where the next atom's begin

  // No less than it reaches from its middle in any direction.
  double Reach() const;
};

struct GlBond {
  ViewPoint a;
  ViewPoint b;
  double radius = 0.0;
  Rgb colourA;  // of its halves
  Rgb colourB;
  int order = 0;  // BondOrder and BondStyle
  int style = 0;
  bool paleA = false;
  bool paleB = false;
  double widening = 0.0;  // of a solid one's radius, from a to b
};

struct GlLine {
  ViewPoint a;
  ViewPoint b;
  Rgb colour;
  bool fine = false;  // of a net
};

// A flat convex piece that lets through what lies behind it.
struct GlFace {
  std::vector<ViewPoint> corners;  // in order round it
  Rgb colour;
  double opacity = 0.5;
};

// Text on the finished picture, its lower left corner in pixels from the upper left one.
struct GlLabel {
  CanvasPoint corner;
  std::string text;
  TextLook look;
};

// A line from a body to its label, or one that marks something, on the finished picture as well.
struct GlLeader {
  CanvasPoint a;
  CanvasPoint b;
  Rgb colour;
  double width = 1.0;  // pixels
};

struct GlScene {
  std::vector<GlAtom> atoms;
  std::vector<GlBond> bonds;
  std::vector<GlLine> lines;  // edges of the cell, nets
  std::vector<GlFace> faces;  // the farthest first
  std::vector<GlLabel> labels;
  std::vector<GlLeader> leaders;
  std::vector<std::function<void(Canvas&)>> corners;  // what stands in the corners of the finished picture
  Rgb background;
  double unit = 2.0 / 600.0;  // what one pixel of a screen picture is: the width of thin lines
  double depth = 10.0;        // nothing lies further from the origin in z
  double fog = 0.0;           // how much of the background lies over what is farthest

  uint32_t EndOfBonds(size_t atom) const {
    return atom + 1 < atoms.size() ? atoms[atom + 1].firstBond : static_cast<uint32_t>(bonds.size());
  }
};

// Positions, radii, colours and places of labels are those of the interactive renderer in a picture of that size.
// `font` may be null where there are no labels. The atoms' screen positions come back as they were.
GlScene BuildGlScene(Document& document, const ViewState& view, int size, const GlPictureOptions& options,
                     LabelFont* font);

// Draws all layers of a scene, but not its labels, into a picture of that size, which is filled with what is behind the
// model first. False, with a text in `error` unless `keepGoing` stopped it, when the picture is not whole.
bool RenderGlScene(const GlScene& scene, int size, const GlPictureOptions& options, Image& image, std::string& error,
                   const KeepGoing& keepGoing, const std::function<void(int done, int total)>& progress);

}  // namespace marvik
