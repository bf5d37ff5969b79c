#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace marvik {

struct Rgb {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};

// Device units, y down: pixels on the screen and in pictures, hundredths of a millimetre on a page, points in vector
// figures. On a pixel device whole coordinates are the middles of pixels: a disc of radius 2.5 about (10, 10) is the
// pixels 8 to 12.
struct CanvasPoint {
  double x = 0.0;
  double y = 0.0;
};

struct LinePiece {
  int16_t x1 = 0;
  int16_t y1 = 0;
  int16_t x2 = 0;
  int16_t y2 = 0;
};

enum class LineStyle : uint8_t { Solid, Dashed, Dotted };

struct Pen {
  Rgb colour;
  double width = 1.0;                  // device units; up to 1 is the thinnest line the device has; 0 draws nothing
  LineStyle style = LineStyle::Solid;  // caps are round
};

// An ellipse centre + cos t · p + sin t · q; p and q are any two conjugate half axes.
struct EllipseShape {
  CanvasPoint centre;
  CanvasPoint p;
  CanvasPoint q;
};
CanvasPoint PointOn(const EllipseShape& e, double t);

// One of a stack of discs that together look like a ball.
struct Disc {
  CanvasPoint offset;  // of its centre from the stack's
  double radius = 0.0;
  Rgb colour;
};

enum class TextAnchor { BottomLeft, Centre };

// Where in a text the subscript begins, and behind it the superscript; npos where there is none.
struct TextShift {
  size_t lowered = std::string_view::npos;
  size_t raised = std::string_view::npos;
};
// Of both: their size and how far below and above the base line they stand, as shares of the text's size.
inline constexpr double kShiftedSize = 0.72;
inline constexpr double kLoweredBy = 0.18;
inline constexpr double kRaisedBy = 0.34;
// The pieces of a text, which follow one another; those without letters may be left out. `down` is a share of the
// text's size.
struct TextRun {
  std::string_view text;
  double down = 0.0;
  bool shifted = false;
};
std::array<TextRun, 3> RunsOf(std::string_view text, const TextShift& shift);

// How a text looks beside its font.
struct TextLook {
  TextLook(Rgb ink) : colour(ink) {}  // NOLINT: a plain text is its colour
  Rgb colour;
  Rgb rimColour{};
  double rim = 0.0;  // device units around the letters, 0 for none
  TextShift shift{};
};

// What the interactive renderer draws on: the screen's pixel buffer, a page, a vector figure, or a recording.
class Canvas {
 public:
  virtual ~Canvas() = default;

  virtual void Clear(Rgb colour) = 0;
  // A batch in one pen.
  virtual void Lines(std::span<const LinePiece> pieces, const Pen& pen) = 0;
  // The same in parts of a device unit: `scale` units each.
  virtual void ScaledLines(std::span<const LinePiece> pieces, double scale, const Pen& pen) {
    if (scale == 1.0) return Lines(pieces, pen);
    for (const LinePiece& p : pieces) Line({p.x1 * scale, p.y1 * scale}, {p.x2 * scale, p.y2 * scale}, pen);
  }
  virtual void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) = 0;
  // Filled and outlined; a pen of width 0 leaves the outline off.
  virtual void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) = 0;
  // Discs without outlines painted one over the other about `centre`: a shaded ball. A device may keep the picture of a
  // stack that it has drawn before, so this is the fast road for many equal balls; whole-pixel centres repeat best.
  virtual void DiscStack(CanvasPoint centre, std::span<const Disc> discs) {
    for (const Disc& disc : discs) {
      const CanvasPoint at{centre.x + disc.offset.x, centre.y + disc.offset.y};
      FillEllipse({at, {disc.radius, 0.0}, {0.0, disc.radius}}, disc.colour, Pen{disc.colour, 0.0});
    }
  }
  // The part of an ellipse from angle t0 to t1 (radians, t1 > t0, at most a full turn), as a line.
  virtual void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) = 0;
  // What lies between the centre and that part, as a wedge without an outline.
  virtual void FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill);
  virtual void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) = 0;
  // A polygon that lets through what lies behind it; a device that cannot has the outline alone.
  virtual void Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline);
  virtual void Polyline(std::span<const CanvasPoint> points, const Pen& pen) = 0;
  // UTF-8, in the canvas's label font.
  virtual void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) = 0;
  // Width and height in device units of a text as Text draws it.
  virtual CanvasPoint TextSize(std::string_view text, const TextShift& shift) = 0;
  CanvasPoint TextSize(std::string_view text) { return TextSize(text, {}); }
  // What is drawn until EndGroup belongs to one atom or bond of this name; a device without groups ignores it.
  virtual void BeginGroup(std::string_view /*name*/) {}
  virtual void EndGroup() {}
};

// A vector figure that becomes a file.
class FigureCanvas : public Canvas {
 public:
  // What is drawn until EndFrame stands in a rectangle of that upper left corner and size, where `origin` comes to lie
  // at the corner, and is cut off at its sides.
  virtual void BeginFrame(CanvasPoint corner, CanvasPoint size, CanvasPoint origin) = 0;
  virtual void EndFrame() = 0;
  // The whole file, nothing when memory is gone. Nothing can be drawn behind it.
  virtual std::optional<std::string> Finish() = 0;
};

}  // namespace marvik
