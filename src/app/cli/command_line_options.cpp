#include "app/cli/command_line_options.h"

#include <algorithm>
#include <string_view>

#include "base/files.h"
#include "base/numbers.h"
#include "report/atom_report.h"

namespace marvik {
namespace {

const std::vector<std::string> kWriteFormats{"ins", "res", "pdb", "ct", "inp", "wrl", "con", "glb"};
const std::vector<std::string> kPictureFormats{"png", "jpg", "svg", "pdf"};

std::string Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    parts.push_back(Trimmed(text.substr(at, end - at)));
    at = end + 1;
  }
  return parts;
}

std::optional<int> WholeNumber(const std::string& text, int smallest, int largest) {
  double value = 0.0;
  if (!ParseWholeNumber(text, value) || value != RoundHalfAway(value) || value < smallest || value > largest) return {};
  return RoundHalfAway(value);
}

// Reads the words one after another into the options.
class Parser {
 public:
  explicit Parser(const std::vector<std::string>& words) : words_(words) {}

  CommandLineOptions Parse() {
    while (at_ < words_.size() && options_.error.empty()) {
      const std::string& word = words_[at_++];
      if (word.size() < 2 || word[0] != '-' || onlyFiles_) {
        TakeFile(word);
      } else if (word == "--") {
        onlyFiles_ = true;
      } else {
        TakeOption(word);
      }
    }
    if (options_.error.empty()) CheckTogether();
    return std::move(options_);
  }

 private:
  void Wrong(const std::string& what) {
    if (options_.error.empty()) options_.error = what;
  }

  void TakeFile(const std::string& word) {
    if (!options_.file.empty()) return Wrong("Only one FILE can be given; there are " + options_.file + " and " + word);
    if (word.empty()) return Wrong("The name of FILE is empty");
    options_.file = word;
  }

  void SetTask(BatchTask task, const std::string& word) {
    if (options_.task != BatchTask::None) Wrong(word + " cannot go together with another task");
    options_.task = task;
  }

  std::string Value(const std::string& option) {
    if (at_ < words_.size()) return words_[at_++];
    Wrong(option + " needs a value");
    return "";
  }

  // One of a few words; its place, after a complaint -1.
  int OneOf(const std::string& option, const std::vector<std::string>& allowed) {
    const std::string value = Value(option);
    const auto found = std::ranges::find(allowed, value);
    if (found != allowed.end()) return static_cast<int>(found - allowed.begin());
    std::string list;
    for (const std::string& word : allowed) list += (list.empty() ? "" : ", ") + word;
    Wrong(option + " takes one of " + list + ", not " + value);
    return -1;
  }

  void TakeOption(const std::string& word);
  bool TakeTask(const std::string& word);
  bool TakePictureOption(const std::string& word);
  void TakeRotation(const std::string& value);
  void CheckTogether();

  const std::vector<std::string>& words_;
  size_t at_ = 0;
  bool onlyFiles_ = false;
  CommandLineOptions options_;
};

bool Parser::TakeTask(const std::string& word) {
  struct Plain {
    const char* word;
    BatchTask task;
  };
  constexpr Plain kPlain[] = {{"--help", BatchTask::Help},       {"-h", BatchTask::Help},
                              {"--version", BatchTask::Version}, {"--list-commands", BatchTask::ListCommands},
                              {"--refine", BatchTask::Refine},   {"--edit", BatchTask::Edit}};
  for (const Plain& plain : kPlain) {
    if (word != plain.word) continue;
    SetTask(plain.task, word);
    return true;
  }
  if (word == "--write" || word == "--picture") {
    SetTask(word == "--write" ? BatchTask::Write : BatchTask::Picture, word);
    options_.output = Value(word);
    if (options_.output.empty()) Wrong(word + " needs the name of a file to write");
  } else if (word == "--report") {
    SetTask(BatchTask::Report, word);
    const std::vector<std::string> kinds(kReportKinds.begin(), kReportKinds.end());
    const int kind = OneOf(word, kinds);
    if (kind >= 0) options_.report = kinds[static_cast<size_t>(kind)];
  } else if (word == "--script") {
    SetTask(BatchTask::Script, word);
    options_.file = Value(word);
  } else {
    return false;
  }
  return true;
}

void Parser::TakeRotation(const std::string& value) {
  const auto parts = Split(value, ',');
  bool good = parts.size() == 3;
  for (size_t i = 0; good && i < 3; ++i) good = ParseWholeNumber(parts[i], options_.rotate[i]);
  if (!good) Wrong("--rotate takes three angles X,Y,Z in degrees, not " + value);
}

bool Parser::TakePictureOption(const std::string& word) {
  if (word == "--rendition") {
    const int mode = OneOf(word, {"wire", "ball", "ellipsoid", "pipes"});
    if (mode >= 0) options_.rendition = mode;
  } else if (word == "--size") {
    options_.size = WholeNumber(Value(word), kSmallestPicture, kLargestPicture);
    if (!options_.size) {
      Wrong("--size takes a number of pixels from " + std::to_string(kSmallestPicture) + " to " +
            std::to_string(kLargestPicture));
    }
  } else if (word == "--resolution") {
    double value = 0.0;
    if (!ParseWholeNumber(Value(word), value) || !(value >= 1.0 && value <= kLargestResolution))
      Wrong("--resolution takes dots per inch, 1 to 10000");
    options_.resolution = value;
  } else if (word == "--background") {
    const std::string name = Value(word);
    options_.background = BackgroundNamed(name);
    if (!options_.background) Wrong("--background takes one of black, white, transparent, not " + name);
  } else if (word == "--transparent") {
    options_.background = PictureBackground::Transparent;
  } else if (word == "--rotate") {
    TakeRotation(Value(word));
  } else if (word == "--labels") {
    options_.labels = OneOf(word, {"on", "off"}) == 0;
  } else if (word == "--cell") {
    options_.cell = true;
  } else if (word == "--renderer") {
    options_.openGl = OneOf(word, {"interactive", "opengl"}) == 1;
  } else if (word == "--recipe") {
    options_.recipe = Value(word);
    if (options_.recipe.empty()) Wrong(word + " needs the name of a file");
  } else if (word == "--layers") {
    // Belongs to the OpenGL renderer alone.
    options_.layers = WholeNumber(Value(word), 1, kMostLayers);
    if (!options_.layers) Wrong("--layers takes a whole number from 1 to 100");
    options_.openGl = true;
  } else if (word == "--black-white") {
    options_.openGl = options_.blackWhite = true;
  } else {
    return false;
  }
  return true;
}

void Parser::TakeOption(const std::string& word) {
  if (TakeTask(word) || TakePictureOption(word)) return;
  if (word == "--commands") {
    std::string wrong;
    const auto steps = ParseCommandSteps(Value(word), wrong);
    if (!steps) Wrong("--commands: " + wrong + " does not begin with the number of a command");
    if (steps) options_.commands.insert(options_.commands.end(), steps->begin(), steps->end());
  } else if (word == "--select") {
    options_.select = Value(word);
  } else if (word == "--format") {
    const std::string format = Value(word);
    // By way of a file name, so that ".INS" and "ins" are the same.
    options_.format = LowerExtensionOf("x." + format.substr(format.starts_with('.') ? 1 : 0));
  } else if (word == "--package-directory") {
    options_.packageDirectory = Value(word);
    if (options_.packageDirectory.empty()) Wrong(word + " needs the name of a folder");
  } else if (word == "--skip-table") {
    double limit = 0.0;
    if (!ParseWholeNumber(Value(word), limit) || limit < 0.0) Wrong("--skip-table takes a distance in Å");
    options_.skipTableBelow = limit;
  } else if (word == "--json") {
    options_.json = true;
  } else if (word == "--yes") {
    options_.yes = true;
  } else if (word == "--timing") {
    options_.timing = true;
  } else {
    Wrong("There is no option " + word);
  }
}

void Parser::CheckTogether() {
  const BatchTask task = options_.task;
  const bool answersAtOnce = task == BatchTask::Help || task == BatchTask::Version || task == BatchTask::ListCommands;
  // Commands alone may be such as need no structure: opening a file, asking where a help document lies.
  if (task != BatchTask::None && !answersAtOnce && options_.file.empty())
    Wrong("The name of a FILE to read is missing");
  if (options_.output == "-" && options_.format.empty()) Wrong("Standard output needs --format");
  if (!options_.recipe.empty() && task != BatchTask::Picture) Wrong("--recipe belongs to --picture");
  const auto& formats = task == BatchTask::Picture ? kPictureFormats : kWriteFormats;
  if (!options_.format.empty() && std::ranges::find(formats, options_.format) == formats.end()) {
    Wrong("There is no format " + options_.format + " for this task");
  }
}

}  // namespace

std::optional<std::vector<CommandStep>> ParseCommandSteps(const std::string& text, std::string& wrong) {
  std::vector<CommandStep> steps;
  for (const std::string& piece : Split(text, ';')) {
    const size_t equals = piece.find('=');
    for (const std::string& number : Split(std::string_view(piece).substr(0, equals), ',')) {
      if (number.empty() && piece.empty()) continue;
      const auto id = WholeNumber(number, 1, 1000000);
      if (!id) {
        wrong = "\"" + piece + "\"";
        return {};
      }
      steps.push_back({*id, ""});
    }
    if (equals != std::string::npos) steps.back().argument = Trimmed(std::string_view(piece).substr(equals + 1));
  }
  return steps;
}

CommandLineOptions ParseCommandLine(const std::vector<std::string>& words) {
  return Parser(words).Parse();
}

const char* CommandLineHelp() {
  return R"(marvik [FILE]                     open the window
marvik --write OUT FILE           read FILE (.ins .res .cif) and write OUT: .ins .res .pdb .ct .inp .wrl .con .glb
                                  (--rendition ball|ellipsoid for .wrl .glb)
marvik --picture OUT FILE         draw FILE: .png .jpg .svg .pdf
    --rendition wire|ball|ellipsoid|pipes   --rotate X,Y,Z (degrees)   --labels on|off   --cell
    --size PIXELS   --resolution DPI   --background black|white|transparent   --transparent
    --renderer interactive|opengl (lit and smooth: ball or ellipsoid, .png .jpg)   --black-white   --layers N
    --recipe RECIPE               the view and looks that a picture recipe keeps; what else is given comes on top
marvik --report KIND FILE         print what the structure holds: atoms, bonds, hybrid, plane, weighted-plane, centroid
    --select TEXT   --json
marvik --refine FILE              refine FILE with the program that the package directory's script names; what it prints
                                  goes to standard output, then a table of what moved; NAME.res is the result
    --skip-table LIMIT            no table when nothing moved by more than LIMIT Å
marvik --commands STEPS [FILE]    run commands, before --write, --picture, --report or --refine where one is given:
                                  '203; 144=C* O1; 113' are three, with the text of the dialog behind "="
marvik --script FILE.dem          play a demo script once, without a window and without its pauses; what it says wrong is
                                  reported with its line
marvik --edit FILE                open the plain-text editor on a file
marvik --list-commands            one command a line: number, tab, menu text
marvik --help | --version

OUT may be - for standard output, with --format ins|res|pdb|ct|inp|wrl|con|glb|png|jpg|svg|pdf.
--yes                    answer questions with yes
--timing                 end standard error with the seconds that the stages took
--package-directory DIR  the folder of element table, settings and examples

TEXT names atoms: C1, C1_2 (of residue 2), C* and C? (patterns), $C (an element), C1 > C6 (in list order).
Results go to standard output, messages to standard error. Status 0: done; 1: a warning or error was shown; 2: wrong
usage.
)";
}

}  // namespace marvik
