#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// What is not ASCII as CIF 1.1 codes it: "Müller" as "M\"uller", α as "\a", Å as "\%A". Bytes that are no UTF-8 are
// taken as Latin-1; what has no code becomes "?".
std::string CifMarkup(std::string_view text);

// A value as it stands in a CIF: bare, in quotes, or as a text field that begins and ends with a line end. Empty is
// "?"; "?" and "." mean unknown and not applicable.
std::string CifValueText(std::string_view value);

// The value of a text field that gives these lines back whatever they hold: lines that begin with a semicolon or pass
// 2,048 characters are guarded by a prefix to every line, respectively folded (the protocols that UnfoldedText undoes).
std::string CifTextField(std::string_view lines);

// What may stand behind data_: blanks and control characters as underscores.
std::string CifBlockName(std::string_view name);

// Composes CIF 1.1.
class CifWriter {
 public:
  void Block(std::string_view name);
  void Gap() { text_ += '\n'; }
  void Item(std::string_view name, std::string_view value);
  // As it stands, a text of several lines.
  void Field(std::string_view name, std::string_view lines);
  // Written with its first row: a loop without rows is none.
  void Loop(std::initializer_list<std::string_view> names);
  void Row(const std::vector<std::string>& values);

  const std::string& Text() const { return text_; }

 private:
  std::string text_;
  std::string loopHead_;  // until its first row
};

}  // namespace marvik
