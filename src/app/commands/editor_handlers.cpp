#include "app/commands/command_handlers.h"
#include "app/open_save.h"
#include "files/res/reader.h"

namespace marvik {
namespace {

bool RunEditor(Workbench& bench, const std::string& path, bool wait) {
  if (bench.hooks.runEditor) return bench.hooks.runEditor(path, wait);
  Refuse(bench, "Command Usage Error:", "The text editor needs the window.");
  return false;
}

}  // namespace

Outcome ListingHandler(Workbench& bench, const CommandCall&) {
  const std::string listing = BaseNameOf(bench.document.CurrentFile) + ".lst";
  if (bench.document.CurrentFile.empty() || !StampOf(listing)) {
    return Refuse(bench, "Error: File Not Found",
                  "The listing file\n" + listing + "\ndoes not exist or could not be opened!");
  }
  // A run that failed before it wrote one leaves the listing of the run before.
  const auto instructions = StampOf(BaseNameOf(bench.document.CurrentFile) + ".ins");
  if (instructions && StampOf(listing)->nanoseconds < instructions->nanoseconds) {
    const std::string name = FileNameOf(listing);
    bench.messages.Show({MessageIcon::Information, "View Listing",
                         name + " is from an earlier run: it is older than " +
                             FileNameOf(BaseNameOf(bench.document.CurrentFile)) + ".ins."});
  }
  return RunEditor(bench, listing, false) ? Outcome::Done : Outcome::Failed;
}

// The file is written, edited and read again; undoing brings back the structure as it was before. Text that cannot be
// read stays in the file, and the structure as it was.
Outcome EditFileHandler(Workbench& bench, const CommandCall&) {
  Document& document = bench.document;
  document.atoms.RebuildBackwardLinks();
  if (!SaveCurrentFile(bench)) return Outcome::Failed;
  const std::string path = document.CurrentFile;
  if (!RunEditor(bench, path, true)) return Outcome::Failed;
  bench.ClearPick();
  Document before = document;
  const bool read = ReadInstructionFile(document, path, bench.messages);
  if (!read) {
    document = std::move(before);
    bench.SetModified(true);
    Refuse(bench, "Error: File Unreadable", "This file is either missing, empty or corrupt:\n" + path);
  }
  bench.RefreshAfterStructureChange(false);
  bench.TitleChanged();
  return read ? Outcome::Done : Outcome::Failed;
}

}  // namespace marvik
