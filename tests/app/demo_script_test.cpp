#include "app/demo/demo_script.h"

#include <filesystem>

#include "app/command_line_fixture.h"
#include "base/numbers.h"

namespace marvik {
namespace {

using test::BenchTest;

// "C124 C160=a.res W3 R39+0x10" for the steps of a line: kind, command or number, word, keys.
std::string Spelled(const char* line) {
  std::string text;
  for (const DemoStep& step : ParseDemoLine(line).steps) {
    text += text.empty() ? "" : " ";
    text += "XCWSDR"[static_cast<int>(step.kind)];
    if (step.id) text += std::to_string(step.id);
    if (!step.word.empty()) text += "=" + step.word;
    if (step.keys[0]) text += Printf("%d+%dx", step.keys[0], step.keys[1]);
    if (step.number && step.word.empty()) text += std::to_string(step.number);
  }
  return text;
}

TEST(DemoScript, FindsWordsAnywhereInTheLine) {
  // Only the first word of a line is skipped before an argument, and "PACK" is no number.
  const std::pair<const char*, const char*> kLines[] = {
      {"HLABEL", "C108"},
      {"  my HADD, then", "C151 C153"},
      {"GROW PACK 2", "C138"},
      {"PACK 2 GROW", "C138 C164=2"},
      {"TELP BALL EXIT RENDER BW", "X C210 C124 C125"},
      {"WAIT 3", "W3"},
      {"WAIT", ""},
      {"WAIT ", ""},
      {"DIR  egs rest\t", "D=egs"},
      {"INSFILE a.res\r", "C160=a.res"},
      {"SELECT $H", "C163=$H"},
      {"UNIQ C1", "C116"},
      {"DEMO b.dem", "S=b.dem"},
      {"# BALL", ""},
      {"ROT Y -1 10", "R39+0x10"},
      {"ROT X 1+2", "R38+0x2"},
      {"ROT Y 1", ""},
      {"ROT Y -2 1", "R35+0x1"},
      {"ROT Z -2 1", "R46+0x1"},
      {"ROT A 0 1", "R37+40x1"},
      {"ROT B -1 1", "R37+38x1"},
      {"PACK 99999999999", "C164=2147483647"},
      {"kill", "C113"},
      {" select=C* KILL; 203,grow ", "C144=C* KILL C203 C138"},
      {"please kill", ""},
  };
  for (const auto& [line, steps] : kLines) EXPECT_EQ(Spelled(line), steps) << line;
  EXPECT_EQ(ParseDemoLine("# What is shown").comment, "What is shown");
}

TEST(DemoScript, SaysWhatItMadeNothingOf) {
  for (const char* line : {"BALL", "PACK 2", "UNIQ C1", "# anything", " ", "ROT A 1 20", "RENDER COLOR"})
    EXPECT_TRUE(ParseDemoLine(line).faults.empty()) << line;
  for (const char* line : {"BALLS ON", "TRMI", "PACK", "SELECT", "INSFILE ", "ROT Z 2 1", "WAIT 3 seconds",
                           "ROT X 1 2000000000", "kill; nothing=1", "please=kill"})
    EXPECT_EQ(ParseDemoLine(line).faults.size(), 1u) << line;
  const DemoLine longLine = ParseDemoLine(std::string(kLongestDemoLine - 4, ' ') + "BALLEXIT");
  EXPECT_EQ(longLine.faults.size(), 1u);
  EXPECT_EQ(longLine.steps.size(), 1u);
}

// Writes down what it is told, and stops after a number of events.
class Recorder : public DemoTarget {
 public:
  void SendCommand(int id, const std::string& argument) override {
    Note(std::to_string(id) + (argument.empty() ? "" : "=" + FileNameOf(argument)));
  }
  void PressKey(int key) override { Note("+" + std::to_string(key)); }
  void ReleaseKey(int key) override { Note("-" + std::to_string(key)); }
  void Sleep(long long milliseconds) override {
    slept += milliseconds;
    if (milliseconds >= 1000) Note(std::to_string(milliseconds));
  }
  void Show(const UserMessage& message) override { Note("[" + message.caption + "] " + message.text); }
  void Fault(const std::string& sentence) override { faults += sentence; }

  std::atomic<uint8_t> DemoRunning{1};
  std::string log;
  std::string faults;
  long long slept = 0;
  int stopAfter = 100;

 private:
  void Note(const std::string& what) {
    log += (log.empty() ? "" : " ") + what;
    if (--stopAfter == 0) DemoRunning = 0;
  }
};

class DemoPlay : public BenchTest {
 protected:
  ~DemoPlay() override { std::filesystem::current_path(before_); }

  std::string Play(const std::string& path, DemoRepeat repeat = DemoRepeat::Forever, int stopAfter = 100) {
    recorder.log.clear();
    recorder.slept = 0;
    recorder.stopAfter = stopAfter;
    recorder.DemoRunning = 1;
    EXPECT_EQ(DemoThreadMain(recorder.DemoRunning, recorder, path, repeat), 0);
    EXPECT_EQ(recorder.DemoRunning, 0);
    return recorder.log;
  }

  Recorder recorder;
  test::WithVariable package{kPackageVariable, folder / "pkg"};

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(DemoPlay, PausesAndRepeatsUntilItIsStopped) {
  const std::string comments = folder.Put("comments.dem", "\xEF\xBB\xBF# one\r\n# two\r\n");
  EXPECT_EQ(Play(comments, DemoRepeat::Forever, 5), "1000 1000 1000 1000 1000");
  EXPECT_EQ(Play(folder.Put("empty.dem", ""), DemoRepeat::Forever, 2), "1000 1000");
  EXPECT_EQ(Play(folder.Put("exit.dem", "WAIT 3\rEXIT BALL\rTELP\r")), "3000 1000 124 1000");
  EXPECT_EQ(Play(folder.Put("rot.dem", "ROT Y -1 10\nEXIT")), "+39 +39 +39 +39 +39 +39 +39 +39 +39 +39 -39 1000 1000");
  EXPECT_EQ(recorder.slept, 2050);
  EXPECT_EQ(Play(folder.Put("two.dem", "ROT B 1 2\nEXIT")), "+39 +40 +39 +40 -39 -40 1000 1000");
  // Stopped in the middle of a rotation.
  EXPECT_EQ(Play(folder.Put("long.dem", "ROT X 1 1000000\nBALL"), DemoRepeat::Forever, 3), "+38 +38 +38 -38 1000");
  recorder.DemoRunning = 0;
  DemoThreadMain(recorder.DemoRunning, recorder, "nowhere", DemoRepeat::Once);
  EXPECT_EQ(recorder.log, "+38 +38 +38 -38 1000");
}

TEST_F(DemoPlay, FollowsDemoToOtherScripts) {
  EXPECT_EQ(Play(folder / "none.dem"),
            "[Error: File Not Found] The demo instruction file (" + (folder / "none.dem") + ") could not be found.");
  std::filesystem::create_directories(folder / "sub");
  const std::string first = folder.Put("first.dem", "DEMO sub\\second.dem\nBALL");
  folder.Put("sub/second.dem", "TELP");
  EXPECT_EQ(Play(first, DemoRepeat::Forever, 7), "1000 124 1000 125 1000 125 1000");
  EXPECT_EQ(Play(first, DemoRepeat::Once), "1000 124 1000 125 1000");
  folder.Put("sub/second.dem", "DEMO ../first.dem");
  EXPECT_EQ(Play(first, DemoRepeat::Once), "1000 124 1000 1000 [Demo] The script " + (folder / "sub/../first.dem") +
                                               " was played already; playing ends here.");
}

TEST_F(DemoPlay, FindsFilesHereBesideTheScriptAndInThePackage) {
  std::filesystem::create_directories(folder / "pkg/egs");
  std::filesystem::create_directories(folder / "here");
  std::filesystem::current_path(folder / "here");
  EXPECT_EQ(DemoScriptPath(), folder / "pkg/egs/marvik.dem");
  folder.Put("pkg/egs/deep.res", "");
  folder.Put("near.res", "");
  const std::string script =
      folder.Put("a.dem", "INSFILE near.res\nINSFILE egs/deep.res\nINSFILE none.res\nDIR nowhere\nDIR egs\nEXIT");
  class Paths : public Recorder {
    void SendCommand(int, const std::string& argument) override { paths += argument + " "; }

   public:
    std::string paths;
  } target;
  // A relative name of the script still counts from where it was given.
  DemoThreadMain(target.DemoRunning, target, "../a.dem", DemoRepeat::Forever);
  EXPECT_EQ(target.paths, (folder / "near.res ") + (folder / "pkg/egs/deep.res ") + "none.res ");
  EXPECT_EQ(target.faults, "The folder \"nowhere\" cannot be entered.");
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::path(folder / "pkg/egs"));
}

using DemoRuns = test::CommandLineRuns;

TEST_F(DemoRuns, TellWhereAScriptIsWrong) {
  const auto before = std::filesystem::current_path();
  folder.Put("small.res", test::kSmallFile);
  // What the script has changed is no reason to ask before the next file.
  const std::string good = folder.Put(
      "good.dem", "INSFILE small.res\nSELECT Q*\nKILL\nINSFILE small.res\nBALL\nRENDER BW\nROT X 1 3\nWAIT 100");
  EXPECT_EQ(Run({"--script", good}), kStatusDone) << err.str();
  EXPECT_EQ(err.str(), "");
  const std::string bad = folder.Put("bad.dem", "BALL\nTRMI\nINSFILE none.res\nDEMO none.dem");
  EXPECT_EQ(Run({"--script", bad}), kStatusProblem);
  EXPECT_EQ(err.str(), bad + ":2: Error in Demo Script: Unknown word \"TRMI\".\n" + bad +
                           ":3: Error: File Unreadable: This file is either missing, empty or corrupt: none.res\n"
                           "Error: File Not Found: The demo instruction file (none.dem) could not be found.\n");
  // The shipped demonstration itself: every file is there and no command of it has anything to say.
  const test::WithVariable shipped(kPackageVariable, MARVIK_EXAMPLES "/..");
  EXPECT_EQ(Run({"--script", MARVIK_EXAMPLES "/marvik.dem"}), kStatusDone);
  EXPECT_EQ(err.str(), "");
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace marvik
