#pragma once

#include <functional>

#include "display/canvas.h"
#include "display/view_state.h"
#include "model/document.h"

namespace marvik {

enum DisplayMode { kWireFrame = 0, kBallAndStick = 1, kThermalEllipsoid = 2, kPipes = 3 };

// What a picture shows beside the view.
struct RenderOptions {
  int mode = kWireFrame;
  bool labels = true;
  bool hydrogenLabels = true;
  bool hybridLabelColoration = false;
  bool showCell = false;
  bool printing = false;         // page units and paper colours
  bool whiteBackground = false;  // paper colours on a pixel canvas
  double probability = 0.5;      // of thermal ellipsoids
};

// Asked before each atom; false stops the picture where it is.
using KeepGoing = std::function<bool()>;

// Draws the structure with plain two-dimensional drawing calls. Keeps its work arrays from frame to frame.
class InteractiveRenderer {
 public:
  // The whole picture in any mode: background, model, cell box, labels. Writes the transformed coordinates and screen
  // positions into the atoms. False when it was interrupted.
  bool Render(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
              const KeepGoing& keepGoing);
};

}  // namespace marvik
