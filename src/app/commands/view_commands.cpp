#include <algorithm>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "draw/surface/lit_picture.h"

namespace marvik {

Outcome RenditionHandler(Workbench& bench, const CommandCall& call) {
  static constexpr std::pair<int, int> kModes[] = {{kWireFrameCommand, kWireFrame},
                                                   {kBallAndStickCommand, kBallAndStick},
                                                   {kThermalEllipsoidCommand, kThermalEllipsoid},
                                                   {kPipesCommand, kPipes},
                                                   {kLitCommand, kLitRendition}};
  bench.RenditionMode = std::ranges::find(kModes, call.id, &std::pair<int, int>::first)->second;
  return Outcome::Done;
}

Outcome LookHandler(Workbench& bench, const CommandCall& call) {
  bench.lookFollowsDesktop = call.id == kDesktopLookCommand;
  const bool dark = !bench.hooks.isDesktopDark || bench.hooks.isDesktopDark();
  bench.SetLook(!bench.lookFollowsDesktop ? static_cast<Look>(call.id - kDarkLookCommand)
                : dark                    ? Look::Dark
                                          : Look::Light);
  return Outcome::Done;
}

Outcome SafeColoursHandler(Workbench& bench, const CommandCall&) {
  bench.SafeColours = !bench.SafeColours;
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
