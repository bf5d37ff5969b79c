#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// How much a finding weighs. A to G are those of validation reports on a CIF: A serious, B significant, C minor or an
// oversight, G worth knowing. The others are those of instruction files.
enum class FindingLevel { A, B, C, G, Error, Warning, Note };

// "A" ... "G", "error", "warning", "note".
std::string_view NameOf(FindingLevel level);

// A change of whole lines: `count` of them from `line` on (counted from 1) give way to `text`, which may hold several
// lines or, when empty, none. With count 0 the text goes before `line`.
struct TextEdit {
  int line = 0;
  int count = 1;
  std::string text;
};
// Line ends stay those of the text. An edit beyond the end adds there.
std::string ApplyEdit(std::string_view text, const TextEdit& edit);

// What a test found.
struct Finding {
  std::string test;  // its name in the table of rules
  FindingLevel level = FindingLevel::Note;
  std::vector<std::string> atoms;  // names, with their residue or symmetry code where they have one
  int line = 0;                    // of the file, counted from 1; 0 for none
  std::optional<double> value;     // in the unit that the text says
  std::optional<double> limit;     // that the value went past
  std::string text;                // a sentence
  std::string repair;              // what to do about it
  std::optional<TextEdit> edit;    // the same as a change of the file, where there is one
};

// Whether anything is of level A or an error.
bool IsSerious(std::span<const Finding> findings);

// {"findings": [{"test", "level", "atoms", "line", "value", "limit", "text", "repair"}]}; line, value and limit are
// null where there is none, "edit" stands where there is one. Bytes that are no UTF-8 become U+FFFD.
std::string FindingsAsJson(std::span<const Finding> findings);
// One line each: level, test, line, atoms, text, repair.
std::string FindingsAsText(std::span<const Finding> findings);

}  // namespace marvik
