#include <cmath>

#include "app/commands/command_handlers.h"
#include "app/density.h"
#include "base/files.h"

namespace marvik {
namespace {

constexpr double kLevelStep = 1.15;

Outcome ShowLevel(Workbench& bench) {
  if (bench.hooks.tell) bench.hooks.tell(DensityText(DensityOf(bench)));
  return Outcome::Done;
}

}  // namespace

bool IsDensityShown(const Workbench& bench, std::optional<MapKind> kind) {
  return bench.density && bench.density->on && (!kind || bench.density->kind == *kind);
}
bool IsPlaneContoured(const Workbench& bench) {
  return IsDensityShown(bench, std::nullopt) && !bench.density->plane.empty();
}

Outcome DensityHandler(Workbench& bench, const CommandCall& call) {
  DensityState& state = DensityOf(bench);
  const bool wasOn = state.on;
  if (call.id == kDensityCommand) {
    state.on = !state.on;
  } else {
    state.kind = call.id == kDensityDifferenceCommand ? MapKind::Difference
                 : call.id == kDensityObservedCommand ? MapKind::Observed
                                                      : MapKind::TwiceObserved;
    state.on = true;
  }
  state.plane.clear();
  RefreshDensity(bench);
  return state.on || wasOn ? Outcome::Done : Outcome::Failed;
}

Outcome DensityLevelHandler(Workbench& bench, const CommandCall& call) {
  DensityState& state = DensityOf(bench);
  if (call.id == kDensityLevelCommand) {
    const auto level = ParseDensityLevel(call.argument);
    if (!level) {
      return Refuse(bench, "Command Usage Error:",
                    "The level is a number above 0, of e/Å³ or with \"s\" of sigma, not " + call.argument + ".");
    }
    state.Level() = *level;
  } else {
    DensityLevel& level = state.Level();
    const double changed = level.value * (call.id == kDensityRaiseCommand ? kLevelStep : 1.0 / kLevelStep);
    if (changed > 1e-3 && changed < 1e3) level.value = changed;
  }
  return ShowLevel(bench);
}

Outcome DensityPlaneHandler(Workbench& bench, const CommandCall& call) {
  DensityState& state = DensityOf(bench);
  if (call.argument == "off" || (call.argument.empty() && IsPlaneContoured(bench))) {
    state.plane.clear();
    return ShowLevel(bench);
  }
  const AtomSet members = AimedAt(bench, call);
  if (members.empty() && !call.argument.empty()) return Outcome::Failed;
  if (FacePlane(bench, members) == Outcome::Failed) return Outcome::Failed;
  state.plane.clear();
  for (const AtomRecord* atom : members) state.plane.push_back(atom->serial);
  if (state.on && state.data.map && state.base == BaseNameOf(bench.document.CurrentFile)) {
    state.NetOf(bench.document, bench.view.viewCentre);
    return ShowLevel(bench);
  }
  state.on = true;
  RefreshDensity(bench);
  return state.on ? Outcome::Done : Outcome::Failed;
}

}  // namespace marvik
