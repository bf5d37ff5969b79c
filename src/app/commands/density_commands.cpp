#include <algorithm>
#include <cmath>

#include "app/commands/model_handlers.h"
#include "app/density.h"
#include "app/refinement/refine_flow.h"
#include "app/solvent_mask.h"
#include "base/files.h"
#include "base/numbers.h"
#include "language/atom_names.h"
#include "language/instruction.h"

namespace marvik {
namespace {

constexpr double kLevelStep = 1.15;
constexpr char kMask[] = "Solvent Mask";
constexpr char kDensity[] = "Electron Density";

void ShowVoids(Workbench& bench, std::shared_ptr<const DataMask> mask) {
  DensityOf(bench).voids = std::move(mask);
  DensityOf(bench).voidsBase = JobBase(bench);
}

// A file that another program made is kept.
int WriteFab(const std::string& path, const std::string& text) {
  const FileContent old = ReadWholeFile(path);
  const bool foreign = old.opened && FabRemarks(old.content).empty();
  return WriteFileAtomically(path, text, foreign ? path + ".bak" : "");
}

Outcome ShowLevel(Workbench& bench) {
  if (bench.hooks.tell) bench.hooks.tell(DensityText(DensityOf(bench)));
  return Outcome::Done;
}

// Lists the voids, writes their structure factors beside the file, and has the refinement add them.
Outcome PutMask(Workbench& bench, std::shared_ptr<const DataMask> mask) {
  const std::string path = JobBase(bench) + ".fab";
  if (const int error = WriteFab(path, mask->fab)) return Refuse(bench, kMask, WriteFault(path, error));
  const std::string list = PlainLines(VoidsReport(*mask).text) + "\n" + FileNameOf(path) +
                           " holds their structure factors, which ABIN adds in a refinement.\n";
  ShowVoids(bench, std::move(mask));
  auto& kept = bench.document.instructions.kept;
  const bool isThere =
      std::ranges::any_of(kept, [](const KeptLine& line) { return ParseInstruction(line.text).name == "ABIN"; });
  if (!isThere) kept.push_back({KeptPlace::Body, "ABIN"});
  ShowList(bench, kMask, list);
  return isThere ? Outcome::Done : Outcome::Changed;
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

// "0.05" e/Å³, or "auto".
Outcome ContourStepHandler(Workbench& bench, const CommandCall& call) {
  double step = 0.0;
  if (call.argument != "auto" && !(ParseWholeNumber(call.argument, step) && step >= 1e-3 && step <= 1e3))
    return Refuse(bench, "Command Usage Error:",
                  "The step is a number of e/Å³ from 0.001 to 1000, or \"auto\", not " + call.argument + ".");
  DensityState& state = DensityOf(bench);
  state.wantedStep = step;
  if (!IsPlaneContoured(bench)) return Outcome::Done;
  state.NetOf(bench.document, bench.view.viewCentre);
  return ShowLevel(bench);
}

bool IsDensityAbout(const Workbench& bench) {
  return IsDensityShown(bench, std::nullopt) && (bench.density->about != 0 || bench.density->followsPointer);
}

// Around a named or clicked atom alone; without one around what the pointer is on.
Outcome DensityAboutHandler(Workbench& bench, const CommandCall& call) {
  DensityState& state = DensityOf(bench);
  const bool named = !call.argument.empty() && call.argument != "off";
  const AtomRecord* atom = named ? FindAtomByText(bench.document, call.argument) : bench.PickedAtom();
  if (named && !atom) return Refuse(bench, kDensity, "Couldn't find " + call.argument + " in the atom list.");
  const bool off = call.argument == "off" || (!atom && IsDensityAbout(bench));
  state.about = atom && !off ? atom->serial : 0;
  state.followsPointer = !atom && !off;
  state.plane.clear();
  if (state.on || off) return ShowLevel(bench);
  state.on = true;
  RefreshDensity(bench);
  return state.on ? Outcome::Done : Outcome::Failed;
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

bool AreVoidsShown(const Workbench& bench) {
  return bench.density && bench.density->voids && bench.density->voidsBase == JobBase(bench);
}

Outcome SolventMaskHandler(Workbench& bench, const CommandCall& call) {
  EditFault fault;
  const auto options = ParseMask(SplitEditArguments(call.argument), fault);
  if (!options) return RefuseField(bench, fault);
  if (const auto ready = std::exchange(DensityOf(bench).readyMask, nullptr)) return PutMask(bench, ready);
  if (!bench.hooks.inBackground) return WithMask(bench, *options, [&](auto mask) { return PutMask(bench, mask); });
  // What comes later is a command again, or it could not be undone.
  return WithMask(bench, *options, [&bench, call](auto mask) {
    DensityOf(bench).readyMask = std::move(mask);
    const Outcome outcome = RunCommand(bench, call.id, call.argument);
    DensityOf(bench).readyMask = nullptr;
    return outcome;
  });
}

Outcome ShowVoidsHandler(Workbench& bench, const CommandCall&) {
  const auto show = [&bench](auto mask) {
    ShowVoids(bench, std::move(mask));
    bench.Repaint();
    return Outcome::Done;
  };
  return AreVoidsShown(bench) ? show(nullptr) : WithMask(bench, {}, show);
}

}  // namespace marvik
