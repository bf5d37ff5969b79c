#include "edit/edit_fields.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {

const std::string* EditArguments::Find(std::string_view key) const {
  const auto at = std::ranges::find(fields, key, &Field::key);
  return at == fields.end() ? nullptr : &at->value;
}

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// The end of the word that begins at `at`. A value in quotes, a quote in it doubled, may hold blanks.
size_t WordEnd(std::string_view text, size_t at) {
  const size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
  const size_t quote = text.find("=\"", at);
  if (quote == std::string_view::npos || quote >= end || quote == at) return end;
  for (size_t i = quote + 2; i < text.size(); ++i) {
    if (text[i] != '"') continue;
    if (i + 1 == text.size() || kBlanks.find(text[i + 1]) != std::string_view::npos) return i + 1;
    if (text[i + 1] == '"') ++i;
  }
  return end;
}

std::string Unquoted(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  std::string plain;
  for (size_t i = 1; i + 1 < value.size(); ++i) {
    plain += value[i];
    if (value[i] == '"' && value[i + 1] == '"') ++i;
  }
  return plain;
}

std::string Quoted(const std::string& value) {
  if (value.find_first_of(kBlanks) == std::string::npos && !value.starts_with('"')) return value;
  std::string text = "\"";
  for (const char c : value) text.append(c == '"' ? 2 : 1, c);
  return text + '"';
}

}  // namespace

EditArguments SplitEditArguments(std::string_view text) {
  EditArguments result;
  for (size_t at = 0; (at = text.find_first_not_of(kBlanks, at)) != std::string_view::npos;) {
    const size_t end = WordEnd(text, at);
    const std::string_view word = text.substr(at, end - at);
    const size_t equals = word.find('=');
    if (equals == std::string_view::npos || equals == 0) {
      result.atoms.append(result.atoms.empty() ? "" : " ").append(word);
    } else {
      std::string key(word.substr(0, equals));
      std::ranges::transform(key, key.begin(),
                             [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
      result.fields.push_back({std::move(key), Unquoted(word.substr(equals + 1))});
    }
    at = end;
  }
  return result;
}

std::string JoinEditArguments(const EditArguments& arguments) {
  std::string text = arguments.atoms;
  for (const EditArguments::Field& field : arguments.fields) {
    text.append(text.empty() ? "" : " ").append(field.key).append("=").append(Quoted(field.value));
  }
  return text;
}

std::optional<double> ReadFieldNumber(const FieldRange& range, std::string_view text, EditFault& fault) {
  double value = 0.0;
  if (text.find_first_not_of(" \t") == std::string_view::npos) {
    fault = {range.key, std::string(range.caption) + ": a number is missing."};
  } else if (!ParseWholeNumber(text, value)) {
    const bool comma = text.find(',') != std::string_view::npos;
    fault = {range.key, std::string(range.caption) + ": \"" + std::string(text) + "\" is not a number" +
                            (comma ? "; the decimal separator is a point." : ".")};
  } else if (!(value >= range.low && value <= range.high)) {
    fault = {range.key, Printf("%s: %.*s is not between %g and %g.", range.caption, static_cast<int>(text.size()),
                               text.data(), range.low, range.high)};
  } else {
    return value;
  }
  return std::nullopt;
}

std::optional<int> ReadFieldInteger(const FieldRange& range, std::string_view text, EditFault& fault) {
  const auto value = ReadFieldNumber(range, text, fault);
  if (value && *value == std::floor(*value)) return static_cast<int>(*value);
  if (value) fault = {range.key, std::string(range.caption) + ": \"" + std::string(text) + "\" is not a whole number."};
  return std::nullopt;
}

const FieldRange* FindField(std::span<const FieldRange> fields, std::string_view key) {
  const auto found = std::ranges::find(fields, key, &FieldRange::key);
  return found == fields.end() ? nullptr : &*found;
}

std::string ValuesOf(const FieldRange& field) {
  std::string text = field.words;
  if (field.low <= field.high) AppendPrintf(text, "%s%g..%g", text.empty() ? "" : "|", field.low, field.high);
  return text;
}

EditFault NoSuchField(const std::string& key, std::span<const FieldRange> known) {
  std::string text = key + ": there is no such field";
  for (const FieldRange& field : known) text.append(&field == known.data() ? "; there are " : ", ").append(field.key);
  return {key, text + "."};
}

EditFault UnknownFieldFault(const EditArguments& arguments, std::span<const FieldRange> known) {
  std::set<std::string_view> seen;
  for (const EditArguments::Field& field : arguments.fields) {
    if (!FindField(known, field.key)) return NoSuchField(field.key, known);
    if (!seen.insert(field.key).second) return {field.key, field.key + ": the field is given twice."};
  }
  return {};
}

std::string FieldText(double value, int decimals) {
  std::string text = Printf("%.*f", decimals, value);
  const size_t point = text.find('.');
  if (point != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

}  // namespace marvik
