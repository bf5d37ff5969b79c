#include "run/progress_curve.h"

#include "base/numbers.h"

namespace marvik {
namespace {

constexpr size_t kMostPoints = 10000;

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The number behind a key that does not stand inside a longer word.
std::optional<double> NumberBehind(std::string_view line, std::string_view key) {
  for (size_t at = 0; (at = line.find(key, at)) != line.npos; at += key.size()) {
    if (at > 0 && IsWordCharacter(line[at - 1])) continue;
    std::string_view rest = line.substr(at + key.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(" ="), rest.size()));
    double value = 0.0;
    if (ParseNumber(rest, value)) return value;
  }
  return std::nullopt;
}

void Set(std::optional<double>& field, std::optional<double> value) {
  if (value) field = value;
}

}  // namespace

void ProgressCurve::Take(std::string_view line) {
  const auto wR2 = NumberBehind(line, "wR2 =");
  const auto r1 = NumberBehind(line, "R1 =");
  auto goof = NumberBehind(line, "GooF = S =");
  if (!goof) goof = NumberBehind(line, "S =");
  auto shift = NumberBehind(line, "largest move");
  if (!shift) shift = NumberBehind(line, "Max. shift =");
  std::optional<double> overSu;
  if (line.find("shift/su") != line.npos || line.find("shift/esd") != line.npos) {
    overSu = NumberBehind(line, "largest");
    if (!overSu) overSu = NumberBehind(line, "Maximum");
  }
  if (!wR2 && !r1 && !goof && !shift && !overSu) return;
  if ((wR2 && points_.size() < kMostPoints) || points_.empty()) points_.emplace_back();
  CyclePoint& point = points_.back();
  Set(point.wR2, wR2);
  Set(point.r1, r1);
  Set(point.goof, goof);
  Set(point.shift, shift);
  Set(point.overSu, overSu);
}

}  // namespace marvik
