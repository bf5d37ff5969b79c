#include "check/cif/cif_words.h"

#include <algorithm>

namespace marvik::cif {

std::string Squeezed(std::string_view text) {
  std::string kept = LowerCase(text);
  std::erase_if(kept, [](char c) { return !(c >= 'a' && c <= 'z') && !(c >= '0' && c <= '9'); });
  return kept;
}

bool Contains(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(words, [text](std::string_view word) { return text.find(word) != text.npos; });
}

}  // namespace marvik::cif
