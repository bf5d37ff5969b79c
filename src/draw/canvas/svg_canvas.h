#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

#include "draw/canvas/canvas.h"
#include "draw/labels/label_font.h"

namespace marvik {

// A vector figure as SVG 1.1 text: true ellipses and arcs, real text, one group for each atom and bond with its label
// as id. What an id cannot hold becomes "_" (the label is the group's title then), and equal ones get ".2", ".3". One
// device unit is one point. What is nearer is painted later, so hidden parts are hidden.
class SvgCanvas : public FigureCanvas {
 public:
  // Side of the square in points, of which the figure shows `height` from `top` on (all of it by itself); the font
  // gives the widths of the labels and its size is that of the text.
  SvgCanvas(double side, LabelFont& font) : SvgCanvas(side, 0.0, side, font) {}
  SvgCanvas(double side, double top, double height, LabelFont& font)
      : side_(side), top_(top), height_(height), font_(font) {}

  void Clear(Rgb colour) override;
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override;
  void ScaledLines(std::span<const LinePiece> pieces, double scale, const Pen& pen) override;
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override;
  void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) override;
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override;
  void FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) override;
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override;
  void Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) override;
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override;
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override;
  using Canvas::TextSize;
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override;
  void BeginGroup(std::string_view name) override;
  void EndGroup() override;
  void BeginFrame(CanvasPoint corner, CanvasPoint size, CanvasPoint origin) override;
  void EndFrame() override;

  std::string Document() const;
  std::optional<std::string> Finish() override { return Document(); }

 private:
  std::string TakeId(std::string_view name);

  double side_;
  double top_;
  double height_;
  LabelFont& font_;
  std::string body_;
  int frames_ = 0;
  std::unordered_set<std::string> ids_;
  std::unordered_map<std::string, int> idCounts_;
};

}  // namespace marvik
