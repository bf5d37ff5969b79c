#include "app/commands/command_table.h"

#include <algorithm>

#include "app/commands/command_handlers.h"
#include "app/workbench.h"

namespace marvik {
namespace {

using enum CommandEffect;
using enum EnabledRule;

template <int mode>
bool IsRendition(const Workbench& bench) {
  return bench.RenditionMode == mode;
}
template <int mode>
bool IsMouseMode(const Workbench& bench) {
  return bench.MouseMode == mode;
}
template <bool Workbench::*flag>
bool IsOn(const Workbench& bench) {
  return bench.*flag;
}
bool IsDemoRunning(const Workbench& bench) {
  return bench.DemoRunning != 0;
}
bool IsZoomed(const Workbench& bench) {
  return bench.view.zoomedOnSelection;
}

// id, text, shortcut, argument, effect, rule, handler, check mark
constexpr CommandRow kRows[] = {
    {100, "&Open...", "Ctrl+O", "FILE", Structure, Always, OpenHandler, nullptr, ""},
    {101, "&Save", "Ctrl+S", "", None, Always, SaveHandler, nullptr, ""},
    {102, "Save &As...", "Ctrl+Shift+S", "FILE", None, Always, SaveAsHandler, nullptr, ""},
    {103, "&Refine", "Ctrl+R", "", Structure, Always, RefineHandler, nullptr, ""},
    {104, "E&xit", "Ctrl+Q", "", None, Always, ExitHandler, nullptr, ""},
    {106, "&Labels", "Ctrl+L", "", None, Always, LabelToggleHandler, IsOn<&Workbench::LabelsOn>, ""},
    {107, "&Depth Cue...", "", "LEVEL", None, Always, DepthCueHandler, nullptr, ""},
    {108, "&Hydrogen Labels", "Ctrl+H", "", None, Always, LabelToggleHandler, IsOn<&Workbench::HydrogenLabelsOn>, ""},
    {113, "&Kill Selected", "Ctrl+K", "", Structure, Selection, KillSelectedHandler, nullptr, ""},
    {114, "&Edit...", "", "FIELD=VALUE ...", Structure, Selection, EditAtomHandler, nullptr, ""},
    {115, "&Sort...", "", "ELEMENTS", Structure, Atoms, SortHandler, nullptr, ""},
    {116, "&Uniq", "Ctrl+U", "", Drawing, Selection, UniqHandler, nullptr, ""},
    {118, "Zoom Ou&t", "", "", None, Always, ZoomStepHandler, nullptr, ""},
    {119, "&Zoom", "", "", None, Always, ZoomHandler, IsZoomed, ""},
    {120, "&Pan", "", "", None, Always, MouseModeHandler, IsMouseMode<kMousePan>, ""},
    {121, "R&otate", "", "", None, Always, MouseModeHandler, IsMouseMode<kMouseRotate>, ""},
    {123, "&Wire Frame", "Ctrl+1", "", None, Always, RenditionHandler, IsRendition<kWireFrame>, ""},
    {124, "&Ball and Stick", "Ctrl+2", "", None, Always, RenditionHandler, IsRendition<kBallAndStick>, ""},
    {125, "&Thermal Ellipsoid", "Ctrl+3", "", None, Always, RenditionHandler, IsRendition<kThermalEllipsoid>, ""},
    {127, "&Select", "", "[ATOM]", None, PickedAtom, SelectAtomHandler, nullptr, ""},
    {128, "&Edit", "", "[ATOM] FIELD=VALUE ...", Structure, PickedAtom, EditAtomHandler, nullptr, ""},
    {129, "&Uniq", "", "[ATOM]", Drawing, PickedAtom, UniqHandler, nullptr, ""},
    {130, "&Delete", "", "[ATOM]", Structure, PickedAtom, KillAtomHandler, nullptr, ""},
    {134, "&Info", "", "[ATOM ATOM]", None, PickedBond, BondInfoHandler, nullptr, ""},
    {136, "&Delete", "", "[ATOM ATOM]", Structure, PickedBond, DeleteBondHandler, nullptr, ""},
    {137, "&Bonds and Angles", "", "[ATOM]", None, PickedAtom, BondsAndAnglesHandler, nullptr, ""},
    {138, "&Grow", "Ctrl+G", "", Structure, Atoms, GrowHandler, nullptr, ""},
    {139, "T&rim", "Ctrl+T", "", Structure, Atoms, TrimHandler, nullptr, ""},
    {140, "Info on &All", "", "", None, Atoms, AtomInformationHandler, nullptr, ""},
    {141, "&Centroid", "", "[ATOM]", None, PickedAtom, CentroidHandler, nullptr, ""},
    {142, "Pac&k...", "", "A,A,B,B,C,C", Structure, Atoms, PackHandler, nullptr, ""},
    {143, "Show &Cell", "", "", None, Always, ShowCellHandler, IsOn<&Workbench::ShowCell>, ""},
    {144, "&Select...", "Ctrl+F", "ATOMS", None, Atoms, SelectTextHandler, nullptr, ""},
    {145, "&Plane", "", "", None, Atoms, PlaneHandler, nullptr, ""},
    {146, "&Weighted Plane", "", "", None, Atoms, PlaneHandler, nullptr, ""},
    {148, "&Edit Current File...", "Ctrl+E", "", Structure, Atoms, EditFileHandler, nullptr, ""},
    {151, "&Hybridize All", "", "", Drawing, Atoms, HybridizeHandler, nullptr, ""},
    {153, "&Calculate Hydrogens", "", "", Structure, Atoms, HydrogensHandler, nullptr, ""},
    {154, "&Print...", "Ctrl+P", "[FILE.pdf]", None, Always, PrintHandler, nullptr, ""},
    {155, "E&nviroment", "", "[ATOM DISTANCE]", None, PickedAtom, EnvironmentHandler, nullptr, ""},
    {158, "&Pipes", "Ctrl+4", "", None, Always, RenditionHandler, IsRendition<kPipes>, ""},
    {159, "D&emo", "", "", None, Always, DemoHandler, IsDemoRunning, ""},
    {160, "Read File", "", "FILE", Structure, Always, OpenHandler, nullptr, ""},
    {163, "Select by Name", "", "ATOMS", None, Always, SelectTextHandler, nullptr, ""},
    {164, "Pack Cells", "", "COUNT", Structure, Always, PackHandler, nullptr, ""},
    {166, "&View Listing...", "", "", None, Always, ListingHandler, nullptr, ""},
    {167, "Change &Part...", "", "part=N fvar=M occupancy=P value=V", Structure, Atoms, ChangePartHandler, nullptr, ""},
    {168, "&Hide Part...", "", "PARTS|none", Drawing, Atoms, HidePartHandler, nullptr, ""},
    {183, "&Group Label...", "", "first=N prefix=P suffix=S", Structure, Selection, GroupLabelHandler, nullptr, ""},
    {184, "&Deselect All", "Ctrl+D", "", None, Always, DeselectHandler, nullptr, ""},
    {185, "&Find Duplicate Labels", "", "", None, Atoms, DuplicatesHandler, nullptr, ""},
    {186, "&Select", "", "[ATOM ATOM]", None, PickedBond, SelectBondHandler, nullptr, ""},
    {189, "&Single", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {190, "&Double", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {191, "&Triple", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {192, "Set H&FIX...", "", "CODE", Structure, Atoms, HfixHandler, nullptr, ""},
    {193, "&Restore Killed Atom(s)...", "", "KILLED ATOMS", Structure, KilledAtoms, RestoreHandler, nullptr, ""},
    {195, "H&ybrid Label Coloration", "", "", None, Always, LabelToggleHandler, IsOn<&Workbench::HybridLabelColoration>,
     ""},
    {196, "&Position Label...", "", "ATOM X Y", Drawing, PickedAtom, PlaceLabelHandler, nullptr, ""},
    {197, "&Info on Selected", "", "", None, Atoms, AtomInformationHandler, nullptr, ""},
    {200, "&FMOL", "", "", Structure, Atoms, FmolHandler, nullptr, ""},
    {203, "Kill all &Q-Peaks", "", "", Structure, Always, KillPeaksHandler, nullptr, ""},
    {204, "Labels of Selected O&ff", "", "", Drawing, Selection, AtomLabelHandler, nullptr, ""},
    {205, "Labels of Selected O&n", "", "", Drawing, Selection, AtomLabelHandler, nullptr, ""},
    {206, "&Atom Preferences...", "", "FIELD=VALUE ...", None, Always, AtomPreferencesHandler, nullptr, ""},
    {208, "To &Screen", "", "[file=PICTURE]", None, Atoms, GlScreenHandler, nullptr, ""},
    {209, "To &Printer...", "", "[file=PDF]", None, Atoms, GlPrinterHandler, nullptr, ""},
    {210, "To &Screen", "", "[file=PICTURE]", None, Atoms, GlScreenHandler, nullptr, ""},
    {211, "To &Printer...", "", "[file=PDF]", None, Atoms, GlPrinterHandler, nullptr, ""},
    {212, "&unUNIQ", "", "", Drawing, Always, UnUniqHandler, nullptr, ""},
    {213, "&Toggle Label", "", "[ATOM]", Drawing, PickedAtom, AtomLabelHandler, nullptr, ""},
    {214, "To High-Quality &JPEG File...", "", "size=N points=N file=JPG antialias=0|1", None, Atoms, GlJpegHandler,
     nullptr, ""},
    {215, "To High-Quality &JPEG File...", "", "size=N points=N file=JPG antialias=0|1", None, Atoms, GlJpegHandler,
     nullptr, ""},
    {216, "&OpenGL Preferences...", "", "FIELD=VALUE ...", None, Always, OpenGlPreferencesHandler, nullptr, ""},
    {217, "0.&1 (Default)", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {218, "0.&2", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {219, "0.02&5", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {220, "&Custom...", "", "WIDTH", Drawing, BondsChosen, CustomWidthHandler, nullptr, ""},
    {224, "&Solid", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {225, "&Dashed", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {226, "D&otted", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {229, "&FMOL after significant structure changes", "", "", None, Always, FmolToggleHandler,
     IsOn<&Workbench::FmolAfterChanges>, ""},
    {230, "Save A&ll...", "", "FILE", None, Always, SaveAsHandler, nullptr, ""},
    {231, "&Table of Contents", "", "", None, Always, HelpHandler, nullptr, ""},
    {232, "&Overview", "", "", None, Always, HelpHandler, nullptr, ""},
    {233, "&User's Guide", "", "", None, Always, HelpHandler, nullptr, ""},
    {234, "&Tutorial", "", "", None, Always, HelpHandler, nullptr, ""},
    {235, "&Aromatic", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {236, "&Pi", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {237, "&Bond With...", "", "ATOM", Structure, Atoms, BondWithHandler, nullptr, ""},
    {238, "B&ond With...", "", "ATOM", Structure, Always, BondWithHandler, nullptr, ""},
    {239, "S&ame...", "", "[ATOM]", Structure, Always, SameHandler, nullptr, ""},
    {241, "&Move Near...", "", "ATOM", Structure, Always, MoveNearHandler, nullptr, ""},
    {242, "&Quick Commands", "", "", None, Always, HelpHandler, nullptr, ""},
    {243, "Hide &Selected", "", "", Drawing, Selection, HideHandler, nullptr, ""},
    {244, "Hide &Unselected", "", "", Drawing, Atoms, HideHandler, nullptr, ""},
    {245, "&Show All", "", "", Drawing, Always, HideHandler, nullptr, ""},
    {246, "&Move Near...", "", "ATOM", Structure, Atoms, MoveNearHandler, nullptr, ""},
    {247, "&Marvik 4.0 Supplement", "", "", None, Always, HelpHandler, nullptr, ""},
    {300, "&About", "", "", None, Always, AboutHandler, nullptr, ""},
    {500, "&Undo", "Ctrl+Z", "", None, UndoStep, UndoHandler, nullptr, ""},
    {501, "Re&do", "Ctrl+Shift+Z", "", None, RedoStep, UndoHandler, nullptr, ""},
    {502, "Zoom &In", "", "", None, Always, ZoomStepHandler, nullptr, ""},
    {503, "&Reset View", "Ctrl+0", "", None, Always, ResetViewHandler, nullptr, ""},
    {504, "&Save Picture...", "Ctrl+Shift+P", "size=N resolution=N background=NAME renderer=NAME FILE", None, Always,
     SavePictureHandler, nullptr, ""},
    {505, "Save Picture &Recipe...", "", "FILE", None, Always, SaveRecipeHandler, nullptr, ""},
    {506, "&Apply Picture Recipe...", "", "FILE", Drawing, Always, ApplyRecipeHandler, nullptr, ""},
    {510, "Re&name Atom...", "F2", "[ATOM] NAME", Structure, PickedOrSelected, RenameHandler, nullptr, ""},
    {511, "Recount &UNIT", "", "", Structure, Atoms, RecountUnitHandler, nullptr, ""},
    {520, "Refinement &History...", "", "STEP", Structure, Always, RefinementStepHandler, nullptr, ""},
    {10101, "Recent File &1", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10102, "Recent File &2", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10103, "Recent File &3", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10104, "Recent File &4", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
};
static_assert(std::ranges::adjacent_find(kRows, std::ranges::greater_equal{}, &CommandRow::id) == std::end(kRows));

// The menu text without its marks.
std::string PlainText(const CommandRow& row) {
  std::string text = row.text;
  std::erase(text, '&');
  if (text.ends_with("...")) text.resize(text.size() - 3);
  return text;
}

void Explain(const Workbench& bench, const CommandRow& row, const std::string& sentence) {
  bench.messages.Show({MessageIcon::Warning, "Command Usage Error:", PlainText(row) + ": " + sentence});
}

}  // namespace

std::span<const CommandRow> CommandTable() {
  return kRows;
}

const CommandRow* FindCommand(int id) {
  const auto row = std::ranges::lower_bound(kRows, id, {}, &CommandRow::id);
  return row != std::end(kRows) && row->id == id ? row : nullptr;
}

bool CommandEnabled(const Workbench& bench, int id) {
  const CommandRow* row = FindCommand(id);
  if (!row || !row->run) return false;
  const AtomList& atoms = bench.document.atoms;
  switch (row->rule) {
    case Always:
      return true;
    case EnabledRule::Atoms:
      return atoms.head != nullptr;
    case Selection:
      return !atoms.selection.Empty();
    case PickedAtom:
      return bench.PickedAtom() != nullptr;
    case PickedBond:
      return bench.PickedBond() != nullptr;
    case PickedOrSelected:
      return bench.PickedAtom() || !atoms.selection.Empty();
    case KilledAtoms:
      return atoms.killedHead != nullptr;
    case BondsChosen:
      return !atoms.selectedBonds.empty() || bench.PickedBond();
    case UndoStep:
      return !bench.history.UndoName().empty();
    case RedoStep:
      return !bench.history.RedoName().empty();
    case RecentFile:
      return !bench.settings.RecentFiles[static_cast<size_t>(id - kFirstRecentFileCommand)].empty();
  }
  return false;
}

std::string CommandText(const Workbench& bench, int id) {
  const CommandRow* row = FindCommand(id);
  if (!row) return {};
  const std::string step = row->rule == UndoStep   ? bench.history.UndoName()
                           : row->rule == RedoStep ? bench.history.RedoName()
                                                   : std::string();
  return step.empty() ? row->text : row->text + (" " + step);
}

bool CommandChecked(const Workbench& bench, int id) {
  const CommandRow* row = FindCommand(id);
  return row && row->checked && row->checked(bench);
}

Outcome RunCommand(Workbench& bench, int id, const std::string& argument) {
  const CommandRow* row = FindCommand(id);
  if (!row) {
    bench.messages.Show(
        {MessageIcon::Warning, "Command Usage Error:", "There is no command " + std::to_string(id) + "."});
    return Outcome::Failed;
  }
  if (!row->run) {
    Explain(bench, *row, row->greyed);
    return Outcome::Failed;
  }
  CommandCall call{id, argument};
  if (argument.empty() && row->NeedsArgument()) {
    if (!bench.hooks.askArgument) {
      Explain(bench, *row, "This command needs a value, " + std::to_string(id) + "=" + row->argument + ".");
      return Outcome::Failed;
    }
    const auto answer = bench.hooks.askArgument(id);
    if (!answer) return Outcome::Cancelled;
    call.argument = *answer;
  }
  if (row->effect != None) bench.history.Begin(bench.document, PlainText(*row));
  const Outcome outcome = row->run(bench, call);
  if (row->effect != None) bench.history.Settle(bench.document);
  if (outcome == Outcome::Changed && row->effect == Structure) bench.SetModified(true);
  bench.Repaint();
  return outcome;
}

}  // namespace marvik
