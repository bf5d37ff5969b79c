#pragma once

#include "app/commands/command_handlers.h"

// The handlers of what builds a model: parts, restraints, measures.
namespace marvik {

// model_handlers.cpp
Outcome SplitHandler(Workbench& bench, const CommandCall& call);
Outcome JoinHandler(Workbench& bench, const CommandCall& call);

}  // namespace marvik
