#pragma once

#include <cstdint>
#include <string_view>

#include "model/kept_line.h"

namespace marvik {

// The keywords of instruction files in the order of their codes. The code behind the fixed ones means a line without a
// keyword, which may be an atom; then come keywords of later days and "+file".
// clang-format off
enum class InstructionKeyword : uint8_t {
  kActa, kAfix, kAnis, kBasf, kBind, kBloc, kBond, kBump, kCell, kCgls, kChiv, kConf, kConn, kDamp, kDang, kDefs, kDelu,
  kDfix, kDisp, kEadp, kEgen, kEqiv, kEsel, kExti, kExyz, kFend, kFlat, kFmap, kFrag, kFree, kFvar, kGrid, kHfix, kHklf,
  kHope, kHtab, kInit, kIsor, kLast, kLatt, kLaue, kList, kLs, kMerg, kMole, kMore, kMove, kNcsy, kOmit, kPart, kPatt,
  kPhan, kPhas, kPlan, kPsee, kRem, kResi, kRtab, kSadi, kSame, kSfac, kShel, kSimu, kSize, kSpec, kSpin, kStir, kSump,
  kSwat, kSymm, kTemp, kTexp, kTime, kTitl, kTref, kUnit, kVect, kWpdb, kWght, kZerr, kBlank, kTwin, kCon, kEnd, kMpla,
  kAtomLine,
  kAbin, kAnsc, kAnsr, kBede, kLone, kNeut, kPrig, kRigu, kTwst, kWigl, kXnpd, kInclude,
};
// clang-format on
inline constexpr int kKeywordCount = static_cast<int>(InstructionKeyword::kAtomLine);
inline constexpr int kAllKeywords = static_cast<int>(InstructionKeyword::kInclude) + 1;

// What an instruction's words are, beside numbers.
enum class Takes : uint8_t {
  Numbers,
  Names,       // of atoms
  LabelNames,  // a label of its own, then names
  Elements,
  Residue,
  Text,  // nothing to be read as words
};

// Everything that has to be known of an instruction; whoever reads, writes, renames or refines looks here.
struct KeywordRow {
  InstructionKeyword keyword;
  std::string_view spelling;  // four characters; "REM ", "CON " and "END " with their blank, four blanks for kBlank
  Takes takes;
  KeptPlace place;           // of a line that is kept as text; BeforeAtom for what acts from where it stands
  bool staysInRun;           // a refinement reads it and leaves the line as it is
  const char* notRefined;    // why the engine does not act on it, null where it does or needs not
  std::string_view meaning;  // in a few words, UTF-8

  bool TakesNames() const { return takes == Takes::Names || takes == Takes::LabelNames; }
};
const KeywordRow& RowOf(InstructionKeyword keyword);

inline std::string_view SpellingOf(InstructionKeyword keyword) {
  return RowOf(keyword).spelling;
}
inline bool IsInstruction(InstructionKeyword keyword) {
  return keyword != InstructionKeyword::kAtomLine;
}

// By the first four characters of a raw line, leading blanks included, letters in either case, a carriage return being
// a blank. A shorter line matches nothing, so REM alone on a line is no remark. Fixed keywords only.
InstructionKeyword KeywordOf(std::string_view line);

// How the reader looks at a line: a line shorter than four characters is padded with blanks and a tab counts as one, so
// that END alone is END. Later keywords and "+file" are known too.
struct LineHead {
  InstructionKeyword keyword = InstructionKeyword::kAtomLine;
  std::string_view residue;    // "_2" of SADI_2
  std::string_view arguments;  // what follows keyword and residue
};
LineHead HeadOf(std::string_view line);

}  // namespace marvik
