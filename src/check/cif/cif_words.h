#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/words.h"

namespace marvik::cif {

// Letters and digits alone, in lower case: "multi-scan" and "Multi Scan" are the same.
std::string Squeezed(std::string_view text);
bool Contains(std::string_view text, std::initializer_list<std::string_view> words);

}  // namespace marvik::cif
