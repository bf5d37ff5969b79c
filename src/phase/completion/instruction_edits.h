#pragma once

#include <string>

namespace marvik::phase {

// Changes of the text of an instruction file.

// Puts lines before the first line that begins with a keyword.
std::string WithLines(std::string text, const std::string& keyword, const std::string& lines);
// Puts a line in the place of the first that begins with a keyword.
std::string WithReplaced(std::string text, const std::string& keyword, const std::string& line);
// Without what stands behind END: peaks would be read as atoms.
std::string UpToEnd(const std::string& text);
// Its TWIN and BASF lines.
std::string TwinLines(const std::string& text);

}  // namespace marvik::phase
