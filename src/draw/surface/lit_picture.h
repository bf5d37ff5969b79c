#pragma once

#include "draw/labels/label_font.h"
#include "draw/renderer/interactive_renderer.h"
#include "draw/surface/lit_surface.h"
#include "draw/view/view_state.h"
#include "model/document.h"

namespace marvik {

// Beside the renditions of the interactive renderer, which draws a wire frame for it.
inline constexpr int kLitRendition = 4;

// The bodies that a view shows: thermal ellipsoids where the structure has some, else ball and stick; hydrogens, peaks
// and colours as the look has them.
LitScene BuildLitScene(const Document& document, const ViewState& view, const RenderOptions& options);

// A picture of the view, lit, of that many pixels; what lies beside the view's square is drawn too. Labels, cell box
// and marks of what is selected are those of `renderer`, drawn over it, which writes the atoms' screen positions as in
// any other rendition; without a font there are no labels. At rest (not moving) one at 900 pixels takes some 150 ms of
// two cores. False in `complete` when it was stopped.
struct LitPicture {
  Image image;
  bool complete = false;
};
LitPicture DrawLit(Document& document, const ViewState& view, const RenderOptions& options, int width, int height,
                   const LitOptions& lit, LabelFont* font, InteractiveRenderer& renderer, const KeepGoing& keepGoing);

}  // namespace marvik
