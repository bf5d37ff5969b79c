#include "app/refinement/solve_flow.h"

#include "app/bench_fixture.h"
#include "app/seven_atoms.h"
#include "base/process_mark.h"

namespace marvik {
namespace {

using test::kHeader;
using test::Reflections;

class SolveFlow : public test::BenchTest {
 protected:
  SolveFlow() {
    folder.Put("job.hkl", Reflections());
    EXPECT_TRUE(Open(kHeader, "job.ins"));
  }
  void ExpectUntouched() {
    EXPECT_EQ(folder.Get("job.ins"), kHeader);
    EXPECT_FALSE(folder.Has("job.res") || folder.Has("job_steps"));
    EXPECT_EQ(bench.document.atoms.head, nullptr);
    EXPECT_EQ(bench.document.CurrentFile, folder / "job.ins");
  }
};

TEST_F(SolveFlow, FindsCompletesAndIsUndone) {
  ASSERT_EQ(Run(kSolveCommand), Outcome::Done) << Captions();
  EXPECT_EQ(CountAtoms(bench.document), 7);
  EXPECT_EQ(bench.document.CurrentFile, folder / "job.res");
  EXPECT_EQ(StepHistory(folder / "job").Steps().size(), 2u);
  EXPECT_EQ(ReadWholeFile(StepHistory(folder / "job").Steps()[0].path).content, kHeader);
  const std::string solved = folder.Get("job.res");

  ASSERT_EQ(Run("complete-next"), Outcome::Done) << Captions();
  const auto steps = StepHistory(folder / "job").Steps();
  ASSERT_EQ(steps.size(), 3u) << "one step only";
  EXPECT_LT(steps.back().r1.value_or(1.0), 0.12);
  Run(kUndoCommand);
  EXPECT_EQ(folder.Get("job.res.bak") + folder.Get("job.res.old~"), "") << "both were our own";
  Run(kUndoCommand);
  EXPECT_EQ(bench.document.atoms.head, nullptr);
  EXPECT_NE(folder.Get("job.res"), solved);
}

TEST_F(SolveFlow, NothingChangesUntilAModelIsTaken) {
  size_t shown = 0;
  bench.hooks.chooseModel = [&](const FoundModels& found, const auto& show) -> std::optional<size_t> {
    show(found.proposed);
    shown = static_cast<size_t>(CountAtoms(bench.document));
    EXPECT_EQ(found.rows[found.proposed].Cell(found, "space group"), "P -1");
    return std::nullopt;
  };
  EXPECT_EQ(Run(kSolveCommand), Outcome::Cancelled);
  EXPECT_EQ(shown, 7u);
  ExpectUntouched();
  bench.hooks.followRun = [&](RefinementRun& run) {
    run.Start(messages);
    run.Terminate(messages);
  };
  EXPECT_EQ(Run(kSolveCommand), Outcome::Cancelled);
  ExpectUntouched();
  bench.hooks.followRun = {};
  EXPECT_EQ(Captions(), "");
  EXPECT_EQ(Run(kSolveCommand, "seed=x"), Outcome::Failed);
  EXPECT_EQ(Run(kSolveCommand, "group=mine"), Outcome::Failed);
  folder.Put("job.hkl", "   1   0   0    1.00    0.10\n");
  EXPECT_EQ(Run(kSolveCommand), Outcome::Failed);
  EXPECT_NE(LastText().find("only 1 reflections"), std::string::npos) << LastText();
  EXPECT_EQ(Captions(), "Error: Field Not Accepted|Error: Field Not Accepted|Error: Solve Failed");
  ExpectUntouched();
}

TEST_F(SolveFlow, TheModelIsSeenAsItAppearsAndGoesAgain) {
  std::filesystem::create_directories(folder / ("tmp/marvik-solve-" + ProcessMark() + "1-abcdef"));
  std::filesystem::create_directories(folder / "tmp/marvik-solve-other");
  const test::WithVariable temporary{"TMPDIR", folder / "tmp"};
  bench.ResetViewToModel();
  bench.view.RotateView(30.0, {1.0, 0.0, 0.0}, true);
  const Matrix4 turned = bench.view.combined;
  int shown = 0;
  const auto follow = [&](RefinementRun& run) {
    ASSERT_TRUE(run.Start(messages));
    while (shown == 0 && !run.IsOver()) {
      run.Pass();
      run.showModel();
      shown = bench.document.atoms.head ? 1 : 0;
    }
  };
  bench.hooks.followRun = [&](RefinementRun& run) {
    follow(run);
    EXPECT_EQ(shown, 1);
    EXPECT_EQ(bench.document.CurrentFile, folder / "job.ins");
    EXPECT_FALSE(bench.modified);
    run.Terminate(messages);
  };
  EXPECT_EQ(Run(kSolveCommand), Outcome::Cancelled);
  ExpectUntouched();
  EXPECT_EQ(bench.view.combined, turned);
  const std::filesystem::directory_iterator left(folder / "tmp");
  EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "also what a killed process had left is gone";
  EXPECT_TRUE(bench.history.UndoName().empty());

  bench.hooks.followRun = [&](RefinementRun& run) {
    shown = 0;
    follow(run);
    while (!run.IsOver()) run.Pass();
    run.showModel();
    EXPECT_EQ(CountAtoms(bench.document), 7) << "the last model before the table";
  };
  EXPECT_EQ(Run(kSolveCommand), Outcome::Done);
  EXPECT_EQ(CountAtoms(bench.document), 7);
  Run(kUndoCommand);
  EXPECT_EQ(bench.document.atoms.head, nullptr) << "what was only shown is no step";
}

TEST_F(SolveFlow, NewFromReflectionsAsksBeforeItOverwrites) {
  const std::string fields = "hkl='" + (folder / "job.hkl") + "' title=again";
  const auto quoted = [&](std::string text) {
    std::ranges::replace(text, '\'', '"');
    return text;
  };
  EXPECT_EQ(Run(kNewFromReflectionsCommand, quoted(fields)), Outcome::Failed);
  EXPECT_EQ(messages.asked.back().caption, "File Exists");
  EXPECT_EQ(folder.Get("job.ins"), kHeader);
  messages.answers = {true};
  messages.asked.clear();
  EXPECT_EQ(Run(kNewFromReflectionsCommand, quoted(fields)), Outcome::Done) << Captions();
  EXPECT_EQ(folder.Get("job.ins.bak"), kHeader);
  EXPECT_EQ(folder.Get("job.ins").substr(0, 34), "TITL again\nCELL 0.71073 6.1000 7.3");
  EXPECT_EQ(bench.document.instructions.title, "again");

  folder.Put("other.hkl", Reflections());
  const std::string other = "hkl=\"" + (folder / "other.hkl") + "\" ";
  for (const char* wrong :
       {"", "cell=1,2,3", "cell=6,7,8,90,90,90", "cell=6,7,8,90,90,90 wavelength=0.7 formula=?", "z=-1"})
    EXPECT_EQ(Run(kNewFromReflectionsCommand, other + wrong), Outcome::Failed) << wrong;
  EXPECT_FALSE(folder.Has("other.ins"));
  folder.Put("electrons.hkl", Reflections());
  EXPECT_EQ(Run(kNewFromReflectionsCommand,
                "hkl=\"" + (folder / "electrons.hkl") + "\" cell=6,7,8,90,90,90 wavelength=0.0251 formula=C7"),
            Outcome::Done);
  EXPECT_EQ(Run(kNewFromReflectionsCommand, other + "cell=6,7,8,90,90,90 wavelength=0.7 formula=C7"), Outcome::Done);
  EXPECT_NE(folder.Get("other.ins").find("UNIT 28\n"), std::string::npos) << folder.Get("other.ins");

  // Reflections of another name are not those of the job beside them.
  const std::string raw = "hkl=\"" + folder.Put("job.raw", Reflections()) + "\"";
  EXPECT_EQ(Run(kNewFromReflectionsCommand, raw), Outcome::Failed);
  EXPECT_NE(LastText().find("job.raw cannot be read"), std::string::npos);
}

TEST_F(SolveFlow, NewFromReflectionsWritesNothingUntilAllMayBeWritten) {
  const std::string mine = folder.Get("job.hkl");
  std::string cif = "data_x\n_refln_text\n;\n";
  for (int h = 1; h < 30; ++h) cif += Printf("%4d   0   0   10.00    1.00\n", h);
  folder.Put("job.cif", cif + ";\n");
  messages.answers = {true, false};  // the reflections may go, the instructions may not
  EXPECT_EQ(Run(kNewFromReflectionsCommand, "hkl=\"" + (folder / "job.cif") + "\" title=again"), Outcome::Failed);
  EXPECT_EQ(messages.asked.size(), 2u);
  EXPECT_EQ(folder.Get("job.hkl"), mine);
  EXPECT_EQ(folder.Get("job.ins"), kHeader);
}

}  // namespace
}  // namespace marvik
