#include "refine/job/commands.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/line_source.h"

namespace marvik {
namespace {

void AddLines(std::string_view lines, const AtomRecord* before, std::vector<Command>& commands) {
  LineSource source(lines);
  SourceLine line;
  while (source.Next(line)) {
    if (line.head.keyword == InstructionKeyword::kBlank || line.head.keyword == InstructionKeyword::kRem) continue;
    Command command = ParseCommand(line.code);
    command.before = before;
    if (!command.keyword.empty()) commands.push_back(command);
  }
}

}  // namespace

std::vector<std::string> WordsOf(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : line) {
    if (c == '!') break;
    if (c == ' ' || c == ',' || c == '\t' || c == '\r' || c == '\n' || c == '=') {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(word);
  return words;
}

int WholeNumber(double value) {
  constexpr int kLargest = 1000000;
  return std::clamp(RoundHalfAway(value), -kLargest, kLargest);
}

Command ParseCommand(std::string_view line) {
  Command command;
  std::vector<std::string> words = WordsOf(line);
  if (words.empty()) return command;
  command.text = std::string(line);
  std::string head = UpperCase(words[0]);
  const size_t underscore = head.find('_');
  if (underscore != std::string::npos) {
    command.residue = head.substr(underscore + 1);
    head.erase(underscore);
  }
  command.keyword = head[0] == '+' ? "+" : head.substr(0, 4);
  for (size_t i = 1; i < words.size(); ++i) {
    double value = 0.0;
    command.all.push_back(words[i]);
    if (ParseWholeNumber(words[i], value)) {
      command.numbers.push_back(value);
    } else {
      command.words.push_back(words[i]);
    }
  }
  return command;
}

std::vector<Command> CommandsOf(const Document& document) {
  std::vector<Command> commands;
  const Instructions& in = document.instructions;
  for (auto line = in.kept.rbegin(); line != in.kept.rend(); ++line) {
    const bool acts = line->place != KeptPlace::UnderTitle && line->place != KeptPlace::AfterHklf &&
                      line->place != KeptPlace::AfterEnd && line->place != KeptPlace::Fragment;
    if (acts) AddLines(line->text, nullptr, commands);
  }
  for (const std::string& line : in.basfLines) AddLines(line, nullptr, commands);
  for (const std::string& line : in.omitLines) AddLines(line, nullptr, commands);
  for (auto entry = document.atoms.hfix.rbegin(); entry != document.atoms.hfix.rend(); ++entry) {
    AddLines(entry->text, nullptr, commands);
  }
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const AtomExtras& extras = atom->Extras();
    if (!extras.linesBefore.empty()) AddLines(extras.linesBefore, atom, commands);
    if (extras.sameGroup) {
      std::string text = "SAME";
      for (const auto& p : extras.sameGroup->parameters) text += ' ' + p;
      for (const auto& n : extras.sameGroup->names) text += ' ' + n;
      AddLines(text, atom, commands);
    }
  }
  AddLines(document.atoms.trailingLines, nullptr, commands);
  return commands;
}

void ReplaceInstruction(Document& document, const char* keyword, const std::string& replacement) {
  auto& kept = document.instructions.kept;
  for (KeptLine& k : kept) {
    const bool acts = k.place != KeptPlace::UnderTitle && k.place != KeptPlace::Fragment;
    if (acts && ParseCommand(k.text).keyword == keyword) k.text = replacement;
  }
  std::erase_if(kept, [](const KeptLine& k) { return k.text.empty(); });
  const auto replace = [&](const std::string& lines) {
    std::string left;
    LineSource source(lines);
    SourceLine line;
    while (source.Next(line)) {
      const std::string text = ParseCommand(line.code).keyword == keyword ? replacement : source.KeptText(line);
      if (!text.empty()) left += text + "\n";
    }
    return left;
  };
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->Extras().linesBefore.empty()) {
      atom->MutableExtras().linesBefore = replace(std::string(atom->Extras().linesBefore));
    }
  }
  document.atoms.trailingLines = replace(document.atoms.trailingLines);
}

}  // namespace marvik
