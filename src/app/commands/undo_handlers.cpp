#include "app/commands/command_handlers.h"

namespace marvik {

Outcome UndoHandler(Workbench& bench, const CommandCall& call) {
  const bool undo = call.id == kUndoCommand;
  if (!(undo ? bench.history.Undo(bench.document) : bench.history.Redo(bench.document))) {
    return Refuse(bench, "Command Usage Error:", undo ? "There is nothing to undo." : "There is nothing to redo.");
  }
  bench.ClearPick();
  bench.FollowCentre();
  bench.SetModified(!bench.IsAsSaved());
  return Outcome::Changed;
}

}  // namespace marvik
