#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

#include "base/files.h"
#include "chem/bonds/connectivity.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/instruction.h"

#include "support/test_files.h"

namespace marvik::test {

namespace {

std::string ParentName(const AtomRecord& atom) {
  return atom.parent ? atom.parent->name : "";
}

std::string MoreOf(const AtomRecord& atom) {
  const AtomExtras& extras = atom.Extras();
  std::string text = extras.afixWords + "|" + std::to_string(extras.afixWordsCode) + "|" + extras.surplusWords;
  for (const KeptLine& line : extras.linesBefore) text += "\n" + line.text;
  return text;
}

bool Near(double a, double b) {
  return std::fabs(a - b) < 1.0e-6;
}

// Every line that is kept as text, in one form and without order.
std::multiset<std::string> KeptTexts(const Document& document) {
  std::multiset<std::string> texts;
  for (const Instruction& line : InstructionsOf(document)) {
    std::string words = line.name + '_' + line.residue;
    for (const std::string& word : line.all) words += ' ' + word;
    texts.insert(words);
  }
  for (const KeptLine& line : document.instructions.kept)
    if (line.place != KeptPlace::Body) texts.insert(line.text);
  return texts;
}

// What is not the same in two models, beside the order of kept lines.
std::string ModelDifference(const Document& a, const Document& b) {
  const AtomRecord* q = b.atoms.head;
  for (const AtomRecord* p = a.atoms.head; p; p = p->next, q = q->next) {
    if (!q) return "fewer atoms";
    bool same = p->name == q->name && p->element->atomicNumber == q->element->atomicNumber && p->part == q->part &&
                p->partHasOccupancy == q->partHasOccupancy && p->partOccupancy == q->partOccupancy &&
                p->afix == q->afix && p->mole == q->mole && p->uCount == q->uCount && p->flags == q->flags &&
                ParentName(*p) == ParentName(*q) && p->afterEnd == q->afterEnd && MoreOf(*p) == MoreOf(*q) &&
                Near(p->occupancy, q->occupancy) && Near(p->peakHeight, q->peakHeight);
    same = same && (p->residue < 0) == (q->residue < 0);
    if (same && p->residue >= 0)
      same = a.residues[static_cast<size_t>(p->residue)] == b.residues[static_cast<size_t>(q->residue)];
    for (int i = 0; i < 3; ++i) same = same && Near(p->fract[i], q->fract[i]);
    for (size_t i = 0; i < 6; ++i) same = same && Near(p->u[i], q->u[i]);
    for (size_t i = 0; i < 10; ++i) same = same && Near(p->codedValues[i], q->codedValues[i]);
    if (!same) return "atom " + p->name;
  }
  if (q) return "more atoms";
  if (!(a.cell == b.cell) || a.latticeCode != b.latticeCode || a.symmetry.size() != b.symmetry.size()) return "cell";
  if (!(a.settings == b.settings)) return "settings";
  if (a.instructions.sfac != b.instructions.sfac) return "sfac";
  if (a.instructions.freeVariables != b.instructions.freeVariables) return "free variables";
  if (KeptTexts(a) != KeptTexts(b)) return "kept lines";
  if (a.atoms.bindPairs.pairs.size() != b.atoms.bindPairs.pairs.size()) return "BIND";
  if (a.atoms.freePairs.pairs.size() != b.atoms.freePairs.pairs.size()) return "FREE";
  return "";
}

size_t PeaksOf(const Document& document) {
  size_t peaks = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) peaks += atom->IsPeak();
  return peaks;
}

// Reads a text that must be readable and gives what a save would write.
std::string Saved(const std::string& text, Document& document, RecordingMessages& messages) {
  std::string saved;
  EXPECT_TRUE(ReadInstructionText(document, text, messages));
  EXPECT_TRUE(ComposeInstructionText(document, saved, messages, {FileLayout::Standard, {}, {}, {}}));
  return saved;
}

void CheckFile(const std::string& name, const std::string& text) {
  SCOPED_TRACE(name);
  RecordingMessages messages;
  Document first;
  const std::string once = Saved(text, first, messages);
  for (const UserMessage& message : messages.shown) ADD_FAILURE() << message.text;
  // Number forms and comments aside, remarks are all that goes, and every one is named.
  size_t remarks = 0;
  for (size_t at = 0; (at = text.find("\nREM ", at)) != std::string::npos; ++at) ++remarks;
  EXPECT_GE(first.instructions.droppedRemarks.size(), remarks);
  Document second;
  const std::string twice = Saved(once, second, messages);
  EXPECT_EQ(ModelDifference(first, second), "");
  EXPECT_EQ(PeaksOf(first), PeaksOf(second));
  EXPECT_TRUE(second.instructions.droppedRemarks.empty()) << second.instructions.droppedRemarks.front();
  Document third;
  EXPECT_EQ(Saved(twice, third, messages), once);

  size_t at = 0;
  for (size_t end; (end = once.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = once.substr(at, end - at);
    if (line.size() <= 79) continue;
    EXPECT_NE(text.find(line), std::string::npos) << "composed line too long: " << line;
  }
  Connect(first, messages);
  EXPECT_TRUE(std::isfinite(first.MoleculeCentre.x));
}

void CheckFolder(const std::string& folder, size_t atLeast) {
  // Two hold no cell: a title with two remarks, and a list of lone pairs for another file to include.
  const std::vector<std::string> refused{"equal_sign_in_rem.ins", "morphine.bodd"};
  size_t checked = 0;
  for (const std::string& path : FilesBelow(folder, {"res", "ins"})) {
    const FileContent file = ReadWholeFile(path);
    ASSERT_TRUE(file.opened && file.complete) << path;
    if (std::ranges::find(refused, FileNameOf(path)) != refused.end()) {
      Document document;
      RecordingMessages messages;
      EXPECT_FALSE(ReadInstructionFile(document, path, messages)) << path;
      continue;
    }
    CheckFile(path, file.content);
    ++checked;
  }
  EXPECT_GE(checked, atLeast);
}

}  // namespace

TEST(RealFiles, ASaveChangesNothingButRemarksOrderAndNumberForms) {
  if (RealDataFolder().empty()) GTEST_SKIP() << "MARVIK_REAL_DATA is not set";
  CheckFolder(RealDataFolder(), 40);
}

TEST(RealFiles, TheExamplesOfThePackageSurviveASave) {
  CheckFolder(MARVIK_EXAMPLES, 5);
}

}  // namespace marvik::test
