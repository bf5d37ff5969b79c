#pragma once

#include <QFont>

#include "draw/canvas/canvas.h"

class QPainter;
class QPainterPath;

namespace marvik {

// Draws with the toolkit's painter: on the pages of printers. Device units are those of the painter's window, whatever
// transform it has; nothing is cleared.
class PainterCanvas : public Canvas {
 public:
  // The painter must outlive the canvas. `labelSize` is the em of the labels in device units.
  PainterCanvas(QPainter& painter, int labelSize);

  void Clear(Rgb) override {}
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override;
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override;
  void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) override;
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override;
  void FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) override;
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override;
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override;
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override;
  using Canvas::TextSize;
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override;

 private:
  void Draw(const QPainterPath& path, const Pen& pen);
  void Fill(const QPainterPath& path, Rgb fill, const Pen& outline);
  QFont ShiftedFont() const;

  QPainter& painter_;
  QFont font_;
};

}  // namespace marvik
