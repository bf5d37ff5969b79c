#include "app/commands/command_handlers.h"
#include "app/open_save.h"
#include "app/version.h"

namespace marvik {
namespace {

Outcome DoneIf(bool ok) {
  return ok ? Outcome::Done : Outcome::Failed;
}

}  // namespace

Outcome Refuse(Workbench& bench, const std::string& caption, const std::string& text) {
  bench.messages.Show({MessageIcon::Warning, caption, text});
  return Outcome::Failed;
}

Outcome RefuseField(Workbench& bench, const EditFault& fault) {
  return Refuse(bench, "Error: Field Not Accepted", fault.text);
}

Outcome OpenHandler(Workbench& bench, const CommandCall& call) {
  return DoneIf(OpenFile(bench, call.argument));
}

Outcome RecentFileHandler(Workbench& bench, const CommandCall& call) {
  // A copy: opening reorders the slots.
  const std::string path = bench.settings.RecentFiles[static_cast<size_t>(call.id - kFirstRecentFileCommand)];
  if (path.empty()) return Refuse(bench, "Command Usage Error:", "There is no such recent file.");
  return DoneIf(OpenFile(bench, path));
}

Outcome SaveHandler(Workbench& bench, const CommandCall&) {
  return DoneIf(SaveCurrentFile(bench));
}

Outcome SaveAsHandler(Workbench& bench, const CommandCall& call) {
  bench.SaveAllPending = call.id == kSaveAllCommand;
  if (!bench.SaveAllPending) bench.document.atoms.RebuildBackwardLinks();
  const bool saved = SaveFileAs(bench, call.argument);
  bench.SaveAllPending = false;
  return DoneIf(saved);
}

Outcome ExitHandler(Workbench& bench, const CommandCall&) {
  bench.document.atoms.RebuildBackwardLinks();
  bench.quitRequested = true;
  if (bench.hooks.quit) bench.hooks.quit();
  return Outcome::Done;
}

// Choosing the entry again stops the demo.
Outcome DemoHandler(Workbench& bench, const CommandCall&) {
  if (!bench.hooks.demo) {
    return Refuse(bench, "Command Usage Error:",
                  "The demo plays in the window; marvik --script FILE.dem plays a script without one.");
  }
  const bool start = bench.DemoRunning == 0;
  if (start && !MayLoseChanges(bench, "play the demo")) return Outcome::Cancelled;
  bench.hooks.demo(start);
  return Outcome::Done;
}

Outcome AboutHandler(Workbench& bench, const CommandCall&) {
  bench.messages.Show({MessageIcon::Information, "About",
                       std::string("Marvik ") + kProgramVersion +
                           "\nA desktop shell for the refinement of crystal structures from single-crystal data.\n"
                           "It shows, edits and writes instruction and result files (.ins, .res)."});
  return Outcome::Done;
}

}  // namespace marvik
