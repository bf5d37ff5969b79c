#pragma once

#include <string_view>

namespace marvik {

// The keywords of instruction files in the order of their codes; the code behind the last one means an atom line.
// clang-format off
enum class InstructionKeyword {
  kActa, kAfix, kAnis, kBasf, kBind, kBloc, kBond, kBump, kCell, kCgls, kChiv, kConf, kConn, kDamp, kDang, kDefs, kDelu,
  kDfix, kDisp, kEadp, kEgen, kEqiv, kEsel, kExti, kExyz, kFend, kFlat, kFmap, kFrag, kFree, kFvar, kGrid, kHfix, kHklf,
  kHope, kHtab, kInit, kIsor, kLast, kLatt, kLaue, kList, kLs, kMerg, kMole, kMore, kMove, kNcsy, kOmit, kPart, kPatt,
  kPhan, kPhas, kPlan, kPsee, kRem, kResi, kRtab, kSadi, kSame, kSfac, kShel, kSimu, kSize, kSpec, kSpin, kStir, kSump,
  kSwat, kSymm, kTemp, kTexp, kTime, kTitl, kTref, kUnit, kVect, kWpdb, kWght, kZerr, kBlank, kTwin, kCon, kEnd, kMpla,
  kAtomLine
};
// clang-format on
inline constexpr int kKeywordCount = static_cast<int>(InstructionKeyword::kAtomLine);

// Four characters; "REM ", "CON " and "END " with their blank, four blanks for kBlank. "" for kAtomLine.
std::string_view SpellingOf(InstructionKeyword keyword);

// By the first four characters of a raw line, leading blanks included, letters in either case, a carriage return being
// a blank. A shorter line matches nothing, so REM alone on a line is no remark.
InstructionKeyword KeywordOf(std::string_view line);

// Keywords that came later than the table; the reader keeps their lines.
bool IsLaterKeyword(std::string_view line);

// How the reader looks at a line: a line shorter than four characters is padded with blanks and a tab counts as one, so
// that END alone is END.
struct LineHead {
  InstructionKeyword keyword = InstructionKeyword::kAtomLine;
  bool later = false;          // one of the later keywords
  bool include = false;        // "+file"
  std::string_view residue;    // "_2" of SADI_2
  std::string_view arguments;  // what follows keyword and residue
};
LineHead HeadOf(std::string_view line);

}  // namespace marvik
