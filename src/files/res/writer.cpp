#include "files/res/writer.h"

#include <new>
#include <unordered_set>

#include "base/files.h"
#include "files/res/write_state.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

// One message for every name in a SAME group that no live atom has.
std::string MissingSameAtoms(const Document& document) {
  std::vector<const SameGroup*> groups;
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->Extras().sameGroup) groups.push_back(&*atom->Extras().sameGroup);
  if (groups.empty()) return "";
  std::unordered_set<std::string> names;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    names.insert(UpperCase(atom->name));
    if (atom->residue >= 0) names.insert(UpperCase(QualifiedName(document, *atom)));
  }
  std::string missing;
  for (const SameGroup* group : groups)
    for (const std::string& name : group->names)
      if (!names.contains(UpperCase(name)))
        missing += (missing.empty() ? "Couldn't find " : "\nCouldn't find ") + name + " in the atom list.";
  return missing;
}

std::string WithLineEnds(const std::string& text, const std::string& lineEnd) {
  std::string result;
  result.reserve(text.size() + text.size() / 32);
  for (const char c : text) {
    if (c == '\n') {
      result += lineEnd;
    } else {
      result += c;
    }
  }
  return result;
}

void Compose(Document& document, std::string& text, UserMessages& messages) {
  constexpr size_t kBytesPerAtom = 144;
  text.clear();
  text.reserve(4096 + kBytesPerAtom * document.atoms.RecordCount());
  WriteState state(document, text, messages);
  state.Header();
  state.FileAtoms();
  state.Line(document.instructions.hklfLine);
  state.Kept(KeptPlace::AfterHklf);
  text += "END  \n";
  state.Kept(KeptPlace::AfterEnd);
  state.PeaksBehindEnd();
  state.GrownSection();
  if (document.instructions.lineEnd != "\n") text = WithLineEnds(text, document.instructions.lineEnd);
}

}  // namespace

bool ComposeInstructionText(Document& document, std::string& text, UserMessages& messages) {
  const std::string missing = MissingSameAtoms(document);
  if (!missing.empty()) {
    messages.Show({MessageIcon::Warning, "SAME Command Error:", missing});
    return false;
  }
  try {
    Compose(document, text, messages);
  } catch (const std::bad_alloc&) {
    messages.Show({MessageIcon::Warning, "", "Not enough memory."});
    return false;
  }
  return true;
}

bool WriteInstructionFile(Document& document, const std::string& path, UserMessages& messages,
                          const std::string& backupPath) {
  std::string text;
  if (!ComposeInstructionText(document, text, messages)) return false;
  if (WriteFileAtomically(path, text, backupPath) != 0) {
    messages.Show({MessageIcon::Warning, "Error: File I/O", "Error opening file (" + path + ") for writing."});
    return false;
  }
  document.CurrentFile = path;
  document.WorkingDirectory = DirectoryOf(path);
  document.stamp = StampOf(path);
  return true;
}

}  // namespace marvik
