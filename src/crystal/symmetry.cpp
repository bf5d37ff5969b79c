#include "crystal/symmetry.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// The digits (and minus) at the start of `text` as a number, 0 without any: the integers of a fraction.
double LeadingInteger(std::string_view text) {
  size_t end = text.starts_with('-') ? 1 : 0;
  while (end < text.size() && IsDigit(text[end])) ++end;
  double value = 0.0;
  ParseNumber(text.substr(0, end), value);
  return value;
}

// Raised by whole cells to be at least 0; 1 and more are kept.
double RaisedToPositive(double t) {
  return t < 0.0 ? t - std::floor(t) : t;
}

// From the first number's sign to the last digit of the component, which holds no blanks. Without a digit it is empty.
// A point that stands before the first digit belongs to it, so that ".5" is a half.
std::string_view TranslationText(std::string_view component) {
  size_t first = 0;
  while (first < component.size() && !IsDigit(component[first])) ++first;
  if (first == component.size()) return {};
  size_t last = component.size() - 1;
  while (!IsDigit(component[last])) --last;
  if (first > 0 && component[first - 1] == '.') --first;
  if (first > 0 && component[first - 1] == '-') --first;
  return component.substr(first, last + 1 - first);
}

double Translation(std::string_view component) {
  const std::string_view text = TranslationText(component);
  double value = 0.0;
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    ParseNumber(text, value);
  } else {
    const double denominator = LeadingInteger(text.substr(slash + 1));
    if (denominator != 0.0) value = LeadingInteger(text.substr(0, slash)) / denominator;
  }
  return RaisedToPositive(value);
}

void ReadComponent(std::string_view component, std::array<double, 4>& row) {
  double sign = 1.0;
  for (const char c : component) {
    if (c >= 'X' && c <= 'Z') row[static_cast<size_t>(c - 'X')] = sign;
    sign = c == '-' ? -1.0 : 1.0;
  }
  row[3] = Translation(component);
}

// Upper case, without blanks and without the keyword.
std::string Condensed(const TextString& text) {
  const TextString upper = text.Upper();
  std::string condensed;
  for (const char c : upper.View())
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') condensed += c;
  if (condensed.starts_with("SYMM")) condensed.erase(0, 4);
  return condensed;
}

void AppendGenerated(SymmetryList& list, SymmetryOperator copy, std::string_view name, UserMessages& messages) {
  copy.name = TextString(name, messages);
  copy.originFlag = 0;
  list.push_back(std::move(copy));
}

constexpr double kTwoThirds = 0.6666666666666666;
constexpr double kThird = 0.3333333333333333;

struct LatticeShifts {
  int count;
  std::array<std::array<double, 3>, 3> shifts;
};

// P I R F A B C, by the absolute value of the lattice code.
constexpr std::array<LatticeShifts, 8> kLatticeShifts{{
    {0, {}},
    {0, {}},
    {1, {{{0.5, 0.5, 0.5}}}},
    {2, {{{kTwoThirds, kThird, kThird}, {kThird, kTwoThirds, kTwoThirds}}}},
    {3, {{{0.0, 0.5, 0.5}, {0.5, 0.0, 0.5}, {0.5, 0.5, 0.0}}}},
    {1, {{{0.0, 0.5, 0.5}}}},
    {1, {{{0.5, 0.0, 0.5}}}},
    {1, {{{0.5, 0.5, 0.0}}}},
}};

}  // namespace

void ParseSymmetryText(std::string_view text, SymmetryOperator& result, UserMessages& messages) {
  result.name = TextString(text, messages);
  result.rows = {};
  const std::string condensed = Condensed(result.name);
  std::string_view rest = condensed;
  for (auto& row : result.rows) {
    const size_t comma = rest.find(',');
    ReadComponent(rest.substr(0, comma), row);
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
}

void AddSymmetryOperator(SymmetryList& list, std::string_view text, int latticeCode, int originFlag,
                         UserMessages& messages) {
  SymmetryOperator parsed;
  ParseSymmetryText(text, parsed, messages);
  if (static_cast<size_t>(parsed.name.Length()) != text.size()) return;
  parsed.originFlag = originFlag;
  const size_t first = list.size();
  list.push_back(std::move(parsed));
  if (latticeCode < -7 || latticeCode > 7 || latticeCode == 0) return;
  const LatticeShifts& lattice = kLatticeShifts[static_cast<size_t>(std::abs(latticeCode))];
  for (int i = 0; i < lattice.count; ++i) {
    const auto& shift = lattice.shifts[static_cast<size_t>(i)];
    AddTranslatedCopy(list, list[first], shift[0], shift[1], shift[2], messages);
  }
  if (latticeCode < 0) return;
  // The centred copies follow the order of their sources, but for F, where that of the last translation comes first.
  if (latticeCode == 4) AddCentredCopy(list, list[first + 3], messages);
  const size_t sources = latticeCode == 4 ? 3 : static_cast<size_t>(lattice.count) + 1;
  for (size_t i = 0; i < sources; ++i) AddCentredCopy(list, list[first + i], messages);
}

void AddCentredCopy(SymmetryList& list, const SymmetryOperator& source, UserMessages& messages) {
  SymmetryOperator copy = source;
  for (auto& row : copy.rows)
    for (size_t i = 0; i < 3; ++i) row[i] = 0.0 - row[i];
  AppendGenerated(list, std::move(copy), "Added Center", messages);
}

void AddTranslatedCopy(SymmetryList& list, const SymmetryOperator& source, double dx, double dy, double dz,
                       UserMessages& messages) {
  SymmetryOperator copy = source;
  copy.rows[0][3] += dx;
  copy.rows[1][3] += dy;
  copy.rows[2][3] += dz;
  AppendGenerated(list, std::move(copy), "Added Translation", messages);
}

}  // namespace marvik
