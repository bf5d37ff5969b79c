#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// The text that an editing command takes, from a script or from its dialog: words separated by blanks, those of the
// form "key=value" being fields and all others together the atoms meant, "" for none. A value with blanks stands in
// quotes, where a quote is doubled.
struct EditArguments {
  struct Field {
    std::string key;  // in lower case
    std::string value;
  };
  std::vector<Field> fields;
  std::string atoms;

  // Nothing when the field was not given.
  const std::string* Find(std::string_view key) const;
};
EditArguments SplitEditArguments(std::string_view text);
std::string JoinEditArguments(const EditArguments& arguments);

// What is wrong with one field: its key and a sentence that begins with its caption. No text: nothing is.
struct EditFault {
  std::string field;
  std::string text;
  explicit operator bool() const { return !text.empty(); }
};

// A field of a command: a number within a range, or words ("on|off"; capitals stand for what they name), or both.
struct FieldRange {
  const char* key;
  const char* caption;
  double low = 0.0;  // low > high: no number
  double high = -1.0;
  const char* words = "";
};
constexpr FieldRange WordField(const char* key, const char* caption, const char* words) {
  return {key, caption, 0.0, -1.0, words};
}
// Nothing for a key that is not there.
const FieldRange* FindField(std::span<const FieldRange> fields, std::string_view key);
// What a field takes: "on|off", "0..999".
std::string ValuesOf(const FieldRange& field);
// A number with a point from end to end, within its range; nothing after filling `fault`.
std::optional<double> ReadFieldNumber(const FieldRange& range, std::string_view text, EditFault& fault);
std::optional<int> ReadFieldInteger(const FieldRange& range, std::string_view text, EditFault& fault);

// Of "Custom Bond Width", Å.
inline constexpr FieldRange kBondWidthRange{"width", "Bond width", 0.005, 1.0};

// A fault for the first field that is not among the known ones, or is given twice.
EditFault UnknownFieldFault(const EditArguments& arguments, std::span<const FieldRange> known);
// That there is no such field, with those that there are.
EditFault NoSuchField(const std::string& key, std::span<const FieldRange> known);

// As a file would write it, without digits that say nothing: what a dialog shows first.
std::string FieldText(double value, int decimals);

}  // namespace marvik
