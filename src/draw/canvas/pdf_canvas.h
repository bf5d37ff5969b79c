#pragma once

#include <memory>
#include <optional>
#include <string>

#include "draw/canvas/canvas.h"
#include "draw/labels/label_font.h"

namespace marvik {

struct PdfPage {
  double width = 0.0;  // points
  double height = 0.0;
  double unit = 1.0;      // points to a device unit of what is drawn
  CanvasPoint corner;     // of the page's upper left, in device units
  double thinnest = 0.5;  // points, of lines
  std::string title;
  bool eps = false;  // encapsulated PostScript instead
};

// Pages as PDF, or one as EPS: curves for ellipses and arcs, real text in an embedded subset of the label face. The
// same drawing gives the same bytes.
class PdfCanvas : public FigureCanvas {
 public:
  // Whether the system has the library that writes such files, which is not loaded before. To be asked first.
  static bool IsThere();
  static constexpr char kMissing[] = "PDF and EPS files need the library libcairo.so.2, which is not installed.";

  // The font gives the widths of the labels and its size, in device units, that of the text; `fontFile` is the face
  // that is drawn, where it is none whatever sans face the system has.
  PdfCanvas(const PdfPage& page, LabelFont& font, const std::string& fontFile);
  ~PdfCanvas() override;

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

  void BeginFrame(CanvasPoint corner, CanvasPoint size, CanvasPoint origin) override;
  void EndFrame() override;
  // Of the same size.
  void NewPage();
  std::optional<std::string> Finish() override;

 private:
  struct State;
  void Path(std::span<const CanvasPoint> points);
  void ArcPath(const EllipseShape& shape, double t0, double t1);
  void Stroke(const Pen& pen);
  void Fill(Rgb fill, const Pen& outline);
  void SetColour(Rgb colour);

  std::unique_ptr<State> state_;
  LabelFont& font_;
};

}  // namespace marvik
