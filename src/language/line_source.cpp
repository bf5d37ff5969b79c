#include "language/line_source.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/words.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr size_t kNone = std::string_view::npos;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks{" \t\r\f\v\0\x1A", 7};

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(kBlanks) == kNone;
}

// A name and a number, which is how an atom line begins; a name alone where everything else is on the next line.
bool BeginsAtom(std::string_view code, bool nothingFollows) {
  const size_t name = code.find_first_not_of(kSeparators);
  if (name == kNone) return false;
  const size_t gap = std::min(code.find_first_of(kSeparators, name), code.size());
  if (code.substr(name, gap - name).find('=') != kNone) return false;
  const size_t number = code.find_first_not_of(kSeparators, gap);
  if (number == kNone) return nothingFollows;
  const size_t end = std::min(code.find_first_of(kSeparators, number), code.size());
  double value = 0.0;
  return ParseNumber(code.substr(number, end - number), value) == end - number;
}

// Where a line is continued, kNone when it is not. `end` is where its comment begins.
size_t ContinuationMark(std::string_view line, size_t end, const LineHead& head) {
  const std::string_view code = line.substr(0, end);
  const size_t sign = code.rfind('=');
  if (sign == kNone) return kNone;
  switch (head.keyword) {
    case InstructionKeyword::kTitl:
    case InstructionKeyword::kRem:
    case InstructionKeyword::kBlank:
    case InstructionKeyword::kInclude:
      return kNone;
    case InstructionKeyword::kAtomLine:
      return BeginsAtom(code.substr(0, sign), IsBlank(code.substr(sign + 1))) ? sign : kNone;
    default:
      return sign;
  }
}

void AppendWithBlank(std::string& to, std::string_view what) {
  if (what.empty()) return;
  if (!to.empty()) to += ' ';
  to += what;
}

}  // namespace

LineSource::LineSource(std::string_view text) : text_(text) {
  if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  const size_t feeds = static_cast<size_t>(std::count(text_.begin(), text_.end(), '\n'));
  returnsOnly_ = feeds == 0 && text_.find('\r') != kNone;
  if (returnsOnly_) {
    lineEnd_ = "\r";
    return;
  }
  size_t pairs = 0;
  for (size_t i = text_.find("\r\n"); i != kNone; i = text_.find("\r\n", i + 2)) ++pairs;
  if (2 * pairs > feeds) lineEnd_ = "\r\n";
}

std::string_view LineSource::NextPhysical() {
  const size_t end = std::min(text_.find(returnsOnly_ ? '\r' : '\n', at_), text_.size());
  std::string_view line = text_.substr(at_, end - at_);
  at_ = std::min(end + 1, text_.size());
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool LineSource::Next(SourceLine& line) {
  while (at_ < text_.size()) {
    const std::string_view first = NextPhysical();
    if (IsBlank(first)) continue;
    line = {};
    line.raw = line.code = first;
    line.head = HeadOf(first);
    const InstructionKeyword keyword = line.head.keyword;
    if (keyword == InstructionKeyword::kTitl || keyword == InstructionKeyword::kRem ||
        keyword == InstructionKeyword::kInclude)
      return true;
    const size_t comment = first.find('!');
    const size_t sign = ContinuationMark(first, comment, line.head);
    if (comment != kNone) {
      line.comment = first.substr(comment);
      line.code = first.substr(0, comment);
    }
    if (sign != kNone) TakeContinued(first, sign, line);
    if (sign != kNone || comment != kNone) {
      const bool residue = !line.head.residue.empty();
      line.head.arguments = residue ? line.code.substr(std::min(line.code.size(), 4 + line.head.residue.size()))
                                    : line.code.substr(std::min<size_t>(4, line.code.size()));
    }
    return true;
  }
  return false;
}

void LineSource::TakeContinued(std::string_view first, size_t sign, SourceLine& line) {
  code_ = first.substr(0, sign);
  comment_ = line.comment;
  lost_ = Trimmed(first.substr(sign + 1, line.code.size() - sign - 1), kBlanks);
  std::string_view last = first;
  while (sign != kNone && at_ < text_.size()) {
    last = NextPhysical();
    const size_t comment = std::min(last.find('!'), last.size());
    const std::string_view code = last.substr(0, comment);
    sign = code.rfind('=');
    code_ += ' ';
    code_ += code.substr(0, sign);
    AppendWithBlank(comment_, last.substr(comment));
    if (sign != kNone) AppendWithBlank(lost_, Trimmed(code.substr(sign + 1), kBlanks));
  }
  // Marks that were not the last of their line are no words.
  std::replace(code_.begin(), code_.end(), '=', ' ');
  line.open = sign != kNone;
  line.raw = {first.data(), static_cast<size_t>(last.data() + last.size() - first.data())};
  line.code = code_;
  line.comment = comment_;
  line.lost = lost_;
}

bool LineSource::TakeFragment(SourceLine& line) {
  if (noFragmentEnd_) return false;
  LineSource ahead(*this);
  SourceLine next;
  while (ahead.Next(next) && next.head.keyword != InstructionKeyword::kEnd) {
    if (next.head.keyword != InstructionKeyword::kFend) continue;
    line.raw = {line.raw.data(), static_cast<size_t>(next.raw.data() + next.raw.size() - line.raw.data())};
    line.open = next.open;
    at_ = ahead.at_;
    return true;
  }
  noFragmentEnd_ = true;
  return false;
}

std::string LineSource::KeptText(const SourceLine& line) const {
  std::string text;
  text.reserve(line.raw.size() + 1);
  const char lineEnd = returnsOnly_ ? '\r' : '\n';
  for (size_t at = 0;;) {
    const size_t end = std::min(line.raw.find(lineEnd, at), line.raw.size());
    std::string_view physical = line.raw.substr(at, end - at);
    while (physical.ends_with('\r')) physical.remove_suffix(1);
    text += physical;
    if (end == line.raw.size()) break;
    text += '\n';
    at = end + 1;
  }
  if (line.open) text += '\n';
  return text;
}

}  // namespace marvik
