#include "language/keywords.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace marvik {

namespace {

// clang-format off
constexpr std::array<std::string_view, kKeywordCount> kSpellings = {
    "ACTA", "AFIX", "ANIS", "BASF", "BIND", "BLOC", "BOND", "BUMP", "CELL", "CGLS", "CHIV", "CONF", "CONN", "DAMP",
    "DANG", "DEFS", "DELU", "DFIX", "DISP", "EADP", "EGEN", "EQIV", "ESEL", "EXTI", "EXYZ", "FEND", "FLAT", "FMAP",
    "FRAG", "FREE", "FVAR", "GRID", "HFIX", "HKLF", "HOPE", "HTAB", "INIT", "ISOR", "LAST", "LATT", "LAUE", "LIST",
    "L.S.", "MERG", "MOLE", "MORE", "MOVE", "NCSY", "OMIT", "PART", "PATT", "PHAN", "PHAS", "PLAN", "PSEE", "REM ",
    "RESI", "RTAB", "SADI", "SAME", "SFAC", "SHEL", "SIMU", "SIZE", "SPEC", "SPIN", "STIR", "SUMP", "SWAT", "SYMM",
    "TEMP", "TEXP", "TIME", "TITL", "TREF", "UNIT", "VECT", "WPDB", "WGHT", "ZERR", "    ", "TWIN", "CON ", "END ",
    "MPLA"};
constexpr std::array<std::string_view, 11> kLaterSpellings = {
    "ABIN", "ANSC", "ANSR", "BEDE", "LONE", "NEUT", "PRIG", "RIGU", "TWST", "WIGL", "XNPD"};
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

constexpr auto kSorted = [] {
  std::array<Entry, kKeywordCount> sorted{};
  for (int i = 0; i < kKeywordCount; ++i)
    sorted[static_cast<size_t>(i)] = {Packed(kSpellings[static_cast<size_t>(i)]), i};
  std::sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) { return a.packed < b.packed; });
  return sorted;
}();

InstructionKeyword Find(std::string_view head) {
  const uint32_t packed = Packed(head);
  const auto at = std::lower_bound(kSorted.begin(), kSorted.end(), packed,
                                   [](const Entry& entry, uint32_t value) { return entry.packed < value; });
  return at != kSorted.end() && at->packed == packed ? static_cast<InstructionKeyword>(at->code)
                                                     : InstructionKeyword::kAtomLine;
}

}  // namespace

std::string_view SpellingOf(InstructionKeyword keyword) {
  return keyword == InstructionKeyword::kAtomLine ? std::string_view() : kSpellings[static_cast<size_t>(keyword)];
}

InstructionKeyword KeywordOf(std::string_view line) {
  if (line.size() < 4) return InstructionKeyword::kAtomLine;
  std::array<char, 4> head;
  for (size_t i = 0; i < 4; ++i) head[i] = line[i] == '\r' ? ' ' : Upper(line[i]);
  return Find({head.data(), 4});
}

bool IsLaterKeyword(std::string_view line) {
  if (line.size() < 4) return false;
  std::array<char, 4> head;
  for (size_t i = 0; i < 4; ++i) head[i] = Upper(line[i]);
  return std::find(kLaterSpellings.begin(), kLaterSpellings.end(), std::string_view(head.data(), 4)) !=
         kLaterSpellings.end();
}

LineHead HeadOf(std::string_view line) {
  LineHead result;
  std::array<char, 4> head{' ', ' ', ' ', ' '};
  for (size_t i = 0; i < 4 && i < line.size(); ++i) head[i] = line[i] == '\t' || line[i] == '\r' ? ' ' : Upper(line[i]);
  result.keyword = Find({head.data(), 4});
  result.include = line.starts_with('+');
  result.later = result.keyword == InstructionKeyword::kAtomLine && IsLaterKeyword(line);
  if (result.keyword == InstructionKeyword::kAtomLine && !result.later) return result;
  std::string_view rest = line.substr(std::min<size_t>(4, line.size()));
  if (rest.starts_with('_')) {
    result.residue = rest.substr(0, rest.find_first_of(" ,\t\r\n"));
    rest.remove_prefix(result.residue.size());
  }
  result.arguments = rest;
  return result;
}

}  // namespace marvik
