#include <cstddef>
#include <cstdint>
#include <string>

#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/tokenizer.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

std::string Written(const Document& document, FileLayout layout, const std::string& text) {
  RecordingMessages messages;
  std::string saved;
  WriteOptions options;
  options.layout = layout;
  Require(ComposeInstructionText(document, saved, messages, options), "cannot be saved", text);
  return saved;
}

void Read(Document& document, const std::string& text) {
  RecordingMessages messages;
  Require(ReadInstructionText(document, text, messages), "a save cannot be read", text);
}

// What was saved reads back with as many atoms, and saving settles. In standard layout lines may take their places by
// what stands before them only then.
void RequireSettled(const Document& document, FileLayout layout, const std::string& text) {
  std::string saved = Written(document, layout, text);
  Document again;
  Read(again, saved);
  Require(again.atoms.LiveCount() == document.atoms.LiveCount(), "the save has other atoms", text + "\n---\n" + saved);
  constexpr int kRounds = 4;
  for (int round = 0; round < kRounds; ++round) {
    const std::string next = Written(again, layout, saved);
    const bool settling = layout == FileLayout::Standard && round + 1 < kRounds;
    Require(settling || next == saved, "a later save differs", saved + "\n---\n" + next);
    saved = next;
    Read(again, saved);
  }
}

}  // namespace

// What is not edited comes back byte for byte; edits that the bytes choose are saved and read back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Document document;
  RecordingMessages messages;
  if (!ReadInstructionText(document, text, messages)) return 0;
  Require(Written(document, FileLayout::AsRead, text) == text, "a save changes the file", text);
  RequireSettled(document, FileLayout::Standard, text);
  size_t at = 0;
  for (AtomRecord* atom = document.atoms.head; atom && size > 0;) {
    AtomRecord* next = atom->next;
    switch (data[at++ % size] % 8) {
      case 0:
        document.atoms.KillAtom(atom);
        break;
      case 1:
        atom->fract.x += 0.125;
        break;
      case 2:
        atom->part = static_cast<int16_t>(atom->part + 1);
        break;
      case 3:
        document.atoms.Unlink(atom);
        document.atoms.LinkBehind(atom, nullptr);
        break;
      default:
        break;
    }
    atom = next;
  }
  RequireSettled(document, FileLayout::AsRead, text);
  RequireSettled(document, FileLayout::Standard, text);
  return 0;
}
