#include "draw/canvas/png_strips.h"

#include <algorithm>
#include <new>
#include <optional>
#include <vector>

#include "draw/canvas/png_writer.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/label_font.h"

namespace marvik {
namespace {

constexpr int kPixelsAtOnce = 4 << 20;  // up to 2,048 x 2,048 in one piece

// A window of rows on a larger picture: everything is moved up before it is drawn.
class StripCanvas : public Canvas {
 public:
  StripCanvas(Canvas& canvas, int top) : canvas_(canvas), top_(top) {}

  void Clear(Rgb colour) override { canvas_.Clear(colour); }
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override {
    pieces_.assign(pieces.begin(), pieces.end());
    for (LinePiece& p : pieces_) {
      p.y1 = Up(p.y1);
      p.y2 = Up(p.y2);
    }
    canvas_.Lines(pieces_, pen);
  }
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override { canvas_.Line(Up(a), Up(b), pen); }
  void FillEllipse(const EllipseShape& e, Rgb fill, const Pen& outline) override {
    canvas_.FillEllipse(Up(e), fill, outline);
  }
  void DiscStack(CanvasPoint centre, std::span<const Disc> discs) override { canvas_.DiscStack(Up(centre), discs); }
  void Arc(const EllipseShape& e, double t0, double t1, const Pen& pen) override { canvas_.Arc(Up(e), t0, t1, pen); }
  void FillSector(const EllipseShape& e, double t0, double t1, Rgb fill) override {
    canvas_.FillSector(Up(e), t0, t1, fill);
  }
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override {
    canvas_.Polygon(Up(points), fill, outline);
  }
  void Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) override {
    canvas_.Facet(Up(points), fill, opacity, outline);
  }
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override { canvas_.Polyline(Up(points), pen); }
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override {
    canvas_.Text(Up(at), anchor, text, look);
  }
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override { return canvas_.TextSize(text, shift); }

 private:
  CanvasPoint Up(CanvasPoint p) const { return {p.x, p.y - top_}; }
  EllipseShape Up(const EllipseShape& e) const { return {Up(e.centre), e.p, e.q}; }
  int16_t Up(int16_t y) const { return static_cast<int16_t>(std::max(y - top_, -32768)); }
  std::span<const CanvasPoint> Up(std::span<const CanvasPoint> points) {
    points_.assign(points.begin(), points.end());
    for (CanvasPoint& p : points_) p.y -= top_;
    return points_;
  }

  Canvas& canvas_;
  int top_;
  std::vector<LinePiece> pieces_;
  std::vector<CanvasPoint> points_;
};

// What was drawn over black and over white, as colour and cover: a cover a and a colour c give a·c there and
// a·c + (1 - a)·white here.
uint32_t Uncovered(uint32_t onBlack, uint32_t onWhite) {
  const Rgb black = ColourOf(onBlack);
  const Rgb white = ColourOf(onWhite);
  const int missing = white.r - black.r + white.g - black.g + white.b - black.b;
  const int cover = std::clamp(255 - (missing + 1) / 3, 0, 255);
  if (cover == 0) return 0;
  const auto channel = [cover](uint8_t v) {
    return static_cast<uint32_t>(std::min(255, (v * 255 + cover / 2) / cover));
  };
  return static_cast<uint32_t>(cover) << 24 | channel(black.r) << 16 | channel(black.g) << 8 | channel(black.b);
}

}  // namespace

std::optional<std::string> DrawPngInStrips(const StripDrawing& drawing, double resolution, const DrawWhole& draw,
                                           UserMessages& messages) {
  const int side = drawing.side;
  const int end = drawing.first + drawing.rows;
  const int rows = std::clamp(kPixelsAtOnce / std::max(side, 1), 1, drawing.rows);
  Image image(side, rows);
  Image second(drawing.transparent ? side : 0, rows);
  std::optional<LabelFont> font;
  if (drawing.labelPixels > 0.0) font.emplace(drawing.labelPixels);
  PngEncoder encoder(side, drawing.rows, {resolution, drawing.transparent});
  const auto drawStrip = [&](Image& target, int top, int count) {
    ScanlineCanvas canvas(target.pixels.data(), side, count, side, font ? &*font : nullptr);
    StripCanvas strip(canvas, top);
    if (!drawing.transparent) return draw(strip, true);
    canvas.Clear(&target == &image ? Rgb{0, 0, 0} : Rgb{255, 255, 255});
    return draw(strip, false);
  };
  for (int top = drawing.first; top < end; top += rows) {
    const int count = std::min(rows, end - top);
    if (rows < drawing.rows && !messages.ReportProgress(top - drawing.first, drawing.rows)) return {};
    bool whole = drawStrip(image, top, count);
    if (whole && drawing.transparent) {
      whole = drawStrip(second, top, count);
      std::ranges::transform(image.pixels, second.pixels, image.pixels.begin(), Uncovered);
    }
    if (!whole) {
      if (rows < drawing.rows) messages.ReportProgress(drawing.rows, drawing.rows);
      return {};
    }
    if (!encoder.Rows(image.pixels.data(), count)) throw std::bad_alloc();
  }
  if (rows < drawing.rows) messages.ReportProgress(drawing.rows, drawing.rows);
  auto bytes = encoder.Finish();
  if (!bytes) throw std::bad_alloc();
  return bytes;
}

}  // namespace marvik
