#pragma once

#include <sstream>

#include "app/bench_fixture.h"
#include "app/cli/command_line.h"

namespace marvik::test {

// Command lines that run in this process, with a package directory of their own, and what they said.
class CommandLineRuns : public testing::Test {
 protected:
  int Run(const std::vector<std::string>& words) {
    out.str("");
    err.str("");
    return RunCommandLine(ParseCommandLine(words), folder / "bin/marvik", out, err);
  }

  ScratchFolder folder;
  WithVariable package{kPackageVariable, folder / ""};
  std::ostringstream out, err;
};

}  // namespace marvik::test
