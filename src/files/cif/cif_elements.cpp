#include "files/cif/cif_elements.h"

#include <algorithm>
#include <cstdint>

#include "base/numbers.h"
#include "language/keywords.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr int kOxygenRow = 8;
constexpr int kLawrenciumRow = 103;
constexpr size_t kLongestLabel = 4;

bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

bool IsLower(char c) {
  return c >= 'a' && c <= 'z';
}

bool IsLetter(char c) {
  return IsUpper(c) || IsLower(c);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// By one or two letters in any case. The table spells element 103 in the old way.
int RowOfSymbol(std::string_view symbol) {
  return UpperCase(symbol) == "LR" ? kLawrenciumRow : ElementTable::ElementFromLabel(symbol);
}

// How many letters of `rest` are a symbol, 0 when it begins with none. Small second letters are certain, capital ones
// ("CL") count where the first letter alone is no element or only the two have a meaning.
size_t SymbolLength(std::string_view rest) {
  const auto isElement = [&](size_t n) { return RowOfSymbol(rest.substr(0, n)) != kUnknownRow; };
  if (!IsUpper(rest[0])) return 0;
  if (rest.size() > 1 && IsLower(rest[1]) && isElement(2)) return 2;
  const bool nextIsElement = rest.size() > 1 && IsUpper(rest[1]) && RowOfSymbol(rest.substr(1, 1)) != kUnknownRow;
  if (rest.size() > 1 && IsUpper(rest[1]) && !nextIsElement && isElement(2)) return 2;
  return isElement(1) ? 1 : 0;
}

}  // namespace

std::vector<FormulaElement> ParseFormula(std::string_view formula) {
  std::vector<FormulaElement> elements;
  for (size_t at = 0; at < formula.size();) {
    const size_t length = SymbolLength(formula.substr(at));
    if (length == 0) {
      ++at;
      continue;
    }
    const int row = RowOfSymbol(formula.substr(at, length));
    at += length;
    double count = 1.0;
    if (at < formula.size() && (IsDigit(formula[at]) || formula[at] == '.'))
      at += std::max<size_t>(ParseNumber(formula.substr(at), count), 1);
    const auto known = std::ranges::find(elements, row, &FormulaElement::row);
    if (known == elements.end()) {
      elements.push_back({row, count});
    } else {
      known->count += count;
    }
  }
  return elements;
}

int RowOfAtomType(std::string_view type) {
  const size_t letters = static_cast<size_t>(std::ranges::find_if_not(type, IsLetter) - type.begin());
  return letters == 0 ? kUnknownRow : RowOfSymbol(type.substr(0, std::min<size_t>(letters, 2)));
}

int RowOfCifLabel(std::string_view label, const std::vector<FormulaElement>& formula) {
  while (!label.empty() && !IsLetter(label[0])) label.remove_prefix(1);
  if (label.empty()) return kUnknownRow;
  const int one = RowOfSymbol(label.substr(0, 1));
  const int two = label.size() > 1 && IsLetter(label[1]) ? RowOfSymbol(label.substr(0, 2)) : kUnknownRow;
  const auto isInFormula = [&formula](int row) {
    return std::ranges::find(formula, row, &FormulaElement::row) != formula.end();
  };
  if (isInFormula(two)) return two;
  if (isInFormula(one)) return one;
  // Minerals have "Wat" for the oxygen atom of a water molecule, proteins "W1".
  if ((label[0] & ~0x20) == 'W' && isInFormula(kOxygenRow)) return kOxygenRow;
  return two != kUnknownRow ? two : one;
}

CifLabels::CifLabels(const ElementTable& table, const std::vector<int>& sfac) : table_(table) {
  for (const int row : sfac) isOnSfac_[static_cast<size_t>(row)] = true;
}

std::vector<std::string> CifLabels::Assign(const std::vector<Request>& requests) {
  std::vector<std::string> labels(requests.size());
  for (size_t i = 0; i < requests.size(); ++i)
    if (Take(requests[i].label, requests[i].row)) labels[i] = requests[i].label;
  for (size_t i = 0; i < requests.size(); ++i) {
    if (!labels[i].empty()) continue;
    for (const char c : requests[i].label)
      if (IsLetter(c) || IsDigit(c) || c == '\'') labels[i] += c;
    if (!Take(labels[i], requests[i].row)) labels[i] = NewLabel(requests[i].row);
  }
  return labels;
}

bool CifLabels::Fits(std::string_view label, int row, size_t longest) const {
  constexpr std::string_view kWithMeaning = "=!,$_<>*+#";
  if (label.empty() || label.size() > longest || !IsLetter(label[0]) || (label[0] & ~0x20) == 'Q') return false;
  for (const char c : label)
    if (c <= ' ' || c > '~' || kWithMeaning.find(c) != std::string_view::npos) return false;
  const std::string line = std::string(label).append(" 1");
  const LineHead head = HeadOf(line);
  if (IsInstruction(head.keyword)) return false;
  const int suggested = ElementTable::ElementFromLabel(label);
  return suggested == row || (row != kUnknownRow && !isOnSfac_[static_cast<size_t>(suggested)]);
}

bool CifLabels::Take(std::string_view label, int row, size_t longest) {
  return Fits(label, row, longest) && taken_.insert(UpperCase(label)).second;
}

// The symbol with the next number; when four characters cannot hold that, with digits of base 36; then longer ones.
std::string CifLabels::NewLabel(int row) {
  const std::string symbol = row == kUnknownRow ? "X" : std::string(table_[row].Symbol());
  const size_t places = kLongestLabel - symbol.size();
  int numbers = 1;
  int codes = 1;
  for (size_t i = 0; i < places; ++i) {
    numbers *= 10;
    codes *= 36;
  }
  for (;;) {
    const int n = ++nextNumber_[static_cast<size_t>(row)];
    std::string label = symbol;
    if (n < numbers || n - numbers >= codes) {
      label += std::to_string(n);
    } else {
      std::string digits(places, '0');
      int code = n - numbers;
      for (size_t i = places; i-- > 0; code /= 36) digits[i] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[code % 36];
      label += digits;
    }
    if (Take(label, row, n - numbers >= codes ? label.size() : kLongestLabel)) return label;
  }
}

}  // namespace marvik
