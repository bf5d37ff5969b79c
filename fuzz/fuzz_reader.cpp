#include <cstddef>
#include <cstdint>
#include <string>

#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/tokenizer.h"

#include "fuzz/require.h"

using namespace marvik;

// What can be read can be saved, what was saved reads back with as many atoms, and saving settles: kept lines are
// reversed each time, so the third save repeats the first.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::string joined = text;
  JoinContinuationLines(joined);
  std::vector<std::string> words;
  std::vector<double> values;
  Tokenize(text, words, values, kReaderTokens);

  std::string saves[3];
  for (int i = 0; i < 3; ++i) {
    Document document;
    RecordingMessages messages;
    if (!ReadInstructionText(document, text, messages)) {
      Require(i == 0, "a save cannot be read", text);
      return 0;
    }
    const size_t atoms = document.atoms.LiveCount();
    Require(ComposeInstructionText(document, saves[i], messages), "cannot be saved", text);
    Document again;
    Require(ReadInstructionText(again, saves[i], messages), "the save cannot be read", saves[i]);
    Require(again.atoms.LiveCount() == atoms, "the save has other atoms", saves[i]);
    text = saves[i];
  }
  Require(saves[2] == saves[0], "saving does not settle", saves[0] + "\n--- third\n" + saves[2]);
  return 0;
}
