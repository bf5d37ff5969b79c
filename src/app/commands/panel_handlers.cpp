#include "app/commands/command_handlers.h"

namespace marvik {
namespace {

Outcome RefuseWithoutWindow(Workbench& bench) {
  return Refuse(bench, "Command Usage Error:", "This is part of the window: start marvik without batch options.");
}

}  // namespace

Outcome PanelHandler(Workbench& bench, const CommandCall& call) {
  if (!bench.hooks.showPanel) return RefuseWithoutWindow(bench);
  bench.hooks.showPanel(call.id, !(bench.hooks.isPanelShown && bench.hooks.isPanelShown(call.id)));
  return Outcome::Done;
}

Outcome WindowHandler(Workbench& bench, const CommandCall& call) {
  if (!bench.hooks.showTool) return RefuseWithoutWindow(bench);
  bench.hooks.showTool(call.id);
  return Outcome::Done;
}

}  // namespace marvik
