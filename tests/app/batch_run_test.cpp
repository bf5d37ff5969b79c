#include <algorithm>
#include <chrono>
#include <filesystem>

#include "app/cli/batch_input.h"
#include "app/command_line_fixture.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

class Batch : public test::CommandLineRuns {
 protected:
  Batch() {
    for (const char* name : {"a", "b", "c"}) folder.Put(std::string(name) + ".res", test::kSmallFile);
    folder.Put("list",
               folder / "a.res\n" + (folder / "b.res") + "\r\n" + (folder / "none.res") + "\n\n" + (folder / "c.res"));
  }
  // The lines, sorted: workers end as they do.
  static std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    std::ranges::sort(lines);
    return lines;
  }
  // Makes Refine start a shell script.
  void PutProgram(const std::string& script) {
    folder.Put("zqfrommarvik.bat", "#!/bin/sh\n" + script);
    fs::permissions(folder / "zqfrommarvik.bat", fs::perms::owner_all);
    std::string model = test::kSmallFile;
    for (const char* peak : {"Q1 ", "Q2 "}) {
      const size_t at = model.find(peak);
      model.erase(at, model.find('\n', at) + 1 - at);
    }
    for (const char* name : {"a", "b", "c"}) {
      folder.Put(std::string(name) + ".res", model);
      folder.Put(std::string(name) + ".hkl", "   0   0   1    1.00    0.10\n");
    }
  }
};

TEST_F(Batch, DoesSeveralActionsForEveryFile) {
  EXPECT_EQ(Run({"--batch", folder / "list", "--picture", folder / "{name}.png", "--report", "bonds", "--report",
                 "centroid", "--json", "--write", folder / "{name}-out.ins", "--jobs", "2"}),
            1);
  const auto lines = LinesOf(out.str());
  ASSERT_EQ(lines.size(), 4u) << out.str() << err.str();
  EXPECT_TRUE(lines[0].starts_with("{\"file\": \"" + (folder / "a.res") + "\", \"status\": 0, \"seconds\": "));
  for (const char* part : {", \"messages\": [", ", \"bonds\": ", "\"C1\"", ", \"centroid\": "})
    EXPECT_NE(lines[0].find(part), std::string::npos) << part << " in " << lines[0];
  EXPECT_NE(lines[3].find("\"status\": 1"), std::string::npos);
  EXPECT_NE(lines[3].find("\"messages\": [\"Error: File Unreadable: "), std::string::npos) << lines[3];
  for (const char* name : {"a.png", "b.png", "c.png", "a-out.ins", "c-out.ins"}) EXPECT_TRUE(folder.Has(name)) << name;
  EXPECT_NE(err.str().find("4 files in "), std::string::npos) << err.str();
  EXPECT_NE(err.str().find(": 3 without a word, 1 with messages, 0 crashed"), std::string::npos) << err.str();
  EXPECT_EQ(folder.Get("a.res"), test::kSmallFile);
}

TEST_F(Batch, GoesOnWhereItEnded) {
  const std::string results = folder / "r.jsonl";
  const std::vector<std::string> words = {"--batch", folder / "list", "--report", "atoms", "--results", results};
  const auto with = [&](std::vector<std::string> more) {
    std::vector<std::string> all = words;
    all.insert(all.end(), more.begin(), more.end());
    return Run(all);
  };
  EXPECT_EQ(with({"--shard", "1/2"}), 1) << "a and the one that is missing";
  EXPECT_EQ(with({"--shard", "2/2", "--jobs", "1"}), 0);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(LinesOf(folder.Get("r.jsonl")).size(), 4u);
  // Cut off in the middle of the last line, as by a power cut: that file is done again.
  const std::string whole = folder.Get("r.jsonl");
  folder.Put("r.jsonl", whole.substr(0, whole.size() - 20));
  EXPECT_EQ(with({}), 0);
  EXPECT_NE(err.str().find("1 files"), std::string::npos) << err.str();
  EXPECT_NE(err.str().find("3 done before"), std::string::npos) << err.str();
  std::set<std::string> done;
  EXPECT_EQ(DoneFiles(results, done), 0);
  EXPECT_EQ(done.size(), 4u);
  EXPECT_EQ(with({}), 0);
  EXPECT_NE(err.str().find("0 files"), std::string::npos) << err.str();
}

TEST_F(Batch, ACrashOrTheTimeLimitCostsOneFile) {
  PutProgram("[ $1 = b ] && kill -9 $PPID\n[ $1 = a ] && sleep 60\nexit 1\n");
  EXPECT_EQ(Run({"--batch", folder / "list", "--refine", "--jobs", "1", "--time-limit", "1"}), 1);
  const auto lines = LinesOf(out.str());
  ASSERT_EQ(lines.size(), 4u) << out.str();
  EXPECT_NE(lines[0].find("\"status\": \"time limit\""), std::string::npos) << lines[0];
  EXPECT_NE(lines[1].find("\"status\": \"crashed\""), std::string::npos) << lines[1];
  EXPECT_NE(lines[1].find("\"signal\": 9"), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find("\"status\": 1"), std::string::npos) << lines[2];
  EXPECT_NE(err.str().find("0 without a word, 2 with messages, 1 crashed, 1 over the time limit"), std::string::npos);
}

// A refinement leaves NAME.ins, NAME.res, NAME.cif and steps of its history: that is still one job, also when a run
// that was ended goes on.
TEST_F(Batch, AJobOfSeveralFilesIsRunOnce) {
  fs::create_directories(folder / "jobs/both_steps");
  const std::string jobs = folder / "jobs/";
  for (const char* name : {"both.ins", "both.res", "both.cif", "both_steps/step-0000.res", "other.ins", "x.cif"})
    folder.Put(std::string("jobs/") + name, test::kSmallFile);
  const auto files = [&](const char* action) {
    std::string wrong;
    return BatchFiles(ParseCommandLine({"--batch", jobs, action}), wrong);
  };
  const auto now = fs::file_time_type::clock::now();
  for (const char* last : {"both.ins", "both.res"}) {
    for (const char* name : {"both.ins", "both.res"})
      fs::last_write_time(jobs + name, now - std::chrono::seconds(name == std::string(last) ? 5 : 10));
    EXPECT_EQ(files("--refine"), (std::vector<std::string>{jobs + last, jobs + "other.ins", jobs + "x.cif"}));
  }
  EXPECT_EQ(files("--lint").size(), 5u) << "each of them can be read, but for the history";
  PutProgram("exit 1\n");
  const std::string results = folder / "r.jsonl";
  Run({"--batch", jobs, "--refine", "--results", results, "--jobs", "1"});
  EXPECT_EQ(LinesOf(folder.Get("r.jsonl")).size(), 3u);
  folder.Put("jobs/other.res", test::kSmallFile);
  EXPECT_EQ(Run({"--batch", jobs, "--refine", "--results", results}), 0);
  EXPECT_NE(err.str().find("3 done before"), std::string::npos) << err.str();
}

TEST_F(Batch, TakesFoldersAndSaysWhatIsWrong) {
  fs::create_directories(folder / "sub/deep");
  folder.Put("sub/deep/x.CIF", "data_x\n");
  folder.Put("sub/notes.txt", "");
  CommandLineOptions options = ParseCommandLine({"--batch", folder / "", "--report", "atoms"});
  std::string wrong;
  EXPECT_EQ(BatchFiles(options, wrong).size(), 4u);
  EXPECT_EQ(wrong, "");
  folder.Put("sub/a.ins", test::kSmallFile);
  EXPECT_EQ(BatchFiles(options, wrong).size(), 5u);
  EXPECT_EQ(Run({"--batch", folder / "", "--write", folder / "{name}.pdb"}), 1) << "a.res and a.ins make one a.pdb";
  EXPECT_EQ(Run({"--batch", folder / "no list", "--report", "atoms"}), 1);
  const std::string list = folder / "list";
  for (const std::vector<std::string>& usage : {std::vector<std::string>{"--batch", list},
                                                {"--batch", list, "--write", "out.ins"},
                                                {"--batch", list, "--report", "atoms", "a.res"},
                                                {"--batch", list, "--list-commands"},
                                                {"--batch", list, "--script"},
                                                {"--report", "atoms", "--jobs", "2", "a.res"},
                                                {"--batch", list, "--report", "atoms", "--shard", "3/2"},
                                                {"--batch", list, "--report", "atoms", "--jobs", "0"}})
    EXPECT_EQ(Run(usage), 2) << usage.back();
  EXPECT_EQ(BatchOutput("x/{name}-{name}.png", "/y/a.b.cif"), "x/a.b-a.b.png");
}

}  // namespace
}  // namespace marvik
