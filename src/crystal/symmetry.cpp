#include "crystal/symmetry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr int kTwentyFourth = kTranslationParts / 24;
constexpr double kLargestNumber = 1000.0;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsNumberPart(char c) {
  return (c >= '0' && c <= '9') || c == '.';
}

// Digits with at most one point, taken from the front of `text`.
std::optional<double> TakeNumber(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), IsNumberPart);
  const auto length = static_cast<size_t>(end - text.begin());
  double value = 0.0;
  if (!ParseWholeNumber(text.substr(0, length), value) || value > kLargestNumber) return {};
  text.remove_prefix(length);
  return value;
}

// A fraction of an edge in kTranslationParts. A decimal is taken for the twenty-fourth that it was rounded from.
std::optional<int> PartsOf(double edges, bool isDecimal) {
  const double parts = edges * kTranslationParts;
  const int nearest = RoundHalfAway(parts / kTwentyFourth) * kTwentyFourth;
  if (isDecimal && std::fabs(parts - nearest) <= 0.61) return nearest;
  const int exact = RoundHalfAway(parts);
  return std::fabs(parts - exact) < 1e-6 ? std::optional(exact) : std::nullopt;
}

// "-x+1/2" without blanks.
bool ReadComponent(std::string_view text, std::array<int, 3>& row, int& translation) {
  if (text.empty()) return false;
  bool first = true;
  while (!text.empty()) {
    int sign = 1;
    if (text[0] == '+' || text[0] == '-') {
      sign = text[0] == '-' ? -1 : 1;
      text.remove_prefix(1);
    } else if (!first) {
      return false;
    }
    first = false;
    if (text.empty()) return false;
    int factor = 1;
    if (IsNumberPart(text[0])) {
      const std::string_view before = text;
      auto value = TakeNumber(text);
      if (!value) return false;
      const bool isDecimal = before.substr(0, before.size() - text.size()).find('.') != std::string_view::npos;
      if (text.starts_with('/')) {
        text.remove_prefix(1);
        const auto denominator = text.empty() ? std::nullopt : TakeNumber(text);
        if (!denominator || *denominator == 0.0) return false;
        *value /= *denominator;
      }
      const bool isFactor = text.starts_with('*') || (!text.empty() && text[0] >= 'X' && text[0] <= 'Z');
      if (!isFactor) {
        const auto parts = PartsOf(*value, isDecimal);
        if (!parts) return false;
        translation += sign * *parts;
        continue;
      }
      if (text[0] == '*') text.remove_prefix(1);
      factor = RoundHalfAway(*value);
      if (factor != *value) return false;
    }
    if (text.empty() || text[0] < 'X' || text[0] > 'Z') return false;
    row[static_cast<size_t>(text[0] - 'X')] += sign * factor;
    text.remove_prefix(1);
  }
  return true;
}

// The components in upper case and without blanks.
std::array<std::string, 3> Components(std::string_view text) {
  const bool hasCommas = text.find(',') != std::string_view::npos;
  std::array<std::string, 3> components;
  size_t at = 0;
  bool wasBlank = true;
  for (const char c : text) {
    const bool blank = IsBlank(c);
    if (hasCommas ? c == ',' : blank && !wasBlank) {
      ++at;
    } else if (!blank && at < 3) {
      components[at] += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    }
    wasBlank = blank;
  }
  return components;
}

constexpr int kHalf = kTranslationParts / 2;
constexpr int kThird = kTranslationParts / 3;
constexpr std::array<int, 3> kBody[] = {{kHalf, kHalf, kHalf}};
constexpr std::array<int, 3> kObverse[] = {{2 * kThird, kThird, kThird}, {kThird, 2 * kThird, 2 * kThird}};
constexpr std::array<int, 3> kFaces[] = {{0, kHalf, kHalf}, {kHalf, 0, kHalf}, {kHalf, kHalf, 0}};

std::string_view WithoutKeyword(std::string_view text) {
  while (!text.empty() && IsBlank(text[0])) text.remove_prefix(1);
  const auto same = [](char letter, char c) { return (letter | 32) == c; };
  const bool has = text.size() >= 4 && std::equal(text.begin(), text.begin() + 4, "symm", same);
  return has ? text.substr(4) : text;
}

}  // namespace

int SymmetryOperator::Determinant() const {
  return r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) - r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
         r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]);
}

SymmetryOperator operator*(const SymmetryOperator& after, const SymmetryOperator& before) {
  SymmetryOperator product{{}, after.t};
  for (size_t i = 0; i < 3; ++i)
    for (size_t k = 0; k < 3; ++k) {
      product.t[i] += after.r[i][k] * before.t[k];
      for (size_t j = 0; j < 3; ++j) product.r[i][j] += after.r[i][k] * before.r[k][j];
    }
  return product;
}

SymmetryOperator Wrapped(const SymmetryOperator& op) {
  SymmetryOperator wrapped = op;
  for (int& t : wrapped.t) t = (t % kTranslationParts + kTranslationParts) % kTranslationParts;
  return wrapped;
}

std::optional<SymmetryOperator> ParseOperator(std::string_view text) {
  SymmetryOperator op{{}, {}};
  const auto components = Components(text);
  for (size_t i = 0; i < 3; ++i)
    if (!ReadComponent(components[i], op.r[i], op.t[i])) return {};
  return std::abs(op.Determinant()) == 1 ? std::optional(op) : std::nullopt;
}

std::string OperatorText(const SymmetryOperator& op, std::string_view separator) {
  std::string text;
  for (size_t i = 0; i < 3; ++i) {
    if (i > 0) text += separator;
    const size_t begin = text.size();
    for (size_t j = 0; j < 3; ++j) {
      if (op.r[i][j] == 0) continue;
      if (op.r[i][j] < 0 || text.size() > begin) text += op.r[i][j] < 0 ? '-' : '+';
      if (std::abs(op.r[i][j]) > 1) text += Printf("%d*", std::abs(op.r[i][j]));
      text += "xyz"[j];
    }
    if (op.t[i] == 0) continue;
    const int common = std::gcd(op.t[i], kTranslationParts);
    text += Printf("%+d", op.t[i] / common);
    if (common != kTranslationParts) text += Printf("/%d", kTranslationParts / common);
  }
  return text;
}

std::span<const std::array<int, 3>> CentringTranslations(int latticeCode) {
  if (latticeCode < -7 || latticeCode > 7) return {};
  const auto kind = static_cast<size_t>(std::abs(latticeCode));
  if (kind > 4) return std::span(kFaces).subspan(kind - 5, 1);
  if (kind == 4) return kFaces;
  if (kind == 3) return kObverse;
  return std::span(kBody).first(kind == 2 ? 1 : 0);
}

void AddSymmetryOperator(SymmetryList& list, std::string_view text, int latticeCode, int originFlag) {
  ListedOperator parsed{ParseOperator(WithoutKeyword(text)).value_or(SymmetryOperator{{}, {}}), std::string(text),
                        originFlag};
  for (int& t : parsed.t)
    if (t < 0) t = (t % kTranslationParts + kTranslationParts) % kTranslationParts;
  const size_t first = list.size();
  list.push_back(std::move(parsed));
  const auto centring = CentringTranslations(latticeCode);
  for (const auto& shift : centring) {
    ListedOperator copy{list[first], "Added Translation", 0};
    for (size_t i = 0; i < 3; ++i) copy.t[i] += shift[i];
    list.push_back(std::move(copy));
  }
  if (latticeCode < 1 || latticeCode > 7) return;
  const auto addCentred = [&](size_t at) {
    ListedOperator copy{list[at], "Added Center", 0};
    for (auto& row : copy.r)
      for (int& element : row) element = -element;
    list.push_back(std::move(copy));
  };
  // The centred copies follow the order of their sources, but for F, where that of the last translation comes first.
  if (latticeCode == 4) addCentred(first + 3);
  const size_t sources = latticeCode == 4 ? 3 : centring.size() + 1;
  for (size_t i = 0; i < sources; ++i) addCentred(first + i);
}

SymmetryList ListOperators(int latticeCode, const std::vector<std::string>& texts) {
  SymmetryList list;
  AddSymmetryOperator(list, "SYMM X,Y,Z", latticeCode, kImpliedOperator);
  for (const std::string& text : texts) AddSymmetryOperator(list, text, latticeCode, kSymmLineOperator);
  return list;
}

}  // namespace marvik
