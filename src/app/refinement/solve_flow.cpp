#include "app/refinement/solve_flow.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <utility>

#include "app/commands/command_handlers.h"
#include "app/commands/command_table.h"
#include "app/open_save.h"
#include "app/package_directory.h"
#include "base/numbers.h"
#include "base/process_mark.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "run/child_process.h"

namespace marvik {
namespace {

constexpr FieldRange kSolveFields[] = {
    WordField("complete", "Go on to the finished model", "on|off"),
    WordField("group", "Space group; as-given: LATT and SYMM are the truth", "found|as-given"),
    {"seed", "Seed of the random starts", 0, 1e9},
    {"threads", "Threads; 0: as many as there are processors", 0, 1000},
};
constexpr FieldRange kCompleteFields[] = {
    WordField("steps", "Steps: to the end, or the next alone", "all|next"),
};

std::vector<std::string> Parted(std::string_view line, char by) {
  std::vector<std::string> parts;
  for (size_t at = 0; at <= line.size();) {
    const size_t end = std::min(line.find(by, at), line.size());
    parts.emplace_back(line.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

constexpr std::string_view kScratch = "marvik-solve-";

// A folder that goes with everything in it, and with it those of processes that are gone.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code error;
    const auto place = std::filesystem::temp_directory_path(error);
    if (error) return;
    Sweep(place);
    std::string name = (place / (std::string(kScratch) + ProcessMark() + "-XXXXXX")).string();
    if (mkdtemp(name.data())) path_ = name + "/";
  }
  ~ScratchFolder() {
    std::error_code error;
    if (!path_.empty()) std::filesystem::remove_all(path_, error);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& Path() const { return path_; }

 private:
  static void Sweep(const std::filesystem::path& place) {
    std::error_code error, ignored;
    for (std::filesystem::directory_iterator entry(place, error), end; !error && entry != end; entry.increment(error)) {
      const std::string name = entry->path().filename().string();
      if (!name.starts_with(kScratch)) continue;
      const std::string mark = name.substr(kScratch.size(), name.rfind('-') - kScratch.size());
      if (!ProcessLives(mark)) std::filesystem::remove_all(entry->path(), ignored);
    }
  }

  std::string path_;
};

// Other models in the window in place of the document.
class ModelsInView {
 public:
  explicit ModelsInView(Workbench& bench) : bench_(bench), own_(bench.document) {}
  ~ModelsInView() { PutBack(); }
  ModelsInView(const ModelsInView&) = delete;
  ModelsInView& operator=(const ModelsInView&) = delete;

  // Nothing happens for what cannot be read. Where there was no model each one is turned to its best plane, until the
  // user turns one.
  void Show(const std::string& path) {
    Document shown;
    shown.elements = own_.elements;
    shown.settings = own_.settings;
    RecordingMessages quiet;
    if (!ReadInstructionFile(shown, path, quiet)) return;
    shown.CurrentFile = own_.CurrentFile;
    shown.WorkingDirectory = own_.WorkingDirectory;
    shown.stamp = own_.stamp;
    const bool first = !std::exchange(shows_, true), fitted = bench_.ViewIsFitted();
    const bool turned = !first && bench_.view.combined != shownView_;
    if (first) ownView_ = bench_.view;
    Put(shown);
    if (first || fitted) bench_.ResetViewToModel(!turned && !own_.atoms.head);
    shownView_ = bench_.view.combined;
  }
  // The document, and the view that it had unless another model comes next.
  void PutBack(bool view = true) {
    if (!std::exchange(shows_, false)) return;
    Put(own_);
    if (!view) return;
    bench_.ResetViewToModel();
    if (ownView_.viewportWidth == bench_.view.viewportWidth && ownView_.viewportHeight == bench_.view.viewportHeight)
      bench_.view = ownView_;
  }

 private:
  void Put(const Document& document) {
    bench_.document = document;
    bench_.ClearPick();
    bench_.RefreshAfterStructureChange(false);
  }

  Workbench& bench_;
  const Document own_;
  ViewState ownView_;
  bool shows_ = false;
  Matrix4 shownView_{};  // as the last model was first shown
};

// One run of the solver for a job.
class Solving {
 public:
  Solving(Workbench& bench, std::string title, std::vector<std::string> arguments)
      : bench_(bench),
        title_(std::move(title)),
        arguments_(std::move(arguments)),
        base_(JobBase(bench)),
        view_(bench) {}

  RefineEnd Do() {
    if (!HasReflections(bench_)) return RefineEnd::Refused;
    std::string text;
    bench_.document.atoms.RebuildBackwardLinks();
    if (folder_.Path().empty() || !ComposeInstructionText(bench_.document, text, bench_.messages) ||
        WriteFileAtomically(folder_.Path() + "job.ins", text) != 0) {
      return Fail("There is no room for the run in the folder of temporary files.");
    }
    if (const auto end = Run()) {
      view_.PutBack();
      return *end;
    }
    found_ = ReadFoundModels(ReadWholeFile(folder_.Path() + "job.table").content);
    found_.notes = notes_;
    if (found_.rows.empty()) return Fail("marvik-solve left no table of what it found.");
    const auto chosen = Choose();
    view_.PutBack(!chosen);
    return chosen ? Accept(*chosen) : RefineEnd::Discarded;
  }

 private:
  RefineEnd Fail(const std::string& text) {
    view_.PutBack();
    bench_.messages.Show({MessageIcon::Warning, "Error: " + title_ + " Failed", text});
    return RefineEnd::Failed;
  }

  // Nothing when it finished.
  std::optional<RefineEnd> Run() {
    ChildCommand command;
    command.program = DirectoryOf(ExecutablePath("")) + "marvik-solve";
    command.arguments = {folder_.Path() + "job", "--reflections", base_ + ".hkl", "--table",
                         folder_.Path() + "job.table"};
    const std::string picture = folder_.Path() + "picture.res";
    if (bench_.hooks.followRun) command.arguments.insert(command.arguments.end(), {"--picture", picture});
    command.arguments.insert(command.arguments.end(), arguments_.begin(), arguments_.end());
    command.directory = folder_.Path();
    command.outputFile = folder_.Path() + kOutputName;
    command.priorityClass = bench_.document.settings.PriorityClass;
    ChildProcess child;
    RefinementRun run(child, command, {base_, bench_.document.instructions.title});
    run.title = title_;
    run.hasCycles = false;
    run.showModel = [&, seen = std::optional<FileStamp>()]() mutable {
      const auto now = StampOf(picture);
      if (now && now != std::exchange(seen, now)) view_.Show(picture);
    };
    if (bench_.hooks.followRun) {
      bench_.hooks.followRun(run);
    } else {
      RunToEnd(run, bench_.messages, [] { return false; });
    }
    if (run.State() == RunState::NotStarted) return RefineEnd::Failed;
    if (run.State() == RunState::Terminated) return RefineEnd::Cancelled;
    run.WaitForEnd();
    for (const std::string& line : Parted(ReadWholeFile(command.outputFile).content, '\n'))
      if (line.starts_with(" Note: ") || line.starts_with(" ** ")) notes_ += line.substr(1) + "\n";
    if (run.State() == RunState::Finished) return std::nullopt;
    std::string text;
    for (const std::string& line : run.LastLines()) text += (text.empty() ? "" : "\n") + line;
    return Fail(text.empty() ? "marvik-solve ended without finishing (" + run.EndText() + ")." : text);
  }

  std::optional<size_t> Choose() {
    if (!bench_.hooks.chooseModel) return found_.proposed;
    return bench_.hooks.chooseModel(found_, [&](size_t row) { view_.Show(found_.rows[row].path); });
  }

  RefineEnd Accept(size_t row) {
    JobGuard guard(base_, FolderOfRuns(bench_));
    if (!guard.Lock()) return Fail("A refinement is running in the folder of " + FileNameOf(base_) + ".res.");
    Document fresh;
    fresh.elements = bench_.document.elements;
    fresh.settings = bench_.document.settings;
    const std::string text = ReadWholeFile(found_.rows[row].path).content;
    if (text.empty() || !ReadInstructionFile(fresh, found_.rows[row].path, bench_.messages))
      return Fail("The model that was found cannot be read back.");
    const bool foreign = !WasWrittenByUs(bench_, base_ + ".res");
    int error = guard.KeepResult();
    const std::string old = guard.OldResult();
    if (!error) error = WriteFileAtomically(base_ + ".res", text);
    if (error) {
      guard.PutBack();
      return Fail(FileNameOf(base_) + ".res cannot be written: " + SystemErrorMessage("", error).text + ".");
    }
    EnterHistory(row, old.empty() ? ReadWholeFile(base_ + ".ins").content : old);
    if (foreign) guard.LeaveCopy(base_ + ".res.bak");
    TakeResult(bench_, fresh, base_);
    return RefineEnd::Accepted;
  }

  // What led to the model: steps before it, or the candidate alone.
  void EnterHistory(size_t row, const std::string& old) {
    const StepHistory history(base_);
    const long long now = std::time(nullptr);
    int error = 0;
    if (history.Steps().empty()) error = history.Add(old, FiguresOfResult(old).r1, CountAtoms(bench_.document), now);
    const auto isCandidate = [&](size_t i) { return found_.rows[i].Cell(found_, "model").starts_with("candidate"); };
    for (size_t i = 0; i <= row && !error; ++i) {
      const FoundModels::Row& step = found_.rows[i];
      if (i != row && (isCandidate(row) || (i != 0 && isCandidate(i)))) continue;
      double r1 = 0.0, atoms = 0.0;
      const bool known = ParseWholeNumber(step.Cell(found_, "R1"), r1);
      ParseWholeNumber(step.Cell(found_, "atoms"), atoms);
      error = history.Add(ReadWholeFile(step.path).content, known ? std::optional(r1) : std::nullopt,
                          static_cast<int>(atoms), now);
    }
    if (error)
      bench_.messages.Show(
          {MessageIcon::Warning, "Error: File I/O",
           "A step could not be entered into " + history.Folder() + ": " + SystemErrorMessage("", error).text + "."});
  }

  Workbench& bench_;
  std::string title_;
  std::vector<std::string> arguments_;
  std::string base_;
  ScratchFolder folder_;
  FoundModels found_;
  std::string notes_;
  ModelsInView view_;
};

// The words of fields that are well-formed; a fault otherwise.
EditFault CheckFields(const EditArguments& arguments, std::span<const FieldRange> known) {
  if (EditFault fault = UnknownFieldFault(arguments, known)) return fault;
  if (!arguments.atoms.empty()) return {"", arguments.atoms + ": only fields such as " + known[0].key + "= are taken."};
  for (const EditArguments::Field& field : arguments.fields) {
    const FieldRange& range = *FindField(known, field.key);
    EditFault fault;
    if (range.words[0] == '\0') {
      ReadFieldInteger(range, field.value, fault);
    } else if (("|" + std::string(range.words) + "|").find("|" + field.value + "|") == std::string::npos) {
      fault = {field.key,
               std::string(range.caption) + ": one of " + range.words + " is wanted, not \"" + field.value + "\"."};
    }
    if (fault) return fault;
  }
  return {};
}

Outcome OutcomeOf(RefineEnd end) {
  return end == RefineEnd::Accepted                                   ? Outcome::Done
         : end == RefineEnd::Cancelled || end == RefineEnd::Discarded ? Outcome::Cancelled
                                                                      : Outcome::Failed;
}

}  // namespace

std::string FoundModels::Row::Cell(const FoundModels& of, std::string_view heading) const {
  const auto at = static_cast<size_t>(std::ranges::find(of.headings, heading) - of.headings.begin());
  return at < cells.size() ? cells[at] : "";
}

FoundModels ReadFoundModels(std::string_view table) {
  FoundModels found;
  for (const std::string& line : Parted(table, '\n')) {
    std::vector<std::string> cells = Parted(line, '\t');
    if (cells.size() < 2) continue;
    const std::string path = cells[0];
    cells.erase(cells.begin());
    if (found.headings.empty()) {
      found.headings = std::move(cells);
    } else {
      // The last step of a completion, else the first candidate.
      if (!cells[0].starts_with("candidate")) found.proposed = found.rows.size();
      found.rows.push_back({path, std::move(cells)});
    }
  }
  return found;
}

std::span<const FieldRange> SolveFields() {
  return kSolveFields;
}
std::span<const FieldRange> CompleteFields() {
  return kCompleteFields;
}

RefineEnd SolveJob(Workbench& bench, const std::string& fields) {
  const EditArguments words = SplitEditArguments(fields);
  if (const EditFault fault = CheckFields(words, kSolveFields)) {
    RefuseField(bench, fault);
    return RefineEnd::Refused;
  }
  std::vector<std::string> arguments;
  for (const EditArguments::Field& field : words.fields) {
    if (field.key == "complete") {
      if (field.value == "on") arguments.push_back("--complete");
    } else if (field.key == "group") {
      if (field.value == "as-given") arguments.insert(arguments.end(), {"--space-group", "as-given"});
    } else {
      arguments.insert(arguments.end(), {"--" + field.key, field.value});
    }
  }
  return Solving(bench, "Solve", arguments).Do();
}

RefineEnd CompleteJob(Workbench& bench, const std::string& fields) {
  const EditArguments words = SplitEditArguments(fields);
  if (const EditFault fault = CheckFields(words, kCompleteFields)) {
    RefuseField(bench, fault);
    return RefineEnd::Refused;
  }
  const std::string* steps = words.Find("steps");
  std::vector<std::string> arguments{"--from-model"};
  if (steps && *steps == "next") arguments.push_back("--one-step");
  return Solving(bench, "Complete", arguments).Do();
}

Outcome SolveHandler(Workbench& bench, const CommandCall& call) {
  return OutcomeOf(SolveJob(bench, call.argument));
}
Outcome CompleteHandler(Workbench& bench, const CommandCall& call) {
  return OutcomeOf(CompleteJob(bench, call.id == kCompleteCommand ? call.argument : "steps=next"));
}

}  // namespace marvik
