#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// What a line of the file became when it was read.
enum class LineRole : uint8_t {
  Text,   // a remark, a blank line, a comment, what a later line replaced: nothing of the model
  Atom,   // the atom whose sourceLine it is
  State,  // PART, AFIX, MOLE or RESI
  Kept,   // text of the model, told by its line
  Piece,  // an instruction that the writer composes
  End,
  Grown,  // the remark before the atoms that GROW and PACK made
};

// One instruction with its continuation lines and their line ends, or one line that is none.
struct LayoutLine {
  uint32_t start = 0;       // offset in the text; it ends where the next one begins
  int32_t index : 24 = -1;  // into pieces or states
  LineRole role : 8 = LineRole::Text;
};

// What a PART, AFIX, MOLE or RESI line says of the atoms behind it.
struct LayoutState {
  enum Kind : uint8_t { Part, Afix, Mole, Residue, Kinds };
  Kind kind = Part;
  bool hasOccupancy = false;
  int32_t value = 0;  // RESI: index into the document's residues
  int32_t group = 0;  // AFIX: as the atoms' afixGroup
  float occupancy = 0.0f;
};

// An instruction that the writer composes: its text right after reading, and the lines of the file that said it.
struct LayoutPiece {
  std::string key;
  std::string composed;
  std::vector<int32_t> lines;
};

// An instruction file as it was read, so that a save can give back every byte that no edit concerns. Made once by the
// reader and shared by all copies of the document.
struct SourceLayout {
  std::string text;
  bool returnsOnly = false;       // lines end in carriage returns alone
  std::vector<LayoutLine> lines;  // every byte of the text is in one
  std::vector<LayoutState> states;
  std::vector<LayoutPiece> pieces;
};

// The bytes of a line, line end and all.
std::string_view BytesOf(const SourceLayout& layout, int32_t line);
// Its text without the last line end; inner ones are plain line feeds.
std::string TextOf(const SourceLayout& layout, int32_t line);

}  // namespace marvik
