#pragma once

#include <cmath>
#include <string>

#include "cryst/connectivity.h"
#include "display/interactive_renderer.h"
#include "display/recording_canvas.h"

#include "support/structures.h"

namespace marvik::test {

// A document and a view of it: 600 pixels, one view unit is 11 Å, so that 1.1 Å are 29.9 pixels and a carbon ball has a
// radius of 12. x runs to the left and y downward on the screen, greater Cartesian z is farther.
struct Scene {
  Document document;
  ViewState view;
  RenderOptions options;
  InteractiveRenderer renderer;
  RecordingCanvas canvas;
  RecordingMessages messages;

  explicit Scene(int mode = kWireFrame) {
    InitElementTable(document.elements, false);
    view.fitView(10.0, Cartesian{});
    view.depthNear = -1.0;
    view.depthFar = 1.0;
    options.mode = mode;
    options.labels = false;
  }
  AtomRecord* Add(std::string_view name, double x, double y, double z) { return AddAtomAt(document, name, {x, y, z}); }
  // What is drawn, as text.
  std::string Draw(const KeepGoing& keepGoing = nullptr) {
    canvas.Forget();
    finished = renderer.Render(document, view, options, canvas, keepGoing);
    return canvas.Recorded();
  }
  bool finished = false;
};

// The lines of a recording that begin with a word.
inline std::string Only(const std::string& recording, std::string_view word) {
  std::string result;
  for (size_t at = 0; at < recording.size();) {
    const size_t end = recording.find('\n', at) + 1;
    if (recording.compare(at, word.size(), word) == 0) result += recording.substr(at, end - at);
    at = end;
  }
  return result;
}

// Passes on nothing and counts calls with numbers that are not finite.
class FiniteCanvas : public Canvas {
 public:
  int faults = 0;
  int calls = 0;

  void Clear(Rgb) override {}
  void Lines(std::span<const LinePiece> pieces, const Pen& pen) override {
    calls += static_cast<int>(pieces.size());
    See(pen.width);
  }
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override { See(a), See(b), See(pen.width); }
  void FillEllipse(const EllipseShape& shape, Rgb, const Pen& outline) override { See(shape), See(outline.width); }
  void DiscStack(CanvasPoint centre, std::span<const Disc> discs) override {
    See(centre);
    for (const Disc& disc : discs) {
      See(disc.offset);
      See(disc.radius);
      if (disc.radius < 0.0) ++faults;
    }
  }
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen&) override {
    See(shape), See(t0), See(t1);
    if (!(t1 > t0)) ++faults;
  }
  void Polygon(std::span<const CanvasPoint> points, Rgb, const Pen&) override {
    for (const CanvasPoint& p : points) See(p);
  }
  void Polyline(std::span<const CanvasPoint> points, const Pen&) override {
    for (const CanvasPoint& p : points) See(p);
  }
  void Text(CanvasPoint at, TextAnchor, std::string_view, Rgb) override { See(at); }
  CanvasPoint TextSize(std::string_view text) override { return {6.0 * static_cast<double>(text.size()), 10.0}; }

 private:
  void See(double v) {
    ++calls;
    if (!std::isfinite(v)) ++faults;
  }
  void See(CanvasPoint p) { See(p.x), See(p.y); }
  void See(const EllipseShape& e) { See(e.centre), See(e.p), See(e.q); }
};

}  // namespace marvik::test
