#pragma once

#include <optional>
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

struct FieldRange {
  const char* key;
  const char* caption;
  double low;
  double high;
};
// A number with a point from end to end, within its range; nothing after filling `fault`.
std::optional<double> ReadFieldNumber(const FieldRange& range, std::string_view text, EditFault& fault);
std::optional<int> ReadFieldInteger(const FieldRange& range, std::string_view text, EditFault& fault);

// Of "Custom Bond Width", Å.
inline constexpr FieldRange kBondWidthRange{"width", "Bond width", 0.005, 1.0};

// A fault for the first field that is not among the keys, or is given twice.
EditFault UnknownFieldFault(const EditArguments& arguments, const std::vector<std::string_view>& keys);

// As a file would write it, without digits that say nothing: what a dialog shows first.
std::string FieldText(double value, int decimals);

}  // namespace marvik
