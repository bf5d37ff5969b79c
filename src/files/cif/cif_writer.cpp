#include "files/cif/cif_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace marvik {
namespace {

constexpr size_t kLongestLine = 2048;
constexpr size_t kLongestValue = 72;  // beside its name
constexpr size_t kNameColumn = 34;
constexpr std::string_view kPrefix = "> ";

struct Letter {
  uint32_t code;
  std::string_view markup;
};
// International Tables G, 2.2.7.4.
constexpr Letter kLetters[] = {
    {0xb0, "\\%"},    {0xb1, "+-"},        {0xb7, "."},     {0xc4, "\\\"A"}, {0xc5, "\\%A"},  {0xc6, "AE"},
    {0xd6, "\\\"O"},  {0xd7, "\\\\times"}, {0xd8, "\\/O"},  {0xdc, "\\\"U"}, {0xdf, "\\&s"},  {0xe4, "\\\"a"},
    {0xe5, "\\%a"},   {0xe6, "ae"},        {0xf6, "\\\"o"}, {0xf8, "\\/o"},  {0xfc, "\\\"u"}, {0xc7, "\\,C"},
    {0xe7, "\\,c"},   {0xc0, "\\`A"},      {0xc8, "\\`E"},  {0xe0, "\\`a"},  {0xe8, "\\`e"},  {0xec, "\\`i"},
    {0xf2, "\\`o"},   {0xf9, "\\`u"},      {0xc1, "\\'A"},  {0xc9, "\\'E"},  {0xcd, "\\'I"},  {0xd3, "\\'O"},
    {0xda, "\\'U"},   {0xe1, "\\'a"},      {0xe9, "\\'e"},  {0xed, "\\'i"},  {0xf3, "\\'o"},  {0xfa, "\\'u"},
    {0xfd, "\\'y"},   {0xe2, "\\^a"},      {0xea, "\\^e"},  {0xee, "\\^i"},  {0xf4, "\\^o"},  {0xfb, "\\^u"},
    {0xeb, "\\\"e"},  {0xef, "\\\"i"},     {0xff, "\\\"y"}, {0xc3, "\\~A"},  {0xd1, "\\~N"},  {0xd5, "\\~O"},
    {0xe3, "\\~a"},   {0xf1, "\\~n"},      {0xf5, "\\~o"},  {0x105, "\\;a"}, {0x107, "\\'c"}, {0x10c, "\\<C"},
    {0x10d, "\\<c"},  {0x111, "\\/d"},     {0x119, "\\;e"}, {0x11b, "\\<e"}, {0x11f, "\\(g"}, {0x130, "\\.I"},
    {0x131, "\\?i"},  {0x141, "\\/L"},     {0x142, "\\/l"}, {0x144, "\\'n"}, {0x148, "\\<n"}, {0x151, "\\>o"},
    {0x159, "\\<r"},  {0x15a, "\\'S"},     {0x15b, "\\'s"}, {0x15f, "\\,s"}, {0x160, "\\<S"}, {0x161, "\\<s"},
    {0x171, "\\>u"},  {0x17a, "\\'z"},     {0x17c, "\\.z"}, {0x17d, "\\<Z"}, {0x17e, "\\<z"}, {0x2013, "--"},
    {0x2014, "---"},  {0x2018, "'"},       {0x2019, "'"},   {0x201c, "\""},  {0x201d, "\""},  {0x2212, "-"},
    {0x212b, "\\%A"}, {0xb2, "^2^"},       {0xb3, "^3^"},   {0xb5, "\\m"},
};

std::string CodedLetter(uint32_t code) {
  if (code >= 0x3b1 && code <= 0x3c9) {
    constexpr std::string_view kSmall = "abgdezhqiklmnxoprsstufcyw";
    return {'\\', kSmall[code - 0x3b1]};
  }
  if (code >= 0x391 && code <= 0x3a9) {
    constexpr std::string_view kCapital = "ABGDEZHQIKLMNXOPR STUFCYW";
    return {'\\', kCapital[code - 0x391]};
  }
  const auto* found = std::ranges::find(kLetters, code, &Letter::code);
  return found == std::end(kLetters) ? "?" : std::string(found->markup);
}

// One character of UTF-8, or a byte of Latin-1 where it is none; `at` goes behind it.
uint32_t NextCharacter(std::string_view text, size_t& at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
  const unsigned char first = byte(at++);
  const size_t more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : first >= 0xc2 ? 1 : 0;
  uint32_t code = first & (0x3fu >> more);
  for (size_t i = 0; i < more; ++i) {
    if ((byte(at + i) & 0xc0) != 0x80) return first;
    code = code << 6 | (byte(at + i) & 0x3fu);
  }
  if (more == 0) return first;
  at += more;
  return code;
}

bool IsBare(std::string_view value) {
  if (std::string_view("_#$'\";[]").find(value[0]) != value.npos) return false;
  for (const std::string_view word : {"data_", "save_", "loop_", "stop_", "global_"}) {
    const std::string_view head = value.substr(0, word.size());
    if (std::ranges::equal(head, word, [](char a, char b) { return (a | 0x20) == (b | 0x20); })) return false;
  }
  return value.find_first_of(" \t\r\n\v\f") == value.npos;
}

// A quote ends a value where a blank follows it.
bool CanStandIn(char quote, std::string_view value) {
  for (size_t at = value.find(quote); at != value.npos; at = value.find(quote, at + 1)) {
    if (at + 1 < value.size() && (value[at + 1] == ' ' || value[at + 1] == '\t')) return false;
  }
  return true;
}

}  // namespace

std::string CifMarkup(std::string_view text) {
  std::string coded;
  for (size_t at = 0; at < text.size();) {
    const auto c = static_cast<unsigned char>(text[at]);
    if (c >= 0x80) {
      coded += CodedLetter(NextCharacter(text, at));
      continue;
    }
    ++at;
    if (c >= 0x20 || c == '\n' || c == '\t') coded += static_cast<char>(c);
  }
  return coded;
}

std::string CifTextField(std::string_view lines) {
  bool semicolon = false;
  bool isLong = false;
  for (size_t at = 0; at < lines.size();) {
    const size_t end = std::min(lines.find('\n', at), lines.size());
    semicolon |= lines[at] == ';';
    isLong |= end - at > kLongestLine;
    at = end + 1;
  }
  // What looks like a protocol's own first line needs one as well.
  const std::string_view first = lines.substr(0, lines.find('\n'));
  const size_t last = first.find_last_not_of(" \t\r");
  const bool looksFolded = last != first.npos && first[last] == '\\';
  std::string out = "\n;";
  const std::string_view prefix = semicolon || looksFolded ? kPrefix : std::string_view();
  if (!prefix.empty() || isLong) out += std::string(prefix) + (isLong && !prefix.empty() ? "\\\\" : "\\");
  out += '\n';
  for (size_t at = 0; at < lines.size();) {
    const size_t end = std::min(lines.find('\n', at), lines.size());
    std::string_view line = lines.substr(at, end - at);
    at = end + 1;
    const size_t room = kLongestLine - kPrefix.size() - 1;
    while (isLong && line.size() > room) {
      out += std::string(prefix) + std::string(line.substr(0, room)) + "\\\n";
      line.remove_prefix(room);
    }
    // Where lines are folded, one that ends with a backslash of its own is followed by an empty piece.
    const size_t mark = line.find_last_not_of(" \t\r");
    const bool backslash = isLong && mark != line.npos && line[mark] == '\\';
    out += std::string(prefix) + std::string(line) + (backslash ? "\\\n" + std::string(prefix) : "") + "\n";
  }
  return out + ";";
}

std::string CifValueText(std::string_view value) {
  const std::string coded = CifMarkup(value);
  if (coded.empty()) return "?";
  if (coded == "?" || coded == "." || IsBare(coded)) return coded;
  const bool oneLine = coded.find('\n') == coded.npos && coded.size() < kLongestLine - kNameColumn;
  for (const char quote : {'\'', '"'}) {
    if (oneLine && CanStandIn(quote, coded)) return quote + coded + quote;
  }
  return CifTextField(coded);
}

std::string CifBlockName(std::string_view name) {
  std::string clean(name);
  std::ranges::replace_if(
      clean, [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 127; }, '_');
  return clean;
}

void CifWriter::Block(std::string_view name) {
  text_ += "data_" + CifBlockName(name) + "\n";
}

void CifWriter::Item(std::string_view name, std::string_view value) {
  std::string text = CifValueText(value);
  if (text.size() > kLongestValue && text[0] != '\n') text = CifTextField(CifMarkup(value));
  text_ += name;
  if (text[0] != '\n') text_.append(name.size() < kNameColumn ? kNameColumn - name.size() : 1, ' ');
  text_ += text + "\n";
}

void CifWriter::Field(std::string_view name, std::string_view lines) {
  text_ += std::string(name) + CifTextField(lines) + "\n";
}

void CifWriter::Loop(std::initializer_list<std::string_view> names) {
  loopHead_ = "\nloop_\n";
  for (const std::string_view name : names) loopHead_ += " " + std::string(name) + "\n";
}

void CifWriter::Row(const std::vector<std::string>& values) {
  text_ += loopHead_;
  loopHead_.clear();
  for (size_t i = 0; i < values.size(); ++i) {
    const std::string text = CifValueText(values[i]);
    text_ += i > 0 && text[0] != '\n' ? " " + text : text;
  }
  text_ += '\n';
}

}  // namespace marvik
