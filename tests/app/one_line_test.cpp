// What one edit does to a file, on every file that there is: only lines that name the atom differ.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "app/bench_fixture.h"
#include "app/structure_text.h"
#include "language/line_source.h"
#include "language/tokenizer.h"

#include "support/structures.h"

namespace marvik::test {
namespace {

namespace fs = std::filesystem;

// The name of a word: "C1_2" and "C1_$1" are C1.
std::string NameIn(std::string_view word) {
  return UpperCase(word.substr(0, word.find('_')));
}

bool IsState(InstructionKeyword keyword) {
  using enum InstructionKeyword;
  return keyword == kPart || keyword == kAfix || keyword == kResi || keyword == kMole;
}

// The instructions of a text, and its blank lines, but for those that hold a name and, when `states`
// says so, PART, AFIX, RESI and MOLE.
std::vector<std::string> Others(const std::string& text, const std::vector<std::string>& names, bool states) {
  std::vector<std::string> lines;
  LineSource source(text);
  SourceLine line;
  std::vector<std::string_view> words;
  const char* at = text.data();
  while (source.Next(line)) {
    SplitWords(line.code, words);
    const bool named = std::ranges::any_of(
        words, [&](std::string_view word) { return std::ranges::find(names, NameIn(word)) != names.end(); });
    lines.insert(lines.end(), static_cast<size_t>(std::count(at, line.raw.data(), '\n')), "");
    const std::string bytes(line.raw.data(), source.Position());
    at = source.Position();
    if (!named && !(states && IsState(line.head.keyword))) lines.push_back(bytes);
  }
  lines.insert(lines.end(), static_cast<size_t>(std::count(at, text.data() + text.size(), '\n')), "");
  return lines;
}

// Where two lists part, nothing where they do not.
std::string Parting(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  const auto [p, q] = std::ranges::mismatch(a, b);
  if (p == a.end() && q == b.end()) return "";
  return (p == a.end() ? "the end" : *p) + "\nagainst " + (q == b.end() ? "the end" : *q);
}

class OneLine : public BenchTest {
 protected:
  void Check(const std::string& path) {
    SCOPED_TRACE(path);
    const std::string copy = folder / fs::path(path).filename().string();
    fs::copy_file(path, copy, fs::copy_options::overwrite_existing);
    bench.FmolAfterChanges = false;
    bench.SetModified(false);
    if (!OpenFile(bench, copy)) return;
    text_ = ReadWholeFile(path).content;
    ASSERT_EQ(TextOfStructure(bench), text_) << "opened and saved";
    std::vector<uint32_t> atoms;
    for (const AtomRecord* atom : Atoms(bench.document.atoms))
      if (!atom->IsPeak() && !atom->generated) atoms.push_back(atom->serial);
    if (atoms.empty()) return;
    ++checked_;
    for (const size_t index : {size_t{0}, atoms.size() / 2, atoms.size() - 1}) Edits(atoms[index]);
  }

  void Edits(uint32_t serial) {
    const AtomRecord* atom = bench.document.atoms.FindSerial(serial);
    const std::string name = UpperCase(atom->name);
    const std::string other = UpperCase(atom->element->Symbol()) + "9Z";
    SCOPED_TRACE(name);
    const std::string reference = "#" + std::to_string(serial);
    std::vector<std::string> group{name};  // hydrogens ride along
    for (const AtomRecord* rider : Atoms(bench.document.atoms))
      if (rider->parent == atom) group.push_back(UpperCase(rider->name));
    One(kEditAtomCommand, "x=0.4321", serial, group, false);
    One(kRenameAtomCommand, reference + " " + other, serial, {name, other}, false);
    One(kKillSelectedCommand, "", serial, group, true);
    // A new atom: the one that was killed comes back, as it was.
    Run(kSelectAtomsCommand, "=" + reference);
    Run(kKillSelectedCommand);
    Run(kRestoreCommand, "*");
    EXPECT_EQ(Parting(Others(TextOfStructure(bench), group, true), Others(text_, group, true)), "") << "added";
    while (CommandEnabled(bench, kUndoCommand)) Run(kUndoCommand);
    EXPECT_EQ(TextOfStructure(bench), text_);
  }

  void One(int id, const std::string& argument, uint32_t serial, const std::vector<std::string>& names, bool states) {
    SCOPED_TRACE(std::to_string(id) + "=" + argument);
    Run(kSelectAtomsCommand, "=#" + std::to_string(serial));
    EXPECT_EQ(Run(id, argument), Outcome::Changed);
    const std::string now = TextOfStructure(bench);
    EXPECT_EQ(Parting(Others(now, names, states), Others(text_, names, states)), "");
    Run(kUndoCommand);
    EXPECT_EQ(TextOfStructure(bench), text_) << "a step back";
  }

  std::string text_;
  int checked_ = 0;
};

TEST_F(OneLine, DiffersOnTheExamples) {
  for (const std::string& path : ExampleFiles()) Check(path);
  EXPECT_GE(checked_, 5);
}

TEST_F(OneLine, DiffersOnEveryRealFile) {
  const char* data = std::getenv("MARVIK_REAL_DATA");
  if (!data) GTEST_SKIP() << "MARVIK_REAL_DATA names no folder";
  for (const auto& entry : fs::recursive_directory_iterator(data)) {
    const std::string extension = LowerExtensionOf(entry.path().string());
    if (extension == "res" || extension == "ins") Check(entry.path().string());
  }
  EXPECT_GE(checked_, 40);
}

}  // namespace
}  // namespace marvik::test
