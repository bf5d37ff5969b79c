#include <algorithm>
#include <ostream>

#include "app/cli/batch_input.h"
#include "app/cli/batch_session.h"
#include "app/version.h"
#include "base/files.h"
#include "base/numbers.h"
#include "picture/picture_formats.h"
#include "report/report.h"

namespace marvik {
namespace {

using Options = CommandLineOptions;

constexpr std::string_view kWriteFormats[] = {"ins", "res", "pdb", "ct", "inp", "wrl", "con", "glb"};
constexpr std::string_view kDocumentFormats[] = {"html", "tex", "md", "pdf"};
constexpr std::string_view kRenditions[] = {"wire", "ball", "ellipsoid", "pipes", "lit"};  // by DisplayMode
constexpr std::string_view kBackgrounds[] = {"black", "white", "transparent"};
constexpr std::string_view kRenderers[] = {"interactive", "opengl"};
constexpr std::string_view kLooks[] = {"dark", "light", "paper", "classic"};  // by Look
constexpr std::string_view kJournals[] = {kJournalPresets[0].name, kJournalPresets[1].name};
constexpr std::string_view kOnOff[] = {"on", "off"};
constexpr std::string_view kLayouts[] = {"as-read", "standard"};

template <bool Options::*flag>
std::string Flag(Options& options, const std::string&) {
  options.*flag = true;
  return "";
}

// The name of a file or folder.
template <std::string Options::*field>
std::string Name(Options& options, const std::string& value) {
  options.*field = value;
  return value.empty() ? "A name behind an option is empty" : "";
}

std::string Select(Options& options, const std::string& value) {
  options.select = value;
  return "";
}

std::string Format(Options& options, const std::string& value) {
  // By way of a file name, so that ".INS" and "ins" are the same.
  options.format = LowerExtensionOf("x." + value.substr(value.starts_with('.') ? 1 : 0));
  return "";
}

// A number from `low` to `high`; the sentence says so otherwise.
std::string TakeNumber(const std::string& text, double low, double high, const char* sentence, double& number) {
  return ParseWholeNumber(text, number) && number >= low && number <= high ? "" : sentence;
}

std::string TakeWhole(const std::string& text, int low, int high, const char* sentence, std::optional<int>& taken) {
  double number = 0.0;
  const std::string wrong = TakeNumber(text, low, high, sentence, number);
  if (!wrong.empty() || number != RoundHalfAway(number)) return sentence;
  taken = RoundHalfAway(number);
  return "";
}

std::string Size(Options& options, const std::string& value) {
  static_assert(kSmallestPicture == 16 && kLargestPicture == 16384);
  return TakeWhole(value, kSmallestPicture, kLargestPicture, "--size takes a number of pixels from 16 to 16384",
                   options.size);
}

// Belongs to the OpenGL renderer alone.
std::string Layers(Options& options, const std::string& value) {
  static_assert(kMostLayers == 100);
  options.openGl = true;
  return TakeWhole(value, 1, kMostLayers, "--layers takes a whole number from 1 to 100", options.layers);
}

std::string BlackWhite(Options& options, const std::string&) {
  options.blackWhite = true;
  return "";
}

std::string Resolution(Options& options, const std::string& value) {
  static_assert(kLargestResolution == 10000.0);
  return TakeNumber(value, 1.0, kLargestResolution, "--resolution takes dots per inch, 1 to 10000",
                    options.resolution.emplace());
}

std::string Journal(Options& options, const std::string& value) {
  options.journal = JournalPresetNamed(value);
  return "";
}

std::string Frames(Options& options, const std::string& value) {
  options.frames = FramesNamed(value);
  return "";
}

std::string SkipTable(Options& options, const std::string& value) {
  return TakeNumber(value, 0.0, 1e9, "--skip-table takes a distance in Å", options.skipTableBelow.emplace());
}

std::string Layout(Options& options, const std::string& value) {
  options.standardLayout = value == "standard";
  return "";
}

std::string Rendition(Options& options, const std::string& value) {
  options.rendition = static_cast<int>(std::ranges::find(kRenditions, value) - std::begin(kRenditions));
  return "";
}

std::string Background(Options& options, const std::string& value) {
  options.background = BackgroundNamed(value);
  return "";
}

std::string Transparent(Options& options, const std::string&) {
  return Background(options, "transparent");
}

std::string LookOption(Options& options, const std::string& value) {
  options.look = LookNamed(value);
  return "";
}

std::string Labels(Options& options, const std::string& value) {
  options.labels = value == "on";
  return "";
}

std::string Peaks(Options& options, const std::string& value) {
  options.peaks = value == "on";
  return "";
}

std::string Renderer(Options& options, const std::string& value) {
  options.openGl = value == "opengl";
  return "";
}

std::string Rotate(Options& options, const std::string& value) {
  std::string_view rest = value;
  bool good = std::ranges::count(value, ',') == 2;
  for (size_t i = 0; good && i < 3; ++i) {
    const size_t comma = std::min(rest.find(','), rest.size());
    good = ParseWholeNumber(rest.substr(0, comma), options.rotate[i]);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return good ? "" : "--rotate takes three angles X,Y,Z in degrees, not " + value;
}

std::string Commands(Options& options, const std::string& value) {
  std::string wrong;
  const auto steps = ParseCommandSteps(value, wrong);
  if (!steps) return "--commands: " + wrong + " does not begin with the number or the name of a command";
  options.commands.insert(options.commands.end(), steps->begin(), steps->end());
  return "";
}

std::string Jobs(Options& options, const std::string& value) {
  return TakeWhole(value, 1, 1000, "--jobs takes a number of processes from 1 to 1000", options.jobs);
}

std::string TimeLimit(Options& options, const std::string& value) {
  return TakeNumber(value, 0.001, 1e9, "--time-limit takes seconds", options.timeLimit.emplace());
}

std::string Shard(Options& options, const std::string& value) {
  options.shard = value;
  return ParseShard(value) ? "" : "--shard takes I/N, the I-th of N parts, not " + value;
}

void PrintHelp(const Options&, std::ostream& out) {
  out << CommandLineHelp();
}
void PrintVersion(const Options&, std::ostream& out) {
  out << "marvik " << kProgramVersion << '\n';
}
void PrintCommands(const Options& options, std::ostream& out) {
  out << CommandList(options.fields);
}
void PrintManual(const Options&, std::ostream& out) {
  out << ManualPage();
}
void PrintCompletion(const Options&, std::ostream& out) {
  out << CompletionScript();
}

template <int command>
bool CommandAction(BatchSession& session, const BatchAction&) {
  return RunCommand(session.bench, command) == Outcome::Done;
}

constexpr char kActions[] = "What to do with FILE (without an action the window opens)";
constexpr char kAnswers[] = "Answers";
constexpr char kBatch[] = "Many files";
constexpr char kPictures[] = "Pictures";
constexpr char kAll[] = "General";

// name, value, choices, group, help, what it sets; of actions what it does
constexpr OptionRow kOptions[] = {
    {"--write",
     "OUT",
     {},
     kActions,
     "write FILE (.ins .res .cif) as .ins .res .pdb .ct .inp .wrl .con .glb",
     nullptr,
     WriteAction,
     nullptr,
     kWriteFormats},
    {"--picture",
     "OUT",
     {},
     kActions,
     "draw FILE: .png .jpg .svg .pdf .tif .eps; several FILEs make a sheet with a frame for each, paged in .pdf",
     nullptr,
     PictureAction,
     nullptr,
     kPictureExtensions},
    {"--report", "", kReportNames, kActions, "print what the structure holds", nullptr, ReportAction},
    {"--refine",
     "",
     {},
     kActions,
     "refine FILE with the program that the package directory's script names; what it prints goes to standard output, "
     "then a table of what moved; NAME.res is the result",
     nullptr,
     CommandAction<kRefineCommand>},
    {"--solve",
     "",
     {},
     kActions,
     "solve FILE, an instruction file with cell and elements, from NAME.hkl: space group and atoms; NAME.res is the "
     "result",
     nullptr,
     CommandAction<kSolveCommand>},
    {"--complete",
     "",
     {},
     kActions,
     "complete the model in FILE: missing atoms, twinning, anisotropic, hydrogens, weights, extinction; NAME.res is "
     "the "
     "result",
     nullptr,
     CommandAction<kCompleteCommand>},
    {"--lint",
     "",
     {},
     kActions,
     "tell what is wrong in FILE, an instruction file, line by line; status 1 when there are errors",
     nullptr,
     LintAction},
    {"--check",
     "",
     {},
     kActions,
     "validate FILE, a CIF, as journals do, with NAME.fcf beside it; status 1 from level A on",
     nullptr,
     CheckAction},
    {"--publication",
     "",
     {},
     kActions,
     "list what the CIF of FILE leaves to its author: item, value, unit, what it takes, meaning, and what files beside "
     "propose; --commands 'publication=...' sets it",
     nullptr,
     PublicationAction},
    {"--report-document",
     "OUT",
     {},
     kActions,
     "tables and paragraphs for a paper from FILE, a CIF, or the CIF beside it, by --template: .html .tex .md, or one "
     "page of .pdf",
     nullptr,
     DocumentAction,
     nullptr,
     kDocumentFormats},
    {"--extract",
     "",
     {},
     kActions,
     "write the result file and the reflections that FILE, a CIF, carries, under the names of its blocks beside it; "
     "--refine does so by itself",
     nullptr,
     ExtractAction},
    {"--compare",
     "OLD",
     {},
     kActions,
     "tell what differs in FILE from OLD, both instruction or result files: atoms, restraints, weights, cell",
     nullptr,
     CompareAction},
    {"--benchmark-view",
     "",
     {},
     kActions,
     "how long the lit rendition takes at 900 pixels, moving and at rest",
     nullptr,
     BenchmarkViewAction},
    {"--script",
     "",
     {},
     kActions,
     "play FILE, a demo script, once, without a window and without its pauses; what it says wrong is reported with its "
     "line",
     nullptr,
     ScriptAction},
    {"--edit", "", {}, kActions, "open the plain-text editor on FILE", nullptr, EditAction},

    {"--commands",
     "STEPS",
     {},
     kAll,
     "run commands before the action: 'kill-peaks; select=C* O1; kill' are three, by name or number, with the text of "
     "the dialog behind \"=\"",
     Commands},
    {"--select",
     "TEXT",
     {},
     kAll,
     "select atoms: C1, C1_2 (of residue 2), C* and C? (patterns), $C (an element), C1 > C6 (in list order)",
     Select},
    {"--format",
     "EXTENSION",
     {},
     kAll,
     "what to write where OUT is -, standard output, or has another extension",
     Format},
    {"--into", "DIR", {}, kAll, "the folder for the files of --extract", Name<&Options::into>},
    {"--template",
     "NAME",
     {},
     kAll,
     "what --report-document fills: tables, crystal-data, coordinates, bonds, angles, torsions, hydrogen-bonds, "
     "experimental, service, or a file",
     Name<&Options::documentTemplate>},
    {"--layout", "", kLayouts, kAll,
     "what --write makes of .ins and .res: every line that no edit concerns as it was, or the program's own layout",
     Layout},
    {"--json", "", {}, kAll, "reports and findings as JSON", Flag<&Options::json>},
    {"--csv", "", {}, kAll, "reports as CSV", Flag<&Options::csv>},
    {"--skip-table",
     "LIMIT",
     {},
     kAll,
     "no table behind a refinement when nothing moved by more than LIMIT Å",
     SkipTable},
    {"--yes", "", {}, kAll, "answer questions with yes", Flag<&Options::yes>},
    {"--timing", "", {}, kAll, "end standard error with the seconds that the stages took", Flag<&Options::timing>},
    {"--package-directory",
     "DIR",
     {},
     kAll,
     "the folder of element table, settings and examples",
     Name<&Options::packageDirectory>},

    {"--rendition", "", kRenditions, kPictures,
     "how atoms and bonds are drawn: ellipsoids where there are some, else balls; .wrl and .glb take both", Rendition},
    {"--rotate", "X,Y,Z", {}, kPictures, "turn about the axes of the screen, in degrees", Rotate},
    {"--labels", "", kOnOff, kPictures, "the names of atoms", Labels},
    {"--peaks", "", kOnOff, kPictures, "difference peaks; off where nothing else is asked for", Peaks},
    {"--cell", "", {}, kPictures, "show the unit cell", Flag<&Options::cell>},
    {"--size", "PIXELS", {}, kPictures, "of a side, 16 to 16384", Size},
    {"--resolution", "DPI", {}, kPictures, "dots per inch, 1 to 10000", Resolution},
    {"--journal", "", kJournals, kPictures,
     "a figure for a column of 84 mm or two of 170 mm: that wide at 600 dpi or --resolution, white, trimmed, in the "
     "paper "
     "look, as ellipsoids",
     Journal},
    {"--frames", "", kPictureFrames, kPictures,
     "stereo: what the left and the right eye see, side by side; axes: the views along a, b and c; turn: an "
     "animated .png (or .apng, which turns by itself)",
     Frames},
    {"--packing",
     "",
     {},
     kPictures,
     "fill the unit cell with whole molecules and draw it along a, b and c",
     Flag<&Options::packing>},
    {"--trim",
     "",
     {},
     kPictures,
     "as wide as --size says, and no higher than what there is to see",
     Flag<&Options::trim>},
    {"--background", "", kBackgrounds, kPictures, "what the picture stands on", Background},
    {"--transparent", "", {}, kPictures, "the same as --background transparent", Transparent},
    {"--renderer", "", kRenderers, kPictures, "opengl is lit and smooth: ball or ellipsoid, .png .jpg .tif", Renderer},
    {"--black-white",
     "",
     {},
     kPictures,
     "without colours, a pattern for each element: by OpenGL, in .svg .pdf .eps with lines and dots",
     BlackWhite},
    {"--layers", "N", {}, kPictures, "of anti-aliasing, by OpenGL", Layers},
    {"--look", "", kLooks, kPictures,
     "colours: paper where nothing else is asked for, classic as the renditions were first made", LookOption},
    {"--swing",
     "OLD",
     {},
     kPictures,
     "an animated .png or .apng that goes from the model of the same atoms in OLD to FILE and back",
     Name<&Options::swing>},
    {"--label-report",
     "FILE.json",
     {},
     kPictures,
     "where labels, bodies and bonds stand, in points",
     Name<&Options::labelReport>},
    {"--style",
     "FILE",
     {},
     kPictures,
     "all choices of a figure that a picture style keeps; what else is given comes on top",
     Name<&Options::style>},
    {"--recipe",
     "FILE",
     {},
     kPictures,
     "the view and looks that a picture recipe keeps; what else is given comes on top",
     Name<&Options::recipe>},

    {"--batch",
     "LIST",
     {},
     kBatch,
     "do the actions, one or several, for every file of a folder or of a list, one a line (- is standard input); "
     "a line of JSON a file; in OUT stands {name} for each file's name",
     Name<&Options::batch>},
    {"--jobs", "N", {}, kBatch, "worker processes; as many as there are processors", Jobs},
    {"--time-limit", "SECONDS", {}, kBatch, "what takes longer is given up", TimeLimit},
    {"--results",
     "FILE",
     {},
     kBatch,
     "append the lines to FILE, and leave out files that have one there",
     Name<&Options::results>},
    {"--shard", "I/N", {}, kBatch, "only every N-th file from the I-th on, for N machines or array jobs", Shard},

    {"--list-commands",
     "",
     {},
     kAnswers,
     "one command a line: number, name, menu text",
     nullptr,
     nullptr,
     PrintCommands},
    {"--fields",
     "",
     {},
     kAnswers,
     "with --list-commands: what each command takes, and every FIELD with its values",
     Flag<&Options::fields>},
    {"--help", "", {}, kAnswers, "this text", nullptr, nullptr, PrintHelp},
    {"--version", "", {}, kAnswers, "the version", nullptr, nullptr, PrintVersion},
    {"--man-page", "", {}, "", "this text as a man page", nullptr, nullptr, PrintManual},
    {"--completion", "", {}, "", "the completion script for bash", nullptr, nullptr, PrintCompletion},
};

}  // namespace

std::span<const OptionRow> OptionTable() {
  return kOptions;
}

}  // namespace marvik
