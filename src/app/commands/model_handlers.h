#pragma once

#include "app/commands/command_handlers.h"
#include "edit/edit_fragment.h"

// The handlers of what builds a model: parts, restraints, measures.
namespace marvik {

// A text in a window beside the model, on the command line, or as a message.
Outcome ShowList(Workbench& bench, const std::string& title, const std::string& text);

// model_handlers.cpp
Outcome SplitHandler(Workbench& bench, const CommandCall& call);
Outcome JoinHandler(Workbench& bench, const CommandCall& call);
Outcome SplitCandidatesHandler(Workbench& bench, const CommandCall& call);
Outcome ShowPartHandler(Workbench& bench, const CommandCall& call);
Outcome PeakLevelHandler(Workbench& bench, const CommandCall& call);
Outcome CopyAtomsHandler(Workbench& bench, const CommandCall& call);
Outcome PasteAtomsHandler(Workbench& bench, const CommandCall& call);

// hydrogen_handlers.cpp
Outcome TurnHydrogensHandler(Workbench& bench, const CommandCall& call);

// restraint_handlers.cpp
// Atoms in the order in which they are named, else in that in which they were selected; images too. Empty, after a
// message, for a name that no atom has.
std::vector<AtomRecord*> AtomsInOrder(Workbench& bench, const std::string& names);
Outcome RestrainHandler(Workbench& bench, const CommandCall& call);
Outcome RestraintsHandler(Workbench& bench, const CommandCall& call);
Outcome RemoveRestraintHandler(Workbench& bench, const CommandCall& call);
Outcome EditRestraintHandler(Workbench& bench, const CommandCall& call);
Outcome RestraintsHereHandler(Workbench& bench, const CommandCall& call);
Outcome DrawnOverHandler(Workbench& bench, const CommandCall& call);
Outcome MeasureHandler(Workbench& bench, const CommandCall& call);
Outcome MeasurementsHandler(Workbench& bench, const CommandCall& call);
Outcome RemoveMeasuresHandler(Workbench& bench, const CommandCall& call);
Outcome MeasureGroupsHandler(Workbench& bench, const CommandCall& call);

// fragment_handlers.cpp
Outcome FragmentHandler(Workbench& bench, const CommandCall& call);
Outcome FragmentsHandler(Workbench& bench, const CommandCall& call);
Outcome OverlayHandler(Workbench& bench, const CommandCall& call);
std::span<const FieldRange> OverlayFields();
Outcome WriteHtabHandler(Workbench& bench, const CommandCall& call);
Outcome ShadePartsHandler(Workbench& bench, const CommandCall& call);
Outcome SuggestElementsHandler(Workbench& bench, const CommandCall& call);
Outcome ElementBadgesHandler(Workbench& bench, const CommandCall& call);
// The shapes of the package directory and the installation, by name; what cannot be read is said in `faults`.
std::vector<GroupShape> FragmentLibrary(std::vector<std::string>& faults);

}  // namespace marvik
