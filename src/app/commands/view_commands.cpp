#include <algorithm>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "chem/geometry/mean_plane.h"
#include "draw/surface/lit_picture.h"
#include "draw/view/best_view.h"
#include "language/atom_names.h"

namespace marvik {
namespace {

// What points to the right (0), upward (1) and to the viewer (2) now.
Cartesian NowAt(const Workbench& bench, size_t row) {
  const auto& r = bench.view.modelview[row];
  return {-r[0], -r[1], -r[2]};
}

// Where the view was fitted it is fitted to the new silhouette.
template <class Turn>
bool TurnFitted(Workbench& bench, Turn turn) {
  const bool fitted = bench.ViewIsFitted();
  if (!turn(bench.view)) return false;
  bench.view.FitView(bench.view.viewRadius, std::nullopt);
  if (fitted) bench.ResetViewToModel();
  return true;
}

constexpr double kDeepest = 1e4;      // Å
constexpr double kBeyondModel = 1.0;  // Å, from the outermost atoms
constexpr double kClipStep = 1.15;    // of the thickness
constexpr double kClipMove = 0.25;    // Å

Outcome TellClip(const Workbench& bench) {
  const ViewState& view = bench.view;
  if (bench.hooks.tell)
    bench.hooks.tell(view.IsClipped()
                         ? Printf("Drawn from %.2f Å to %.2f Å before the middle", view.clipBack, view.clipFront)
                         : "All depths are drawn");
  return Outcome::Done;
}

}  // namespace

AtomSet AimedAt(Workbench& bench, const CommandCall& call) {
  AtomSet atoms;
  std::string names = call.argument;
  std::ranges::replace(names, ',', ' ');
  for (size_t at = names.find_first_not_of(' '); at < names.size(); at = names.find_first_not_of(' ', at)) {
    const std::string name = names.substr(at, names.find(' ', at) - at);
    at += name.size();
    atoms.push_back(FindAtomByText(bench.document, name));
    if (atoms.back()) continue;
    Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + name + " in the atom list.");
    return {};
  }
  if (!atoms.empty()) return atoms;
  const AtomList& list = bench.document.atoms;
  const BondRecord* bond = bench.PickedBond();
  if (!bond && list.selectedBonds.size() == 1 && list.selection.Empty()) bond = list.selectedBonds.front();
  if (bond) return {bond->owner, bond->partner};
  if (!list.selection.Empty()) atoms = ReportedAtoms(bench.document);
  return atoms;
}

// Along an axis the next one but one points up: b to the right and c up along a.
Outcome DirectionHandler(Workbench& bench, const CommandCall& call) {
  Cartesian toward;
  Cartesian up{0.0, 1.0, 0.0};
  if (call.id >= kViewAlongBondCommand) {
    const AtomSet ends = AimedAt(bench, call);
    if (ends.empty() && !call.argument.empty()) return Outcome::Failed;
    if (ends.size() != 2)
      return Refuse(bench, "Error: Insufficient Selections", "This view needs a bond, or two atoms, picked or named.");
    const Cartesian bond = Normalised(ends[1]->position - ends[0]->position);
    // What stands up now stays up as far as it can.
    if (call.id == kViewAlongBondCommand) {
      toward = bond;
      up = std::abs(Dot(NowAt(bench, 1), bond)) < 0.999 ? NowAt(bench, 1) : NowAt(bench, 0);
    } else {
      toward = NowAt(bench, 2) - bond * Dot(NowAt(bench, 2), bond);
      if (Length(toward) < 1e-3) toward = NowAt(bench, 1);
      up = Cross(toward, bond);
      if (Dot(up, NowAt(bench, 1)) < 0.0) up = -up;
    }
  } else {
    const int which = call.id - kViewDirectionCommand;
    const auto edge = [&](int i) {
      Fractional unit;
      unit[i % 3] = 1.0;
      return bench.document.matrix * unit;
    };
    // The frame is mirrored: which way a cross product points is asked of the edge.
    const Cartesian normal = Cross(edge(which + 1), edge(which + 2));
    toward = which < 3 ? edge(which) : Dot(normal, edge(which)) < 0.0 ? -normal : normal;
    up = edge(which + 2);
  }
  if (TurnFitted(bench, [&](ViewState& view) { return LookAlong(view, toward, up); })) return Outcome::Done;
  return Refuse(bench, "View", "There is no such direction here: the cell or the bond has no length.");
}

Outcome FacePlaneHandler(Workbench& bench, const CommandCall& call) {
  if (call.id == kViewBestPlaneCommand) {
    TurnFitted(bench, [&](ViewState& view) {
      FaceBestPlane(view, bench.document);
      return true;
    });
    return Outcome::Done;
  }
  const AtomSet members = AimedAt(bench, call);
  return members.empty() && !call.argument.empty() ? Outcome::Failed : FacePlane(bench, members);
}

Outcome FacePlane(Workbench& bench, const AtomSet& members) {
  const auto plane = FitMeanPlane(bench.document, members, false);
  if (members.size() < 3 || !plane || !plane->isDetermined) {
    return Refuse(bench, "Error: Insufficient Selections",
                  "This view needs three or more atoms, picked or named, that do not stand on one line.");
  }
  // From the nearer side, the first two across the picture.
  const Cartesian across = members[1]->position - members[0]->position;
  const Cartesian toward = Dot(plane->normal, NowAt(bench, 2)) < 0.0 ? -plane->normal : plane->normal;
  TurnFitted(bench, [&](ViewState& view) { return LookAlong(view, toward, Cross(across, toward)); });
  return Outcome::Done;
}

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

Outcome AmbientShadowHandler(Workbench& bench, const CommandCall&) {
  bench.figure.ambientShadow = !bench.figure.ambientShadow;
  return Outcome::Done;
}

Outcome InertiaHandler(Workbench& bench, const CommandCall&) {
  bench.inertia = !bench.inertia;
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

// "2,-2": from 2 Å before to 2 Å behind the middle of the picture.
Outcome ClipHandler(Workbench& bench, const CommandCall& call) {
  std::array<double, 2> depths{};
  const size_t comma = std::min(call.argument.find(','), call.argument.size());
  if (call.argument == "off") {
    bench.view.Clip(std::nullopt);
  } else if (ParseWholeNumber(call.argument.substr(0, comma), depths[0]) &&
             ParseWholeNumber(call.argument.substr(std::min(comma + 1, call.argument.size())), depths[1]) &&
             std::abs(depths[0]) <= kDeepest && std::abs(depths[1]) <= kDeepest && depths[1] < depths[0]) {
    bench.view.Clip(depths);
  } else {
    return Refuse(
        bench, "Command Usage Error:",
        "Depths in Å before and behind the middle are wanted, the first the nearer one, such as 2,-2, or \"off\", "
        "not " +
            call.argument + ".");
  }
  return TellClip(bench);
}

Outcome ClipStepHandler(Workbench& bench, const CommandCall& call) {
  ViewState& view = bench.view;
  const double whole = SphereOfModel(bench.document).radius + kBeyondModel;
  if (!view.IsClipped()) view.Clip({{whole, -whole}});
  const double middle = 0.5 * (view.clipFront + view.clipBack);
  const double half = 0.5 * (view.clipFront - view.clipBack);
  if (call.id == kClipNearerCommand || call.id == kClipFartherCommand) {
    const double step = call.id == kClipNearerCommand ? kClipMove : -kClipMove;
    if (std::abs(middle + step) <= whole + half) view.Clip({{view.clipFront + step, view.clipBack + step}});
  } else {
    const double now = half * (call.id == kClipThickerCommand ? kClipStep : 1.0 / kClipStep);
    if (now < 2.0 * whole && now > 0.05) view.Clip({{middle + now, middle - now}});
    if (now >= whole + std::abs(middle)) view.Clip(std::nullopt);
  }
  return TellClip(bench);
}

}  // namespace marvik
