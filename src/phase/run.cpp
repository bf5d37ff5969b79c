#include "phase/run.h"

#include <chrono>

#include "base/files.h"
#include "base/numbers.h"

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
  for (size_t i = 0; i < solution.candidates.size(); ++i) {
    const std::string path = base + (i == 0 ? "" : Printf("_%c", static_cast<char>('a' + i))) + ".res";
    const int error = WriteFileAtomically(path, ComposeInstructions(problem, solution.candidates[i]));
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
