#include "phase/run.h"

#include <chrono>
#include <ctime>

#include "base/atomic_write.h"
#include "base/files.h"
#include "base/numbers.h"
#include "phase/completion/completion.h"
#include "run/job_files.h"
#include "run/stop_signals.h"

namespace marvik::phase {
namespace {

std::string WithoutExtension(std::string base) {
  for (const char* extension : {".ins", ".res", ".hkl"}) {
    if (base.size() > 4 && base.compare(base.size() - 4, 4, extension) == 0) return base.substr(0, base.size() - 4);
  }
  return base;
}

constexpr char kTableHead[] =
    "file\tmodel\tspace group\tR1\twR2\tatoms\texpected\tparameters\tphases\tworst\tabsences\tCC\tformula\tremark\n";

// One run: everything is found before anything is written.
class SolveRun {
 public:
  SolveRun(const RunOptions& options, const std::function<void(const std::string&)>& print)
      : options_(options), print_(print), base_(WithoutExtension(options.base)), solve_(options.solve) {
    solve_.progress = [this](const std::string& what, double share) { return Follow(what, share); };
    if (!options.picture.empty())
      solve_.show = [&options](const std::string& text) { WriteDerivedFile(options.picture, text); };
  }

  int Do() {
    const auto start = std::chrono::steady_clock::now();
    print_(" marvik-solve: " + (options_.reflections.empty() ? base_ : options_.reflections) + "\n");
    const bool model = options_.work == Work::Complete || options_.work == Work::NextStep;
    std::string sentence;
    for (const char* extension : {".res", ".ins"}) {
      FileContent file = ReadWholeFile(base_ + extension);
      if (!file.opened || !old_.empty()) continue;
      old_ = std::move(file.content);
      if (model) instructions_ = extension;
    }
    if (!ReadProblem(base_ + instructions_, options_.reflections.empty() ? base_ + ".hkl" : options_.reflections,
                     problem_, sentence)) {
      print_(" ** " + sentence + " **\n");
      return 1;
    }
    if (!(model ? FromModel() : FromReflections()) || !Write()) return 1;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    print_(Printf(" marvik-solve finished after %.2f s\n", seconds));
    return 0;
  }

 private:
  // Says what takes long.
  bool Follow(const std::string& what, double share) {
    const auto now = std::chrono::steady_clock::now();
    if (now - told_ > std::chrono::seconds(1)) {
      print_(" ... " + what + "\n");
      told_ = now;
    }
    return !options_.solve.progress || options_.solve.progress(what, share);
  }

  bool FromReflections() {
    const Solution solution = Solve(problem_, solve_);
    print_(ComposeReport(problem_, solution));
    if (!solution.solved) return false;
    candidates_ = solution.candidates;
    if (options_.work == Work::Solve) return true;
    if (!Take(Complete(problem_, candidates_[0], solve_.progress, solve_.show))) return false;
    if (completion_.steps.empty()) print_(" The model cannot be completed; it is written as it was found\n");
    return true;
  }

  bool FromModel() {
    std::string sentence;
    if (!Take(CompleteModel(problem_, old_, options_.work == Work::NextStep, solve_.progress, solve_.show, sentence)))
      return false;
    if (!sentence.empty() || completion_.steps.empty()) {
      print_(" ** " + (sentence.empty() ? "no step makes the model better" : sentence) + " **\n");
      return false;
    }
    return true;
  }

  // Also says what was found; false when it was cancelled.
  bool Take(Completion completion) {
    completion_ = std::move(completion);
    for (const CompletionStep& step : completion_.steps)
      print_(
          Printf(" %-12s R1 %.4f, wR2 %.4f, %zu parameters\n", step.what.c_str(), step.r1, step.wR2, step.parameters));
    for (const std::string& remark : completion_.remarks) print_(" Note: " + remark + "\n");
    if (completion_.cancelled) print_(" Cancelled\n");
    return !completion_.cancelled;
  }

  bool Save(const std::string& path, const std::string& text) {
    if (WriteFileAtomically(path, text) == 0) return true;
    print_(" ** " + path + " cannot be written **\n");
    return false;
  }

  void EnterHistory(const std::string& text, std::optional<double> r1, size_t atoms) {
    const StepHistory history(base_);
    if (history.Add(text, r1, static_cast<int>(atoms), std::time(nullptr)) != 0)
      print_(" Note: a step could not be entered into " + history.Folder() + "\n");
  }

  // NAME.res comes last: where it is new, all is.
  bool Write() {
    [[maybe_unused]] const StopSignals wait;  // a moment, so that nothing half made stays beside the files
    std::string table = kTableHead;
    if (StepHistory(base_).Steps().empty()) EnterHistory(old_, std::nullopt, 0);
    for (size_t i = candidates_.size(); i-- > 1;) {
      const std::string path = base_ + Printf("_%c.res", static_cast<char>('a' + i));
      if (!Save(path, ComposeInstructions(problem_, candidates_[i]))) return false;
    }
    std::string result;
    for (size_t i = 0; i < candidates_.size(); ++i) {
      const Candidate& c = candidates_[i];
      const std::string path = base_ + (i == 0 ? "" : Printf("_%c", static_cast<char>('a' + i))) + ".res";
      const std::string text = ComposeInstructions(problem_, c);
      if (i == 0) EnterHistory(result = text, c.r1, c.structure.sites.size());
      table += Printf("%s\tcandidate %c\t%s\t%.4f\t%.4f\t%zu\t%.1f\t\t%.3f\t%.3f\t%.2f\t%.2f\t%s\t%s\n",
                      (i == 0 ? StepHistory(base_).Steps().back().path : path).c_str(), static_cast<char>('a' + i),
                      c.group.symbol.c_str(), c.r1, c.wR2, c.structure.sites.size(), c.expectedAtoms, c.group.mean,
                      c.group.least, c.group.absences, c.merit.correlation, FormulaOf(problem_, c).c_str(),
                      c.remark.c_str());
    }
    for (const CompletionStep& step : completion_.steps) {
      EnterHistory(result = step.text, step.r1, step.atoms);
      const auto steps = StepHistory(base_).Steps();
      table +=
          Printf("%s\t%s\t%s\t%.4f\t%.4f\t%zu\t\t%zu\t\t\t\t\t\t%s\n", steps.empty() ? "" : steps.back().path.c_str(),
                 step.what.c_str(), candidates_.empty() ? "" : candidates_[0].group.symbol.c_str(), step.r1, step.wR2,
                 step.atoms, step.parameters, step.remark.c_str());
    }
    return Save(base_ + ".res", result) && (options_.table.empty() || Save(options_.table, table));
  }

  const RunOptions& options_;
  const std::function<void(const std::string&)>& print_;
  const std::string base_;
  SolveOptions solve_;
  std::chrono::steady_clock::time_point told_ = std::chrono::steady_clock::now();
  std::string instructions_ = ".ins";
  std::string old_;  // what the job's result or instruction file held
  Problem problem_;
  std::vector<Candidate> candidates_;
  Completion completion_;
};

}  // namespace

int RunSolve(const RunOptions& options, const std::function<void(const std::string&)>& print) {
  return SolveRun(options, print).Do();
}

}  // namespace marvik::phase
