// Commands and their fields as words: of the command line, of scripts and of lists.
#include <algorithm>

#include "app/commands/command_table.h"
#include "base/numbers.h"
#include "base/words.h"
#include "edit/edit_fields.h"

namespace marvik {
namespace {

constexpr int kLargestNumber = 1000000;

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    parts.push_back(Trimmed(text.substr(at, end - at)));
    at = end + 1;
  }
  return parts;
}

// Whether a command has this number is for its run to say.
std::optional<int> IdOf(std::string_view word) {
  double number = 0.0;
  if (ParseWholeNumber(word, number)) {
    if (number != RoundHalfAway(number) || number < 1 || number > kLargestNumber) return std::nullopt;
    return RoundHalfAway(number);
  }
  const CommandRow* row = FindCommand(word);
  return row ? std::optional(row->id) : std::nullopt;
}

// Letters and digits before "=": a path is none.
bool LooksLikeField(std::string_view key) {
  return std::ranges::all_of(key, [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); });
}

}  // namespace

const CommandRow* FindCommand(std::string_view nameOrNumber) {
  double number = 0.0;
  if (ParseWholeNumber(nameOrNumber, number) && number >= 1 && number <= kLargestNumber)
    return FindCommand(RoundHalfAway(number));
  for (const CommandRow& row : CommandTable())
    if (nameOrNumber == row.name) return &row;
  return nullptr;
}

std::optional<std::vector<CommandStep>> ParseCommandSteps(std::string_view text, std::string& wrong) {
  std::vector<CommandStep> steps;
  for (const std::string_view piece : Split(text, ';')) {
    const size_t equals = piece.find('=');
    for (const std::string_view word : Split(piece.substr(0, equals), ',')) {
      if (word.empty() && piece.empty()) continue;
      const auto id = IdOf(word);
      if (!id) {
        wrong = "\"" + std::string(piece) + "\"";
        return {};
      }
      steps.push_back({*id, ""});
    }
    if (equals != std::string_view::npos) steps.back().argument = Trimmed(piece.substr(equals + 1));
  }
  return steps;
}

EditFault ArgumentFault(const CommandRow& row, const std::string& argument) {
  if (argument.empty()) return {};
  if (row.TakesOnOff()) {
    if (argument == "on" || argument == "off") return {};
    return {"", PlainText(row) + ": on or off is wanted, not " + argument + "."};
  }
  if (row.argument[0] != '\0' && !row.fields) return {};
  const EditArguments words = SplitEditArguments(argument);
  const auto known = row.fields ? row.fields() : std::span<const FieldRange>();
  for (const EditArguments::Field& field : words.fields) {
    if (LooksLikeField(field.key) && !FindField(known, field.key)) return NoSuchField(field.key, known);
  }
  if (row.argument[0] != '\0') return {};
  return {"", PlainText(row) + ": this command takes no value, not " + argument + "."};
}

std::string CommandList(bool fields) {
  std::string text;
  for (const CommandRow& row : CommandTable()) {
    const std::string head = std::to_string(row.id) + '\t' + row.name + '\t';
    if (!fields) {
      text += head + row.text + '\n';
      continue;
    }
    if (row.argument[0]) text += head + '\t' + row.argument + '\t' + PlainText(row) + '\n';
    for (const FieldRange& field : row.fields ? row.fields() : std::span<const FieldRange>())
      text += head + field.key + '\t' + ValuesOf(field) + '\t' + field.caption + '\n';
  }
  return text;
}

}  // namespace marvik
