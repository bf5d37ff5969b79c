#include <cstddef>
#include <cstdint>
#include <string>

#include "app/commands/command_table.h"
#include "app/open_save.h"
#include "app/workbench.h"
#include "edit/edit_fields.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

constexpr char kModel[] =
    "TITL test\nCELL 0.71073 8 9 10 80 95 100\nZERR 2 0.001 0.001 0.001 0.01 0.01 0.01\nLATT 1\nSFAC C H O\n"
    "UNIT 8 8 8\nSADI 0.02 C1 O1 C1 O2\nREM what is kept\nFVAR 1 0.6\n"
    "C1 1 0.1 0.1 0.1 11 0.04\nAFIX 137\nH1A 2 0.02 0.1 0.1 11 -1.5\nH1B 2 0.1 0.18 0.1 11 -1.5\n"
    "H1C 2 0.12 0.05 0.15 11 -1.5\nAFIX 0\nPART 1 21\nO1 3 0.2 0.2 0.12 21 0.04 0.05 0.06 0 0 0\nPART 2 -21\n"
    "O2 3 0.22 0.18 0.1 -21 0.05\nPART 0\nHKLF 4\nREM behind\nEND\nQ1 1 0.4 0.4 0.4 11 0.05 1.2\n";

std::string Written(const Document& document) {
  RecordingMessages messages;
  std::string text;
  WriteOptions options;
  options.layout = FileLayout::AsRead;
  Require(ComposeInstructionText(document, text, messages, options), "cannot be saved", text);
  return text;
}

}  // namespace

// Each line is a command of the table by its first byte and what stands behind "=" for the rest. Whatever they do can
// be saved and read, and undo brings the file back to the last byte.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RecordingMessages messages;
  Workbench bench(messages);
  ReadInstructionText(bench.document, kModel, messages);
  bench.RefreshAfterStructureChange(false);
  std::string said;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (size_t at = 0, end, steps = 0; at < text.size() && steps < 12; at = end + 1, ++steps) {
    end = std::min(text.find('\n', at), text.size());
    if (end == at) continue;
    const auto table = CommandTable();
    const CommandRow& row = table[static_cast<unsigned char>(text[at]) % table.size()];
    // Those that write files, start programs or have their own past; all others take any text.
    if (!row.run || row.effect != CommandEffect::Structure || row.id == kRefineCommand || row.id == kReadFileCommand ||
        row.id == kOpenCommand || row.name == std::string_view("edit-file") || row.id == kRefinementStepCommand)
      continue;
    const std::string argument = text.substr(at + 1, end - at - 1);
    said += std::string(row.name) + "=" + argument + "\n";
    AtomRecord* atom = bench.document.atoms.head;
    if (steps % 3 == 1 && atom) bench.document.atoms.selection.Append(atom);
    bench.PickAtom(atom);
    bench.history.Clear();
    const std::string before = Written(bench.document);
    RunCommand(bench, row.id, argument);
    const std::string after = Written(bench.document);
    Document back;
    Require(ReadInstructionText(back, after, messages), "a save cannot be read", said + after);
    if (bench.history.Levels() == 0) continue;
    RunCommand(bench, kUndoCommand);
    Require(Written(bench.document) == before, "undo does not bring the file back", said + before);
    RunCommand(bench, kRedoCommand);
    Require(Written(bench.document) == after, "redo does not bring the change back", said + after);
  }
  return 0;
}
