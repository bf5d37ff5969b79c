#include "app/refinement/refine_flow.h"

#include <algorithm>
#include <csignal>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/bench_fixture.h"
#include "app/cli/command_line.h"

#include "support/fake_refinement_path.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

constexpr char kModel[] =
    "TITL model\nCELL 0.71073 10 10 10 90 90 90\nZERR 4 0.001 0.001 0.001 0 0 0\nLATT -1\nSFAC C O\nUNIT 8 4\nL.S. 4\n"
    "FVAR 1.0\nWGHT 0.1\nC1 1 0.10 0.10 0.10 11.0 0.05\nO1 2 0.25 0.10 0.10 11.0 0.05\nHKLF 4\nEND\n";

// A job "job" in a folder of its own, whose refinement is done by the test suite's own program, told what to do by
// "job.steps".
class RefineFlow : public test::BenchTest {
 protected:
  RefineFlow() {
    fs::create_directory(folder / "pkg");
    PutScript(std::string("#!/bin/sh\nexec '") + test::kFakeRefinement + "' \"$1\"\n");
    Start("job");
  }
  void PutScript(const std::string& text) {
    folder.Put("pkg/zqfrommarvik.bat", text);
    fs::permissions(folder / "pkg/zqfrommarvik.bat", fs::perms::owner_all);
  }
  void Start(const std::string& name, const std::string& model = kModel) {
    folder.Put(name + ".hkl", "   0   0   1    1.00    0.10\n");
    ASSERT_TRUE(OpenFile(bench, folder.Put(name + ".res", model)));
  }
  // Steps of the program; the new result is `result`.
  void Steps(const std::string& steps, const std::string& result = Moved()) {
    folder.Put("new.res", result);
    folder.Put("job.steps", steps);
  }
  // The model with C1 moved by 0.05 Å and a peak.
  static std::string Moved() {
    std::string text = kModel;
    text.replace(text.find("0.10 0.10 0.10 11.0"), 4, "0.105");
    return text.replace(text.find("END"), 3,
                        "REM R1 = 0.0400 for 10\nEND\nWGHT 0.05 0.3\nQ1 1 0.5 0.5 0.5 11.0 0.05 0.77");
  }
  // What is said to be wrong, and nothing of the job has changed.
  void ExpectUntouched(const std::string& caption, const std::string& part, RefineEnd end = RefineEnd::Failed) {
    EXPECT_EQ(Refine(bench), end);
    const std::string text = LastText();
    EXPECT_EQ(Captions(), caption);
    EXPECT_NE(text.find(part), std::string::npos) << text;
    EXPECT_EQ(folder.Get("job.res"), kModel);
    EXPECT_FALSE(folder.Has("job.res.old~") || folder.Has("job.res.new~") || folder.Has("job_steps"));
    EXPECT_EQ(bench.document.CurrentFile, folder / "job.res");
    EXPECT_EQ(bench.document.atoms.FindAtom("C1")->fract.x, 0.1);
  }

  test::WithVariable package{kPackageVariable, folder / "pkg/"};
};

TEST_F(RefineFlow, ChecksInOrderBeforeAnythingIsWritten) {
  bench.hooks.editRefinement = [](RefinementSettings&) -> bool { throw "not reached"; };
  const auto refused = [&](const std::string& caption, const std::string& text) {
    EXPECT_EQ(Refine(bench), RefineEnd::Refused);
    ASSERT_EQ(messages.shown.size(), 1u);
    EXPECT_EQ(LastText(), text);
    EXPECT_EQ(messages.shown[0].icon, MessageIcon::Warning);
    EXPECT_EQ(Captions(), caption);
    EXPECT_FALSE(folder.Has("job.ins"));
  };
  std::string text = kModel;
  Start("job", text.insert(text.find("HKLF"), "S1 1 0.4 0.4 0.4 11 0.05\nq1 1 0.5 0.5 0.5 11.0 0.05 1.0\n"));
  messages.shown.clear();
  refused("Error: Undetermined Elements Remaining in Structure",
          "Refinement could not proceed because atom(s) of type Q were found.");
  Start("job", std::string(kModel).replace(std::string(kModel).find("O1 2"), 4, "c1 1"));
  refused("Error: Duplicate Atom Names Found",
          "Refinement could not proceed because atom name duplications were found.");
  Start("job");
  // An element that SFAC lacks can only come by hand: reading enters what it must.
  bench.document.instructions.sfac.clear();
  refused("Error: Element(s) Not Listed in SFAC are Present",
          "Refinement could not proceed because one or more elements are present in\n"
          "the structure that were not indicated to exist by the .res or .ins file's SFAC line.");
  Start("job");
  fs::remove(folder / "job.hkl");
  refused("Error: File Not Found", (folder / "job.hkl") + " couldn't be found!");
  Workbench empty(messages);
  EXPECT_EQ(Refine(empty), RefineEnd::Refused);
  EXPECT_EQ(LastText(), "noname.hkl couldn't be found!");
}

TEST_F(RefineFlow, AsksOnceAboutIncludesOfOtherFolders) {
  fs::create_directory(folder / "other");
  folder.Put("other/rest.txt", "ISOR C1\n");
  folder.Put("near.txt", "ISOR O1\n");
  std::string model = kModel;
  model.insert(model.find("FVAR"), "+near.txt\n+gone.txt\n+../other/rest.txt\n");
  fs::create_directory(folder / "in");
  folder.Put("in/near.txt", "ISOR O1\n");
  Start("in/job", model);
  folder.Put("in/new.res", Moved());
  folder.Put("in/job.steps", "copy new.res\nsay finished\n");
  messages.answers = {false, true};
  EXPECT_EQ(Refine(bench), RefineEnd::Cancelled);
  ASSERT_EQ(messages.asked.size(), 1u);
  EXPECT_EQ(messages.asked[0].text,
            "The instructions include files that lie in other folders:\n../other/rest.txt\n"
            "Their lines may come into the result. Refine with them?");
  EXPECT_FALSE(folder.Has("in/job.ins"));
  EXPECT_EQ(Refine(bench), RefineEnd::Accepted) << Captions();
  Start("in/job", model);
  EXPECT_EQ(Refine(bench), RefineEnd::Accepted) << Captions();
  EXPECT_EQ(messages.asked.size(), 2u);
}

TEST_F(RefineFlow, FieldsStandForTheDialog) {
  Start("job");
  Steps("copy new.res\nsay finished\n");
  bench.hooks.editRefinement = [](RefinementSettings&) -> bool { throw "not asked"; };
  for (const char* wrong : {"cycles=1000", "cycles=1.5", "cycles=", "type=LS", "weights=0.1,x", "weights=previous",
                            "weights=1,2,3,4,5,6,7", "twotheta=50", "acta=yes", "acta", "cycles=1 cycles=2"}) {
    messages.shown.clear();
    EXPECT_EQ(Run(kRefineCommand, wrong), Outcome::Failed) << wrong;
    EXPECT_EQ(Captions(), "Error: Field Not Accepted") << wrong;
    EXPECT_FALSE(folder.Has("job.ins"));
  }
  ASSERT_EQ(Run(kRefineCommand,
                "cycles=9 type=CGLS plan=33 fmap=3 list=4 acta=on bond=on aniso=on invert=on omit=-2 "
                "twotheta=52 weights=0.06,0.4 exti=0.01"),
            Outcome::Done)
      << Captions();
  const std::string text = folder.Get("job.ins");
  for (const char* line : {"CGLS 9\n", "PLAN 33\n", "FMAP 3\n", "LIST 4\n", "ACTA\n", "BOND\n", "ANIS\n", "MOVE",
                           "OMIT", "WGHT", "0.06", "EXTI"})
    EXPECT_NE(text.find(line), std::string::npos) << line << "in\n" << text;
}

TEST_F(RefineFlow, AcceptedResultTakesThePlaceOfTheModel) {
  Steps("say  wR2 = 0.3000 before cycle 1\ncopy new.res\ncif C1 C 0.1050(10) 0.1000(10) 0.1 0.05|\nsay finished\n");
  RefinementReport seen;
  bench.hooks.editRefinement = [](RefinementSettings& settings) {
    settings.Cycles = 7;
    return true;
  };
  bench.hooks.judgeRefinement = [&](const RefinementReport& report) {
    seen = report;
    return true;
  };
  ASSERT_EQ(Run(103), Outcome::Done);
  EXPECT_TRUE(messages.shown.empty()) << Captions();
  EXPECT_NE(folder.Get("job.ins").find("L.S. 7\n"), std::string::npos);
  EXPECT_EQ(folder.Get("job.res.bak"), kModel);
  EXPECT_EQ(bench.document.CurrentFile, folder / "job.res");
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(Atom("C1")->fract.x, 0.105);
  EXPECT_TRUE(Atom("Q1"));
  EXPECT_EQ(bench.document.settings.SuggestedWeightCount, 2);
  EXPECT_EQ(folder.Get("job.res"), Moved()) << "as the program wrote it";
  EXPECT_NEAR(seen.changes.largestShift, 0.05, 1e-6);
  EXPECT_NEAR(*seen.changes.atoms.at(0).overUncertainty, 5.0, 1e-6);
  EXPECT_EQ(seen.before.wR2, 0.3);
  EXPECT_EQ(seen.after.r1, 0.04);
  EXPECT_EQ(seen.changes.peaks.at(0).height, 0.77);
  const std::string text = ReportText(seen);
  EXPECT_NE(text.find("C1              0.0500      5.00\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Q1     0.77 e/Å³, far from all atoms\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Checks of the CIF: A "), std::string::npos)
      << "what the editor would say of the new CIF" << text;

  // One step back and forth, and the history by its own command.
  EXPECT_EQ(bench.history.UndoName(), "Refine");
  Run(kUndoCommand);
  EXPECT_EQ(Atom("C1")->fract.x, 0.1);
  EXPECT_TRUE(bench.modified);
  Run(kRedoCommand);
  const auto steps = StepHistory(folder / "job").Steps();
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(ReadWholeFile(steps[0].path).content, kModel);
  EXPECT_EQ(ReadWholeFile(steps[1].path).content, Moved());
  EXPECT_EQ(steps[1].r1, 0.04);
  EXPECT_EQ(steps[1].atoms, 2);
  ASSERT_EQ(Run(kRefinementStepCommand, "0"), Outcome::Changed);
  EXPECT_EQ(Atom("C1")->fract.x, 0.1);
  EXPECT_FALSE(Atom("Q1"));
  EXPECT_EQ(bench.document.CurrentFile, folder / "job.res");
  EXPECT_EQ(Run(kRefinementStepCommand, "9"), Outcome::Failed);
  EXPECT_EQ(Run(kRefinementStepCommand, "x"), Outcome::Failed);

  // The second cycle keeps the first backup, and what this program wrote needs none.
  ASSERT_EQ(Run(103), Outcome::Done);
  EXPECT_EQ(folder.Get("job.res.bak"), kModel);
  EXPECT_EQ(StepHistory(folder / "job").Steps().size(), 3u);
}

TEST_F(RefineFlow, BackingOutLeavesTheOldResult) {
  Steps("copy new.res\nsay finished\n");
  const auto stamp = StampOf(folder / "job.res");
  bench.hooks.editRefinement = [](RefinementSettings& settings) {
    settings.RefinementType = "CGLS";
    return false;
  };
  EXPECT_EQ(Run(103), Outcome::Cancelled);
  EXPECT_FALSE(folder.Has("job.ins"));
  EXPECT_TRUE(bench.modified) << "the type was set all the same";
  bench.hooks.editRefinement = {};
  bench.hooks.judgeRefinement = [](const RefinementReport&) { return false; };
  ExpectUntouched("", "", RefineEnd::Discarded);
  EXPECT_TRUE(folder.Has("job.ins"));
  bench.hooks.judgeRefinement = {};
  Steps("copy new.res\nspawn\nwait 60000\n");
  bench.hooks.followRun = [&](RefinementRun& run) { RunToEnd(run, messages, [&] { return folder.Has("job.pid"); }); };
  ExpectUntouched("", "", RefineEnd::Cancelled);
  EXPECT_EQ(StampOf(folder / "job.res"), stamp);
  EXPECT_EQ(bench.document.stamp, stamp) << "so that no save asks about a change";
}

TEST_F(RefineFlow, AFailedRunSaysWhyAndLeavesTheOldResult) {
  folder.Put("job.lst", "of an earlier run\n");
  const std::pair<const char*, const char*> cases[] = {
      {"say ** no such atom **\nexit 3\n",
       "ended without finishing (exit status 3).\nIts last lines were:\n** no such"},
      {"copy new.res\ncrash\n", "(signal 9)"},
      {"say CANNOT OPEN FILE job.hkl\n", "wrote no new job.res (exit status 0)"},
      {"copy new.res\ncut 150\nsay finished\n", "job.res is cut short"},
      {"remove\nsay finished\nexit 1\n", "wrote no usable job.res (exit status 1)"},
      {"exit 3\n", "job.lst is from an earlier run."},
  };
  for (const auto& [steps, part] : cases) {
    Steps(steps);
    ExpectUntouched("Error: Refinement Failed", part);
  }
  std::string other = Moved();
  other.replace(other.find("10 10 10"), 8, "10 10 12");
  Steps("copy new.res\nlist new\nsay finished\n", other);
  ExpectUntouched("Error: Refinement Failed", "job.res is for another cell");
  // A new result of a program that says that it failed is nothing to be taken unasked.
  Steps("copy new.res\nsay diverged, finished\nexit 1\n");
  ExpectUntouched("", "", RefineEnd::Discarded);
  bench.hooks.judgeRefinement = [](const RefinementReport& report) { return report.doubtful; };
  EXPECT_EQ(Refine(bench), RefineEnd::Accepted);
}

TEST_F(RefineFlow, AnUnreadableResultFallsBackOnTheInstructions) {
  std::string note;
  bench.hooks.judgeRefinement = [&](const RefinementReport& report) {
    note = report.note;
    return !report.doubtful;
  };
  for (const char* steps : {"remove\nsay finished\n", "copy new.res\ncut 0\nsay finished\n"}) {
    Start("job");
    Steps(steps);
    EXPECT_EQ(Refine(bench), RefineEnd::Accepted);
    EXPECT_EQ(note, "job.res could not be read: this is job.ins.");
    EXPECT_EQ(folder.Get("job.res"), folder.Get("job.ins"));
    EXPECT_EQ(Captions(), "");
  }
  Start("job");
  fs::remove_all(folder / "job_steps");
  Steps("remove\nsay finished\n");
  bench.hooks.followRun = [&](RefinementRun& run) {
    RunToEnd(run, messages, [] { return false; });
    fs::remove(folder / "job.ins");
  };
  ExpectUntouched("Error: Unreadable Files", "Couldn't find a valid .res or .ins file.");
}

TEST_F(RefineFlow, NeedsAScriptThatCanBeRun) {
  fs::permissions(folder / "pkg/zqfrommarvik.bat", fs::perms::owner_read);
  ExpectUntouched("Could Not Create Child Process", "Permission denied");
  fs::remove(folder / "pkg/zqfrommarvik.bat");
  ExpectUntouched("Could Not Create Child Process", "No such file or directory");
  // The one that is installed serves where a package directory has none.
  PutScript("#!/bin/sh\necho from the installation ${MARVIK_ENGINE}\nexit 3\n");
  bench.installedDirectory = folder / "pkg/";
  fs::create_directory(folder / "old");
  {
    const test::WithVariable old(kPackageVariable, folder / "old/");
    ExpectUntouched("Error: Refinement Failed", "from the installation");
    // A script from before programs could be named stands back for one that is.
    folder.Put("old/zqfrommarvik.bat", "#!/bin/sh\necho my own\nexit 3\n");
    fs::permissions(folder / "old/zqfrommarvik.bat", fs::perms::owner_all);
    ExpectUntouched("Error: Refinement Failed", "my own");
    bench.settings.Engine = "other-engine";
    ExpectUntouched("Error: Refinement Failed", "from the installation other-engine");
    bench.settings.Engine = "";
  }
  bench.installedDirectory = "";
  fs::remove(folder / "pkg/zqfrommarvik.bat");
  const test::WithVariable none(kPackageVariable, std::nullopt);
  ExpectUntouched("Could Not Create Child Process", "No such file or directory");
}

TEST_F(RefineFlow, ASecondRunInTheFolderIsRefusedUnlessNobodyWatchesEither) {
  for (const auto& [name, how] : {std::pair("elsewhere", JobFolder::Alone), std::pair("job", JobFolder::Shared)}) {
    JobGuard other(folder / name, how);
    ASSERT_TRUE(other.Lock());
    ExpectUntouched("Error: Refinement Running", "Another refinement is running in the folder of job.res.",
                    RefineEnd::Refused);
  }
  JobGuard besides(folder / "elsewhere", JobFolder::Shared);
  ASSERT_TRUE(besides.Lock());
  EXPECT_EQ(Refine(bench), RefineEnd::Accepted) << Captions();
  EXPECT_FALSE(fs::exists(folder / "zqout.tmp")) << "which another run may write";
  bench.hooks.repaint = [] {};
  EXPECT_EQ(Refine(bench), RefineEnd::Refused);
}

TEST_F(RefineFlow, NothingIsLostInAReadOnlyFolder) {
  fs::permissions(folder / "",
                  fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
  test::InAnotherProcess([this] {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return;
    if (access((folder / "").c_str(), W_OK) == 0) return;
    ExpectUntouched("Error: File I/O", "Error opening file (" + (folder / "job.ins") + ") for writing.");
  });
  fs::permissions(folder / "", fs::perms::owner_all);
}

// A limit on the size of files stands for a full disk: the write that goes beyond it fails half-way.
TEST_F(RefineFlow, NothingIsLostWhereTheDiskIsFull) {
  const std::string remarks(4000, '\n');
  const struct {
    rlim_t limit;
    std::string model, steps, caption, part;
  } cases[] = {
      {100, kModel, "copy\nsay finished\n", "Error: File I/O", "job.ins"},
      {2000, kModel + remarks, "copy\nsay finished\n", "Error: File I/O", "job.ins"},
      {2000, kModel, "copy new.res\nsay finished\n", "Error: Refinement Failed", "ended without finishing"},
      {2000, kModel, "flood 100000 80\ncopy\nsay finished\n", "Error: Refinement Failed", "ended without finishing"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.part + c.steps);
    Start("job", c.model);
    Steps(c.steps, Moved() + remarks);
    messages.shown.clear();
    test::InAnotherProcess([&] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{c.limit, c.limit};
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      EXPECT_EQ(Refine(bench), RefineEnd::Failed);
      ASSERT_EQ(messages.shown.size(), 1u);
      EXPECT_EQ(messages.shown[0].caption, c.caption);
      EXPECT_NE(messages.shown[0].text.find(c.part), std::string::npos) << messages.shown[0].text;
    });
    EXPECT_EQ(folder.Get("job.res"), c.model);
    EXPECT_FALSE(folder.Has("job.res.old~") || folder.Has("job.res.new~") || folder.Has("job_steps"));
  }
}

TEST_F(RefineFlow, OddNamesReachTheProgramWhole) {
  for (const std::string name :
       {"a b", "it's", "x;y", "$(touch hit)", "\xC3\xA4\xC3\x96", "-dash", "q\"q", "finished"}) {
    Start(name);
    folder.Put(name + ".steps", "say " + name + "\nwait 150\ncopy\nsay all finished\n");
    EXPECT_EQ(Refine(bench), RefineEnd::Accepted) << name << Captions();
    EXPECT_TRUE(folder.Has(name + ".ins"));
    EXPECT_EQ(bench.document.CurrentFile, folder / (name + ".res"));
  }
  EXPECT_FALSE(folder.Has("hit"));
}

TEST_F(RefineFlow, CommandLinePrintsTheOutputAndTheTable) {
  const auto run = [&](std::vector<std::string> words) {
    std::ostringstream out;
    std::ostringstream err;
    words.insert(words.end(), {"--package-directory", folder / "pkg", folder / "job.res"});
    const int status = RunCommandLine(ParseCommandLine(words), "", out, err);
    return std::to_string(status) + "|" + out.str() + "|" + err.str();
  };
  Steps("say line one\npart no end, finished\ncopy new.res\n");
  const std::string first = run({"--refine", "--skip-table", "0.06"});
  EXPECT_EQ(first, "0|line one\nno end, finished|");
  EXPECT_EQ(
      run({"--refine"}),
      "1||Error: Undetermined Elements Remaining in Structure: Refinement could not proceed because atom(s) of type "
      "Q were found.\n");
  Steps("say finished\ncopy\n");
  const std::string second = run({"--refine", "--commands", "203"});
  EXPECT_EQ(second.substr(0, 12), "0|finished\n\n");
  EXPECT_NE(second.find("Largest shift 0.0000 Å, 0 atoms new, 0 gone\n"), std::string::npos) << second;
  Steps("say no\nexit 2\n");
  EXPECT_NE(run({"--refine"}).find("1|no\n|Error: Refinement Failed: The refinement program ended"), std::string::npos);
  EXPECT_EQ(run({"--refine", "--skip-table", "x"}).front(), '2');
}

}  // namespace
}  // namespace marvik
