#pragma once

#include "draw/renderer/interactive_renderer.h"
#include "draw/view/view_state.h"

namespace marvik {

// Turns the view so that the plane of least squares through the displayed atoms (hydrogens and peaks left out where
// there are others) faces the viewer, their longest axis across the picture. The same structure gives the same view.
// What is fitted stays; `FitFrame` is to follow.
void FaceBestPlane(ViewState& view, const Document& document);

// Turns the view so that `toward` points to the viewer and `up`, as far as it stands across that, upward; Å, of any
// length. False, with nothing changed, when they have no length or one direction.
bool LookAlong(ViewState& view, const Cartesian& toward, const Cartesian& up);

// The tightest square around what is displayed as the view stands: bodies of the rendition and the cell box, with a
// margin for labels. Centre and radius of the view are set, nothing is panned, and it is not zoomed on the selection.
void FitFrame(ViewState& view, const Document& document, const RenderOptions& options);

}  // namespace marvik
