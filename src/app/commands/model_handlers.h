#pragma once

#include "app/commands/command_handlers.h"

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

// restraint_handlers.cpp
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

}  // namespace marvik
