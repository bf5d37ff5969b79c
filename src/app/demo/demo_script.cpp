#include "app/demo/demo_script.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <utility>

#include "app/commands/command_table.h"
#include "base/files.h"
#include "base/numbers.h"
#include "base/package_file.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;
using Kind = DemoStep::Kind;

constexpr long long kPause = 1000;  // ms, behind every line
constexpr long long kKeyPause = 5;  // ms
constexpr int kMostTurns = 100000;  // of one ROT: eight minutes

constexpr int kUp = 38;
constexpr int kDown = 40;
constexpr int kLeft = 37;
constexpr int kRight = 39;
// Up, Down, Left, Right, Insert, Delete, Page Up, Page Down, Home, End.
constexpr std::array<int, 10> kRotationKeys = {kUp, kDown, kLeft, kRight, 45, 46, 33, 34, 36, 35};
constexpr size_t kFastKeys = 6;

enum class Arguments : uint8_t { None, Number, Word, Rotation };

struct DemoWord {
  std::string_view word;
  Kind kind;
  Arguments arguments;
  std::array<int, 2> ids;
};
// "HLABEL" stands before "LABEL", which it holds.
constexpr DemoWord kWords[] = {
    {"EXIT", Kind::Exit, Arguments::None, {}},
    {"RENDER COLOR", Kind::Command, Arguments::None, {208}},
    {"RENDER BW", Kind::Command, Arguments::None, {210}},
    {"ZOOM", Kind::Command, Arguments::None, {kZoomCommand}},
    {"FMOL", Kind::Command, Arguments::None, {200}},
    {"HLABEL", Kind::Command, Arguments::None, {108}},
    {"LABEL", Kind::Command, Arguments::None, {106}},
    {"HADD", Kind::Command, Arguments::None, {151, 153}},
    {"KILL", Kind::Command, Arguments::None, {kKillSelectedCommand}},
    {"GROW", Kind::Command, Arguments::None, {138}},
    {"TRIM", Kind::Command, Arguments::None, {139}},
    {"PACK", Kind::Command, Arguments::Number, {kPackCountCommand}},
    {"WIRE", Kind::Command, Arguments::None, {kWireFrameCommand}},
    {"PIPE", Kind::Command, Arguments::None, {kPipesCommand}},
    {"BALL", Kind::Command, Arguments::None, {kBallAndStickCommand}},
    {"TELP", Kind::Command, Arguments::None, {kThermalEllipsoidCommand}},
    {"WAIT ", Kind::Wait, Arguments::Number, {}},
    {"DEMO ", Kind::Chain, Arguments::Word, {}},
    {"DIR ", Kind::Directory, Arguments::Word, {}},
    {"INSFILE ", Kind::Command, Arguments::Word, {kReadFileCommand}},
    {"SELECT ", Kind::Command, Arguments::Word, {kSelectByNameCommand}},
    {"UNIQ ", Kind::Command, Arguments::None, {116}},  // of the selected atoms, whatever word follows
    {"ROT ", Kind::Rotate, Arguments::Rotation, {}},
};

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Words and whole numbers out of a line, from left to right as scanf takes them.
class Scanner {
 public:
  explicit Scanner(std::string_view line) : line_(line) {}

  // Empty at the end of the line.
  std::string_view Word() {
    SkipBlanks();
    const size_t start = at_;
    while (at_ < line_.size() && !IsBlank(line_[at_])) ++at_;
    return line_.substr(start, at_ - start);
  }

  // A number may end where a word does not: "3s" holds 3. Nothing, and nothing taken, without a digit.
  std::optional<int> Number() {
    SkipBlanks();
    size_t at = at_;
    const bool negative = at < line_.size() && line_[at] == '-';
    if (at < line_.size() && (line_[at] == '-' || line_[at] == '+')) ++at;
    long long value = 0;
    const size_t digits = at;
    for (; at < line_.size() && line_[at] >= '0' && line_[at] <= '9'; ++at)
      value = std::min(value * 10 + (line_[at] - '0'), 2147483647LL);
    if (at == digits) return std::nullopt;
    at_ = at;
    return static_cast<int>(negative ? -value : value);
  }

  size_t Position() const { return at_; }

 private:
  void SkipBlanks() {
    while (at_ < line_.size() && IsBlank(line_[at_])) ++at_;
  }

  std::string_view line_;
  size_t at_ = 0;
};

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// Reads one line: first the words that are commands, then whether anything else stands there.
class LineParser {
 public:
  explicit LineParser(std::string_view line) : line_(line) {}

  DemoLine Parse() {
    if (line_.size() > kLongestDemoLine) {
      parsed_.faults.push_back("The line is longer than 260 characters; the rest is left out.");
      line_ = line_.substr(0, kLongestDemoLine);
    }
    bool hydrogenLabels = false;
    for (const DemoWord& row : kWords) {
      const size_t at = line_.find(row.word);
      if (at == std::string_view::npos || (hydrogenLabels && row.word == "LABEL")) continue;
      hydrogenLabels |= row.word == "HLABEL";
      known_.emplace_back(at, at + row.word.size());
      TakeWord(row);
    }
    FindStrangers();
    return std::move(parsed_);
  }

 private:
  void TakeWord(const DemoWord& row) {
    Scanner scanner(line_);
    scanner.Word();
    DemoStep step{row.kind, row.ids[0], {}, 0, {}};
    const char* missing = nullptr;
    switch (row.arguments) {
      case Arguments::None:
        break;
      case Arguments::Number:
        if (const auto number = scanner.Number()) {
          step.number = *number;
        } else {
          missing = " needs a number.";
        }
        break;
      case Arguments::Word:
        step.word = scanner.Word();
        if (step.word.empty()) missing = " needs a word behind it.";
        break;
      case Arguments::Rotation:
        if (!TakeRotation(scanner, step)) missing = " needs an axis, a direction and a count.";
        break;
    }
    // What UNIQ is told is for the reader of the script.
    if (row.word == "UNIQ ") scanner.Word();
    read_ = std::max(read_, scanner.Position());
    if (missing) {
      parsed_.faults.push_back(std::string(row.word.substr(0, row.word.find_last_not_of(' ') + 1)) + missing);
      return;
    }
    if (row.ids[0] == kPackCountCommand) step.word = std::to_string(step.number);
    parsed_.steps.push_back(step);
    if (!row.ids[1]) return;
    step.id = row.ids[1];
    parsed_.steps.push_back(step);
  }

  bool TakeRotation(Scanner& scanner, DemoStep& step) {
    const std::string_view axis = scanner.Word();
    const auto direction = scanner.Number();
    const auto count = direction ? scanner.Number() : std::nullopt;
    if (!count) return false;
    step.keys = RotationKeys(axis[0], *direction);
    step.number = std::min(*count, kMostTurns);
    if (*count > kMostTurns) parsed_.faults.push_back(Printf("ROT turns %d times at most.", kMostTurns));
    if (axis[0] == 'Z' && (*direction > 1 || *direction < -1)) {
      parsed_.faults.push_back("There is no fast rotation about Z; it turns at the usual speed.");
    }
    return true;
  }

  // Words that are neither commands nor what a command has read.
  void FindStrangers() {
    Scanner scanner(line_);
    bool first = true;
    for (std::string_view word = scanner.Word(); !word.empty(); word = scanner.Word()) {
      const size_t end = scanner.Position();
      const size_t start = end - word.size();
      const bool known =
          std::ranges::any_of(known_, [&](const auto& range) { return range.first < end && range.second > start; });
      if (!known && (first || start >= read_)) {
        const bool bare = std::ranges::find(kWords, std::string(word) + " ", &DemoWord::word) != std::end(kWords);
        parsed_.faults.push_back(bare ? std::string(word) + " must be followed by a blank and what it needs."
                                      : "Unknown word " + Quoted(word) + ".");
      }
      first = false;
    }
  }

  std::string_view line_;
  DemoLine parsed_;
  std::vector<std::pair<size_t, size_t>> known_;
  size_t read_ = 0;
};

// A line that begins with the name or number of a command, as the command line has them: "select=C*; kill".
bool ParseCommandLineOf(std::string_view line, DemoLine& parsed) {
  const std::string_view head = Scanner(line.substr(0, line.find_first_of("=;,"))).Word();
  if (line.size() > kLongestDemoLine || !FindCommand(head)) return false;
  std::string wrong;
  const auto steps = ParseCommandSteps(line, wrong);
  if (!steps) parsed.faults.push_back(wrong + " does not begin with the number or the name of a command.");
  for (const CommandStep& step : steps.value_or(std::vector<CommandStep>()))
    parsed.steps.push_back({Kind::Command, step.id, step.argument, 0, {}});
  return true;
}

std::string IdentityOf(const std::string& path) {
  std::error_code error;
  const auto real = fs::weakly_canonical(path, error);
  return error ? path : real.string();
}

// One play of a chain of scripts.
class Player {
 public:
  Player(std::atomic<uint8_t>& DemoRunning, DemoTarget& target, DemoRepeat repeat)
      : running_(DemoRunning), target_(target), repeat_(repeat) {}

  void Play(std::string path) {
    while (running_) {
      const FileContent file = ReadWholeFile(path);
      if (!file.opened) {
        target_.Show({MessageIcon::Warning, "Error: File Not Found",
                      "The demo instruction file (" + path + ") could not be found."});
        running_ = 0;
        return;
      }
      played_.insert(IdentityOf(path));
      // From the root, so that DIR cannot move what is played again or stands beside it.
      std::error_code error;
      const std::string full = fs::absolute(path, error).lexically_normal().string();
      folder_ = DirectoryOf(full);
      if (!PlayLines(file.content, path)) return;
      target_.AtLine(path, 0);
      if (repeat_ == DemoRepeat::Once && chained_.empty()) running_ = 0;
      path = chained_.empty() ? full : LookFor(std::exchange(chained_, {}));
      if (repeat_ == DemoRepeat::Once && running_ && played_.contains(IdentityOf(path))) {
        target_.Show(
            {MessageIcon::Information, "Demo", "The script " + path + " was played already; playing ends here."});
        running_ = 0;
      }
    }
  }

 private:
  // False once the demo is to stop.
  bool PlayLines(const std::string& content, const std::string& path) {
    std::string_view rest = content;
    if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
    // A script without a line must not keep a processor busy.
    if (rest.empty()) target_.Sleep(kPause);
    for (int number = 1; !rest.empty(); ++number) {
      const size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
      const std::string_view line = rest.substr(0, end);
      rest.remove_prefix(rest.substr(end).starts_with("\r\n") ? end + 2 : std::min(end + 1, rest.size()));
      if (!running_) return false;
      target_.AtLine(path, number);
      const DemoLine parsed = ParseDemoLine(line);
      if (!parsed.comment.empty()) target_.Comment(parsed.comment);
      for (const std::string& fault : parsed.faults) target_.Fault(fault);
      for (const DemoStep& step : parsed.steps) Do(step);
      target_.Sleep(kPause);
    }
    return running_ != 0;
  }

  void Do(const DemoStep& step) {
    switch (step.kind) {
      case Kind::Exit:
        running_ = 0;
        break;
      case Kind::Command:
        target_.SendCommand(step.id, step.id == kReadFileCommand ? LookFor(step.word) : step.word);
        break;
      case Kind::Wait:
        if (step.number > 0) target_.Sleep(step.number * 1000LL);
        break;
      case Kind::Chain:
        chained_ = step.word;
        break;
      case Kind::Directory: {
        std::error_code error;
        fs::current_path(LookFor(step.word), error);
        if (error) target_.Fault("The folder " + Quoted(step.word) + " cannot be entered.");
        break;
      }
      case Kind::Rotate:
        Rotate(step);
        break;
    }
  }

  void Rotate(const DemoStep& step) {
    for (int i = 0; i < step.number && running_; ++i) {
      for (const int key : step.keys)
        if (key) target_.PressKey(key);
      target_.Sleep(kKeyPause);
    }
    for (const int key : step.keys)
      if (key) target_.ReleaseKey(key);
  }

  // The name under which a file or folder is found; the word itself where it is nowhere.
  std::string LookFor(const std::string& word) const {
    std::string turned = word;
    std::ranges::replace(turned, '\\', '/');
    for (const std::string& folder : {std::string(), folder_, PackageFile("").value_or("")}) {
      for (const std::string& name : {word, turned}) {
        std::error_code error;
        if (fs::path(name).is_absolute() && !folder.empty()) continue;
        if (fs::exists(folder + name, error)) return folder + name;
      }
    }
    return word;
  }

  std::atomic<uint8_t>& running_;
  DemoTarget& target_;
  DemoRepeat repeat_;
  std::string folder_;   // of the script being played
  std::string chained_;  // what the last DEMO in it named
  std::set<std::string> played_;
};

}  // namespace

DemoLine ParseDemoLine(std::string_view line) {
  if (line.starts_with('#')) {
    const size_t start = std::min(line.find_first_not_of("# "), line.size());
    return {std::string(line.substr(start)), {}, {}};
  }
  DemoLine parsed;
  return ParseCommandLineOf(line, parsed) ? parsed : LineParser(line).Parse();
}

std::array<int, 2> RotationKeys(char axis, int direction) {
  const bool negative = direction < 0;
  const size_t place = std::string_view("XYZAB").find(axis);
  const size_t index = place == std::string_view::npos ? 0 : place;
  if (index > 2) return {negative == (axis == 'A') ? kRight : kLeft, negative ? kUp : kDown};
  const bool fast = index < 2 && (direction > 1 || direction < -1);
  return {kRotationKeys[index * 2 + (negative ? 1 : 0) + (fast ? kFastKeys : 0)], 0};
}

std::string DemoScriptPath() {
  const std::string name = "egs/marvik.dem";
  return PackageFile(name).value_or(name);
}

int DemoThreadMain(std::atomic<uint8_t>& DemoRunning, DemoTarget& target, const std::string& scriptPath,
                   DemoRepeat repeat) {
  Player(DemoRunning, target, repeat).Play(scriptPath);
  return 0;
}

}  // namespace marvik
