#include "language/keywords.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace marvik {

namespace {

using enum InstructionKeyword;

// clang-format off
constexpr std::array<KeywordRow, kAllKeywords> kTable{{
    // keyword, spelling, its words, its place, whether it stays in a run, why the engine does not act on it
    {kActa, "ACTA", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kAfix, "AFIX", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kAnis, "ANIS", Takes::Names, KeptPlace::BeforeAtom, false, nullptr},
    {kBasf, "BASF", Takes::Numbers, KeptPlace::Batches, false, nullptr},
    {kBind, "BIND", Takes::Names, KeptPlace::Body, false, nullptr},
    {kBloc, "BLOC", Takes::Names, KeptPlace::Body, true, nullptr},
    {kBond, "BOND", Takes::Names, KeptPlace::Body, false, nullptr},
    {kBump, "BUMP", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kCell, "CELL", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kCgls, "CGLS", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kChiv, "CHIV", Takes::Names, KeptPlace::Body, true, nullptr},
    {kConf, "CONF", Takes::Names, KeptPlace::Body, true, nullptr},
    {kConn, "CONN", Takes::Names, KeptPlace::Body, true, nullptr},
    {kDamp, "DAMP", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kDang, "DANG", Takes::Names, KeptPlace::Body, true, nullptr},
    {kDefs, "DEFS", Takes::Numbers, KeptPlace::Here, true, nullptr},
    {kDelu, "DELU", Takes::Names, KeptPlace::Body, true, nullptr},
    {kDfix, "DFIX", Takes::Names, KeptPlace::Body, true, nullptr},
    {kDisp, "DISP", Takes::Elements, KeptPlace::AfterSfac, false, nullptr},
    {kEadp, "EADP", Takes::Names, KeptPlace::Body, true, nullptr},
    {kEgen, "EGEN", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kEqiv, "EQIV", Takes::Text, KeptPlace::First, true, nullptr},
    {kEsel, "ESEL", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kExti, "EXTI", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kExyz, "EXYZ", Takes::Names, KeptPlace::Body, true, nullptr},
    {kFend, "FEND", Takes::Text, KeptPlace::Body, true, "has no effect here"},
    {kFlat, "FLAT", Takes::Names, KeptPlace::Body, true, nullptr},
    {kFmap, "FMAP", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kFrag, "FRAG", Takes::Text, KeptPlace::Fragment, true, "no FEND ends it"},
    {kFree, "FREE", Takes::Names, KeptPlace::Body, false, nullptr},
    {kFvar, "FVAR", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kGrid, "GRID", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kHfix, "HFIX", Takes::Names, KeptPlace::Body, false, nullptr},
    {kHklf, "HKLF", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kHope, "HOPE", Takes::Names, KeptPlace::BeforeAtom, true, "anisotropic scaling is not done"},
    {kHtab, "HTAB", Takes::Names, KeptPlace::Body, true, nullptr},
    {kInit, "INIT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kIsor, "ISOR", Takes::Names, KeptPlace::Body, true, nullptr},
    {kLast, "LAST", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kLatt, "LATT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kLaue, "LAUE", Takes::Numbers, KeptPlace::Body, false, "wavelength-dependent scattering factors are not read"},
    {kList, "LIST", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kLs, "L.S.", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kMerg, "MERG", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kMole, "MOLE", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kMore, "MORE", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kMove, "MOVE", Takes::Numbers, KeptPlace::BeforeAtom, false, nullptr},
    {kNcsy, "NCSY", Takes::Names, KeptPlace::Body, true, "non-crystallographic symmetry is not restrained"},
    {kOmit, "OMIT", Takes::Names, KeptPlace::Body, false, nullptr},
    {kPart, "PART", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kPatt, "PATT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kPhan, "PHAN", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kPhas, "PHAS", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kPlan, "PLAN", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kPsee, "PSEE", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kRem, "REM ", Takes::Text, KeptPlace::Body, true, nullptr},
    {kResi, "RESI", Takes::Residue, KeptPlace::Body, false, nullptr},
    {kRtab, "RTAB", Takes::LabelNames, KeptPlace::Body, true, nullptr},
    {kSadi, "SADI", Takes::Names, KeptPlace::Body, true, nullptr},
    {kSame, "SAME", Takes::Names, KeptPlace::BeforeAtom, false, nullptr},
    {kSfac, "SFAC", Takes::Elements, KeptPlace::Body, false, "has no effect here"},
    {kShel, "SHEL", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kSimu, "SIMU", Takes::Names, KeptPlace::Body, true, nullptr},
    {kSize, "SIZE", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kSpec, "SPEC", Takes::Numbers, KeptPlace::Here, true, nullptr},
    {kSpin, "SPIN", Takes::Numbers, KeptPlace::Body, false, "fragments are not turned"},
    {kStir, "STIR", Takes::Numbers, KeptPlace::Body, true, "the resolution is not stepped"},
    {kSump, "SUMP", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kSwat, "SWAT", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kSymm, "SYMM", Takes::Text, KeptPlace::Body, false, "has no effect here"},
    {kTemp, "TEMP", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kTexp, "TEXP", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kTime, "TIME", Takes::Numbers, KeptPlace::Body, false, nullptr},
    {kTitl, "TITL", Takes::Text, KeptPlace::Body, false, "has no effect here"},
    {kTref, "TREF", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kUnit, "UNIT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kVect, "VECT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kWpdb, "WPDB", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kWght, "WGHT", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kZerr, "ZERR", Takes::Numbers, KeptPlace::Body, false, "has no effect here"},
    {kBlank, "    ", Takes::Text, KeptPlace::Body, true, "has no effect here"},
    {kTwin, "TWIN", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kCon, "CON ", Takes::Text, KeptPlace::Body, false, "has no effect here"},
    {kEnd, "END ", Takes::Text, KeptPlace::Body, false, "has no effect here"},
    {kMpla, "MPLA", Takes::Names, KeptPlace::Body, true, nullptr},
    {kAtomLine, "", Takes::Text, KeptPlace::Body, false, "has no effect here"},
    {kAbin, "ABIN", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kAnsc, "ANSC", Takes::Numbers, KeptPlace::Body, true, "anisotropic scaling is not done"},
    {kAnsr, "ANSR", Takes::Numbers, KeptPlace::Body, true, "anisotropic scaling is not done"},
    {kBede, "BEDE", Takes::Names, KeptPlace::Body, true, "bond densities are not modelled"},
    {kLone, "LONE", Takes::Names, KeptPlace::Body, true, "lone pairs are not modelled"},
    {kNeut, "NEUT", Takes::Numbers, KeptPlace::BeforeSfac, true, nullptr},
    {kPrig, "PRIG", Takes::Numbers, KeptPlace::Body, true, "the rigid-bond analysis is not printed"},
    {kRigu, "RIGU", Takes::Names, KeptPlace::Body, true, nullptr},
    {kTwst, "TWST", Takes::Numbers, KeptPlace::Body, true, "twin statistics are not made"},
    {kWigl, "WIGL", Takes::Numbers, KeptPlace::Body, true, "coordinates are not shaken"},
    {kXnpd, "XNPD", Takes::Numbers, KeptPlace::Body, true, nullptr},
    {kInclude, "+", Takes::Text, KeptPlace::BeforeAtom, false, "has no effect here"},
}};
// clang-format on

constexpr char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

// Four characters as one number, for a quick search.
constexpr uint32_t Packed(std::string_view head) {
  uint32_t packed = 0;
  for (int i = 0; i < 4; ++i) packed = packed << 8 | static_cast<unsigned char>(head[static_cast<size_t>(i)]);
  return packed;
}

struct Entry {
  uint32_t packed;
  int code;
};

// "+file" and lines without a keyword are told in other ways.
constexpr size_t kSpelled = kAllKeywords - 2;

constexpr auto kSorted = [] {
  std::array<Entry, kSpelled> sorted{};
  size_t n = 0;
  for (int i = 0; i < kAllKeywords; ++i) {
    const std::string_view spelling = kTable[static_cast<size_t>(i)].spelling;
    if (spelling.size() == 4) sorted[n++] = {Packed(spelling), i};
  }
  std::sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) { return a.packed < b.packed; });
  return sorted;
}();

InstructionKeyword Find(std::string_view head) {
  const uint32_t packed = Packed(head);
  const auto at = std::lower_bound(kSorted.begin(), kSorted.end(), packed,
                                   [](const Entry& entry, uint32_t value) { return entry.packed < value; });
  return at != kSorted.end() && at->packed == packed ? static_cast<InstructionKeyword>(at->code) : kAtomLine;
}

}  // namespace

const KeywordRow& RowOf(InstructionKeyword keyword) {
  return kTable[static_cast<size_t>(keyword)];
}

InstructionKeyword KeywordOf(std::string_view line) {
  if (line.size() < 4) return kAtomLine;
  std::array<char, 4> head;
  for (size_t i = 0; i < 4; ++i) head[i] = line[i] == '\r' ? ' ' : Upper(line[i]);
  const InstructionKeyword keyword = Find({head.data(), 4});
  return static_cast<int>(keyword) < kKeywordCount ? keyword : kAtomLine;
}

LineHead HeadOf(std::string_view line) {
  LineHead result;
  if (line.starts_with('+')) {
    result.keyword = kInclude;
    return result;
  }
  std::array<char, 4> head{' ', ' ', ' ', ' '};
  for (size_t i = 0; i < 4 && i < line.size(); ++i) head[i] = line[i] == '\t' || line[i] == '\r' ? ' ' : Upper(line[i]);
  result.keyword = Find({head.data(), 4});
  if (!IsInstruction(result.keyword)) return result;
  std::string_view rest = line.substr(std::min<size_t>(4, line.size()));
  if (rest.starts_with('_')) {
    result.residue = rest.substr(0, rest.find_first_of(" ,\t\r\n"));
    rest.remove_prefix(result.residue.size());
  }
  result.arguments = rest;
  return result;
}

}  // namespace marvik
