#pragma once

#include <string>

#include "draw/canvas/canvas.h"

namespace marvik {

// Writes down what is drawn, one line a call (one a piece in a batch), so that drawings can be compared as text:
//
//   clear #000000
//   line 10 20 30 40 #cdcd00 w1
//   piece 10 20 30 40 #cdcd00 w1 dashed
//   ellipse 5 5 p 3 0 q 0 3 #808080 outline #ffffff w1
//   disc 5 5 r 3 #808080          of a stack, with its place on the canvas
//   arc 5 5 p 3 0 q 0 3 from 0 to 1.571 #ffffff w1
//   polygon 0 0, 1 0, 1 1 #808080 outline #ffffff w1
//   polyline 0 0, 1 0 #ffffff w1
//   text 5 5 centre #ffffff C1
//   begin C1
//   end
//
// Numbers have up to three decimals, those that are not finite read "nan". A pen of width 0 gives no outline.
class RecordingCanvas : public Canvas {
 public:
  void Clear(Rgb colour) override;
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override;
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override;
  void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) override;
  void DiscStack(CanvasPoint centre, std::span<const Disc> discs) override;
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override;
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override;
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override;
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override;
  // Six units a byte, ten units high.
  using Canvas::TextSize;
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override;
  void BeginGroup(std::string_view name) override;
  void EndGroup() override;

  const std::string& Recorded() const { return text_; }
  // Of recorded lines that begin with `word` and a blank, or are that word.
  int Count(std::string_view word) const;
  void Forget() { text_.clear(); }

 private:
  std::string text_;
};

}  // namespace marvik
