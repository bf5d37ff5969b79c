#include <algorithm>
#include <map>
#include <set>

#include "app/bench_fixture.h"
#include "app/reports.h"
#include "draw/canvas/recording_canvas.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

#include "support/kept_outputs.h"
#include "support/structures.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

// Pixels of a picture that is compared, and of one that need only be drawn.
constexpr int kKeptSide = 600;
constexpr int kSide = 60;
#ifdef __SANITIZE_ADDRESS__
constexpr bool kKeepsReal = false;  // it would take a quarter of an hour
#else
constexpr bool kKeepsReal = true;
#endif

// What a dialog or a pick would give; "%A" and "%B" stand for two bonded atoms, "%F" for the current file. Others name
// one of these, or nothing.
constexpr char kArguments[] =
    "save-as=out.pdb; depth-cue=40; edit-atoms=part=1 occupancy=10.5 u=0.04; sort=O C H; edit-atom=%A x=0.25; "
    "pack=0,2,0,1,0,1; select=$C $O; edit-file=; environment=%A 3.5; read-file=%F; select-by-name=%A %B; "
    "pack-cells=1; change-part=part=2 fvar=2 occupancy=1 value=0.4; hide-part=0; group-label=first=700; hfix=43; "
    "restore=*; position-label=%A 0.1 -0.1; bond-width=0.15; save-all=out.res; bond-with=%B; bond-atom-with=%B; "
    "same=%A; move-atom-near=%B; move-near=%B; compare=; rename=%A %N; edit-lines=1 0 REM of one's own; "
    "refinement-history=1; show-part=next; peak-level=0.5; restrain=kind=similar %A %B; remove-restraint=1; "
    "measure-groups=%A %B; edit-restraint=number=1 sigma=0.05; fragment=fragment=toluene; grow-contact=%A 1_655; "
    "clip=2,-2; density-about=%A";

class EveryCommand : public test::BenchTest {
 protected:
  EveryCommand() {
    bench.hooks.quit = [this] { quit_ = true; };
    bench.hooks.runEditor = [](const std::string&, bool) { return true; };
    fs::current_path(folder / "");  // where a structure without a name is saved
  }
  ~EveryCommand() override { fs::current_path(home_); }

  // Turned, so that no place lies halfway between two pixels.
  std::string Drawn() {
    RecordingCanvas canvas;
    ViewState view = bench.view;
    view.drawingSize = kept_.empty() && !all_ ? kSide : kKeptSide;
    view.FitView(view.viewRadius, std::nullopt);
    view.RotateView(17.0, {1, 2, 3}, true);
    bench.renderer.Render(bench.document, view, bench.ScreenOptions(), canvas, [] { return true; });
    return canvas.Recorded();
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
    std::string wrong;
    static const auto known = *ParseCommandSteps(kArguments, wrong);
    const auto own = std::ranges::find(known, row.id, &CommandStep::id);
    std::string text = own != known.end()                               ? own->argument
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
    const std::string drawn = Drawn();
    ASSERT_EQ(test::FaultsOf(bench.document.atoms), "");
    const std::string after = Text();
    if (after != before) ReadBack(after);
    if (!kept_.empty()) {
      const std::string name = kept_ + " " + row.name;
      test::ExpectKept("commands", name + " " + std::to_string(++times_[name]), OutcomeOf(after + drawn));
    } else if (all_) {
      *all_ += std::string("== ") + row.name + '\n' + OutcomeOf(after + drawn);
    }
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

  // What a command made of the file, said and drew.
  std::string OutcomeOf(const std::string& text) {
    std::string all = text + test::BondsOf(bench.document.atoms) +
                      BatchReport(bench, ReportKind::Atoms, ReportFormat::Json).value_or("no atoms");
    for (const UserMessage& said : messages.shown) all += said.caption + ": " + said.text + '\n';
    for (size_t at = 0; (at = all.find(folder / "")) != all.npos;) all.erase(at, folder.path.size());
    messages.shown.clear();
    return all;
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
  std::map<std::string, int> times_;

 protected:
  size_t opened_ = 0;
  std::string kept_;  // the name of the file whose outcomes are compared, each on its own
  std::optional<std::string> all_;
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
    kept_ = fs::path(path).stem().string();
    if (kept_ != "azathiop" && kept_ != "whewell" && kept_ != "dolomite") kept_.clear();
    RunAllOver(path);
  }
}

// Each file gets a fifth of the commands, each command a fifth of the files.
TEST_F(EveryCommand, OverRealFilesCanBeUndone) {
  if (test::RealDataFolder().empty()) GTEST_SKIP() << "MARVIK_REAL_DATA names no folder";
  const auto files = test::FilesBelow(test::RealDataFolder(), {"res", "ins", "cif"});
  const bool kept = kKeepsReal && test::AreKept(files);
  for (const std::string& path : files) {
    if (kept) all_ = "";
    RunAllOver(path, 5);
    if (all_) test::ExpectKept("real", path.substr(test::RealDataFolder().size()) + " commands", *all_);
  }
  EXPECT_GE(opened_, 40u);
}

}  // namespace
}  // namespace marvik
