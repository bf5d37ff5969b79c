#include <algorithm>
#include <map>
#include <set>

#include "app/bench_fixture.h"
#include "crystal/cell_metric.h"
#include "draw/canvas/scanline_canvas.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

#include "support/structures.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

constexpr int kPictureSide = 60;

// What a dialog or a pick would give; "%A" and "%B" stand for two bonded atoms, "%F" for the current file. Others name
// one of these, or nothing.
const std::map<int, const char*> kArguments = {
    {102, "out.pdb"},
    {107, "40"},
    {114, "part=1 occupancy=10.5 u=0.04"},
    {115, "O C H"},
    {128, "%A x=0.25"},
    {142, "0,2,0,1,0,1"},
    {144, "$C $O"},
    {148, ""},
    {155, "%A 3.5"},
    {160, "%F"},
    {163, "%A %B"},
    {164, "1"},
    {167, "part=2 fvar=2 occupancy=1 value=0.4"},
    {168, "0"},
    {183, "first=700"},
    {192, "43"},
    {193, "*"},
    {196, "%A 0.1 -0.1"},
    {220, "0.15"},
    {230, "out.res"},
    {237, "%B"},
    {238, "%B"},
    {239, "%A"},
    {241, "%B"},
    {246, "%B"},
    {507, ""},
    {510, "%A %N"},
    {512, "1 0 REM of one's own"},
    {520, "1"},
    {602, "next"},
    {603, "0.5"},
    {605, "kind=similar %A %B"},
    {607, "1"},
    {613, "%A %B"},
    {614, "number=1 sigma=0.05"},
    {617, "fragment=toluene"},
    {681, "%A 1_655"},
    {682, "2,-2"},
    {687, "%A"},
};

class EveryCommand : public test::BenchTest {
 protected:
  EveryCommand() {
    bench.hooks.quit = [this] { quit_ = true; };
    bench.hooks.runEditor = [](const std::string&, bool) { return true; };
    fs::current_path(folder / "");  // where a structure without a name is saved
  }
  ~EveryCommand() override { fs::current_path(home_); }

  void Draw() {
    Image image(kPictureSide, kPictureSide);
    ScanlineCanvas canvas(image);
    ViewState view = bench.view;
    view.drawingSize = kPictureSide;
    view.FitView(view.viewRadius, std::nullopt);
    bench.renderer.Render(bench.document, view, bench.ScreenOptions(), canvas, [] { return true; });
  }

  std::string Text() {
    std::string text;
    EXPECT_TRUE(ComposeInstructionText(bench.document, text, messages));
    return text;
  }

  // Two bonded atoms, twice the first one where nothing is bonded.
  void FindBondedAtoms() {
    first_ = second_ = nullptr;
    for (AtomRecord* atom : Atoms(bench.document.atoms)) {
      if (!first_) first_ = second_ = atom;
      ForEachOwnBond(atom, [&](AtomRecord* partner, const BondRecord*) {
        if (first_ != second_ || IsAnyHydrogen(*atom) || IsAnyHydrogen(*partner)) return;
        first_ = atom;
        second_ = partner;
      });
    }
  }
  static bool IsAnyHydrogen(const AtomRecord& atom) { return atom.element->atomicNumber == 1; }

  std::string ArgumentOf(const CommandRow& row) const {
    const auto own = kArguments.find(row.id);
    std::string text = own != kArguments.end()                          ? own->second
                       : std::string(row.argument) == "[ATOM]"          ? "%A"
                       : std::string(row.argument).starts_with("[ATOM") ? "%A %B"
                                                                        : "";
    const auto fill = [&text](const std::string& mark, const std::string& by) {
      for (size_t at = 0; (at = text.find(mark)) != std::string::npos;) text.replace(at, mark.size(), by);
    };
    fill("%F", bench.document.CurrentFile);
    fill("%A", first_ ? "#" + std::to_string(first_->serial) : "C1");
    fill("%B", second_ ? "#" + std::to_string(second_->serial) : "C2");
    fill("%N", first_ ? std::string(first_->element->Symbol()) + "9Z" : "C9Z");
    return text;
  }

  // Selects four atoms and a bond, and picks what the command's menu would be opened on; or nothing at all.
  void Choose(const CommandRow& row, bool some) {
    AtomList& atoms = bench.document.atoms;
    atoms.selection.Clear();
    atoms.selectedBonds.clear();
    bench.ClearPick();
    FindBondedAtoms();
    if (!some || !first_) return;
    for (AtomRecord* atom : Atoms(atoms)) {
      if (atoms.selection.Size() < 4 && !atom->generated) atoms.selection.Append(atom);
    }
    BondRecord* bond = atoms.FindBond(first_, second_);
    if (bond) atoms.selectedBonds = {bond};
    row.rule == EnabledRule::PickedBond ? bench.PickBond(bond) : bench.PickAtom(first_);
  }

  // One command: the structure can still be saved and read back, and undo and redo bring the saved text back.
  void RunOne(const CommandRow& row, const std::string& argument) {
    const std::string what = std::to_string(row.id) + "=" + argument;
    SCOPED_TRACE(what);
    bench.history.Clear();
    const std::string before = Text();
    messages.answers = {true};
    Run(row.id, argument);
    messages.answers.clear();
    Draw();
    ASSERT_EQ(test::FaultsOf(bench.document.atoms), "");
    const std::string after = Text();
    if (after != before) ReadBack(after);
    if (row.id == kReadFileCommand) return;  // no change, but a new start
    if (bench.history.Levels() == 0) {
      EXPECT_EQ(after, before) << "changed without a step to undo";
      return;
    }
    EXPECT_EQ(bench.history.Levels(), 1u);
    for (const int id : {kUndoCommand, kRedoCommand, kUndoCommand}) {
      Run(id);
      EXPECT_EQ(Text(), id == kUndoCommand ? before : after);
      ASSERT_EQ(test::FaultsOf(bench.document.atoms), "");
    }
  }

  void ReadBack(const std::string& text) {
    Document back;
    RecordingMessages quiet;
    InitElementTable(back.elements, false);
    ASSERT_TRUE(ReadInstructionText(back, text, quiet));
    std::string again;
    ASSERT_TRUE(ComposeInstructionText(back, again, quiet));
    EXPECT_EQ(Lines(again), Lines(text)) << "a second save differs";
  }
  // Sorted, since kept lines come out newest first.
  static std::multiset<std::string> Lines(const std::string& text) {
    std::multiset<std::string> lines;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
      end = std::min(text.find('\n', at), text.size());
      lines.insert(text.substr(at, end - at));
    }
    return lines;
  }

  // Every command with nothing chosen and no argument, then with atoms and a bond chosen, then with its argument; or
  // one command in `stride`, of which it begins with another one each time.
  void RunAll(size_t stride = 1) {
    size_t place = opened_;
    for (const CommandRow& row : CommandTable()) {
      if (++place % stride != 0) continue;
      if (row.id == kUndoCommand || row.id == kRedoCommand) continue;  // run behind every other
      Choose(row, false);
      RunOne(row, "");
      Choose(row, true);
      RunOne(row, "");
      Choose(row, true);
      const std::string argument = ArgumentOf(row);
      if (!argument.empty()) RunOne(row, argument);
      if (HasFatalFailure()) return;
    }
    EXPECT_TRUE(quit_ || stride > 1);
  }

  void RunAllOver(const std::string& path, size_t stride = 1) {
    SCOPED_TRACE(path);
    const std::string copy = folder / fs::path(path).filename().string();
    fs::copy_file(path, copy, fs::copy_options::overwrite_existing);
    bench.SetModified(false);
    if (!OpenFile(bench, copy)) return;
    ++opened_;
    RunAll(stride);
  }

 private:
  const fs::path home_ = fs::current_path();
  AtomRecord* first_ = nullptr;
  AtomRecord* second_ = nullptr;
  bool quit_ = false;

 protected:
  size_t opened_ = 0;
};

TEST_F(EveryCommand, SurvivesAnEmptyDocument) {
  bench.document.CurrentFile = folder / "empty.ins";
  RunAll();
  EXPECT_FALSE(bench.document.atoms.head);
}

TEST_F(EveryCommand, CanBeUndoneOnEveryExample) {
  const auto files = test::ExampleFiles();
  EXPECT_GE(files.size(), 10u);
  for (const std::string& path : files) {
    RunAllOver(path);
  }
}

// Each file gets a fifth of the commands, each command a fifth of the files.
TEST_F(EveryCommand, CanBeUndoneOnEveryRealFile) {
  const char* data = std::getenv("MARVIK_REAL_DATA");
  if (!data) GTEST_SKIP() << "MARVIK_REAL_DATA names no folder";
  std::set<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(data)) {
    const std::string extension = LowerExtensionOf(entry.path().string());
    if (extension == "res" || extension == "ins" || extension == "cif") files.insert(entry.path().string());
  }
  EXPECT_GE(files.size(), 40u);
  for (const std::string& path : files) RunAllOver(path, 5);
  EXPECT_GE(opened_, 40u);
}

}  // namespace
}  // namespace marvik
