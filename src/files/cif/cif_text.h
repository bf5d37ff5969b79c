#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// Cuts a CIF into tokens. Takes CIF 1.1 and, where the first line says so, the triple quotes, lists and tables of
// CIF 2.0. Blanks, line ends of every kind, NUL bytes and control-Z separate. Nothing has a limit of length, and there
// is no text that it refuses: a quoted value whose quote does not end on its line goes to the end of the line, a text
// field that does not end goes to the end of the file.
class CifTokens {
 public:
  enum class Kind { End, Block, Frame, Loop, Name, Value };

  // The text must outlive the tokens.
  explicit CifTokens(std::string_view text);
  Kind Next();

  // Of a value what is between its quotes, of a block or frame its name, of a data name the name as it stands.
  std::string_view text;
  size_t begin = 0;  // of the whole token in the CIF: its quotes, data_, save_ or global_ too
  size_t End() const { return at_; }
  bool isUnknown = false;    // the value is "?" or "." without quotes
  bool isTextField = false;  // the value stood between semicolons

 private:
  Kind TextField();
  Kind Quoted();
  Kind Bracketed();
  Kind Bare();
  Kind Given(std::string_view value, size_t end);
  bool AtLineStart() const { return at_ == 0 || all_[at_ - 1] == '\n' || all_[at_ - 1] == '\r'; }

  std::string_view all_;
  size_t at_ = 0;
  bool isVersion2_ = false;
};

// A value; one that is not given ("?" or "." without quotes) is an empty view, without data for "?".
using CifValue = std::string_view;

// A loop. A name with its value outside any loop is a loop of one row.
struct CifLoop {
  std::vector<std::string> names;  // lower case, "." written as "_", so that old and new names differ the less
  std::vector<CifValue> values;    // row after row, whole rows only
  bool isCut = false;              // the last row was not complete and is left out

  size_t Rows() const { return values.size() / names.size(); }
};

struct CifBlock {
  std::string_view name;
  std::vector<CifLoop> loops;
  std::vector<std::string_view> textFields;  // all of them, of every name
};

// One column of a block; without a loop it has no rows and every value of it is empty.
struct CifColumn {
  const CifLoop* loop = nullptr;
  size_t index = 0;

  size_t Rows() const { return loop ? loop->Rows() : 0; }
  CifValue operator[](size_t row) const {
    return row < Rows() ? loop->values[row * loop->names.size() + index] : CifValue{};
  }
};

// Reads a CIF block by block. Of the loops only those whose names begin with one of a few texts are kept, so that
// reflections cost no memory.
class CifReader {
 public:
  // The text must outlive the reader and the blocks. Save frames count as blocks.
  CifReader(std::string_view text, std::vector<std::string_view> wanted);
  // False when there is no further block.
  bool Next(CifBlock& block);

 private:
  void ReadLoop(CifBlock& block);
  void ReadItem(CifBlock& block);
  bool IsWanted(std::string_view name) const;
  void Advance() { kind_ = tokens_.Next(); }

  CifTokens tokens_;
  CifTokens::Kind kind_;
  std::vector<std::string_view> wanted_;
};

// The first of the names that the block has, in the order of the names.
CifColumn FindColumn(const CifBlock& block, std::initializer_list<std::string_view> names);

// A text field without the protocols for long lines ("\" at line ends) and for line prefixes.
std::string UnfoldedText(std::string_view field);

// The lines of a file that was put into a text field, each with its line end.
std::string AttachedLines(std::string_view field);

// The number a value begins with when nothing but an uncertainty follows, 7.060(2) or 7.060+2; false for anything else.
// `uncertainty` gets its number, 0 without one: the digits as they stand, not scaled.
bool ParseCifNumber(CifValue value, double& number, double* uncertainty = nullptr);

}  // namespace marvik
