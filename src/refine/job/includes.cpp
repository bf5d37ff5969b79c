#include "refine/job/includes.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>

#include "base/files.h"
#include "language/included_file.h"
#include "language/line_source.h"

namespace marvik {
namespace {

constexpr size_t kDeepest = 10;
constexpr size_t kMostFiles = 1000;
constexpr size_t kMostBytes = 32 << 20;  // of all of them, each as often as it is opened

// An atom needs three coordinates behind its number.
bool IsAtom(const SourceLine& line) {
  return ParseInstruction(line).numbers.size() >= 4;
}

// Whether there is nothing but instructions, atoms and remarks.
bool HoldsInstructions(std::string_view text) {
  LineSource source(text);
  SourceLine line;
  while (source.Next(line) && line.head.keyword != InstructionKeyword::kEnd) {
    if (line.head.keyword == InstructionKeyword::kFrag) source.TakeFragment(line);
    if (line.head.keyword == InstructionKeyword::kAtomLine && !IsAtom(line)) return false;
  }
  return true;
}

class Includer {
 public:
  Includer(const std::string& directory, std::vector<std::string>& notes) : directory_(directory), notes_(notes) {}

  void Expand(std::string_view text, std::string& out) {
    LineSource source(text);
    SourceLine line;
    while (source.Next(line)) {
      if (line.head.keyword == InstructionKeyword::kFrag) source.TakeFragment(line);
      const bool stops =
          line.head.keyword == InstructionKeyword::kHklf || line.head.keyword == InstructionKeyword::kEnd;
      if (stops && stack_.empty()) {
        out.append(source.KeptText(line)).append("\n").append(source.Rest());
        return;
      }
      if (line.head.keyword == InstructionKeyword::kEnd) return;
      const std::string name = line.head.keyword == InstructionKeyword::kInclude ? NameOn(line.raw) : std::string();
      if (line.head.keyword == InstructionKeyword::kInclude && IsRefused(name)) continue;
      const std::optional<std::string> content =
          line.head.keyword == InstructionKeyword::kInclude ? Open(name) : std::nullopt;
      if (!content || !Changes(*content, name)) {
        out.append(source.KeptText(line)).append("\n");
        continue;
      }
      notes_.push_back("the lines of " + name + " are taken into the result, since the run changes some of them");
      Inside(name, [&] { Expand(*content, out); });
    }
  }

  void Add(std::string_view text, const AtomRecord* before, std::vector<Instruction>& commands,
           std::vector<Fragment>& fragments) {
    LineSource source(text);
    SourceLine line;
    while (source.Next(line) && line.head.keyword != InstructionKeyword::kEnd) {
      if (line.head.keyword == InstructionKeyword::kInclude) {
        const std::string name = NameOn(line.raw);
        const std::optional<std::string> content = IsRefused(name) ? std::nullopt : Open(name);
        if (content) Inside(name, [&] { Add(*content, before, commands, fragments); });
      } else if (line.head.keyword == InstructionKeyword::kFrag && source.TakeFragment(line)) {
        fragments.push_back(ReadFragment(line.raw, notes_));
      } else if (line.head.keyword != InstructionKeyword::kBlank && line.head.keyword != InstructionKeyword::kRem) {
        Instruction command = ParseInstruction(line);
        command.before = before;
        if (!command.name.empty()) commands.push_back(std::move(command));
      }
    }
  }

 private:
  // The first word behind the plus signs.
  static std::string NameOn(std::string_view line) {
    const std::vector<std::string> words = ParseInstruction(line).all;
    return words.empty() ? std::string() : words[0];
  }

  template <typename Work>
  void Inside(const std::string& name, const Work& work) {
    stack_.push_back(name);
    work();
    stack_.pop_back();
  }

  void Say(const std::string& note) {
    if (std::find(notes_.begin(), notes_.end(), note) == notes_.end()) notes_.push_back(note);
  }

  // Whether a file must not be opened at this point.
  bool IsRefused(const std::string& name) {
    const bool itself = std::find(stack_.begin(), stack_.end(), name) != stack_.end();
    if (itself) Say("the included file " + name + " includes itself; it is left out there");
    const bool tooMany = stack_.size() >= kDeepest || opened_ >= kMostFiles || bytes_ > kMostBytes;
    if (tooMany) Say("the included file " + name + " is one of too many, or too deep, and is left out");
    return itself || tooMany;
  }

  std::optional<std::string> Open(const std::string& name) {
    ++opened_;
    const std::string path = IncludedPath(name, directory_);
    std::error_code error;
    // A device or a pipe could go on for ever.
    FileContent file;
    if (!name.empty() && std::filesystem::is_regular_file(path, error)) file = ReadWholeFile(path);
    if (!file.opened) {
      Say("the included file " + name + " cannot be opened");
      return std::nullopt;
    }
    bytes_ += file.content.size();
    // What else lies elsewhere is not to be copied into a result that is sent to others.
    if (LiesOutside(path, directory_) && !HoldsInstructions(file.content)) {
      Say("the included file " + name + " lies in another folder and is no instruction file; it is left out");
      return std::nullopt;
    }
    return std::move(file.content);
  }

  bool Changes(std::string_view text, const std::string& name) {
    LineSource source(text);
    SourceLine line;
    bool changes = false;
    while (!changes && source.Next(line) && line.head.keyword != InstructionKeyword::kEnd) {
      if (line.head.keyword == InstructionKeyword::kFrag) source.TakeFragment(line);
      if (line.head.keyword == InstructionKeyword::kInclude) {
        const std::string inner = NameOn(line.raw);
        Inside(name, [&] {
          const std::optional<std::string> content = IsRefused(inner) ? std::nullopt : Open(inner);
          changes = content && Changes(*content, inner);
        });
      } else if (line.head.keyword == InstructionKeyword::kAtomLine) {
        // Text that is neither instruction nor atom is left where it is.
        changes = IsAtom(line);
      } else {
        changes = !RowOf(line.head.keyword).staysInRun;
      }
    }
    return changes;
  }

  const std::string& directory_;
  std::vector<std::string>& notes_;
  std::vector<std::string> stack_;
  size_t opened_ = 0;
  size_t bytes_ = 0;
};

}  // namespace

std::string TakeIncludes(const std::string& text, const std::string& directory, std::vector<std::string>& notes) {
  if (text.find("\n+") == std::string::npos && text.find("\r+") == std::string::npos) return text;
  std::string out;
  Includer(directory, notes).Expand(text, out);
  return out;
}

std::vector<Instruction> WithIncludes(const std::vector<Instruction>& commands, const std::string& directory,
                                      std::vector<Fragment>& fragments, std::vector<std::string>& notes) {
  std::vector<Instruction> all;
  Includer includer(directory, notes);
  for (const Instruction& command : commands) {
    if (command.keyword == InstructionKeyword::kInclude) {
      includer.Add(command.text, command.before, all, fragments);
    } else {
      all.push_back(command);
    }
  }
  return all;
}

}  // namespace marvik
