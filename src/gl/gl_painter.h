#pragma once

#include <array>
#include <functional>

#include "gl/gl_bodies.h"
#include "gl/gl_layers.h"
#include "gl/gl_scene.h"

namespace marvik {

// How a scene is painted.
struct GlStyle {
  bool colour = true;
  bool cutSection = true;
  int size = 600;        // of the whole picture, pixels
  int factor = 1;        // drawn so many times as large
  bool sampled = false;  // alpha tells what a pixel shows (GlSampleKind), nothing is blended
};

// A rectangle of the picture: pixels from its lower left corner, which may lie outside.
struct GlWindow {
  int left = 0;
  int bottom = 0;
  int width = 0;
  int height = 0;
};

// Paints scenes with the context and target that are current from its making to its end. Bodies, textures and shading
// program are made once and serve every pass.
class GlPainter {
 public:
  GlPainter(const GlScene& scene, const GlStyle& style);
  ~GlPainter();
  GlPainter(const GlPainter&) = delete;
  GlPainter& operator=(const GlPainter&) = delete;

  // Viewport, projection and cleared buffers for a part of the picture; what lies outside it will be left out.
  void Begin(const GlWindow& window);
  // One pass over all atoms, their bonds and the cell box. `before` is called before each atom and may end the pass,
  // which then gives false.
  bool Draw(const GlLayer& layer, const std::function<bool()>& before);
  // Whether anything reaches into a part of the picture.
  bool ShowsAnything(const GlWindow& window);

  void DrawAtomGl(const GlAtom& atom);
  void DrawBondGl(const GlBond& bond);
  void DrawEllipsoidGl(const GlAtom& atom);

 private:
  bool Sees(const ViewPoint& at, double reach) const;
  bool Sees(const ViewPoint& a, const ViewPoint& b, double reach) const;
  double Pixels(double viewUnits) const { return viewUnits * style_.size * 0.5; }
  int Slices(double viewUnits, int standard) const;
  void SetLens(const GlWindow& window);
  void SetColour(Rgb colour, bool atom) const;
  void Shade(bool lit);
  // What is drawn next lets the background through.
  void SetPale(bool pale);
  void UseTexture(int code);
  void DrawBall(const GlAtom& atom);
  void DrawMark(const GlAtom& atom);
  void DrawCrossedBox(const GlAtom& atom);
  void DrawRing(const ViewPoint& at, const ViewPoint& p, const ViewPoint& q);
  void DrawBands(const GlAtom& atom);
  void DrawCutFaces(const GlAtom& atom);
  void DrawStick(const GlBond& stick, int style);
  void DrawRod(const ViewPoint& a, const ViewPoint& b, double radius, double widening, bool closed);
  void DrawLines();

  const GlScene& scene_;
  GlStyle style_;
  GlBodies bodies_;
  GlLayer layer_;
  bool lit_ = true;
  bool pale_ = false;
  unsigned program_ = 0;
  std::array<unsigned, kTextures> textures_{};
  double left_ = -1.0;  // edges of the window, view units
  double right_ = 1.0;
  double bottom_ = -1.0;
  double top_ = 1.0;
};

}  // namespace marvik
