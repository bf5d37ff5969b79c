#include "phase/run.h"

#include <chrono>

#include "base/files.h"
#include "base/numbers.h"
#include "phase/completion.h"

namespace marvik::phase {
namespace {

std::string WithoutExtension(std::string base) {
  for (const char* extension : {".ins", ".res", ".hkl"}) {
    if (base.size() > 4 && base.compare(base.size() - 4, 4, extension) == 0) return base.substr(0, base.size() - 4);
  }
  return base;
}

}  // namespace

int RunSolve(const RunOptions& options, const std::function<void(const std::string&)>& print) {
  const auto start = std::chrono::steady_clock::now();
  const std::string base = WithoutExtension(options.base);
  Problem problem;
  std::string sentence;
  print(" marvik-solve: " + base + "\n");
  if (!ReadProblem(base, problem, sentence)) {
    print(" ** " + sentence + " **\n");
    return 1;
  }
  const Solution solution = Solve(problem, options.solve);
  print(ComposeReport(problem, solution));
  if (!solution.solved) return 1;
  std::string completed;
  if (options.complete) {
    const Completion completion = Complete(problem, solution.candidates[0], options.solve.progress);
    for (const CompletionStep& step : completion.steps)
      print(
          Printf(" %-12s R1 %.4f, wR2 %.4f, %zu parameters\n", step.what.c_str(), step.r1, step.wR2, step.parameters));
    for (const std::string& remark : completion.remarks) print(" Note: " + remark + "\n");
    if (completion.cancelled) {
      print(" Cancelled\n");
      return 1;
    }
    if (completion.steps.empty()) print(" The model cannot be completed; it is written as it was found\n");
    if (!completion.steps.empty()) completed = completion.steps.back().text;
  }
  for (size_t i = 0; i < solution.candidates.size(); ++i) {
    const std::string path = base + (i == 0 ? "" : Printf("_%c", static_cast<char>('a' + i))) + ".res";
    const int error = WriteFileAtomically(
        path, i == 0 && !completed.empty() ? completed : ComposeInstructions(problem, solution.candidates[i]));
    if (error != 0) {
      print(" ** " + path + " cannot be written **\n");
      return 1;
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  print(Printf(" marvik-solve finished after %.2f s\n", seconds));
  return 0;
}

}  // namespace marvik::phase
