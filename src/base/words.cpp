#include "base/words.h"

namespace marvik {

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

std::string_view Trimmed(std::string_view text, std::string_view without) {
  const size_t first = text.find_first_not_of(without);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(without) - first + 1);
}

}  // namespace marvik
