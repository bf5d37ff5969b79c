#include "app/commands/command_handlers.h"
#include "app/journal_files.h"
#include "base/files.h"
#include "files/cif/cif_completion.h"

namespace marvik {
namespace {

constexpr char kBeside[] = "beside";

bool AreItems(const std::string& text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  return start != text.npos &&
         (text[start] == '_' || text.compare(start, 5, "data_") == 0 || text.compare(start, 5, "loop_") == 0);
}

// What the files beside, a template, or any other file say of what is open.
std::optional<std::string> ChangesFrom(PublicationState& state, const std::string& name) {
  if (name != kBeside) {
    std::string path = PackageFile(kPublicationTemplates, name, "cif");
    if (path.empty()) path = name;
    if (!StampOf(path)) return std::nullopt;
    state.beside = {ReadPublicationSource(path)};
  }
  std::string changes;
  for (const std::string& block : state.blocks) {
    const std::string filling = FillingOf(state.Rows(block));
    if (!filling.empty()) changes += "data_" + block + "\n" + filling;
  }
  return changes;
}

bool Write(Workbench& bench, const std::string& path, const std::string& text, const std::string& backup) {
  const int error = WriteFileAtomically(path, text, backup);
  if (error != 0) Refuse(bench, "Error: File I/O", WriteFault(path, error));
  return error == 0;
}

}  // namespace

Outcome PublicationHandler(Workbench& bench, const CommandCall& call) {
  auto state = FindPublication(bench);
  if (!state) return Refuse(bench, "Command Usage Error:", "There is no structure whose items could be kept.");
  const auto changes = AreItems(call.argument) ? call.argument : ChangesFrom(*state, call.argument);
  if (!changes) {
    return Refuse(bench,
                  "Command Usage Error:", call.argument + " is neither an item of a CIF, nor a file, nor a template.");
  }
  if (changes->empty()) return Outcome::Done;
  std::string problem;
  const auto kept = ChangedPublication(state->kept, *changes, state->blocks[0], problem);
  if (!kept) return Refuse(bench, "Error: Field Not Accepted", problem);
  if (!Write(bench, state->keptPath, *kept, {})) return Outcome::Failed;
  const std::string done = CompletedCif(state->cif, *kept, state->kept);
  if (state->cifPath.empty() || done == state->cif) return Outcome::Done;
  return Write(bench, state->cifPath, done, state->cifPath + ".bak") ? Outcome::Done : Outcome::Failed;
}

}  // namespace marvik
