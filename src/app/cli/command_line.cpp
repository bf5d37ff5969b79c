#include "app/cli/command_line.h"

#include <algorithm>
#include <ostream>

#include "app/cli/batch_run.h"
#include "app/cli/batch_session.h"
#include "app/open_save.h"
#include "app/package_directory.h"
#include "app/picture/picture_settings.h"
#include "app/refinement/refine_flow.h"
#include "app/reports.h"
#include "base/numbers.h"
#include "draw/surface/lit_picture.h"
#include "run/stop_signals.h"

namespace marvik {
namespace {

std::string LineOf(const UserMessage& message) {
  std::string line = message.caption;
  if (!line.empty()) line += line.ends_with(':') ? " " : ": ";
  line += message.text;
  std::ranges::replace_if(
      line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
  return line;
}

int CountBonds(const Document& document) {
  int count = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    ForEachOwnBond(atom, [&](const AtomRecord*, const BondRecord*) { ++count; });
  }
  return count;
}

}  // namespace

void LineMessages::Show(const UserMessage& message) {
  hasProblem |= message.icon == MessageIcon::Warning || message.icon == MessageIcon::Error;
  err_ << place << LineOf(message) << '\n';
}

bool LineMessages::AskYesNo(const UserMessage& question, Unattended answer) {
  const bool yes = yes_ || answer == Unattended::Yes;
  err_ << place << LineOf(question) << (yes ? " - yes\n" : " - no\n");
  return yes;
}

BatchSession::BatchSession(const CommandLineOptions& commandLine, const std::string& executable, std::ostream& results,
                           std::ostream& errors)
    : options(commandLine), out(results), err(errors), messages(errors, commandLine.yes), bench(messages) {
  bench.installedDirectory = TemplateDirectory(executable);
  if (options.standardLayout) bench.saveLayout = FileLayout::Standard;
}

int BatchSession::Run() {
  bool done = Open();
  for (const BatchAction& action : options.actions) done = done && action.row->run(*this, action);
  out.flush();
  if (!out) messages.Show({MessageIcon::Warning, "Error: File I/O", "Standard output could not be written."});
  if (options.timing) PrintTiming();
  return done && !messages.hasProblem ? kStatusDone : kStatusProblem;
}

bool BatchSession::Prepare() {
  // These look at the file's text; a picture of it beside needs the model.
  const auto readsText = [](const BatchAction& action) {
    return action.Is("--lint") || action.Is("--check") || action.Is("--compare") || action.Is("--extract");
  };
  const bool textAlone =
      options.commands.empty() && !options.actions.empty() && std::ranges::all_of(options.actions, readsText);
  if (options.Has("--edit") || textAlone) return true;
  InitElementTable(bench.document.elements, true);
  LoadPictureSettings(bench.pictures);
  // A figure is one for a paper where nothing else is asked for.
  const bool isFigure = options.Has("--picture") && options.style.empty() && options.recipe.empty();
  const bool isDark = !isFigure || options.background == PictureBackground::Black;
  bench.look = options.look.value_or(isDark && !options.journal ? Look::Dark : Look::Paper);
  if (!options.commands.empty()) LoadRecentFiles(bench.settings);
  bench.RenditionMode = options.rendition.value_or(
      options.journal                                                                  ? kThermalEllipsoid
      : options.Has("--write") || options.blackWhite || options.openGl.value_or(false) ? kBallAndStick
                                                                                       : kWireFrame);
  bench.LabelsOn = options.labels.value_or(true);
  bench.hooks.showReport = [this](const ReportRequest& request) {
    if (const auto report = ComposeReport(bench, request)) out << PlainLines(report->text);
  };
  bench.hooks.showText = [this](const std::string&, const std::string& text) { out << text; };
  bench.ShowCell = options.cell;
  bench.hooks.openDocument = [this](const std::string& path) {
    out << path << '\n';
    return true;
  };
  SetUpRefinement();
  // A script starts as the window does and opens its own files.
  if (options.Has("--script")) return true;
  // What nobody asked for must not move an atom of a file that nobody looks at.
  bench.FmolAfterChanges = false;
  std::string file = options.file;
  if (options.Has("--refine") && LowerExtensionOf(file) == "cif") {
    file = JobOfCif(*this);
    if (file.empty()) return false;
  }
  if (!file.empty() && !OpenFile(bench, file)) return false;
  if (isFigure && !options.rendition && bench.RenditionMode == kWireFrame)
    bench.RenditionMode = FlatRendition(bench.document, kLitRendition);
  // A result file that a CIF carries ends with the peaks of its last map.
  if (file != options.file) RunCommand(bench, kKillPeaksCommand);
  Turn();
  return true;
}

void BatchSession::Turn() {
  constexpr std::array<std::array<double, 3>, 3> kAxes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  for (size_t i = 0; i < 3; ++i) bench.view.RotateView(options.rotate[i], kAxes[i], true);
}

// The program's text goes to standard output as it comes, and a table of what it did behind it.
void BatchSession::SetUpRefinement() {
  bench.hooks.followRun = [this](RefinementRun& run) {
    run.onText = [this](std::string_view text) { out << text; };
    StopSignals signals;
    RunToEnd(run, messages, [&] {
      out.flush();
      return signals.Arrived();
    });
  };
  bench.hooks.judgeRefinement = [this](const RefinementReport& report) {
    const ResultSkipping skipping{options.skipTableBelow.has_value(), options.skipTableBelow.value_or(0.0)};
    if (!MaySkipResult(report, skipping)) out << '\n' << ReportText(report);
    if (!report.note.empty()) messages.Show({MessageIcon::Warning, "Refine", report.note});
    return !report.doubtful;
  };
}

// A step that fails ends the run: what the others would make of it is not what was asked for.
bool BatchSession::RunSteps() {
  for (const CommandStep& step : options.commands) {
    const Outcome outcome = RunCommand(bench, step.id, step.argument);
    if (outcome == Outcome::Failed || messages.quitRequested) return false;
    if (bench.quitRequested) break;
  }
  return options.select.empty() || RunCommand(bench, kSelectAtomsCommand, options.select) != Outcome::Failed;
}

void BatchSession::PrintTiming() {
  const StageSeconds& s = bench.seconds;
  err << Printf("read %.4f connect %.4f draw %.4f write %.4f atoms %zu bonds %d\n", s.read, s.connect, s.draw, s.write,
                bench.document.atoms.LiveCount(), CountBonds(bench.document));
  err.flush();
}

int RunCommandLine(const CommandLineOptions& options, const std::string& executable, std::ostream& out,
                   std::ostream& err) {
  const auto wrongUsage = [&](const std::string& what) {
    err << "marvik: " << what << " (marvik --help tells more)\n";
    return kStatusUsage;
  };
  if (!options.error.empty()) return wrongUsage(options.error);
  if (!options.IsBatch()) return wrongUsage("nothing to do without a window");
  if (!options.actions.empty() && options.actions[0].row->answer) {
    options.actions[0].row->answer(options, out);
    return kStatusDone;
  }
  SetUpPackageDirectory(executable, options.packageDirectory);
  if (!options.batch.empty()) return RunBatch(options, executable, out, err);
  if (!options.files.empty()) return RunSheet(options, executable, out, err);
  return BatchSession(options, executable, out, err).Run();
}

}  // namespace marvik
