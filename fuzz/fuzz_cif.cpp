#include <cstddef>
#include <cstdint>
#include <string>

#include "files/cif/cif_text.h"
#include "files/cif/cif_translation.h"
#include "files/res/reader.h"

#include "fuzz/require.h"

namespace {

using namespace marvik;

// Atom lines are those that begin with a label: no instruction of a translation has a digit or point behind its blanks.
size_t AtomsOf(const std::string& text) {
  const size_t first = text.find("\nFVAR ");
  size_t count = 0;
  for (size_t at = text.find('\n', first + 1) + 1; at < text.size(); at = text.find('\n', at) + 1) {
    const std::string line = text.substr(at, text.find('\n', at) - at);
    count += line[0] != ' ' && !line.starts_with("PART ") && !line.starts_with("HKLF ") && line != "END";
  }
  return count;
}

}  // namespace

// A translation can be read, has no line that is too long, and holds the atoms that were translated, no two of one
// name.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string cif(reinterpret_cast<const char*>(data), size);
  const auto translation = TranslateCif(cif);
  if (!translation) return 0;
  const std::string& text = translation->text;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    Require(end != std::string::npos && end - at <= 79, "a line is too long", text);
    at = end + 1;
  }
  Document document;
  RecordingMessages messages;
  Require(ReadInstructionText(document, text, messages), "the translation cannot be read", text);
  for (const UserMessage& message : messages.shown) Require(false, message.text.c_str(), text);
  Require(document.atoms.LiveCount() == AtomsOf(text), "the translation has other atoms", text);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    Require(document.atoms.FindAtom(atom->name) == atom, "a name is not unique", text);
    Require(!atom->IsPeak(), "an atom became a peak", text);
  }
  return 0;
}
