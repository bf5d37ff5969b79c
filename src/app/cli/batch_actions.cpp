#include <algorithm>
#include <chrono>
#include <ostream>
#include <vector>

#include "app/cli/batch_session.h"
#include "app/cli/script_run.h"
#include "app/export_output.h"
#include "app/open_save.h"
#include "app/picture/picture_output.h"
#include "app/reports.h"
#include "base/files.h"
#include "base/numbers.h"
#include "check/cif/check_cif.h"
#include "check/lint/lint.h"
#include "draw/surface/lit_picture.h"
#include "edit/edit_fields.h"
#include "files/res/writer.h"
#include "report/report.h"
#include "run/file_comparison.h"

namespace marvik {

bool WriteAction(BatchSession& session, const BatchAction& action) {
  Workbench& bench = session.bench;
  const std::string& format = session.options.format;
  if (action.value != "-") return SaveFileAs(bench, action.value, format);
  if (!IsInstructionFormat(format)) {
    const std::string name = FileNameOf(BaseNameOf(bench.document.CurrentFile)) + "." + format;
    const auto bytes = ComposeExport(bench, format, name);
    if (bytes) session.out << *bytes;
    return bytes.has_value();
  }
  std::string text;
  {
    const StageClock clock(bench.seconds.write);
    WriteOptions options;
    options.layout = bench.saveLayout;
    if (!ComposeInstructionText(bench.document, text, session.messages, options)) return false;
  }
  session.out << text;
  return true;
}

void ApplyPictureOptions(const CommandLineOptions& options, PictureOptions& picture) {
  picture.labelReport = options.labelReport;
  if (options.journal) ApplyJournal(*options.journal, options.resolution.value_or(0.0), picture);
  picture.trim |= options.trim;
  picture.size = options.size.value_or(picture.size);
  picture.resolution = options.resolution.value_or(picture.resolution);
  picture.background = options.background.value_or(picture.background);
  picture.frames = options.frames.value_or(options.packing ? PictureFrames::Axes : picture.frames);
  picture.openGl = options.openGl.value_or(picture.openGl);
  picture.blackWhite |= options.blackWhite;
  if (options.layers) picture.layers = options.layers;
}

bool PreparePicture(BatchSession& session) {
  const CommandLineOptions& options = session.options;
  Workbench& bench = session.bench;
  if (!options.style.empty()) {
    if (RunCommand(bench, kApplyStyleCommand, options.style) == Outcome::Failed) return false;
    if (options.look) bench.SetLook(*options.look);
    bench.RenditionMode = options.rendition.value_or(bench.RenditionMode);
    bench.LabelsOn = options.labels.value_or(bench.LabelsOn);
    bench.ShowCell |= options.cell;
  }
  if (!options.recipe.empty()) {
    if (RunCommand(bench, kApplyRecipeCommand, options.recipe) == Outcome::Failed) return false;
    session.Turn();
    bench.RenditionMode = options.rendition.value_or(bench.RenditionMode);
    bench.LabelsOn = options.labels.value_or(bench.LabelsOn);
    bench.ShowCell |= options.cell;
  }
  if (options.packing) {
    if (RunCommand(bench, kPackCommand, "0,1,0,1,0,1") == Outcome::Failed) return false;
    bench.ShowCell = true;
    bench.LabelsOn = options.labels.value_or(false);
  }
  // On a sheet each has the rendition that suits it.
  if (!options.files.empty() && !options.rendition && options.style.empty() && options.recipe.empty())
    bench.RenditionMode = FlatRendition(bench.document, kLitRendition);
  bool hasAtoms = false;
  for (const AtomRecord* atom : Atoms(bench.document.atoms)) hasAtoms = hasAtoms || !atom->IsPeak();
  const bool usual = !options.style.empty() && !options.journal && options.files.empty();
  if (!options.peaks.value_or(usual) && options.recipe.empty() && hasAtoms) {
    for (AtomRecord* atom : Atoms(bench.document.atoms))
      if (atom->IsPeak()) atom->Set(kHidden, true);
  }
  // What was grown, packed or turned since it was opened is to be in the frame.
  if (options.recipe.empty() && bench.ViewIsFitted()) bench.FitView();
  ApplyPictureOptions(options, bench.pictureFile);
  return true;
}

bool PictureAction(BatchSession& session, const BatchAction& action) {
  if (!PreparePicture(session)) return false;
  const CommandLineOptions& options = session.options;
  Workbench& bench = session.bench;
  const PictureOptions& picture = bench.pictureFile;
  if (!options.swing.empty()) {
    const std::string old = JoinEditArguments({{{"old", options.swing}, {"file", action.value}}, ""});
    return RunCommand(bench, kSwingCommand, old) == Outcome::Done;
  }
  if (action.value != "-") return WritePicture(bench, picture, action.value, options.format);
  const auto bytes = DrawPicture(bench, picture, options.format);
  if (bytes) session.out << *bytes;
  return bytes.has_value();
}

// What the window draws, on an area of 900 pixels: the median of some frames of a view that turns, and of the full one
// when it rests.
bool BenchmarkViewAction(BatchSession& session, const BatchAction&) {
  constexpr int kSide = 900;
  Workbench& bench = session.bench;
  bench.view.drawingSize = kSide;
  bench.view.FitView(bench.view.viewRadius, std::nullopt);
  LabelFont font(12.0);
  for (const bool moving : {true, false}) {
    LitOptions lit;
    lit.moving = moving;
    RenderOptions options = bench.ScreenOptions();
    options.steadyLabels = true;
    // As the window has them: placed once, then carried along.
    DrawLit(bench.document, bench.view, options, kSide, kSide, lit, &font, bench.renderer, nullptr);
    options.carriedLabels = true;
    std::vector<double> milliseconds(moving ? 21 : 7);
    for (double& spent : milliseconds) {
      bench.view.RotateView(1.0, {0, 1, 0}, true);
      const auto start = std::chrono::steady_clock::now();
      DrawLit(bench.document, bench.view, options, kSide, kSide, lit, &font, bench.renderer, nullptr);
      spent = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    std::ranges::sort(milliseconds);
    const double median = milliseconds[milliseconds.size() / 2];
    session.out << (moving ? Printf("moving %.1f frames a second, %.1f ms each\n", 1000.0 / median, median)
                           : Printf("at rest full in %.1f ms\n", median));
  }
  return true;
}

bool ReportAction(BatchSession& session, const BatchAction& action) {
  const CommandLineOptions& options = session.options;
  const auto format = options.json ? ReportFormat::Json : options.csv ? ReportFormat::Csv : ReportFormat::Text;
  const auto text = BatchReport(session.bench, *ReportKindOf(action.value), format);
  if (text) session.out << *text;
  return text.has_value();
}

bool ScriptAction(BatchSession& session, const BatchAction&) {
  PlayScript(session.bench, session.options.file, [&](const std::string& place) { session.messages.place = place; });
  return true;
}

namespace {

// False from an error or level A on, and for a file that cannot be read.
bool TellFindings(BatchSession& session, const std::optional<std::vector<Finding>>& findings) {
  if (!findings) {
    session.messages.Show({MessageIcon::Error, "Error: File I/O", session.options.file + " cannot be read."});
    return false;
  }
  session.out << (session.options.json ? FindingsAsJson(*findings) : FindingsAsText(*findings));
  return !IsSerious(*findings);
}

}  // namespace

bool LintAction(BatchSession& session, const BatchAction&) {
  const std::string& path = session.options.file;
  const FileContent file = ReadWholeFile(path);
  std::optional<std::vector<Finding>> findings;
  if (file.complete && !file.content.empty())
    findings = LintInstructionText(file.content, DirectoryOf(path).empty() ? "./" : DirectoryOf(path));
  return TellFindings(session, findings);
}

bool CheckAction(BatchSession& session, const BatchAction&) {
  return TellFindings(session, CheckCifFile(session.options.file));
}

bool CompareAction(BatchSession& session, const BatchAction& action) {
  const auto comparison = CompareFilesAt(action.value, session.options.file);
  if (!comparison) {
    session.messages.Show({MessageIcon::Error, "Error: File I/O", "One of the two files cannot be read."});
    return false;
  }
  session.out << (session.options.json ? ComparisonAsJson(*comparison) : ComparisonAsText(*comparison));
  return true;
}

bool EditAction(BatchSession& session, const BatchAction&) {
  session.messages.Show(
      {MessageIcon::Warning, "Command Usage Error:", "The text editor needs a window and a display."});
  return false;
}

}  // namespace marvik
