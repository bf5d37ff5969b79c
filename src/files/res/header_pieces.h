#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/res/writer.h"
#include "model/document.h"

namespace marvik {

// One line, or a block of lines, of what stands before the atoms.
struct HeaderPiece {
  std::string key;    // of what the writer composes: "PLAN", "SYMM 2"; "" for a line kept as text
  std::string text;   // without the last line end
  int32_t line = -1;  // of a kept line: of the source layout
};
// In the order of standard layout; pieces without text are left out. Standard layout writes what the file said in more
// words than the model has as long as the model still says the same. The layout as read has HKLF at the end.
std::vector<HeaderPiece> ComposeHeader(const Document& document, FileLayout layout);

// BIND or FREE of a line of the source layout.
std::string PairKey(bool bind, int32_t line);

// By SFAC entry the number that atom lines use, 0 where it is not written. Standard layout has short forms first.
std::vector<int> SfacNumbers(const Document& document, FileLayout layout);

}  // namespace marvik
