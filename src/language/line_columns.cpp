#include "language/line_columns.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/composed_line.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr int kFullDecimals = 5;

// Whether nothing but blanks and a comment stands behind a "=" on its line.
bool EndsLine(std::string_view text, size_t sign) {
  const size_t next = text.find_first_not_of(" \t", sign + 1);
  return next == std::string_view::npos || text[next] == '\r' || text[next] == '\n' || text[next] == '!';
}

int DecimalsOf(std::string_view number) {
  const size_t point = number.find('.');
  if (point == std::string_view::npos || number.find_first_of("eEdD") != std::string_view::npos) return -1;
  const size_t end = std::min(number.find_first_not_of("0123456789", point + 1), number.size());
  return static_cast<int>(end - point - 1);
}

std::string Fixed(double value, int decimals) {
  std::string text;
  AppendFixed(text, value, 0, decimals);
  return text;
}

struct NewWord {
  std::string text;
  bool number = false;
};

// What to write where `before` stood; `before` itself where both say the same.
NewWord Instead(std::string_view before, std::string_view after) {
  double old = 0.0;
  double now = 0.0;
  const bool number = ParseNumber(before, old) > 0 && ParseWholeNumber(after, now);
  if (!number) return {std::string(UpperCase(before) == UpperCase(after) ? before : after), false};
  const int written = DecimalsOf(after);
  if (old == now || (written >= 0 && Fixed(old, written) == after)) return {std::string(before), true};
  const int decimals = std::max(DecimalsOf(before), 0);
  std::string fixed = Fixed(now, decimals);
  double kept = 0.0;
  const bool exact = ParseWholeNumber(fixed, kept) && kept == now;
  return {exact || decimals >= kFullDecimals ? fixed : std::string(after), true};
}

bool FitsLines(std::string_view text, size_t longest) {
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    const size_t code = std::min(text.substr(at, end - at).find('!'), end - at);
    if (code > longest) return false;
    at = end + 1;
  }
  return true;
}

size_t LongestLine(std::string_view text) {
  size_t longest = kLongestLine;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    longest = std::max(longest, end - at);
    at = end + 1;
  }
  return longest;
}

}  // namespace

std::vector<std::string_view> WordsInFile(std::string_view lines) {
  std::vector<std::string_view> words;
  for (size_t at = 0; (at = lines.find_first_not_of(kSeparators, at)) != std::string_view::npos;) {
    if (lines[at] == '!') {
      at = std::min(lines.find_first_of("\r\n", at), lines.size());
    } else if (lines[at] == '=' && EndsLine(lines, at)) {
      ++at;
    } else {
      size_t end = at;
      while (end < lines.size() && kSeparators.find(lines[end]) == std::string_view::npos && lines[end] != '!' &&
             !(lines[end] == '=' && EndsLine(lines, end)))
        ++end;
      words.push_back(lines.substr(at, end - at));
      at = end;
    }
  }
  return words;
}

std::optional<std::string> InColumns(std::string_view line, const std::vector<std::string_view>& words) {
  const std::vector<std::string_view> old = WordsInFile(line);
  if (old.empty() || words.size() < old.size()) return std::nullopt;
  // A mark that text follows on its line continues the line all the same, and the text is none.
  if (std::ranges::any_of(old, [](std::string_view word) { return word.find('=') != word.npos; })) return std::nullopt;
  const auto offset = [&](std::string_view word) { return static_cast<size_t>(word.data() - line.data()); };
  std::string out(line.substr(0, offset(old.front())));
  size_t lineStart = 0;     // in out
  size_t oldLineStart = 0;  // in line
  size_t behind = 0;        // the last old word, in line
  for (size_t i = 0; i < words.size(); ++i) {
    if (i >= old.size()) {
      out.append(" ").append(words[i]);
      continue;
    }
    const NewWord word = Instead(old[i], words[i]);
    const size_t start = offset(old[i]);
    if (i > 0) {
      const std::string_view gap = line.substr(behind, start - behind);
      if (const size_t feed = gap.find_last_of("\r\n"); feed != std::string_view::npos) {
        out += gap;
        oldLineStart = behind + feed + 1;
        lineStart = out.size() - (gap.size() - feed - 1);
      } else if (gap.find_first_not_of(' ') != std::string_view::npos) {
        out += gap;
      } else {
        const bool right = word.number && word.text != old[i];
        const size_t place = right ? start + old[i].size() : start;
        const size_t wanted = lineStart + (place - oldLineStart);
        const size_t length = out.size() + (right ? word.text.size() : 0);
        out.append(wanted > length ? std::max<size_t>(wanted - length, 1) : 1, ' ');
      }
    }
    out += word.text;
    behind = start + old[i].size();
  }
  out += line.substr(behind);
  if (!FitsLines(out, LongestLine(line))) return std::nullopt;
  return out;
}

}  // namespace marvik
