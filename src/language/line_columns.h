#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// Words of an instruction, keyword and all, without continuation marks and comments; as many lines as it takes.
std::vector<std::string_view> WordsInFile(std::string_view lines);

// The line of a file with other words in the columns that its own have: numbers end where the old ones ended, with
// their decimals unless that would lose digits, other words begin where the old ones began; a word that says the same
// stays as it is, and so does everything between the words and behind them. More words than before go behind the
// last. Nothing where there are fewer, or where they do not fit the line.
std::optional<std::string> InColumns(std::string_view line, const std::vector<std::string_view>& words);

}  // namespace marvik
