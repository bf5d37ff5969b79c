#include "app/commands/command_table.h"

#include <algorithm>

#include "app/commands/model_handlers.h"
#include "app/preferences/atom_preferences.h"
#include "app/preferences/bitmap_preferences.h"
#include "app/preferences/opengl_preferences.h"
#include "app/refinement/new_job.h"
#include "app/refinement/refine_fields.h"
#include "app/refinement/solve_flow.h"
#include "app/workbench.h"
#include "draw/surface/lit_picture.h"
#include "edit/edit_atom.h"
#include "edit/edit_fragment.h"
#include "edit/edit_label.h"
#include "edit/edit_part.h"
#include "edit/edit_restraint.h"
#include "edit/edit_split.h"

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
template <bool FigureChoices::*flag>
bool IsInFigure(const Workbench& bench) {
  return bench.figure.*flag;
}
bool ArePartsShaded(const Workbench& bench) {
  return bench.figure.colourBy == ColourBy::Part;
}
bool IsDemoRunning(const Workbench& bench) {
  return bench.DemoRunning != 0;
}
template <int id>
bool IsPanelShown(const Workbench& bench) {
  return bench.hooks.isPanelShown && bench.hooks.isPanelShown(id);
}
template <int id>
bool IsLook(const Workbench& bench) {
  if (bench.lookFollowsDesktop) return id == kDesktopLookCommand;
  return id == kDarkLookCommand + static_cast<int>(bench.look);
}
bool ShowsDensity(const Workbench& bench) {
  return IsDensityShown(bench, std::nullopt);
}
template <MapKind kind>
bool ShowsMap(const Workbench& bench) {
  return IsDensityShown(bench, kind);
}
bool IsZoomed(const Workbench& bench) {
  return bench.view.zoomedOnSelection;
}

// id, name, text, shortcut, argument, effect, rule, handler, check mark, why not, fields
constexpr CommandRow kRows[] = {
    {100, "open", "&Open...", "Ctrl+O", "FILE", Structure, Always, OpenHandler, nullptr, ""},
    {101, "save", "&Save", "Ctrl+S", "", None, Always, SaveHandler, nullptr, ""},
    {102, "save-as", "Save &As...", "Ctrl+Shift+S", "FILE", None, Always, SaveAsHandler, nullptr, ""},
    {103, "refine", "&Refine", "Ctrl+R", "[FIELD=VALUE ...]", Structure, Always, RefineHandler, nullptr, "",
     RefinementFields},
    {104, "exit", "E&xit", "Ctrl+Q", "", None, Always, ExitHandler, nullptr, ""},
    {106, "labels", "&Labels", "Ctrl+L", "[on|off]", None, Always, LabelToggleHandler, IsOn<&Workbench::LabelsOn>, ""},
    {107, "depth-cue", "&Depth Cue...", "", "LEVEL", None, Always, DepthCueHandler, nullptr, ""},
    {108, "hydrogen-labels", "&Hydrogen Labels", "Ctrl+H", "[on|off]", None, Always, LabelToggleHandler,
     IsOn<&Workbench::HydrogenLabelsOn>, ""},
    {113, "kill", "&Kill Selected", "Ctrl+K", "", Structure, Selection, KillSelectedHandler, nullptr, ""},
    {114, "edit-atoms", "&Edit...", "", "FIELD=VALUE ...", Structure, Selection, EditAtomHandler, nullptr, "",
     AtomEditFields},
    {115, "sort", "&Sort...", "", "ELEMENTS", Structure, Atoms, SortHandler, nullptr, ""},
    {116, "uniq", "&Uniq", "Ctrl+U", "", Drawing, Selection, UniqHandler, nullptr, ""},
    {118, "zoom-out", "Zoom Ou&t", "", "", None, Always, ZoomStepHandler, nullptr, ""},
    {119, "zoom", "&Zoom", "", "[on|off]", None, Always, ZoomHandler, IsZoomed, ""},
    {120, "pan", "&Pan", "", "", None, Always, MouseModeHandler, IsMouseMode<kMousePan>, ""},
    {121, "rotate", "R&otate", "", "", None, Always, MouseModeHandler, IsMouseMode<kMouseRotate>, ""},
    {123, "wire-frame", "&Wire Frame", "Ctrl+1", "", None, Always, RenditionHandler, IsRendition<kWireFrame>, ""},
    {124, "ball-and-stick", "&Ball and Stick", "Ctrl+2", "", None, Always, RenditionHandler, IsRendition<kBallAndStick>,
     ""},
    {125, "thermal-ellipsoid", "&Thermal Ellipsoid", "Ctrl+3", "", None, Always, RenditionHandler,
     IsRendition<kThermalEllipsoid>, ""},
    {127, "select-atom", "&Select", "", "[ATOM]", None, PickedAtom, SelectAtomHandler, nullptr, ""},
    {128, "edit-atom", "&Edit", "", "[ATOM] FIELD=VALUE ...", Structure, PickedAtom, EditAtomHandler, nullptr, "",
     AtomEditFields},
    {129, "uniq-atom", "&Uniq", "", "[ATOM]", Drawing, PickedAtom, UniqHandler, nullptr, ""},
    {130, "kill-atom", "&Delete", "", "[ATOM]", Structure, PickedAtom, KillAtomHandler, nullptr, ""},
    {134, "bond-info", "&Info", "", "[ATOM ATOM]", None, PickedBond, BondInfoHandler, nullptr, ""},
    {136, "delete-bond", "&Delete", "", "[ATOM ATOM]", Structure, PickedBond, DeleteBondHandler, nullptr, ""},
    {137, "bonds-and-angles", "&Bonds and Angles", "", "[ATOM]", None, PickedAtom, BondsAndAnglesHandler, nullptr, ""},
    {138, "grow", "&Grow", "Ctrl+G", "", Structure, Atoms, GrowHandler, nullptr, ""},
    {139, "trim", "T&rim", "Ctrl+T", "", Structure, Atoms, TrimHandler, nullptr, ""},
    {140, "info-all", "Info on &All", "", "", None, Atoms, AtomInformationHandler, nullptr, ""},
    {141, "centroid", "&Centroid", "", "[ATOM]", None, PickedAtom, CentroidHandler, nullptr, ""},
    {142, "pack", "Pac&k...", "", "A,A,B,B,C,C", Structure, Atoms, PackHandler, nullptr, ""},
    {143, "show-cell", "Show &Cell", "", "[on|off]", None, Always, ShowCellHandler, IsOn<&Workbench::ShowCell>, ""},
    {144, "select", "&Select...", "Ctrl+F", "ATOMS", None, Atoms, SelectTextHandler, nullptr, ""},
    {145, "plane", "&Plane", "", "", None, Atoms, PlaneHandler, nullptr, ""},
    {146, "weighted-plane", "&Weighted Plane", "", "", None, Atoms, PlaneHandler, nullptr, ""},
    {148, "edit-file", "&Edit Current File...", "Ctrl+E", "", Structure, Atoms, EditFileHandler, nullptr, ""},
    {151, "hybridize", "&Hybridize All", "", "", Drawing, Atoms, HybridizeHandler, nullptr, ""},
    {153, "hydrogens", "&Calculate Hydrogens", "", "", Structure, Atoms, HydrogensHandler, nullptr, ""},
    {154, "print", "&Print...", "Ctrl+P", "[FILE.pdf]", None, Always, PrintHandler, nullptr, ""},
    {155, "environment", "E&nviroment", "", "[ATOM DISTANCE]", None, PickedAtom, EnvironmentHandler, nullptr, ""},
    {158, "pipes", "&Pipes", "Ctrl+4", "", None, Always, RenditionHandler, IsRendition<kPipes>, ""},
    {159, "demo", "D&emo", "", "", None, Always, DemoHandler, IsDemoRunning, ""},
    {160, "read-file", "Read File", "", "FILE", Structure, Always, OpenHandler, nullptr, ""},
    {163, "select-by-name", "Select by Name", "", "ATOMS", None, Always, SelectTextHandler, nullptr, ""},
    {164, "pack-cells", "Pack Cells", "", "COUNT", Structure, Always, PackHandler, nullptr, ""},
    {166, "view-listing", "&View Listing...", "", "", None, Always, ListingHandler, nullptr, ""},
    {167, "change-part", "Change &Part...", "", "part=N fvar=M occupancy=P value=V", Structure, Atoms,
     ChangePartHandler, nullptr, "", PartFields},
    {168, "hide-part", "&Hide Part...", "", "PARTS|none", Drawing, Atoms, HidePartHandler, nullptr, ""},
    {183, "group-label", "&Group Label...", "", "first=N prefix=P suffix=S", Structure, Selection, GroupLabelHandler,
     nullptr, "", GroupLabelFields},
    {184, "deselect", "&Deselect All", "Ctrl+D", "", None, Always, DeselectHandler, nullptr, ""},
    {185, "find-duplicates", "&Find Duplicate Labels", "", "", None, Atoms, DuplicatesHandler, nullptr, ""},
    {186, "select-bond", "&Select", "", "[ATOM ATOM]", None, PickedBond, SelectBondHandler, nullptr, ""},
    {189, "single-bond", "&Single", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {190, "double-bond", "&Double", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {191, "triple-bond", "&Triple", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {192, "hfix", "Set H&FIX...", "", "CODE", Structure, Atoms, HfixHandler, nullptr, ""},
    {193, "restore", "&Restore Killed Atom(s)...", "", "KILLED ATOMS", Structure, KilledAtoms, RestoreHandler, nullptr,
     ""},
    {195, "hybrid-label-colours", "H&ybrid Label Coloration", "", "[on|off]", None, Always, LabelToggleHandler,
     IsOn<&Workbench::HybridLabelColoration>, ""},
    {196, "position-label", "&Position Label...", "", "ATOM X Y", Drawing, PickedAtom, PlaceLabelHandler, nullptr, ""},
    {197, "info-selected", "&Info on Selected", "", "", None, Atoms, AtomInformationHandler, nullptr, ""},
    {200, "fmol", "&FMOL", "", "", Structure, Atoms, FmolHandler, nullptr, ""},
    {203, "kill-peaks", "Kill all &Q-Peaks", "Ctrl+Shift+K", "", Structure, Always, KillPeaksHandler, nullptr, ""},
    {204, "selected-labels-off", "Labels of Selected O&ff", "", "", Drawing, Selection, AtomLabelHandler, nullptr, ""},
    {205, "selected-labels-on", "Labels of Selected O&n", "", "", Drawing, Selection, AtomLabelHandler, nullptr, ""},
    {206, "atom-preferences", "&Atom Preferences...", "", "FIELD=VALUE ...", None, Always, AtomPreferencesHandler,
     nullptr, "", AtomPreferenceRanges},
    {208, "colour-to-screen", "To &Screen", "", "[file=PICTURE]", None, Atoms, GlScreenHandler, nullptr, "",
     PictureFileField},
    {209, "colour-to-printer", "To &Printer...", "", "[file=PDF]", None, Atoms, GlPrinterHandler, nullptr, "",
     PictureFileField},
    {210, "black-white-to-screen", "To &Screen", "", "[file=PICTURE]", None, Atoms, GlScreenHandler, nullptr, "",
     PictureFileField},
    {211, "black-white-to-printer", "To &Printer...", "", "[file=PDF]", None, Atoms, GlPrinterHandler, nullptr, "",
     PictureFileField},
    {212, "ununiq", "unUNI&Q", "", "", Drawing, Always, UnUniqHandler, nullptr, ""},
    {213, "toggle-label", "&Toggle Label", "", "[ATOM]", Drawing, PickedAtom, AtomLabelHandler, nullptr, ""},
    {214, "colour-to-jpeg", "To High-Quality &JPEG File...", "", "size=N points=N file=JPG antialias=0|1", None, Atoms,
     GlJpegHandler, nullptr, "", BitmapFields},
    {215, "black-white-to-jpeg", "To High-Quality &JPEG File...", "", "size=N points=N file=JPG antialias=0|1", None,
     Atoms, GlJpegHandler, nullptr, "", BitmapFields},
    {216, "opengl-preferences", "Open&GL Preferences...", "", "FIELD=VALUE ...", None, Always, OpenGlPreferencesHandler,
     nullptr, "", OpenGlPreferenceRanges},
    {217, "bond-width-0.1", "0.&1 (Default)", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {218, "bond-width-0.2", "0.&2", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {219, "bond-width-0.025", "0.02&5", "", "[ATOM ATOM]", Drawing, BondsChosen, BondWidthHandler, nullptr, ""},
    {220, "bond-width", "&Custom...", "", "WIDTH", Drawing, BondsChosen, CustomWidthHandler, nullptr, ""},
    {224, "solid-bond", "&Solid", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {225, "dashed-bond", "&Dashed", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {226, "dotted-bond", "D&otted", "", "[ATOM ATOM]", Drawing, BondsChosen, BondStyleHandler, nullptr, ""},
    {229, "fmol-after-changes", "&FMOL after significant structure changes", "", "[on|off]", None, Always,
     FmolToggleHandler, IsOn<&Workbench::FmolAfterChanges>, ""},
    {230, "save-all", "Save A&ll...", "", "FILE", None, Always, SaveAsHandler, nullptr, ""},
    {231, "help-contents", "&Table of Contents", "", "", None, Always, HelpHandler, nullptr, ""},
    {232, "help-overview", "&Overview", "", "", None, Always, HelpHandler, nullptr, ""},
    {233, "help-guide", "&User's Guide", "", "", None, Always, HelpHandler, nullptr, ""},
    {234, "help-tutorial", "Tutor&ial", "", "", None, Always, HelpHandler, nullptr, ""},
    {235, "aromatic-bond", "&Aromatic", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {236, "pi-bond", "&Pi", "", "[ATOM ATOM]", Drawing, BondsChosen, BondOrderHandler, nullptr, ""},
    {237, "bond-with", "&Bond With...", "", "ATOM", Structure, Atoms, BondWithHandler, nullptr, ""},
    {238, "bond-atom-with", "B&ond With...", "", "ATOM", Structure, Always, BondWithHandler, nullptr, ""},
    {239, "same", "S&ame...", "", "[ATOM]", Structure, Always, SameHandler, nullptr, ""},
    {241, "move-atom-near", "&Move Near...", "", "ATOM", Structure, Always, MoveNearHandler, nullptr, ""},
    {242, "help-quick", "&Quick Commands", "", "", None, Always, HelpHandler, nullptr, ""},
    {243, "hide-selected", "Hide S&elected", "", "", Drawing, Selection, HideHandler, nullptr, ""},
    {244, "hide-unselected", "Hide &Unselected", "", "", Drawing, Atoms, HideHandler, nullptr, ""},
    {245, "show-all", "Show &All", "", "", Drawing, Always, HideHandler, nullptr, ""},
    {246, "move-near", "&Move Near...", "", "ATOM", Structure, Atoms, MoveNearHandler, nullptr, ""},
    {247, "help-supplement", "&Marvik 4.0 Supplement", "", "", None, Always, HelpHandler, nullptr, ""},
    {300, "about", "&About", "", "", None, Always, AboutHandler, nullptr, ""},
    {500, "undo", "&Undo", "Ctrl+Z", "", None, UndoStep, UndoHandler, nullptr, ""},
    {501, "redo", "Re&do", "Ctrl+Shift+Z", "", None, RedoStep, UndoHandler, nullptr, ""},
    {502, "zoom-in", "Zoom &In", "", "", None, Always, ZoomStepHandler, nullptr, ""},
    {503, "reset-view", "&Reset View", "Ctrl+0", "", None, Always, ResetViewHandler, nullptr, ""},
    {504, "save-picture", "&Save Picture...", "Ctrl+Shift+P", "size=N resolution=N background=NAME renderer=NAME FILE",
     None, Always, SavePictureHandler, nullptr, "", SavePictureFields},
    {505, "save-recipe", "Save Picture &Recipe...", "", "FILE", None, Always, SaveRecipeHandler, nullptr, ""},
    {506, "apply-recipe", "&Apply Picture Recipe...", "", "FILE", Drawing, Always, ApplyRecipeHandler, nullptr, ""},
    {507, "compare", "&Compare...", "", "old=WHAT new=WHAT", None, Always, CompareHandler, nullptr, "", CompareFields},
    {508, "reload", "&Reload from Disk", "Ctrl+Shift+O", "", Structure, Always, ReloadHandler, nullptr, ""},
    {510, "rename", "Re&name Atom...", "F2", "[ATOM] NAME ...", Structure, PickedOrSelected, RenameHandler, nullptr,
     ""},
    {511, "recount-unit", "Recount &UNIT", "", "", Structure, Atoms, RecountUnitHandler, nullptr, ""},
    {512, "edit-lines", "Edit Lines", "", "LINE COUNT [TEXT]", Structure, Always, EditLinesHandler, nullptr, ""},
    {513, "copy-atoms", "&Copy Atoms", "Ctrl+C", "[ATOMS]", None, PickedOrSelected, CopyAtomsHandler, nullptr, ""},
    {514, "paste-atoms", "&Paste Atoms", "Ctrl+V", "[FILE]", Structure, Always, PasteAtomsHandler, nullptr, ""},
    {520, "refinement-history", "Refinement &History...", "", "STEP", Structure, Always, RefinementStepHandler, nullptr,
     ""},
    {521, "solve", "&Solve", "", "[FIELD=VALUE ...]", Structure, Always, SolveHandler, nullptr, "", SolveFields},
    {522, "complete", "&Complete", "", "[FIELD=VALUE ...]", Structure, Atoms, CompleteHandler, nullptr, "",
     CompleteFields},
    {523, "new-from-reflections", "&New from Reflections...", "", "FIELD=VALUE ...", Structure, Always,
     NewFromReflectionsHandler, nullptr, "", NewFromReflectionsFields},
    {524, "complete-next", "C&omplete: Next Step", "", "", Structure, Atoms, CompleteHandler, nullptr, ""},
    {530, "structure-panel", "&Structure", "F3", "[on|off]", None, Always, PanelHandler, IsPanelShown<530>, ""},
    {531, "refinement-panel", "&Refinement", "F4", "[on|off]", None, Always, PanelHandler, IsPanelShown<531>, ""},
    {532, "model-panel", "&Model", "F5", "[on|off]", None, Always, PanelHandler, IsPanelShown<532>, ""},
    {533, "history-panel", "&History", "F8", "[on|off]", None, Always, PanelHandler, IsPanelShown<533>, ""},
    {534, "instructions-panel", "&Instructions", "F6", "[on|off]", None, Always, PanelHandler, IsPanelShown<534>, ""},
    {535, "geometry-panel", "&Geometry", "F7", "[on|off]", None, Always, PanelHandler, IsPanelShown<535>, ""},
    {538, "usual-panels", "&Usual Panels", "", "", None, Always, PanelHandler, nullptr, ""},
    {539, "no-panels", "&None", "F9", "", None, Always, PanelHandler, nullptr, ""},
    {540, "find-command", "&Find a Command...", "Ctrl+Space", "", None, Always, WindowHandler, nullptr, ""},
    {541, "keys", "&Keys...", "Ctrl+F1", "", None, Always, WindowHandler, nullptr, ""},
    {550, "bonds-table", "&Bonds", "", "", None, Atoms, TableHandler<ReportKind::Bonds>, nullptr, ""},
    {551, "angles-table", "A&ngles", "", "", None, Atoms, TableHandler<ReportKind::Angles>, nullptr, ""},
    {552, "torsions-table", "&Torsion Angles", "", "", None, Atoms, TableHandler<ReportKind::Torsions>, nullptr, ""},
    {553, "hydrogen-bonds-table", "&Hydrogen Bonds", "", "", None, Atoms, TableHandler<ReportKind::HydrogenBonds>,
     nullptr, ""},
    {554, "contacts-table", "Short &Contacts", "", "", None, Atoms, TableHandler<ReportKind::Contacts>, nullptr, ""},
    {560, "look-dark", "&Dark", "", "", None, Always, LookHandler, IsLook<kDarkLookCommand>, ""},
    {561, "look-light", "&Light", "", "", None, Always, LookHandler, IsLook<kLightLookCommand>, ""},
    {562, "look-paper", "&Paper", "", "", None, Always, LookHandler, IsLook<kPaperLookCommand>, ""},
    {563, "look-classic", "&Classic", "", "", None, Always, LookHandler, IsLook<kClassicLookCommand>, ""},
    {564, "look-desktop", "&As the Desktop", "", "", None, Always, LookHandler, IsLook<kDesktopLookCommand>, ""},
    {565, "safe-colours", "Colour-&Blind Safe", "", "[on|off]", None, Always, SafeColoursHandler,
     IsOn<&Workbench::SafeColours>, ""},
    {566, "lit", "&Lit", "Ctrl+5", "", None, Always, RenditionHandler, IsRendition<kLitRendition>, ""},
    {570, "preferences", "Pre&ferences...", "Ctrl+,", "", None, Always, WindowHandler, nullptr, ""},
    {571, "tour", "Tour of the &Window", "", "", None, Always, WindowHandler, nullptr, ""},
    {572, "ambient-shadow", "A&mbient Shadow", "", "[on|off]", None, Always, AmbientShadowHandler,
     IsInFigure<&FigureChoices::ambientShadow>, ""},
    {573, "inertia", "Inertia", "", "[on|off]", None, Always, InertiaHandler, IsOn<&Workbench::inertia>, ""},
    {580, "view-a", "Along &a", "", "", None, Always, DirectionHandler, nullptr, ""},
    {581, "view-b", "Along &b", "", "", None, Always, DirectionHandler, nullptr, ""},
    {582, "view-c", "Along &c", "", "", None, Always, DirectionHandler, nullptr, ""},
    {583, "view-a-star", "Along a*", "", "", None, Always, DirectionHandler, nullptr, ""},
    {584, "view-b-star", "Along b*", "", "", None, Always, DirectionHandler, nullptr, ""},
    {585, "view-c-star", "Along c*", "", "", None, Always, DirectionHandler, nullptr, ""},
    {586, "view-best-plane", "Best &Plane", "", "", None, Atoms, FacePlaneHandler, nullptr, ""},
    {587, "view-plane", "Plane through &Selected", "", "[ATOM ATOM ATOM ...]", None, Always, FacePlaneHandler, nullptr,
     ""},
    {588, "view-along-bond", "A&long Bond", "", "[ATOM ATOM]", None, Always, DirectionHandler, nullptr, ""},
    {589, "view-across-bond", "&Normal of Bond", "", "[ATOM ATOM]", None, Always, DirectionHandler, nullptr, ""},
    {590, "density", "Electron &Density", "Ctrl+Shift+F", "[on|off]", None, Always, DensityHandler, ShowsDensity, ""},
    {591, "density-fo-fc", "&Fo-Fc", "", "", None, Always, DensityHandler, ShowsMap<MapKind::Difference>, ""},
    {592, "density-2fo-fc", "&2Fo-Fc", "", "", None, Always, DensityHandler, ShowsMap<MapKind::TwiceObserved>, ""},
    {593, "density-fo", "F&o", "", "", None, Always, DensityHandler, ShowsMap<MapKind::Observed>, ""},
    {594, "density-level", "&Level...", "", "LEVEL[s]", None, Always, DensityLevelHandler, nullptr, ""},
    {595, "density-raise", "&Raise Level", "", "", None, Always, DensityLevelHandler, nullptr, ""},
    {596, "density-lower", "Lo&wer Level", "", "", None, Always, DensityLevelHandler, nullptr, ""},
    {597, "density-plane", "&Contours in a Plane", "", "[ATOM ATOM ATOM ...|off]", None, Always, DensityPlaneHandler,
     IsPlaneContoured, ""},
    {598, "density-peaks", "&Peaks and Holes", "", "", None, Atoms, DataTableHandler<ReportKind::Peaks>, nullptr, ""},
    {599, "contour-step", "Contour &Step...", "", "STEP|auto", None, Always, ContourStepHandler, nullptr, ""},
    {600, "split", "Spl&it...", "Ctrl+Shift+D", "[ATOMS] FIELD=VALUE ...", Structure, PickedOrSelected, SplitHandler,
     nullptr, "", SplitFields},
    {601, "join", "&Join", "Ctrl+Shift+J", "[ATOMS]", Structure, PickedOrSelected, JoinHandler, nullptr, ""},
    {602, "show-part", "&Step through Parts", "Ctrl+Shift+A", "[NUMBER|all|next]", Drawing, Always, ShowPartHandler,
     nullptr, ""},
    {603, "peak-level", "Hide &Weak Peaks...", "", "HEIGHT", Drawing, Atoms, PeakLevelHandler, nullptr, ""},
    {604, "split-candidates", "C&andidates to Split", "", "[TRIES]", None, Atoms, SplitCandidatesHandler, nullptr, ""},
    {605, "restrain", "&Restrain...", "Ctrl+Shift+R", "[ATOMS] kind=KIND ...", Structure, Atoms, RestrainHandler,
     nullptr, "", RestraintFields},
    {606, "restraints", "&List of Restraints", "", "", None, Atoms, RestraintsHandler, nullptr, ""},
    {607, "remove-restraint", "Remo&ve Restraint...", "", "NUMBER", Structure, Atoms, RemoveRestraintHandler, nullptr,
     ""},
    {608, "measure", "&Measure", "Ctrl+M", "[ATOMS]", Structure, Atoms, MeasureHandler, nullptr, ""},
    {609, "measurements", "List of Meas&urements", "", "", None, Atoms, MeasurementsHandler, nullptr, ""},
    {610, "parts-panel", "P&arts", "F11", "[on|off]", None, Always, PanelHandler, IsPanelShown<610>, ""},
    {611, "restraints-panel", "R&estraints", "F12", "[on|off]", None, Always, PanelHandler, IsPanelShown<611>, ""},
    {612, "remove-measurements", "Remo&ve Measurements", "", "[NUMBER]", Structure, Atoms, RemoveMeasuresHandler,
     nullptr, ""},
    {613, "measure-groups", "Planes and C&entroids...", "", "GROUPS", None, Atoms, MeasureGroupsHandler, nullptr, ""},
    {614, "edit-restraint", "E&dit Restraint...", "", "number=N target=D sigma=S", Structure, Atoms,
     EditRestraintHandler, nullptr, "", RestraintEditFields},
    {615, "restraints-here", "&What Restrains This", "", "[ATOMS]", None, PickedOrSelected, RestraintsHereHandler,
     nullptr, ""},
    {616, "draw-restraints", "Draw Res&traints", "", "[on|off]", None, Always, DrawnOverHandler,
     IsInFigure<&FigureChoices::restraints>, ""},
    {617, "fragment", "Fit Fragment...", "Ctrl+Shift+G", "[ATOMS] fragment=NAME ...", Structure, Selection,
     FragmentHandler, nullptr, "", FragmentFields},
    {618, "fragments", "List of Fragments", "", "", None, Always, FragmentsHandler, nullptr, ""},
    {619, "shade-parts", "Shade Parts", "", "[on|off]", None, Always, ShadePartsHandler, ArePartsShaded, ""},
    {620, "suggest-elements", "Suggest Elements", "", "", None, Atoms, SuggestElementsHandler, nullptr, ""},
    {621, "overlay", "Overlay...", "", "[ATOMS] [file=FILE]", None, Atoms, OverlayHandler, nullptr, "", OverlayFields},
    {622, "write-htab", "Write HTAB Lines", "", "", Structure, Atoms, WriteHtabHandler, nullptr, ""},
    {624, "element-badges", "Element Badges", "", "[on|off]", None, Atoms, ElementBadgesHandler,
     IsOn<&Workbench::elementBadges>, ""},
    {625, "solvent-mask", "Solvent &Mask", "", "[FIELD=VALUE ...]", Structure, Atoms, SolventMaskHandler, nullptr, "",
     MaskFields},
    {626, "voids-table", "&Voids", "", "", None, Atoms, DataTableHandler<ReportKind::Voids>, nullptr, ""},
    {627, "show-voids", "Draw Voids", "", "[on|off]", None, Atoms, ShowVoidsHandler, AreVoidsShown, ""},
    {628, "turn-hydrogens", "Turn Hydrogens by Map", "", "[ATOMS]", Structure, Atoms, TurnHydrogensHandler, nullptr,
     ""},
    {630, "journal-panel", "Check for &Journal", "F10", "[on|off]", None, Always, PanelHandler, IsPanelShown<630>, ""},
    {631, "publication", "&Publication Items...", "", "ITEMS|FILE", None, Always, PublicationHandler, nullptr, ""},
    {650, "figure", "&Figure Choices...", "", "FIELD=VALUE ...", None, Always, FigureHandler, nullptr, "",
     FigureFields},
    {651, "save-style", "Save Picture S&tyle...", "", "FILE", None, Always, SaveStyleHandler, nullptr, ""},
    {652, "apply-style", "Apply Pict&ure Style...", "", "FILE", None, Always, ApplyStyleHandler, nullptr, ""},
    {653, "tripod", "&Directions of the Axes", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::tripod>, ""},
    {654, "scale-bar", "Sca&le Bar", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::scaleBar>, ""},
    {655, "legend", "Le&gend", "", "[on|off]", None, Always, FigureToggleHandler, IsInFigure<&FigureChoices::legend>,
     ""},
    {656, "show-hydrogen-bonds", "Draw &Hydrogen Bonds", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::hydrogenBonds>, ""},
    {657, "show-short-contacts", "Draw Sh&ort Contacts", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::shortContacts>, ""},
    {658, "pale-mates", "&Paler Symmetry Mates", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::paleMates>, ""},
    {659, "tapered-bonds", "Bo&nds Tapered by Depth", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::taperedBonds>, ""},
    {660, "draw-measurements", "Draw &Measurements", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::measures>, ""},
    {661, "save-swing", "Save S&wing...", "", "old=WHAT file=FILE", None, Atoms, SaveSwingHandler, nullptr, "",
     SwingFields},
    {662, "draw-planes", "Draw Plan&es and Centroids", "", "[on|off]", None, Always, FigureToggleHandler,
     IsInFigure<&FigureChoices::planes>, ""},
    {681, "grow-contact", "Grow Contact", "", "ATOM CODE", Structure, Atoms, GrowContactHandler, nullptr, ""},
    {682, "clip", "&Depths...", "", "FRONT,BACK|off", None, Always, ClipHandler, nullptr, ""},
    {683, "clip-thinner", "&Thinner", "", "", None, Always, ClipStepHandler, nullptr, ""},
    {684, "clip-thicker", "Thic&ker", "", "", None, Always, ClipStepHandler, nullptr, ""},
    {685, "clip-nearer", "&Nearer", "", "", None, Always, ClipStepHandler, nullptr, ""},
    {686, "clip-farther", "&Farther", "", "", None, Always, ClipStepHandler, nullptr, ""},
    {687, "density-about", "&About the Pointer", "", "[ATOM|off]", None, Always, DensityAboutHandler, IsDensityAbout,
     ""},
    {10101, "recent-file-1", "Recent File &1", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10102, "recent-file-2", "Recent File &2", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10103, "recent-file-3", "Recent File &3", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10104, "recent-file-4", "Recent File &4", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10105, "recent-file-5", "Recent File &5", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10106, "recent-file-6", "Recent File &6", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10107, "recent-file-7", "Recent File &7", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10108, "recent-file-8", "Recent File &8", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10109, "recent-file-9", "Recent File &9", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
    {10110, "recent-file-10", "Recent File 1&0", "", "", Structure, RecentFile, RecentFileHandler, nullptr, ""},
};
static_assert(std::ranges::adjacent_find(kRows, std::ranges::greater_equal{}, &CommandRow::id) == std::end(kRows));

// What has to wait while a refinement of the document runs.
bool WaitsForRefinement(const CommandRow& row) {
  constexpr int kFiles[] = {kSaveCommand, kSaveAsCommand, kSaveAllCommand, kUndoCommand, kRedoCommand};
  return row.effect != None || std::ranges::find(kFiles, row.id) != std::end(kFiles);
}

// What asks for the text that is being typed to be part of the structure first.
bool TakesTypedText(const CommandRow& row) {
  constexpr int kOthers[] = {kCompareCommand, kExitCommand};
  return row.id != kEditLinesCommand &&
         (WaitsForRefinement(row) || std::ranges::find(kOthers, row.id) != std::end(kOthers));
}

void Explain(const Workbench& bench, const CommandRow& row, const std::string& sentence) {
  bench.messages.Show({MessageIcon::Warning, "Command Usage Error:", PlainText(row) + ": " + sentence});
}

}  // namespace

std::span<const CommandRow> CommandTable() {
  return kRows;
}

std::string PlainText(const CommandRow& row) {
  std::string text = row.text;
  std::erase(text, '&');
  if (text.ends_with("...")) text.resize(text.size() - 3);
  return text;
}

const CommandRow* FindCommand(int id) {
  const auto row = std::ranges::lower_bound(kRows, id, {}, &CommandRow::id);
  return row != std::end(kRows) && row->id == id ? row : nullptr;
}

bool CommandEnabled(const Workbench& bench, int id) {
  const CommandRow* row = FindCommand(id);
  if (!row || !row->run || (bench.refining && WaitsForRefinement(*row))) return false;
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
  if (bench.refining && WaitsForRefinement(*row)) {
    Explain(bench, *row, kRefinementRuns);
    return Outcome::Failed;
  }
  if (const EditFault fault = ArgumentFault(*row, argument)) return RefuseField(bench, fault);
  if (TakesTypedText(*row) && bench.hooks.settleText && !bench.hooks.settleText()) return Outcome::Cancelled;
  CommandCall call{id, argument};
  if (row->TakesOnOff() && !argument.empty()) {
    if (row->checked(bench) == (argument == "on")) return Outcome::Done;
    call.argument.clear();
  }
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
  if (row->effect != None) bench.history.Settle(bench.document, row->effect == Structure);
  if (outcome == Outcome::Changed && row->effect == Structure) bench.SetModified(true);
  bench.NoteState();
  bench.Repaint();
  return outcome;
}

}  // namespace marvik
