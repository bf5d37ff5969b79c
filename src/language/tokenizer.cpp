#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr bool IsSeparator(char c) {
  return c == ' ' || c == ',' || c == '\t' || c == '\n' || c == '\r' || c == '\0';
}

}  // namespace

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
