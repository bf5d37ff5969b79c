#pragma once

#include "draw/labels/label_font.h"
#include "draw/renderer/interactive_renderer.h"
#include "draw/surface/lit_surface.h"
#include "draw/view/view_state.h"
#include "model/document.h"

namespace marvik {

// Beside the renditions of the interactive renderer, which draws a wire frame for it.
inline constexpr int kLitRendition = 4;

// The rendition of the interactive renderer that has the same bodies as the lit one: thermal ellipsoids where the
// structure has some, else ball and stick. Others stay what they are.
int FlatRendition(const Document& document, int mode);

// The bodies that a view shows, hydrogens, peaks and colours as the look has them, and the edges of the cell.
LitScene BuildLitScene(const Document& document, const ViewState& view, const RenderOptions& options);

// The surface of the last scene, drawn anew only where scene, size or quality are others: what is selected, named or
// pointed at costs no rays.
class LitCache {
 public:
  const Image& Draw(LitScene scene, int width, int height, const LitOptions& options);
  // Whether the last one was.
  bool WasDrawn() const { return drawn_; }

 private:
  LitScene scene_;
  Image surface_;
  bool moving_ = false;
  bool shadow_ = false;
  bool drawn_ = false;
};

// Over the surface: labels, the letters of the cell and marks of what is selected, by `renderer`, which writes the
// atoms' screen positions as in any other rendition. False when it was stopped.
bool DrawOverLit(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
                 InteractiveRenderer& renderer, const KeepGoing& keepGoing);

// Both, a picture of the view of that many pixels; what lies beside the view's square is drawn too. Without a font
// there are no labels. At rest (not moving) one at 900 pixels takes some 150 ms of two cores. False in `complete` when
// it was stopped.
struct LitPicture {
  Image image;
  bool complete = false;
};
LitPicture DrawLit(Document& document, const ViewState& view, const RenderOptions& options, int width, int height,
                   const LitOptions& lit, LabelFont* font, InteractiveRenderer& renderer, const KeepGoing& keepGoing);

}  // namespace marvik
