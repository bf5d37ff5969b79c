#include "language/tokenizer.h"

#include <algorithm>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr size_t kLineLimit = 511;
constexpr size_t kTokenLimit = 79;
constexpr std::string_view kPlainSeparators = " ,\t\n";

double ValueOf(std::string_view text) {
  double value = kMissingNumber;
  ParseNumber(text, value);
  return value;
}

double ValueOfRest(std::string_view rest) {
  if (rest.empty()) return 0.0;
  double value = kMissingNumber;
  return ParseNumber(rest, value) == rest.size() ? value : kMissingNumber;
}

constexpr bool IsSeparator(char c) {
  return c == ' ' || c == ',' || c == '\t' || c == '\n' || c == '\r' || c == '\0';
}

}  // namespace

int Tokenize(std::string_view line, std::vector<std::string>& texts, std::vector<double>& values, int maxTokens) {
  texts.assign(static_cast<size_t>(maxTokens), {});
  values.assign(static_cast<size_t>(maxTokens), kMissingNumber);
  line = line.substr(0, kLineLimit);
  line = line.substr(0, line.find('\0'));
  size_t count = 0;
  size_t at = line.find_first_not_of(kPlainSeparators);
  while (at < line.size() && count + 1 < static_cast<size_t>(maxTokens)) {
    const size_t end = std::min(line.find_first_of(kPlainSeparators, at), line.size());
    texts[count] = line.substr(at, std::min(end - at, kTokenLimit));
    values[count] = ValueOf(texts[count]);
    ++count;
    if (end == line.size()) return static_cast<int>(count);
    if (count + 1 == static_cast<size_t>(maxTokens)) {
      texts[count] = line.substr(end + 1);
      values[count] = ValueOfRest(texts[count]);
      return maxTokens;
    }
    at = line.find_first_not_of(kPlainSeparators, end);
  }
  return static_cast<int>(count);
}

void JoinContinuationLines(std::string& buffer) {
  size_t sign = 0;
  for (size_t i = 0; i < buffer.size(); ++i) {
    if (buffer[i] == '=') sign = i;
    if (buffer[i] != '\n') continue;
    if (sign != 0) buffer.replace(sign, i + 1 - sign, i + 1 - sign, ' ');
    sign = 0;
  }
}

void SplitWords(std::string_view text, std::vector<std::string_view>& words) {
  words.clear();
  for (size_t at = 0; at < text.size();) {
    while (at < text.size() && IsSeparator(text[at])) ++at;
    const size_t start = at;
    while (at < text.size() && !IsSeparator(text[at])) ++at;
    if (at > start) words.push_back(text.substr(start, at - start));
  }
}

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return upper;
}

}  // namespace marvik
