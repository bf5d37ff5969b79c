#include "run/refinement_run.h"

#include <thread>

#include "run/result_summary.h"

#include "run_fixture.h"

namespace marvik {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

class Run : public test::RunTest {};

TEST_F(Run, ShowsTheOutputAndEndsAtTheEndWord) {
  Put("job.ins", "TITL x\n");
  RefinementRun run(child, CommandFor("job"), {});
  run.onShownLine = [this](std::string_view line) { shown.emplace_back(line); };
  std::string text;
  run.onText = [&](std::string_view piece) { text += piece; };
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
  EXPECT_EQ(run.Result(), 1);
  EXPECT_EQ(shown.front(), "refining");
  EXPECT_EQ(shown.back(), " all finished");
  EXPECT_EQ(text, Get(kOutputName));
  EXPECT_EQ(Get("job.res"), "TITL x\n");
  EXPECT_EQ(run.EndText(), "exit status 0");
  ASSERT_EQ(run.Curve().Points().size(), 2u);
  EXPECT_EQ(run.Curve().Points()[0].shift, 0.2);
  EXPECT_EQ(run.Curve().Points()[1].r1, 0.05);
}

TEST_F(Run, CountsLinesAsTheyStand) {
  // The second line is shown as it stood and not again; the end word that comes with its rest counts.
  RefinementRun run = MakeRun("say first\npart beg\nwait 400\nsay un\npart fini\nwait 300\nsay shed here\nwait 200\n");
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
  EXPECT_EQ(shown, (Lines{"first", "beg", "fini"}));
  shown.clear();
  RefinementRun cannot = MakeRun("say xCANNOT OPEN FILEx\n");
  EXPECT_EQ(RunToEnd(cannot, messages, stop), RunState::Finished);
}

TEST_F(Run, SplitsLongLines) {
  const std::string longLine = std::string(120, 'a') + "finished" + std::string(130, 'b');
  RefinementRun run = MakeRun("say " + longLine + "\nsay " + std::string(127, 'c') + "\nsay\nsay \xE4\xFF\r\n");
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
  EXPECT_EQ(shown, (Lines{longLine.substr(0, 127), longLine.substr(127, 127), longLine.substr(254),
                          std::string(127, 'c'), "", "\xE4\xFF"}));
}

TEST_F(Run, EchoesAreNoEnd) {
  // The job's name holds an end word and is printed in two parts, so that only its beginning is seen at first.
  const std::string steps = "part Job: unfinished\nwait 250\nsay _cf3\nwait 300\n";
  RefinementRun run = MakeRun(steps + "say all finished\n", {"unfinished_cf3"});
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
  EXPECT_EQ(shown.back(), "all finished");
  // A name that is an end word itself: the end of the program decides.
  RefinementRun named = MakeRun("say finished\nwait 200\nsay finished\n", {"finished"});
  EXPECT_EQ(RunToEnd(named, messages, stop), RunState::Finished);
  EXPECT_EQ(Get(kOutputName), "finished\nfinished\n");
}

TEST_F(Run, NoticesAnEndWithoutTheWord) {
  RefinementRun run = MakeRun("say ** no data **\nspawn\nexit 3\n");
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::EndedEarly);
  EXPECT_EQ(run.Result(), 2);
  EXPECT_EQ(run.EndText(), "exit status 3");
  EXPECT_EQ(run.LastLines().back(), "** no data **");
  EXPECT_FALSE(SpawnedLives());
  RefinementRun crash = MakeRun("say x\npart the last\ncrash\n");
  EXPECT_EQ(RunToEnd(crash, messages, stop), RunState::EndedEarly);
  EXPECT_EQ(crash.EndText(), "signal 9");
  EXPECT_EQ(crash.LastLines().back(), "the last") << "without a line end";
}

TEST_F(Run, CancelEndsEveryProcess) {
  for (const char* steps : {"spawn\nsay x\nwait 60000\n", "deaf\nspawn\nsay x\nwait 60000\n"}) {
    shown.clear();
    stopNow = false;
    RefinementRun run = MakeRun(steps);
    run.onShownLine = [this](std::string_view line) {
      shown.emplace_back(line);
      stopNow = true;
    };
    const auto start = Clock::now();
    EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Terminated);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(50)) << "before the program ends by itself";
    EXPECT_EQ(run.Result(), 2);
    EXPECT_EQ(shown, (Lines{"x", "Process Terminated"}));
    EXPECT_FALSE(SpawnedLives());
  }
  EXPECT_TRUE(messages.shown.empty());
}

TEST_F(Run, AStoppedProgramHearsThatItIsToEnd) {
  ChildCommand command = CommandFor("job");
  command.program = "/bin/sh";
  command.arguments = {"-c", "trap 'echo bye > said; exit 5' TERM; echo $$ > job.pid; kill -STOP $$; sleep 60"};
  ASSERT_EQ(child.Start(command), 0);
  const auto isStopped = [this] {
    std::string word, state;
    std::ifstream status("/proc/" + std::to_string(std::atoi(Get("job.pid").c_str())) + "/stat");
    return static_cast<bool>(status >> word >> word >> state) && state == "T";
  };
  for (int i = 0; i < 1000 && !isStopped(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(isStopped());
  EXPECT_EQ(child.EndAll(), 0);
  EXPECT_EQ(Get("said"), "bye\n");
  EXPECT_FALSE(isStopped());
}

TEST_F(Run, AKilledProgramLeavesNothingBehindAScriptWithoutExec) {
  Put("job.steps", "spawn\nwait 60000\n");
  const pid_t program = fork();
  if (program == 0) {
    ChildCommand command = CommandFor("job");
    command.arguments = {"-c", "'" + command.program + "' job; true"};
    command.program = "/bin/sh";
    child.Start(command);
    pause();
  }
  const auto waitFor = [](const auto& done) {
    for (int i = 0; i < 1000 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
  };
  EXPECT_TRUE(waitFor([&] { return !Get("job.pid").empty(); }));
  EXPECT_TRUE(SpawnedLives());
  kill(program, SIGKILL);
  waitpid(program, nullptr, 0);
  EXPECT_TRUE(waitFor([&] { return !SpawnedLives(); }));
}

TEST_F(Run, LeavesNoDescriptorOpen) {
  const auto open = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  std::ptrdiff_t first = 0;
  for (int i = 0; i < 3; ++i) {
    {
      ChildProcess program;
      RefinementRun run(program, CommandFor("job"), {});
      Put("job.steps", i == 1 ? "spawn\nsay x\n" : "say x\n");
      EXPECT_EQ(RunToEnd(run, messages, stop), RunState::EndedEarly);
    }
    if (i == 0) first = open();
    EXPECT_EQ(open(), first);
  }
}

TEST_F(Run, AProgramThatGoesOnAfterTheWordIsWaitedForAndEnded) {
  RefinementRun run = MakeRun("say finished\nwait 300\ncopy job.steps\nsay late\nspawn\nwait 60000\n");
  ASSERT_TRUE(run.Start(messages));
  while (!run.IsOver()) run.Pass();
  EXPECT_EQ(run.EndText(), "");
  run.WaitForEnd(std::chrono::milliseconds(900));
  EXPECT_NE(Get("job.res"), "");
  EXPECT_EQ(shown, (Lines{"finished", "late"}));
  EXPECT_FALSE(SpawnedLives());
}

TEST_F(Run, SaysWhyItCannotStart) {
  Put("script", "#!/bin/sh\necho finished\n");
  for (const std::string& program : {folder + "none", folder + "script", std::string(test::kFakeRefinement)}) {
    ChildCommand command = CommandFor("job");
    command.program = program;
    if (program == test::kFakeRefinement) command.outputFile = folder + "none/out";
    RefinementRun run(child, command, {});
    EXPECT_EQ(RunToEnd(run, messages, stop), RunState::NotStarted);
    EXPECT_EQ(run.Result(), 2);
  }
  ASSERT_EQ(messages.shown.size(), 3u);
  EXPECT_EQ(messages.shown[2].text, "No such file or directory");
  EXPECT_EQ(messages.shown[0].caption, "Could Not Create Child Process");
  EXPECT_EQ(messages.shown[0].text, "No such file or directory");
  EXPECT_EQ(messages.shown[1].text, "Permission denied");
}

TEST_F(Run, HugeOutputIsReadWhole) {
  for (const char* steps : {"flood 100000000 100\nsay finished\n", "flood 100000000 0\nsay finished\n"}) {
    size_t lines = 0;
    size_t bytes = 0;
    RefinementRun run = MakeRun(steps);
    run.onShownLine = [&](std::string_view) { ++lines; };
    run.onText = [&](std::string_view piece) { bytes += piece.size(); };
    EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
    EXPECT_EQ(bytes, std::filesystem::file_size(folder + kOutputName));
    EXPECT_GT(bytes, 100000000u);
    EXPECT_GT(lines, 750000u);
  }
}

TEST_F(Run, PassesNamesPriorityAndVariables) {
  const std::string name = "a b'\"c;d$(touch x)\xC3\xA4 \\";
  Put(name + ".steps", "nice\nsay finished\n");
  ChildCommand command = CommandFor(name);
  command.priorityClass = 64;
  RefinementRun run(child, command, {});
  EXPECT_EQ(RunToEnd(run, messages, stop), RunState::Finished);
  EXPECT_EQ(Get(kOutputName), "nice 19\nfinished\n");
  EXPECT_FALSE(std::filesystem::exists(folder + "x"));
  command.program = "/bin/sh";
  command.arguments = {"-c", "echo $MARVIK_BIN; pwd; echo finished"};
  command.environment = {{"MARVIK_BIN", "/there"}};
  RefinementRun shell(child, command, {});
  EXPECT_EQ(RunToEnd(shell, messages, stop), RunState::Finished);
  EXPECT_EQ(Get(kOutputName), "/there\n" + folder.substr(0, folder.size() - 1) + "\nfinished\n");
}

TEST(Result, IsSummedUpFromItsRemarks) {
  const ResultSummary summary = SummaryOfResult(
      "TITL for all 7 data\nC1 1 0 0 0\nHKLF 4\r\nREM  x\n"
      "REM wR2 = 0.0911, GooF = S = 1.052, Restrained GooF = 1.050 for all data\n"
      "REM R1 =  0.0364 for    900 Fo > 4sig(Fo)  and  0.0512 for all    1200 data\r\n"
      "REM     80 parameters refined using     12 restraints\n\nEND\n"
      "WGHT 0.1\nREM Highest difference peak  0.345,  deepest hole -0.211,  1-sigma level  0.045\nQ1 1 0 0 0");
  EXPECT_EQ(summary.figures.r1, 0.0364);
  EXPECT_EQ(summary.figures.wR2, 0.0911);
  EXPECT_EQ(summary.figures.goof, 1.052);
  EXPECT_EQ(summary.data, 1200);
  EXPECT_EQ(summary.parameters, 80);
  EXPECT_EQ(summary.restraints, 12);
  EXPECT_EQ(summary.peak, 0.345);
  EXPECT_EQ(summary.hole, -0.211);
  const ResultSummary none = SummaryOfResult("REM parameters refined\nREM for all\n80 parameters refined using 3");
  EXPECT_FALSE(none.figures.r1 || none.data || none.parameters || none.restraints || none.peak || none.hole);
}

TEST(Curve, RecognisesTheUsualFigures) {
  ProgressCurve curve;
  curve.Take(" Cycle   1  wR2 = 0.3124  R1 = 0.1200  S = 2.310  before, 1200 data, 80 parameters");
  curve.Take("            shift/su: mean 0.3, largest 5.1 for U11 C1; largest move 0.0312 A for C7");
  curve.Take(" wR2 =  .0987 before cycle   2 for    1200 data and     80 /     80 parameters");
  curve.Take(" GooF = S =     1.044;     Restrained GooF  =      1.050 for       0 restraints");
  curve.Take(" Mean shift/esd =   0.020    Maximum =     0.310 for  OSF");
  curve.Take(" Max. shift = 0.003 A for H12     Max. dU = 0.001 for C5");
  curve.Take(" wR1 = 7 or R1 = not yet, BASS = 3");
  const auto& points = curve.Points();
  ASSERT_EQ(points.size(), 2u);
  EXPECT_EQ(points[0].wR2, 0.3124);
  EXPECT_EQ(points[0].r1, 0.12);
  EXPECT_EQ(points[0].goof, 2.31);
  EXPECT_EQ(points[0].shift, 0.0312);
  EXPECT_EQ(points[0].overSu, 5.1);
  EXPECT_EQ(points[1].overSu, 0.31);
  EXPECT_EQ(points[1].wR2, 0.0987);
  EXPECT_FALSE(points[1].r1);
  EXPECT_EQ(points[1].goof, 1.044);
  EXPECT_EQ(points[1].shift, 0.003);
}

}  // namespace
}  // namespace marvik
