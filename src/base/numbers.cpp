#include "base/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <locale.h>

namespace marvik {

namespace {

// Whether a non-zero number that no double can hold is too small, not too large: by the power of ten of its first
// digit.
bool IsTooSmall(std::string_view number) {
  const size_t mark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, mark);
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  const size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
  double exponent = 0.0;
  if (mark < number.size()) ParseNumber(number.substr(mark + 1), exponent);
  return static_cast<double>(point) - static_cast<double>(first) + exponent < 0.0;
}

}  // namespace

size_t ParseNumber(std::string_view text, double& value) {
  const bool negative = text.starts_with('-');
  const size_t digits = negative || text.starts_with('+') ? 1 : 0;
  const auto isDigit = [&](size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
  if (!isDigit(digits) && !(digits < text.size() && text[digits] == '.' && isDigit(digits + 1))) return 0;
  double parsed = 0.0;
  const auto [end, error] = std::from_chars(text.data() + digits, text.data() + text.size(), parsed);
  if (error == std::errc::invalid_argument) return 0;
  const size_t used = static_cast<size_t>(end - text.data());
  if (error == std::errc::result_out_of_range)
    parsed = IsTooSmall(text.substr(digits, used - digits)) ? 0.0 : std::numeric_limits<double>::max();
  value = negative ? -parsed : parsed;
  return used;
}

bool ParseWholeNumber(std::string_view text, double& value) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return false;
  text = text.substr(first, text.find_last_not_of(" \t") + 1 - first);
  double parsed = 0.0;
  if (ParseNumber(text, parsed) != text.size()) return false;
  value = parsed;
  return true;
}

int RoundHalfAway(double v) {
  if (!(std::fabs(v) < 2147483647.0)) {
    if (std::isnan(v) || IsMissing(v)) return 0;
    return v > 0 ? std::numeric_limits<int>::max() : std::numeric_limits<int>::min();
  }
  return static_cast<int>(std::round(v));
}

namespace {

// Switches this thread to the "C" locale for its lifetime.
class PlainLocale {
 public:
  PlainLocale() {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    previous_ = uselocale(plain);
  }
  ~PlainLocale() { uselocale(previous_); }
  PlainLocale(const PlainLocale&) = delete;
  PlainLocale& operator=(const PlainLocale&) = delete;

 private:
  locale_t previous_;
};

void AppendFormatted(std::string& out, const char* format, va_list arguments) {
  const PlainLocale plain;
  char buffer[256];
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(buffer, sizeof buffer, format, arguments);
  if (length >= static_cast<int>(sizeof buffer)) {
    const size_t old = out.size();
    out.resize(old + static_cast<size_t>(length) + 1);
    vsnprintf(out.data() + old, static_cast<size_t>(length) + 1, format, again);
    out.resize(old + static_cast<size_t>(length));
  } else if (length > 0) {
    out.append(buffer, static_cast<size_t>(length));
  }
  va_end(again);
}

}  // namespace

std::string Printf(const char* format, ...) {
  std::string out;
  va_list arguments;
  va_start(arguments, format);
  AppendFormatted(out, format, arguments);
  va_end(arguments);
  return out;
}

void AppendPrintf(std::string& out, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendFormatted(out, format, arguments);
  va_end(arguments);
}

}  // namespace marvik
