#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <signal.h>
#include <string>
#include <vector>

#include "run/child_process.h"
#include "run/refinement_run.h"

#include "support/fake_refinement_path.h"
#include "support/test_files.h"

namespace marvik::test {

// Runs of the test suite's own refinement program in a folder that goes away again.
class RunTest : public testing::Test {
 protected:
  void Put(const std::string& name, const std::string& text) const { scratch.Put(name, text); }
  std::string Get(const std::string& name) const { return scratch.Get(name); }
  ChildCommand CommandFor(const std::string& name) const {
    ChildCommand command;
    command.program = test::kFakeRefinement;
    command.arguments = {name};
    command.directory = folder;
    command.outputFile = folder + kOutputName;
    return command;
  }
  // Runs the program on "job" with these steps.
  RefinementRun MakeRun(const std::string& steps, std::vector<std::string> echoes = {}) {
    Put("job.steps", steps);
    RefinementRun run(child, CommandFor("job"), std::move(echoes));
    run.onShownLine = [this](std::string_view line) { shown.emplace_back(line); };
    return run;
  }
  // Whether the process that the program spawned runs still; one that nobody waited for does not.
  bool SpawnedLives() const {
    const std::string pid = Get("job.pid");
    std::ifstream status("/proc/" + pid + "/stat");
    std::string word;
    for (int i = 0; i < 3 && status; ++i) status >> word;
    return status && word != "Z";
  }

  const ScratchFolder scratch;
  const std::string& folder = scratch.path;
  ChildProcess child;
  RecordingMessages messages;
  std::atomic<bool> stopNow{false};
  std::function<bool()> stop = [this] { return stopNow.load(); };
  std::vector<std::string> shown;
};

}  // namespace marvik::test
