#include "app/refinement/refine_flow.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>

#include "app/commands/command_handlers.h"
#include "app/density.h"
#include "app/open_save.h"
#include "app/package_directory.h"
#include "app/refinement/refine_fields.h"
#include "base/numbers.h"
#include "base/package_file.h"
#include "check/cif/check_cif.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/atom_names.h"
#include "language/included_file.h"
#include "language/instruction.h"
#include "run/child_process.h"

namespace marvik {
namespace {

constexpr char kFailed[] = "Error: Refinement Failed";
constexpr char kEngineVariable[] = "MARVIK_ENGINE";  // of the script
constexpr int kMostChecked = 1000;  // atoms: the CIFs of more are left to the panel, which does not keep one waiting
constexpr double kCellTolerance = 1e-3;  // Å and degrees: result files may round

bool Warn(Workbench& bench, const std::string& caption, const std::string& text) {
  bench.messages.Show({MessageIcon::Warning, caption, text});
  return false;
}

bool OpensForReading(const std::string& path) {
  std::error_code error;
  std::FILE* file = std::filesystem::is_directory(path, error) ? nullptr : std::fopen(path.c_str(), "rb");
  if (file) std::fclose(file);
  return file != nullptr;
}

template <class Test>
int CountIf(const Document& document, Test test) {
  int count = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) count += test(*atom) ? 1 : 0;
  return count;
}

bool IsNotInSfac(const Document& document, const AtomRecord& atom) {
  const auto& sfac = document.instructions.sfac;
  return std::ranges::find(sfac, atom.element->atomicNumber) == sfac.end();
}

bool SameCell(const CellParameters& a, const CellParameters& b) {
  const auto near = [](double x, double y) { return std::fabs(x - y) <= kCellTolerance; };
  return near(a.a, b.a) && near(a.b, b.b) && near(a.c, b.c) && near(a.alpha, b.alpha) && near(a.beta, b.beta) &&
         near(a.gamma, b.gamma);
}

// A result that was not written to its end has lost the instructions that close it.
bool IsCutShort(const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    std::string head = text.substr(at, std::min<size_t>(4, end - at));
    for (char& c : head)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (head == "HKLF" || head == "END" || head == "END " || head == "END\r") return false;
    at = end + 1;
  }
  return !text.empty();
}

void FillMissing(CyclePoint& figures, const CyclePoint& by) {
  for (const auto figure : {&CyclePoint::wR2, &CyclePoint::r1, &CyclePoint::goof}) {
    if (!(figures.*figure)) figures.*figure = by.*figure;
  }
}

// One refinement of a job from the confirmed settings on.
class Refinement {
 public:
  Refinement(Workbench& bench, std::string base)
      : bench_(bench), base_(std::move(base)), guard_(base_, FolderOfRuns(bench)) {}

  RefineEnd Do() {
    if (!guard_.Lock()) {
      Warn(bench_, "Error: Refinement Running",
           "Another refinement is running in the folder of " + NameOf(".res") + ".");
      return RefineEnd::Refused;
    }
    if (!WriteInstructions()) return RefineEnd::Failed;
    resultIsForeign_ = !WasWrittenByUs(bench_, base_ + ".res");
    if (const int error = guard_.KeepResult()) {
      UserMessage message = SystemErrorMessage("Error: File I/O", error);
      message.icon = MessageIcon::Warning;
      message.text = NameOf(".res") + " could not be kept safe before the run: " + message.text;
      bench_.messages.Show(message);
      return RefineEnd::Failed;
    }
    cifBefore_ = StampOf(base_ + ".cif");
    const RefineEnd end = RunAndJudge();
    if (std::error_code ignored; FolderOfRuns(bench_) == JobFolder::Shared)
      std::filesystem::remove(OutputPath(), ignored);
    if (end != RefineEnd::Accepted && !guard_.PutBack()) {
      Warn(bench_, "Error: File I/O",
           NameOf(".res") + " could not be put back; its old content is " + NameOf(".res.old~") + ".");
    }
    return end;
  }

 private:
  std::string NameOf(const char* extension) const { return FileNameOf(base_) + extension; }

  // The current file stays what it was: the run may come to nothing.
  bool WriteInstructions() {
    Document& document = bench_.document;
    const std::string path = base_ + ".ins";
    const std::string current = document.CurrentFile;
    const auto stamp = document.stamp;
    document.atoms.RebuildBackwardLinks();
    if (!WriteKeepingBackup(bench_, path)) return false;
    if (current == path) {
      bench_.SetModified(false);
      return true;
    }
    document.CurrentFile = current;
    document.stamp = stamp;
    return true;
  }

  std::string OutputPath() const {
    return FolderOfRuns(bench_) == JobFolder::Shared ? base_ + ".out~" : DirectoryOf(base_) + kOutputName;
  }

  // A package directory that an earlier version has made may lack the script, or have one from before a program could
  // be named in Preferences, which says more than that script.
  bool HeedsEngine(const std::string& script) const {
    if (!StampOf(script)) return false;
    return bench_.settings.Engine.empty() || ReadWholeFile(script).content.find(kEngineVariable) != std::string::npos;
  }

  ChildCommand MakeCommand() const {
    ChildCommand command;
    command.program = PackageFile(kBatchScript).value_or("");
    const std::string& installed = bench_.installedDirectory;
    if (!command.program.empty() && !installed.empty() && !HeedsEngine(command.program)) {
      command.program = installed + kBatchScript;
    }
    const std::string name = FileNameOf(base_);
    command.arguments = {name.starts_with('-') ? "./" + name : name};
    command.directory = DirectoryOf(base_);
    command.outputFile = OutputPath();
    command.priorityClass = bench_.document.settings.PriorityClass;
    // Shells drop the package directory's own variable.
    command.environment = {{"MARVIK_BIN", DirectoryOf(ExecutablePath(""))},
                           {"MARVIK_PACKAGE", PackageFile("").value_or("")}};
    if (!bench_.settings.Engine.empty()) command.environment.push_back({kEngineVariable, bench_.settings.Engine});
    if (!bench_.settings.EngineOptions.empty())
      command.environment.push_back({"MARVIK_ENGINE_OPTIONS", bench_.settings.EngineOptions});
    return command;
  }

  RefineEnd RunAndJudge() {
    ChildProcess child;
    RefinementRun run(child, MakeCommand(), {FileNameOf(base_), bench_.document.instructions.title});
    if (bench_.hooks.followRun) {
      bench_.hooks.followRun(run);
    } else {
      RunToEnd(run, bench_.messages, [] { return false; });
    }
    switch (run.State()) {
      case RunState::Finished:
        break;
      case RunState::EndedEarly:
        return Fail(run, "The refinement program ended without finishing");
      case RunState::NotStarted:
        return RefineEnd::Failed;
      default:
        return RefineEnd::Cancelled;
    }
    bench_.SetBusy(true);
    run.WaitForEnd();
    const auto outcome = ReadResult(run);
    bench_.SetBusy(false);
    if (outcome) return *outcome;
    if (!(bench_.hooks.judgeRefinement ? bench_.hooks.judgeRefinement(report_) : !report_.doubtful)) {
      return RefineEnd::Discarded;
    }
    Accept();
    return RefineEnd::Accepted;
  }

  RefineEnd Fail(const RefinementRun& run, const std::string& what) {
    std::string text = what;
    if (const std::string end = run.EndText(); !end.empty()) text += " (" + end + ")";
    text += ".";
    if (!run.LastLines().empty()) text += "\nIts last lines were:";
    for (const std::string& line : run.LastLines()) text += "\n" + line;
    if (!guard_.OldResult().empty()) text += "\n" + NameOf(".res") + " is as it was before.";
    if (guard_.HasListing() && !guard_.ListingIsNew()) text += "\n" + NameOf(".lst") + " is from an earlier run.";
    Warn(bench_, kFailed, text);
    return RefineEnd::Failed;
  }

  bool Read() {
    fresh_ = Document();
    fresh_.elements = bench_.document.elements;
    fresh_.settings = bench_.document.settings;
    return ReadInstructionFile(fresh_, base_ + ".res", bench_.messages);
  }

  // Fills fresh_ and report_; gives how the refinement ended when there is nothing to be judged.
  std::optional<RefineEnd> ReadResult(const RefinementRun& run) {
    const bool wentWrong = run.End() && (run.End()->exitStatus != 0 || run.End()->signal != 0);
    const bool exists = StampOf(base_ + ".res").has_value();
    if (exists && !guard_.ResultIsNew()) return Fail(run, "The refinement wrote no new " + NameOf(".res"));
    resultText_ = ReadWholeFile(base_ + ".res").content;
    if (IsCutShort(resultText_)) return Fail(run, NameOf(".res") + " is cut short: it has no end");
    if (!Read()) {
      if (wentWrong) return Fail(run, "The refinement wrote no usable " + NameOf(".res"));
      std::error_code error;
      std::filesystem::copy_file(base_ + ".ins", base_ + ".res", std::filesystem::copy_options::overwrite_existing,
                                 error);
      if (error || !Read()) {
        Warn(bench_, "Error: Unreadable Files", "Couldn't find a valid .res or .ins file.");
        return RefineEnd::Failed;
      }
      resultText_ = ReadWholeFile(base_ + ".res").content;
      report_.note = NameOf(".res") + " could not be read: this is " + NameOf(".ins") + ".";
    }
    if (!SameCell(fresh_.cell, bench_.document.cell)) return Fail(run, NameOf(".res") + " is for another cell");
    if (wentWrong) {
      report_.doubtful = true;
      report_.note = "The refinement program reported a failure (" + run.EndText() +
                     "): " + (run.LastLines().empty() ? "" : run.LastLines().back());
    }
    FillReport(run);
    return std::nullopt;
  }

  void FillReport(const RefinementRun& run) {
    std::string uncertain;
    if (StampOf(base_ + ".cif") != cifBefore_) {
      uncertain = ReadWholeFile(base_ + ".cif").content;
      if (CountAtoms(fresh_) <= kMostChecked)
        report_.findings = CheckCifFile(base_ + ".cif").value_or(std::vector<Finding>());
    }
    const std::string listing = guard_.ListingIsNew() ? ReadWholeFile(base_ + ".lst").content : std::string();
    if (uncertain.empty()) uncertain = listing;
    TakeDiagnosis(listing, report_);
    report_.resultName = NameOf(".res");
    report_.changes = CompareModels(bench_.document, fresh_, FindUncertainties(uncertain, fresh_));
    const auto& points = run.Curve().Points();
    report_.before = FiguresOfResult(guard_.OldResult());
    report_.after = FiguresOfResult(resultText_);
    if (points.empty()) return;
    FillMissing(report_.before, points.front());
    FillMissing(report_.after, points.back());
  }

  void Accept() {
    EnterHistory();
    if (resultIsForeign_) guard_.LeaveCopy(base_ + ".res.bak");
    TakeResult(bench_, fresh_, base_);
  }

  void EnterHistory() {
    const StepHistory history(base_);
    const long long now = std::time(nullptr);
    int error = 0;
    if (history.Steps().empty()) {
      const std::string old = guard_.OldResult();
      error = history.Add(old.empty() ? ReadWholeFile(base_ + ".ins").content : old, report_.before.r1,
                          CountAtoms(bench_.document), now);
    }
    if (!error) error = history.Add(resultText_, report_.after.r1, CountAtoms(fresh_), now);
    if (error) {
      Warn(bench_, "Error: File I/O",
           "This step could not be entered into " + history.Folder() + ": " + SystemErrorMessage("", error).text + ".");
    }
  }

  Workbench& bench_;
  std::string base_;
  JobGuard guard_;
  Document fresh_;
  RefinementReport report_;
  std::string resultText_;  // as the program wrote it
  std::optional<FileStamp> cifBefore_;
  bool resultIsForeign_ = false;
};

}  // namespace

int CountAtoms(const Document& document) {
  return CountIf(document, [](const AtomRecord& atom) { return !atom.IsPeak() && !atom.generated; });
}

void TakeResult(Workbench& bench, const Document& result, const std::string& base) {
  bench.document = result;
  bench.ClearPick();
  bench.uniqHistory.clear();
  bench.RefreshAfterStructureChange(false);
  bench.ResetViewToModel();
  // The file stays as the program wrote it. That is what a backup would keep: nothing that the user made.
  bench.document.CurrentFile = base + ".res";
  bench.document.WorkingDirectory = DirectoryOf(base);
  bench.document.stamp = StampOf(base + ".res");
  NoteWritten(bench, base + ".res");
  bench.SetModified(false);
  bench.TitleChanged();
  NoteAsRecent(bench);
  FollowDensity(bench);
}

std::string JobBase(const Workbench& bench) {
  return bench.document.CurrentFile.empty() ? "" : BaseNameOf(bench.document.CurrentFile);
}

JobFolder FolderOfRuns(const Workbench& bench) {
  return bench.hooks.repaint ? JobFolder::Alone : JobFolder::Shared;
}

bool MayRefine(Workbench& bench) {
  Document& document = bench.document;
  document.atoms.RebuildBackwardLinks();
  bench.ClearPick();
  if (CountIf(document, [](const AtomRecord& atom) { return atom.IsPeak(); }) > 0) {
    return Warn(bench, "Error: Undetermined Elements Remaining in Structure",
                "Refinement could not proceed because atom(s) of type Q were found.");
  }
  if (CountIf(document, [&](const AtomRecord& atom) { return IsNotInSfac(document, atom); }) > 0) {
    return Warn(bench, "Error: Element(s) Not Listed in SFAC are Present",
                "Refinement could not proceed because one or more elements are present in\n"
                "the structure that were not indicated to exist by the .res or .ins file's SFAC line.");
  }
  if (!AtomsWithDuplicateNames(document).empty()) {
    return Warn(bench, "Error: Duplicate Atom Names Found",
                "Refinement could not proceed because atom name duplications were found.");
  }
  return HasReflections(bench);
}

bool MayInclude(Workbench& bench) {
  std::string files;
  std::set<std::string> paths;
  for (const Instruction& line : InstructionsOf(bench.document)) {
    if (line.keyword != InstructionKeyword::kInclude || line.all.empty()) continue;
    const std::string directory = DirectoryOf(JobBase(bench));
    const std::string path = IncludedPath(line.all[0], directory);
    if (!LiesOutside(path, directory) || bench.includesAllowed.contains(path) || !paths.insert(path).second) continue;
    files += "\n" + line.all[0];
  }
  if (!paths.empty() && !bench.messages.AskYesNo({MessageIcon::Question, "Files in Other Folders",
                                                  "The instructions include files that lie in other folders:" + files +
                                                      "\nTheir lines may come into the result. Refine with them?"}))
    return false;
  bench.includesAllowed.merge(paths);
  return true;
}

bool HasReflections(Workbench& bench) {
  const std::string base = JobBase(bench);
  if (base.find('\\') != std::string::npos) {
    return Warn(bench, "Error: Refinement Failed",
                FileNameOf(base) + ": a backslash parts folders here and cannot stand in the name of a job.");
  }
  const std::string reflections = (base.empty() ? "noname" : base) + ".hkl";
  if (base.empty() || !OpensForReading(reflections)) {
    return Warn(bench, "Error: File Not Found", reflections + " couldn't be found!");
  }
  return true;
}

RefineEnd Refine(Workbench& bench, const std::string& fields) {
  if (!MayRefine(bench)) return RefineEnd::Refused;
  RefinementSettings before = bench.document.settings;
  if (const EditFault fault = ApplyRefinementFields(SplitEditArguments(fields), bench.document.settings)) {
    RefuseField(bench, fault);
    return RefineEnd::Refused;
  }
  const bool asks = fields.empty() && bench.hooks.editRefinement;
  const bool confirmed = !asks || bench.hooks.editRefinement(bench.document.settings);
  const RefinementSettings& now = bench.document.settings;
  // No file holds these.
  before.PreviousWeightCount = now.PreviousWeightCount;
  before.PreviousWeights = now.PreviousWeights;
  before.PriorityClass = now.PriorityClass;
  if (now != before) bench.SetModified(true);
  return confirmed && MayInclude(bench) ? Refinement(bench, JobBase(bench)).Do() : RefineEnd::Cancelled;
}

bool GoBackToStep(Workbench& bench, int number) {
  const StepHistory history(JobBase(bench));
  const auto steps = history.Steps();
  const auto step = std::ranges::find(steps, number, &RefinementStep::number);
  if (step == steps.end()) {
    return Warn(bench, "Error: File Not Found", "The history of this job has no step " + std::to_string(number) + ".");
  }
  Document past;
  past.elements = bench.document.elements;
  past.settings = bench.document.settings;
  if (!ReadInstructionFile(past, step->path, bench.messages)) {
    return Warn(bench, "Error: File Unreadable", "This file is either missing, empty or corrupt:\n" + step->path);
  }
  past.CurrentFile = bench.document.CurrentFile;
  past.WorkingDirectory = bench.document.WorkingDirectory;
  past.stamp = bench.document.stamp;
  bench.document = past;
  bench.ClearPick();
  bench.uniqHistory.clear();
  bench.RefreshAfterStructureChange(false);
  bench.ResetViewToModel();
  FollowDensity(bench);
  return true;
}

Outcome RefineHandler(Workbench& bench, const CommandCall& call) {
  switch (Refine(bench, call.argument)) {
    case RefineEnd::Accepted:
      return Outcome::Done;
    case RefineEnd::Cancelled:
    case RefineEnd::Discarded:
      return Outcome::Cancelled;
    default:
      return Outcome::Failed;
  }
}

Outcome RefinementStepHandler(Workbench& bench, const CommandCall& call) {
  double number = 0.0;
  if (!ParseWholeNumber(call.argument, number) || number != std::floor(number) || number < 0 || number > 1e6) {
    return Refuse(bench, "Command Usage Error:", "The number of a step of the job's history is wanted.");
  }
  return GoBackToStep(bench, static_cast<int>(number)) ? Outcome::Changed : Outcome::Failed;
}

}  // namespace marvik
