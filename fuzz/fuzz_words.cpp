#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "app/cli/batch_input.h"
#include "app/commands/command_table.h"
#include "app/demo/demo_script.h"
#include "edit/edit_fields.h"
#include "run/output_reader.h"
#include "run/progress_curve.h"
#include "run/result_summary.h"

#include "fuzz/require.h"

using namespace marvik;

// Lines that people and other programs write: demo scripts, words and steps of the command line, what a refinement
// prints and what its result says.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ProgressCurve curve;
  for (size_t at = 0, end; at <= text.size(); at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, end - at);
    curve.Take(line);
    for (const DemoStep& step : ParseDemoLine(line).steps)
      Require(step.kind != DemoStep::Kind::Command || FindCommand(step.id), "a command that is not there", line);
    std::string wrong;
    if (const auto steps = ParseCommandSteps(line, wrong)) {
      for (const CommandStep& step : *steps)
        if (const CommandRow* row = FindCommand(step.id)) ArgumentFault(*row, step.argument);
    } else {
      Require(!wrong.empty(), "refused without the step", line);
    }
  }
  SummaryOfResult(text);
  std::vector<std::string> words;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) words.push_back(line);
  const CommandLineOptions options = ParseCommandLine(words);
  Require(!options.error.empty() || options.actions.size() <= words.size(), "more is to be done than was asked", text);
  for (const std::string& word : words) {
    if (const auto shard = ParseShard(word))
      Require(shard->first >= 1 && shard->first <= shard->second, "no shard", word);
    BatchOutput(word, word);
  }
  return 0;
}
