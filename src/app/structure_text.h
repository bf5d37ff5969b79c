#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/workbench.h"

namespace marvik {

// The structure as a save would write it now.
std::string TextOfStructure(const Workbench& bench);

// The text of an instruction file by physical lines. They end in line feeds, with or without a carriage return before,
// or in carriage returns where there is no line feed. What follows the last line end is a line too, though an empty
// one.
class TextLines {
 public:
  explicit TextLines(std::string text = {});

  const std::string& Text() const { return text_; }
  size_t Count() const { return starts_.size(); }
  size_t Start(size_t line) const { return starts_[line]; }
  // Without its end.
  std::string_view Line(size_t line) const;
  // The line that a place in the text is in.
  size_t LineAt(size_t offset) const;
  // `count` lines from `first` on give way to others, which take their line ends; all other bytes stay. Beyond the end
  // nothing gives way.
  std::string With(size_t first, size_t count, std::span<const std::string> lines) const;

 private:
  std::string_view EndOf(size_t line) const;

  std::string text_;
  std::vector<size_t> starts_;
  bool returnsOnly_ = false;
};

// The lines that say one atom, first and last.
struct AtomLines {
  size_t first = 0;
  size_t last = 0;
  uint32_t serial = 0;
};
// Those of every atom of the document, in the order of the text, which is what a save of the document would write.
std::vector<AtomLines> FindAtomLines(const TextLines& text, const Document& document);

// Puts the structure that a text says in place of the present one, with the file that it came from. Atoms of the same
// name stay who they were, selected, hidden and labelled as before; bonds of theirs keep how they are drawn. Gives a
// sentence, with nothing changed, when the text is none of an instruction file.
std::string ReplaceByText(Workbench& bench, std::string text);
// Whether that would go well; gives the sentence otherwise.
std::string FaultOfText(std::string text);

// The text that "edit-lines" takes: lines counted from 0.
std::string EditLinesArgument(size_t first, size_t count, std::span<const std::string> lines);

}  // namespace marvik
