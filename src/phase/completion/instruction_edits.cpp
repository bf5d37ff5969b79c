#include "phase/completion/instruction_edits.h"

#include <sstream>

namespace marvik::phase {

std::string WithLines(std::string text, const std::string& keyword, const std::string& lines) {
  const size_t at = text.find("\n" + keyword);
  if (at != std::string::npos) text.insert(at + 1, lines);
  return text;
}

std::string WithReplaced(std::string text, const std::string& keyword, const std::string& line) {
  const size_t at = text.find("\n" + keyword);
  if (at == std::string::npos) return text;
  const size_t end = text.find('\n', at + 1);
  return text.replace(at + 1, end - at - 1, line);
}

std::string UpToEnd(const std::string& text) {
  const size_t at = text.find("\nEND");
  return at == std::string::npos ? text : text.substr(0, at) + "\nEND\n";
}

std::string TwinLines(const std::string& text) {
  std::istringstream in(text);
  std::string lines;
  for (std::string line; std::getline(in, line);)
    if (line.starts_with("TWIN") || line.starts_with("BASF")) lines += line + "\n";
  return lines;
}

}  // namespace marvik::phase
