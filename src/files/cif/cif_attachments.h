#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// A file that a CIF carries: a result file, reflections, calculated structure factors, or a mask, told by what is in
// it.
struct CifAttachment {
  std::string block;      // of the CIF, as it could be the name of a file
  std::string extension;  // "res", "hkl", "fcf" or "fab"
  std::string content;

  std::string Name() const { return block + "." + extension; }
};

// Of every block, as they were put in, byte for byte but for a last line end that the file lacked. Of two of a kind in
// a block the first. A block without attached reflections gives those that it lists as F², in columns.
std::vector<CifAttachment> AttachmentsOf(std::string_view cif);

}  // namespace marvik
