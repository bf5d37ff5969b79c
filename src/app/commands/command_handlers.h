#pragma once

#include "app/commands/command_table.h"
#include "app/workbench.h"
#include "crystal/density_map.h"
#include "edit/edit_fields.h"
#include "report/report.h"

// The work behind the rows of the command table; one function may serve several ids.
namespace marvik {

// Shows a warning and answers Failed.
Outcome Refuse(Workbench& bench, const std::string& caption, const std::string& text);
// The same for what is wrong with a field of the argument.
Outcome RefuseField(Workbench& bench, const EditFault& fault);

// file_commands.cpp
Outcome OpenHandler(Workbench& bench, const CommandCall& call);
Outcome RecentFileHandler(Workbench& bench, const CommandCall& call);
Outcome SaveHandler(Workbench& bench, const CommandCall& call);
Outcome SaveAsHandler(Workbench& bench, const CommandCall& call);
Outcome ExitHandler(Workbench& bench, const CommandCall& call);
Outcome AboutHandler(Workbench& bench, const CommandCall& call);
Outcome DemoHandler(Workbench& bench, const CommandCall& call);

// atom_commands.cpp
Outcome SelectTextHandler(Workbench& bench, const CommandCall& call);
Outcome DeselectHandler(Workbench& bench, const CommandCall& call);
Outcome SelectAtomHandler(Workbench& bench, const CommandCall& call);
Outcome KillSelectedHandler(Workbench& bench, const CommandCall& call);
Outcome KillAtomHandler(Workbench& bench, const CommandCall& call);
Outcome KillPeaksHandler(Workbench& bench, const CommandCall& call);
Outcome HideHandler(Workbench& bench, const CommandCall& call);
Outcome AtomLabelHandler(Workbench& bench, const CommandCall& call);
Outcome PlaceLabelHandler(Workbench& bench, const CommandCall& call);
Outcome DuplicatesHandler(Workbench& bench, const CommandCall& call);

// The atoms that a command of the atom popup acts on: those named by its argument, else the picked one. Empty after a
// message.
std::vector<AtomRecord*> PickedAtomsOf(Workbench& bench, const CommandCall& call);

// bond_commands.cpp
Outcome SelectBondHandler(Workbench& bench, const CommandCall& call);
Outcome BondInfoHandler(Workbench& bench, const CommandCall& call);
Outcome BondOrderHandler(Workbench& bench, const CommandCall& call);
Outcome BondStyleHandler(Workbench& bench, const CommandCall& call);
Outcome BondWidthHandler(Workbench& bench, const CommandCall& call);
Outcome CustomWidthHandler(Workbench& bench, const CommandCall& call);
Outcome BondWithHandler(Workbench& bench, const CommandCall& call);
Outcome DeleteBondHandler(Workbench& bench, const CommandCall& call);

// chem_commands.cpp
Outcome HybridizeHandler(Workbench& bench, const CommandCall& call);
Outcome HydrogensHandler(Workbench& bench, const CommandCall& call);
Outcome HfixHandler(Workbench& bench, const CommandCall& call);
Outcome TableOf(Workbench& bench, ReportKind kind);
template <ReportKind kind>
Outcome TableHandler(Workbench& bench, const CommandCall&) {
  return TableOf(bench, kind);
}
// Of lists that take the reflections and long.
Outcome DataTableOf(Workbench& bench, ReportKind kind);
template <ReportKind kind>
Outcome DataTableHandler(Workbench& bench, const CommandCall&) {
  return DataTableOf(bench, kind);
}
Outcome AtomInformationHandler(Workbench& bench, const CommandCall& call);
Outcome PlaneHandler(Workbench& bench, const CommandCall& call);
Outcome BondsAndAnglesHandler(Workbench& bench, const CommandCall& call);
Outcome EnvironmentHandler(Workbench& bench, const CommandCall& call);
Outcome CentroidHandler(Workbench& bench, const CommandCall& call);

// view_commands.cpp
Outcome LookHandler(Workbench& bench, const CommandCall& call);
Outcome SafeColoursHandler(Workbench& bench, const CommandCall& call);
Outcome AmbientShadowHandler(Workbench& bench, const CommandCall& call);
Outcome InertiaHandler(Workbench& bench, const CommandCall& call);
Outcome RenditionHandler(Workbench& bench, const CommandCall& call);
Outcome LabelToggleHandler(Workbench& bench, const CommandCall& call);
Outcome ShowCellHandler(Workbench& bench, const CommandCall& call);
Outcome ZoomHandler(Workbench& bench, const CommandCall& call);
Outcome ZoomStepHandler(Workbench& bench, const CommandCall& call);
Outcome ResetViewHandler(Workbench& bench, const CommandCall& call);
Outcome DirectionHandler(Workbench& bench, const CommandCall& call);
Outcome FacePlaneHandler(Workbench& bench, const CommandCall& call);
// The atoms that the argument names, else those of the picked or the one selected bond, else the selected ones. Empty
// after a message about a name.
AtomSet AimedAt(Workbench& bench, const CommandCall& call);
// Turns the plane of three or more atoms to the viewer.
Outcome FacePlane(Workbench& bench, const AtomSet& members);
Outcome MouseModeHandler(Workbench& bench, const CommandCall& call);
Outcome ClipHandler(Workbench& bench, const CommandCall& call);
Outcome ClipStepHandler(Workbench& bench, const CommandCall& call);
Outcome DepthCueHandler(Workbench& bench, const CommandCall& call);

// The fields that rows of the table list, beside their handlers or where they are read.
std::span<const FieldRange> PictureFileField();   // gl_commands.cpp
std::span<const FieldRange> SavePictureFields();  // picture_commands.cpp

// density_commands.cpp
Outcome DensityHandler(Workbench& bench, const CommandCall& call);
Outcome DensityLevelHandler(Workbench& bench, const CommandCall& call);
Outcome ContourStepHandler(Workbench& bench, const CommandCall& call);
Outcome DensityAboutHandler(Workbench& bench, const CommandCall& call);
Outcome DensityPlaneHandler(Workbench& bench, const CommandCall& call);
Outcome SolventMaskHandler(Workbench& bench, const CommandCall& call);
std::span<const FieldRange> MaskFields();  // solvent_mask.h
Outcome ShowVoidsHandler(Workbench& bench, const CommandCall& call);
bool AreVoidsShown(const Workbench& bench);
bool IsDensityShown(const Workbench& bench, std::optional<MapKind> kind);
bool IsPlaneContoured(const Workbench& bench);
bool IsDensityAbout(const Workbench& bench);

// symmetry_handlers.cpp
Outcome GrowContactHandler(Workbench& bench, const CommandCall& call);
Outcome GrowHandler(Workbench& bench, const CommandCall& call);
Outcome PackHandler(Workbench& bench, const CommandCall& call);
Outcome TrimHandler(Workbench& bench, const CommandCall& call);
Outcome UniqHandler(Workbench& bench, const CommandCall& call);
Outcome UnUniqHandler(Workbench& bench, const CommandCall& call);
Outcome FmolHandler(Workbench& bench, const CommandCall& call);
Outcome FmolToggleHandler(Workbench& bench, const CommandCall& call);
Outcome MoveNearHandler(Workbench& bench, const CommandCall& call);

// edit_handlers.cpp
Outcome EditAtomHandler(Workbench& bench, const CommandCall& call);
Outcome RenameHandler(Workbench& bench, const CommandCall& call);
Outcome GroupLabelHandler(Workbench& bench, const CommandCall& call);
Outcome SortHandler(Workbench& bench, const CommandCall& call);
Outcome ChangePartHandler(Workbench& bench, const CommandCall& call);
Outcome HidePartHandler(Workbench& bench, const CommandCall& call);
Outcome RestoreHandler(Workbench& bench, const CommandCall& call);
Outcome SameHandler(Workbench& bench, const CommandCall& call);
Outcome RecountUnitHandler(Workbench& bench, const CommandCall& call);

// The atoms that an editing command is for: those that the argument names, else the clicked one for a command of the
// atom popup, else the selected ones in the order of selection. Empty after a message; images cannot be edited.
std::vector<AtomRecord*> AtomsToEdit(Workbench& bench, const std::string& names, bool fromPopup);
// The text of a command that the caller may leave out: then the window is asked. Nothing when it was cancelled.
std::optional<std::string> TextOf(Workbench& bench, const CommandCall& call);

// refine_flow.cpp
Outcome RefineHandler(Workbench& bench, const CommandCall& call);
Outcome RefinementStepHandler(Workbench& bench, const CommandCall& call);
Outcome SolveHandler(Workbench& bench, const CommandCall& call);
Outcome CompleteHandler(Workbench& bench, const CommandCall& call);
Outcome NewFromReflectionsHandler(Workbench& bench, const CommandCall& call);

// editor_handlers.cpp
Outcome ListingHandler(Workbench& bench, const CommandCall& call);
Outcome EditFileHandler(Workbench& bench, const CommandCall& call);

// text_commands.cpp
Outcome CompareHandler(Workbench& bench, const CommandCall& call);
Outcome SaveSwingHandler(Workbench& bench, const CommandCall& call);
std::span<const FieldRange> SwingFields();
std::span<const FieldRange> CompareFields();
Outcome EditLinesHandler(Workbench& bench, const CommandCall& call);
Outcome ReloadHandler(Workbench& bench, const CommandCall& call);

// preference_handlers.cpp
Outcome AtomPreferencesHandler(Workbench& bench, const CommandCall& call);
Outcome OpenGlPreferencesHandler(Workbench& bench, const CommandCall& call);

// gl_commands.cpp
Outcome GlScreenHandler(Workbench& bench, const CommandCall& call);
Outcome GlPrinterHandler(Workbench& bench, const CommandCall& call);
Outcome GlJpegHandler(Workbench& bench, const CommandCall& call);

// picture_commands.cpp
Outcome PrintHandler(Workbench& bench, const CommandCall& call);
Outcome SavePictureHandler(Workbench& bench, const CommandCall& call);
Outcome SaveRecipeHandler(Workbench& bench, const CommandCall& call);
Outcome ApplyRecipeHandler(Workbench& bench, const CommandCall& call);
Outcome FigureHandler(Workbench& bench, const CommandCall& call);
std::span<const FieldRange> FigureFields();
Outcome SaveStyleHandler(Workbench& bench, const CommandCall& call);
Outcome ApplyStyleHandler(Workbench& bench, const CommandCall& call);
Outcome FigureToggleHandler(Workbench& bench, const CommandCall& call);

// help_documents.cpp
Outcome HelpHandler(Workbench& bench, const CommandCall& call);

// panel_handlers.cpp
Outcome PublicationHandler(Workbench& bench, const CommandCall& call);
Outcome PanelHandler(Workbench& bench, const CommandCall& call);
Outcome WindowHandler(Workbench& bench, const CommandCall& call);

// undo_handlers.cpp
Outcome UndoHandler(Workbench& bench, const CommandCall& call);

}  // namespace marvik
