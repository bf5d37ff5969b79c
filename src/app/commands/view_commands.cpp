#include <algorithm>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"

namespace marvik {

Outcome RenditionHandler(Workbench& bench, const CommandCall& call) {
  switch (call.id) {
    case kBallAndStickCommand:
      bench.RenditionMode = kBallAndStick;
      break;
    case kThermalEllipsoidCommand:
      bench.RenditionMode = kThermalEllipsoid;
      break;
    case kPipesCommand:
      bench.RenditionMode = kPipes;
      break;
    default:
      bench.RenditionMode = kWireFrame;
  }
  return Outcome::Done;
}

Outcome LabelToggleHandler(Workbench& bench, const CommandCall& call) {
  bool& flag = call.id == 106 ? bench.LabelsOn : call.id == 108 ? bench.HydrogenLabelsOn : bench.HybridLabelColoration;
  flag = !flag;
  return Outcome::Done;
}

Outcome ShowCellHandler(Workbench& bench, const CommandCall&) {
  bench.ShowCell = !bench.ShowCell;
  return Outcome::Done;
}

Outcome ZoomHandler(Workbench& bench, const CommandCall&) {
  const bool zoomed = bench.view.zoomedOnSelection;
  if (ToggleZoomOnSelection(bench.view, bench.document)) {
    const int32_t panX = bench.view.panX;
    const int32_t panY = bench.view.panY;
    if (zoomed) bench.FitView();
    bench.view.panX = panX;
    bench.view.panY = panY;
    return Outcome::Done;
  }
  return Refuse(bench, "Error: Insufficient Selections",
                "You must select at least two atoms \nin order for Zoom to zoom in properly!");
}

Outcome ZoomStepHandler(Workbench& bench, const CommandCall& call) {
  ZoomByDrag(bench.view, call.id == kZoomOutCommand ? -1 : 1);
  return Outcome::Done;
}

Outcome ResetViewHandler(Workbench& bench, const CommandCall&) {
  bench.ResetViewToModel(true);
  return Outcome::Done;
}

Outcome MouseModeHandler(Workbench& bench, const CommandCall& call) {
  bench.MouseMode = call.id == kPanCommand ? kMousePan : kMouseRotate;
  bench.view.dragMode = call.id == kPanCommand ? 1 : 0;
  bench.view.panX = bench.view.panY = 0;
  return Outcome::Done;
}

Outcome DepthCueHandler(Workbench& bench, const CommandCall& call) {
  double level = 0.0;
  if (!ParseWholeNumber(call.argument, level)) {
    return Refuse(bench,
                  "Command Usage Error:", "Depth cue level: a number from 0 to 100 is wanted, not " + call.argument);
  }
  // Takes effect with the next fit of the view.
  bench.view.depthCueLevel = std::clamp(RoundHalfAway(level), 0, 100);
  return Outcome::Done;
}

}  // namespace marvik
