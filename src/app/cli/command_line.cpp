#include "app/cli/command_line.h"

#include <algorithm>
#include <ostream>

#include "app/cli/script_run.h"
#include "app/commands/command_table.h"
#include "app/export_output.h"
#include "app/open_save.h"
#include "app/package_directory.h"
#include "app/picture/picture_output.h"
#include "app/refinement/refine_flow.h"
#include "app/reports.h"
#include "app/version.h"
#include "app/workbench.h"
#include "base/numbers.h"
#include "files/res/writer.h"
#include "report/atom_report.h"
#include "run/stop_signals.h"

namespace marvik {
namespace {

// One line on standard error for each message; questions are answered without asking.
class LineMessages : public UserMessages {
 public:
  LineMessages(std::ostream& err, bool yes) : err_(err), yes_(yes) {}

  void Show(const UserMessage& message) override {
    hasProblem |= message.icon == MessageIcon::Warning || message.icon == MessageIcon::Error;
    err_ << place << LineOf(message) << '\n';
  }
  bool AskYesNo(const UserMessage& question, Unattended answer) override {
    const bool yes = yes_ || answer == Unattended::Yes;
    err_ << place << LineOf(question) << (yes ? " - yes\n" : " - no\n");
    return yes;
  }
  void RequestQuit() override { quitRequested = hasProblem = true; }

  std::string place;  // of what is being played, before each line
  bool hasProblem = false;
  bool quitRequested = false;

 private:
  static std::string LineOf(const UserMessage& message) {
    std::string line = message.caption;
    if (!line.empty()) line += line.ends_with(':') ? " " : ": ";
    line += message.text;
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return line;
  }

  std::ostream& err_;
  bool yes_;
};

int CountBonds(const Document& document) {
  int count = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    ForEachOwnBond(atom, [&](const AtomRecord*, const BondRecord*) { ++count; });
  }
  return count;
}

// One run of the program in batch.
class BatchRun {
 public:
  BatchRun(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err), messages_(err, options.yes), bench_(messages_) {
    bench_.installedDirectory = TemplateDirectory(executable);
  }

  int Run() {
    const bool done = Prepare() && RunSteps() && RunTask();
    out_.flush();
    if (!out_) messages_.Show({MessageIcon::Warning, "Error: File I/O", "Standard output could not be written."});
    if (options_.timing) PrintTiming();
    return done && !messages_.hasProblem ? kStatusDone : kStatusProblem;
  }

 private:
  bool Prepare() {
    if (options_.task == BatchTask::Edit) {
      messages_.Show({MessageIcon::Warning, "Command Usage Error:", "The text editor needs a window and a display."});
      return false;
    }
    InitElementTable(bench_.document.elements, true);
    LoadPictureSettings(bench_.pictures);
    if (!options_.commands.empty()) LoadRecentFiles(bench_.settings);
    bench_.RenditionMode = options_.rendition.value_or(
        options_.task == BatchTask::Write || options_.openGl.value_or(false) ? kBallAndStick : kWireFrame);
    bench_.LabelsOn = options_.labels.value_or(true);
    bench_.hooks.showReport = [this](const ReportRequest& request) {
      if (const auto report = ComposeReport(bench_.document, request, bench_.reports)) out_ << PlainLines(report->text);
    };
    bench_.ShowCell = options_.cell;
    bench_.hooks.openDocument = [this](const std::string& path) {
      out_ << path << '\n';
      return true;
    };
    SetUpRefinement();
    // A script starts as the window does and opens its own files.
    if (options_.task == BatchTask::Script) return true;
    // What nobody asked for must not move an atom of a file that nobody looks at.
    bench_.FmolAfterChanges = false;
    if (!options_.file.empty() && !OpenFile(bench_, options_.file)) return false;
    Turn();
    return true;
  }

  void Turn() {
    constexpr std::array<std::array<double, 3>, 3> kAxes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    for (size_t i = 0; i < 3; ++i) bench_.view.rotateView(options_.rotate[i], kAxes[i], true);
  }

  // The program's text goes to standard output as it comes, and a table of what it did behind it.
  void SetUpRefinement() {
    bench_.hooks.followRun = [this](RefinementRun& run) {
      run.onText = [this](std::string_view text) { out_ << text; };
      StopSignals signals;
      RunToEnd(run, messages_, [&] {
        out_.flush();
        return signals.Arrived();
      });
    };
    bench_.hooks.judgeRefinement = [this](const RefinementReport& report) {
      const ResultSkipping skipping{options_.skipTableBelow.has_value(), options_.skipTableBelow.value_or(0.0)};
      if (!MaySkipResult(report, skipping)) out_ << '\n' << ReportText(report);
      if (!report.note.empty()) messages_.Show({MessageIcon::Warning, "Refine", report.note});
      return !report.doubtful;
    };
  }

  // A step that fails ends the run: what the others would make of it is not what was asked for.
  bool RunSteps() {
    for (const CommandStep& step : options_.commands) {
      const Outcome outcome = RunCommand(bench_, step.id, step.argument);
      if (outcome == Outcome::Failed || messages_.quitRequested) return false;
      if (bench_.quitRequested) break;
    }
    return options_.select.empty() || RunCommand(bench_, kSelectAtomsCommand, options_.select) != Outcome::Failed;
  }

  bool RunTask() {
    switch (options_.task) {
      case BatchTask::Write:
        return Write();
      case BatchTask::Refine:
        return RunCommand(bench_, kRefineCommand) == Outcome::Done;
      case BatchTask::Picture:
        return Picture();
      case BatchTask::Report:
        return Report();
      case BatchTask::Script:
        PlayScript(bench_, options_.file, [this](const std::string& place) { messages_.place = place; });
        return true;
      default:
        return true;
    }
  }

  bool Report() {
    if (options_.report == "atoms" || options_.report == "bonds") {
      out_ << (options_.report == "bonds" ? BondReport(bench_.document, options_.json)
                                          : AtomReport(bench_.document, options_.json));
      return true;
    }
    const auto text = BatchReport(bench_, options_.report, options_.json);
    if (text) out_ << *text;
    return text.has_value();
  }

  bool Write() {
    if (options_.output != "-") return SaveFileAs(bench_, options_.output, options_.format);
    if (!IsInstructionFormat(options_.format)) {
      const std::string name = FileNameOf(BaseNameOf(bench_.document.CurrentFile)) + "." + options_.format;
      const auto bytes = ComposeExport(bench_, options_.format, name);
      if (bytes) out_ << *bytes;
      return bytes.has_value();
    }
    std::string text;
    {
      const StageClock clock(bench_.seconds.write);
      if (!ComposeInstructionText(bench_.document, text, messages_)) return false;
    }
    out_ << text;
    return true;
  }

  bool Picture() {
    if (!options_.recipe.empty()) {
      if (RunCommand(bench_, kApplyRecipeCommand, options_.recipe) == Outcome::Failed) return false;
      Turn();
      bench_.RenditionMode = options_.rendition.value_or(bench_.RenditionMode);
      bench_.LabelsOn = options_.labels.value_or(bench_.LabelsOn);
      bench_.ShowCell |= options_.cell;
    }
    PictureOptions& picture = bench_.pictureFile;
    picture.size = options_.size.value_or(picture.size);
    picture.resolution = options_.resolution.value_or(picture.resolution);
    picture.background = options_.background.value_or(picture.background);
    picture.openGl = options_.openGl.value_or(picture.openGl);
    picture.blackWhite |= options_.blackWhite;
    if (options_.layers) picture.layers = options_.layers;
    if (options_.output != "-") return WritePicture(bench_, picture, options_.output, options_.format);
    const auto bytes = DrawPicture(bench_, picture, options_.format);
    if (bytes) out_ << *bytes;
    return bytes.has_value();
  }

  void PrintTiming() {
    const StageSeconds& s = bench_.seconds;
    err_ << Printf("read %.4f connect %.4f draw %.4f write %.4f atoms %zu bonds %d\n", s.read, s.connect, s.draw,
                   s.write, bench_.document.atoms.LiveCount(), CountBonds(bench_.document));
    err_.flush();
  }

  const CommandLineOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  LineMessages messages_;
  Workbench bench_;
};

void ListCommands(std::ostream& out) {
  for (const CommandRow& row : CommandTable()) out << std::to_string(row.id) << '\t' << row.text << '\n';
}

}  // namespace

int RunCommandLine(const CommandLineOptions& options, const std::string& executable, std::ostream& out,
                   std::ostream& err) {
  if (!options.error.empty()) {
    err << "marvik: " << options.error << " (marvik --help tells more)\n";
    return kStatusUsage;
  }
  switch (options.task) {
    case BatchTask::Help:
      out << CommandLineHelp();
      return kStatusDone;
    case BatchTask::Version:
      out << "marvik " << kProgramVersion << '\n';
      return kStatusDone;
    case BatchTask::ListCommands:
      ListCommands(out);
      return kStatusDone;
    default:
      break;
  }
  if (!options.IsBatch()) {
    err << "marvik: nothing to do without a window (marvik --help tells more)\n";
    return kStatusUsage;
  }
  SetUpPackageDirectory(executable, options.packageDirectory);
  return BatchRun(options, executable, out, err).Run();
}

}  // namespace marvik
