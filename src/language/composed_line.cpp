#include "language/composed_line.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "base/numbers.h"

namespace marvik {

namespace {

void AppendPadded(std::string& out, std::string_view number, int width) {
  if (number.size() < static_cast<size_t>(width)) out.append(static_cast<size_t>(width) - number.size(), ' ');
  out += number;
}

}  // namespace

void ComposedLine::Add(std::string_view piece) {
  constexpr size_t kMark = 2;  // " ="
  if (column_ + piece.size() + kMark > kLongestLine && column_ > indent_.size()) Break();
  text_ += piece;
  column_ += piece.size();
}

void ComposedLine::Break() {
  if (!text_.ends_with(' ')) text_ += ' ';
  text_.append("=\n").append(indent_);
  column_ = indent_.size();
}

void AppendFixed(std::string& out, double value, int width, int decimals) {
  char buffer[64];
  constexpr double kLargestPlain = 1.0e15;
  constexpr int kMostDecimals = 15;  // beyond these a double has none
  const auto result = std::fabs(value) < kLargestPlain
                          ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed,
                                          std::min(decimals, kMostDecimals))
                          : std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific, 9);
  AppendPadded(out, {buffer, static_cast<size_t>(result.ptr - buffer)}, width);
}

void AppendFixedExact(std::string& out, double value, int width, int decimals) {
  std::string text;
  AppendFixed(text, value, width, decimals);
  double written = 0.0;
  if (!ParseWholeNumber(text, written) || written != value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    text.clear();
    AppendPadded(text, {buffer, static_cast<size_t>(result.ptr - buffer)}, width);
  }
  out += text;
}

}  // namespace marvik
