#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// The separators of a line: runs of them count as one. Carriage returns and NUL bytes are taken for blanks.
inline constexpr std::string_view kSeparators{" ,\t\n\r\0", 6};

// All words of a text, without any limit; `words` is emptied first.
void SplitWords(std::string_view text, std::vector<std::string_view>& words);

// ASCII letters only, whatever the locale.
std::string UpperCase(std::string_view text);

}  // namespace marvik
