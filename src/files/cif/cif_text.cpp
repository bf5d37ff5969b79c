#include "files/cif/cif_text.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr size_t kNone = std::string_view::npos;

bool IsLineEnd(char c) {
  return c == '\n' || c == '\r';
}

bool IsBlank(char c) {
  return static_cast<unsigned char>(c) <= ' ' && (c == ' ' || (c >= '\t' && c <= '\r') || c == '\0' || c == '\x1A');
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool BeginsWithWord(std::string_view text, std::string_view lowerWord) {
  return text.size() >= lowerWord.size() &&
         std::equal(lowerWord.begin(), lowerWord.end(), text.begin(), [](char a, char b) { return a == Lower(b); });
}

std::string CommonName(std::string_view name) {
  std::string common(name);
  std::ranges::transform(common, common.begin(), [](char c) { return c == '.' ? '_' : Lower(c); });
  return common;
}

// Where the line that begins at `from` ends.
size_t LineEndFrom(std::string_view text, size_t from) {
  while (from < text.size() && !IsLineEnd(text[from])) ++from;
  return from;
}

CifValue Given(const CifTokens& tokens) {
  if (!tokens.isUnknown) return tokens.text;
  return tokens.text == "." ? tokens.text.substr(0, 0) : CifValue{};
}

// The line at `at`, which moves behind its line end.
std::string_view TakeLine(std::string_view text, size_t& at) {
  const size_t end = LineEndFrom(text, at);
  const std::string_view line = text.substr(at, end - at);
  at = std::min(end + 1, text.size());
  if (text.substr(end).starts_with("\r\n")) ++at;
  return line;
}

std::string_view WithoutTrailingBlanks(std::string_view line) {
  while (line.ends_with(' ') || line.ends_with('\t')) line.remove_suffix(1);
  return line;
}

}  // namespace

CifTokens::CifTokens(std::string_view cif) : all_(cif) {
  if (all_.starts_with("\xEF\xBB\xBF")) all_.remove_prefix(3);
  isVersion2_ = all_.starts_with("#\\#CIF_2.0");
}

CifTokens::Kind CifTokens::Next() {
  isUnknown = isTextField = false;
  text = {};
  for (; at_ < all_.size(); ++at_) {
    const char c = all_[at_];
    if (IsBlank(c)) continue;
    if (c == '#') {
      at_ = LineEndFrom(all_, at_);
      if (at_ == all_.size()) break;
      continue;
    }
    begin = at_;
    if (c == ';' && AtLineStart()) return TextField();
    if (c == '\'' || c == '"') return Quoted();
    if (isVersion2_ && (c == '[' || c == '{')) return Bracketed();
    return Bare();
  }
  return Kind::End;
}

CifTokens::Kind CifTokens::Given(std::string_view value, size_t end) {
  text = value;
  at_ = end;
  return Kind::Value;
}

CifTokens::Kind CifTokens::TextField() {
  isTextField = true;
  size_t end = all_.find(';', at_ + 1);
  while (end != kNone && !IsLineEnd(all_[end - 1])) end = all_.find(';', end + 1);
  if (end == kNone) return Given(all_.substr(at_ + 1), all_.size());
  std::string_view content = all_.substr(at_ + 1, end - at_ - 2);
  if (content.ends_with('\r') && all_[end - 1] == '\n') content.remove_suffix(1);
  return Given(content, end + 1);
}

CifTokens::Kind CifTokens::Quoted() {
  const char quote = all_[at_];
  const size_t inside = at_ + 1;
  if (isVersion2_ && all_.substr(inside).starts_with(std::string(2, quote))) {
    const size_t end = all_.find(std::string(3, quote), inside + 2);
    if (end == kNone) return Given(all_.substr(inside + 2), all_.size());
    return Given(all_.substr(inside + 2, end - inside - 2), end + 3);
  }
  for (size_t i = inside; i < all_.size() && !IsLineEnd(all_[i]); ++i) {
    if (all_[i] == quote && (i + 1 == all_.size() || IsBlank(all_[i + 1]))) {
      return Given(all_.substr(inside, i - inside), i + 1);
    }
  }
  const size_t end = LineEndFrom(all_, inside);
  return Given(WithoutTrailingBlanks(all_.substr(inside, end - inside)), end);
}

// A list or table as one value: nothing that is looked for is in one.
CifTokens::Kind CifTokens::Bracketed() {
  int depth = 0;
  size_t end = at_;
  for (; end < all_.size(); ++end) {
    const char c = all_[end];
    depth += c == '[' || c == '{';
    depth -= c == ']' || c == '}';
    if (depth == 0) break;
  }
  end = std::min(end + 1, all_.size());
  return Given(all_.substr(at_, end - at_), end);
}

CifTokens::Kind CifTokens::Bare() {
  while (at_ < all_.size() && !IsBlank(all_[at_])) ++at_;
  text = all_.substr(begin, at_ - begin);
  if (text[0] == '_') return Kind::Name;
  const auto behind = [this](size_t n) { return text.substr(n); };
  if (BeginsWithWord(text, "data_")) {
    text = behind(5);
    return Kind::Block;
  }
  if (BeginsWithWord(text, "save_")) {
    text = behind(5);
    return Kind::Frame;
  }
  if (text.size() == 5 && BeginsWithWord(text, "loop_")) return Kind::Loop;
  if (text.size() == 7 && BeginsWithWord(text, "global_")) {
    text = {};
    return Kind::Block;
  }
  isUnknown = text == "?" || text == ".";
  return Kind::Value;
}

CifReader::CifReader(std::string_view cif, std::vector<std::string_view> wanted)
    : tokens_(cif), kind_(tokens_.Next()), wanted_(std::move(wanted)) {}

bool CifReader::IsWanted(std::string_view name) const {
  return std::ranges::any_of(wanted_, [name](std::string_view begin) { return name.starts_with(begin); });
}

bool CifReader::Next(CifBlock& block) {
  using enum CifTokens::Kind;
  block = {};
  if (kind_ == End) return false;
  if (kind_ == Block || kind_ == Frame) {
    block.name = tokens_.text;
    Advance();
  }
  while (kind_ != End && kind_ != Block && kind_ != Frame) {
    if (kind_ == Loop) {
      ReadLoop(block);
    } else if (kind_ == Name) {
      ReadItem(block);
    } else {
      Advance();  // a value without a name
    }
  }
  return true;
}

void CifReader::ReadItem(CifBlock& block) {
  std::string name = CommonName(tokens_.text);
  Advance();
  if (kind_ != CifTokens::Kind::Value) return;
  if (tokens_.isTextField) block.textFields.push_back(tokens_.text);
  if (IsWanted(name)) {
    CifLoop& loop = block.loops.emplace_back();
    loop.names.push_back(std::move(name));
    loop.values.push_back(Given(tokens_));
  }
  Advance();
}

void CifReader::ReadLoop(CifBlock& block) {
  CifLoop loop;
  bool isWanted = false;
  for (Advance(); kind_ == CifTokens::Kind::Name; Advance()) {
    loop.names.push_back(CommonName(tokens_.text));
    isWanted = isWanted || IsWanted(loop.names.back());
  }
  for (; kind_ == CifTokens::Kind::Value; Advance()) {
    if (tokens_.isTextField) block.textFields.push_back(tokens_.text);
    if (isWanted) loop.values.push_back(Given(tokens_));
  }
  if (!isWanted) return;
  const size_t surplus = loop.values.size() % loop.names.size();
  loop.isCut = surplus > 0;
  loop.values.resize(loop.values.size() - surplus);
  block.loops.push_back(std::move(loop));
}

CifColumn FindColumn(const CifBlock& block, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names)
    for (const CifLoop& loop : block.loops) {
      const auto at = std::ranges::find(loop.names, name);
      if (at != loop.names.end()) return {&loop, static_cast<size_t>(at - loop.names.begin())};
    }
  return {};
}

// The first line says what was done: a backslash alone folds long lines, a prefix with one backslash stands before
// every line, with two both hold.
std::string UnfoldedText(std::string_view field) {
  size_t at = 0;
  std::string_view prefix = WithoutTrailingBlanks(TakeLine(field, at));
  if (!prefix.ends_with('\\')) return std::string(field);
  prefix.remove_suffix(1);
  bool isFolded = prefix.empty();
  if (prefix.ends_with('\\')) {
    prefix.remove_suffix(1);
    isFolded = true;
  }
  for (size_t line = at; line < field.size();)
    if (!TakeLine(field, line).starts_with(prefix)) return std::string(field);
  std::string text;
  while (at < field.size()) {
    const size_t start = at;
    const size_t end = start + TakeLine(field, at).size();
    const std::string_view line = field.substr(start + prefix.size(), end - start - prefix.size());
    const std::string_view folded = WithoutTrailingBlanks(line);
    if (isFolded && folded.ends_with('\\')) {
      text += folded.substr(0, folded.size() - 1);
    } else {
      text.append(line).append(end < at ? field.substr(end, at - end) : "\n");
    }
  }
  return text;
}

std::string AttachedLines(std::string_view field) {
  std::string text = UnfoldedText(field);
  if (text != field) return text;
  // The field begins behind the semicolon, and the last line end belongs to its delimiter.
  const bool crlf = field.find("\r\n") != kNone;
  const size_t first = field.starts_with("\r\n") ? 2 : field.starts_with('\n') || field.starts_with('\r') ? 1 : 0;
  text.erase(0, first);
  return text.empty() ? text : text + (crlf && !text.ends_with('\r') ? "\r\n" : "\n");
}

bool ParseCifNumber(CifValue value, double& number, double* uncertainty) {
  if (uncertainty) *uncertainty = 0.0;
  size_t used = ParseNumber(value, number);
  if (used == 0) return false;
  value.remove_prefix(used);
  while (value.starts_with(' ')) value.remove_prefix(1);
  if (value.empty()) return true;
  // Old databases have 7.060+2 for 7.060(2).
  const bool isPlus = value.starts_with('+') && value.find_first_not_of("0123456789", 1) == value.npos;
  if (!value.starts_with('(') && !(isPlus && value.size() > 1)) return false;
  double digits = 0.0;
  value.remove_prefix(1);
  used = ParseNumber(value, digits);
  // "(?)" and an open parenthesis at the end of a cut value are met.
  if (used > 0 && uncertainty) *uncertainty = std::max(digits, 0.0);
  return true;
}

}  // namespace marvik
