#include "run/result_summary.h"

#include <string>

#include "base/numbers.h"
#include "run/model_changes.h"

namespace marvik {
namespace {

// The number behind a word in a line.
std::optional<double> NumberBehind(std::string_view line, std::string_view word) {
  const size_t at = line.find(word);
  if (at == std::string_view::npos) return std::nullopt;
  const size_t begin = line.find_first_not_of(" =", at + word.size());
  double value = 0.0;
  if (begin == std::string_view::npos || ParseNumber(line.substr(begin), value) == 0) return std::nullopt;
  return value;
}

void Take(std::optional<double>& into, std::optional<double> value) {
  if (value) into = value;
}
void Take(std::optional<int>& into, std::optional<double> value) {
  if (value) into = RoundHalfAway(*value);
}

}  // namespace

ResultSummary SummaryOfResult(std::string_view text) {
  ResultSummary summary;
  summary.figures = FiguresOfResult(text);
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    const std::string_view line = text.substr(at, end - at);
    at = end + 1;
    if (!line.starts_with("REM ")) continue;
    if (line.find("parameters refined") != std::string_view::npos) {
      Take(summary.parameters, NumberBehind(line, "REM"));
      Take(summary.restraints, NumberBehind(line, "using"));
    }
    Take(summary.data, NumberBehind(line, "for all"));
    Take(summary.peak, NumberBehind(line, "ighest difference peak"));
    Take(summary.hole, NumberBehind(line, "deepest hole"));
  }
  return summary;
}

}  // namespace marvik
