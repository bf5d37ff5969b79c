#pragma once

#include <memory>
#include <vector>

#include "draw/canvas/canvas.h"
#include "draw/canvas/image.h"
#include "draw/canvas/raster.h"

namespace marvik {

class DiscStackCache;
class LabelFont;

struct ScanlineOptions {
  // Edges of discs, ellipses, polygons and thick lines, and thin lines drawn alone, share the colour of border pixels;
  // what lies wholly inside has its exact colour either way. Off: whole pixels only, in everything.
  bool smoothEdges = true;
  // Thin solid lines in batches are smooth too until so many have been drawn since Clear; in a picture more crowded
  // than that smoothing is not seen and costs time. The rest are single pixels wide in their exact colour.
  int smoothPieces = 30000;
};

// Draws into 32-bit pixels by scanlines. Everything is cut off at the sides; coordinates that are not finite, or beyond
// ten million, draw nothing.
class ScanlineCanvas : public Canvas {
 public:
  // The image (and the font, without which texts are left out) must outlive the canvas.
  explicit ScanlineCanvas(Image& image, LabelFont* font = nullptr, ScanlineOptions options = {});
  // Pixels of a toolkit's image; `stride` counts pixels from one row to the next.
  ScanlineCanvas(uint32_t* pixels, int width, int height, ptrdiff_t stride, LabelFont* font = nullptr,
                 ScanlineOptions options = {});
  ~ScanlineCanvas() override;

  // Goes on drawing elsewhere, keeping the pictures of disc stacks.
  void SetTarget(uint32_t* pixels, int width, int height, ptrdiff_t stride);

  void Clear(Rgb colour) override;
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override;
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override;
  void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) override;
  void DiscStack(CanvasPoint centre, std::span<const Disc> discs) override;
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override;
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override;
  void Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) override;
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override;
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override;
  using Canvas::TextSize;
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override;

 private:
  PixelBox Bounds() const { return {0, 0, surface_.width - 1, surface_.height - 1}; }
  void ThinPolyline(std::span<const CanvasPoint> points, const Pen& pen);
  void StrokeToMask(std::span<const CanvasPoint> points, LineStyle style, double width, const PixelBox& box);
  void PlainOutline(const EllipseShape& shape, uint32_t colour);
  void FillPolygon(std::span<const CanvasPoint> points, uint32_t colour);
  void DrawMask(const PixelBox& box, uint32_t colour);

  Surface surface_;
  LabelFont* font_;
  ScanlineOptions options_;
  size_t smoothPieces_ = 0;  // drawn since Clear
  std::unique_ptr<DiscStackCache> stacks_;
  // Work space, kept to save the allocations.
  std::vector<uint8_t> mask_;
  std::vector<float> crossings_;
  std::vector<float> coverage_;
  std::vector<CanvasPoint> points_;
};

}  // namespace marvik
