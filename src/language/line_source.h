#pragma once

#include <string>
#include <string_view>

#include "language/keywords.h"

namespace marvik {

// One instruction or atom line of a file, with its continuation lines.
struct SourceLine {
  std::string_view raw;      // as it stands, without the last line end; spans several lines when continued
  std::string_view code;     // without comments and continuation marks, joined with blanks
  std::string_view comment;  // "!" and what follows; those of continued lines one after the other
  std::string_view lost;     // what stood between a continuation mark and the end of its line
  LineHead head;             // of raw
  bool open = false;         // continued, but nothing follows
};

// Cuts a file into lines. Line ends are LF, CR LF, or CR where there is no LF at all. What follows "!" is a comment;
// the last "=" before it continues the line, but not in TITL, REM, "+file", an indented comment, and text that is
// neither an instruction nor begins like an atom. Nothing has a limit of length.
class LineSource {
 public:
  // The text must outlive the source and the lines. A byte-order mark and DOS's final control-Z are skipped.
  explicit LineSource(std::string_view text);

  // The next line that is not blank; its views hold until the next call.
  bool Next(SourceLine& line);
  // Where Next will go on.
  const char* Position() const { return text_.data() + at_; }
  // What Next has not yet delivered.
  std::string_view Rest() const { return text_.substr(at_); }
  // Extends a FRAG line up to its FEND; false, with nothing taken, when none comes before END.
  bool TakeFragment(SourceLine& line);
  // Text to be kept: line ends inside become plain line feeds, everything else stays byte for byte. A continuation mark
  // that nothing follows gets an empty line, so that it cannot take what is written next.
  std::string KeptText(const SourceLine& line) const;
  // "\n", "\r\n" or "\r": what most lines of the file end with.
  std::string_view LineEnd() const { return lineEnd_; }

 private:
  std::string_view NextPhysical();
  void TakeContinued(std::string_view first, size_t sign, SourceLine& line);

  std::string_view text_;
  size_t at_ = 0;
  bool returnsOnly_ = false;
  bool noFragmentEnd_ = false;  // no FEND is left
  std::string_view lineEnd_ = "\n";
  std::string code_;
  std::string comment_;
  std::string lost_;
};

}  // namespace marvik
