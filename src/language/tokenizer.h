#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marvik {

inline constexpr int kReaderTokens = 128;

// Splits a line of up to 511 characters (what follows is ignored) at blanks, commas, tabs and line feeds into at most
// maxTokens texts of up to 79 characters, with their values: the number that the text begins with, kMissingNumber when
// it begins with none. Once maxTokens - 1 are taken the last slot gets the whole rest of the line, its value that rest
// as one number, an empty rest being 0. Both vectors get maxTokens entries; the result is how many are filled.
int Tokenize(std::string_view line, std::vector<std::string>& texts, std::vector<double>& values, int maxTokens);

// Joins continued lines of a whole file in place: everything from the last "=" of a line up to and including its line
// feed becomes blanks. A "=" that is the very first character of the file counts as none.
void JoinContinuationLines(std::string& buffer);

// The separators of a line: runs of them count as one. Carriage returns and NUL bytes are taken for blanks.
inline constexpr std::string_view kSeparators{" ,\t\n\r\0", 6};

// All words of a text, without any limit; `words` is emptied first.
void SplitWords(std::string_view text, std::vector<std::string_view>& words);

// ASCII letters only, whatever the locale.
std::string UpperCase(std::string_view text);

}  // namespace marvik
