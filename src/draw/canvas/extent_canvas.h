#pragma once

#include "draw/canvas/canvas.h"
#include "draw/labels/label_font.h"

namespace marvik {

// Draws nothing and keeps how far up and down what is drawn reaches.
class ExtentCanvas : public Canvas {
 public:
  // The font has to outlive it.
  explicit ExtentCanvas(LabelFont& font) : font_(font) {}

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

  bool IsEmpty() const { return !(top_ <= bottom_); }
  double Top() const { return top_; }
  double Bottom() const { return bottom_; }

 private:
  void Take(double y, double reach);

  LabelFont& font_;
  double top_ = 1e30;
  double bottom_ = -1e30;
};

}  // namespace marvik
