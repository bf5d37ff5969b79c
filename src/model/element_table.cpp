#include "model/element_table.h"

#include <algorithm>
#include <cstdlib>

#include "base/files.h"
#include "base/numbers.h"
#include "model/element_data.h"

namespace marvik {

namespace {

constexpr std::string_view kFileName = "sfac.tab";
constexpr size_t kLongestLine = 260;

constexpr char UpperLetter(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c >= 'A' && c <= 'Z' ? c : '\0';
}

// Row by upper-case first letter and second letter, the second 0 for a blank. One lookup per atom of a file.
using RowByLetters = std::array<std::array<uint8_t, 27>, 26>;

constexpr RowByLetters MakeRowByLetters() {
  RowByLetters rows{};
  for (auto& row : rows) row.fill(kUnknownRow);
  for (size_t i = 0; i + 1 < kElementDefaults.size(); ++i) {
    const char* symbol = kElementDefaults[i].symbol;
    const char second = UpperLetter(symbol[1]);
    rows[static_cast<size_t>(symbol[0] - 'A')][second ? static_cast<size_t>(second - 'A' + 1) : 0] =
        static_cast<uint8_t>(i + 1);
  }
  return rows;
}

constexpr RowByLetters kRowByLetters = MakeRowByLetters();

// Words of one line, read as scanf("%s") and scanf("%d") do: a number ends at the first character that is no digit.
class LineScanner {
 public:
  explicit LineScanner(std::string_view line) : rest_(line) {}

  std::string_view Word() {
    SkipBlanks();
    const size_t length = std::min(rest_.find_first_of(kBlanks), rest_.size());
    return Take(length);
  }
  bool Integer(int& value) {
    SkipBlanks();
    double number = 0.0;
    const size_t start = !rest_.empty() && (rest_[0] == '-' || rest_[0] == '+') ? 1 : 0;
    size_t end = start;
    while (end < rest_.size() && rest_[end] >= '0' && rest_[end] <= '9') ++end;
    if (end == start || ParseNumber(rest_.substr(0, end), number) == 0) return false;
    value = RoundHalfAway(number);
    Take(end);
    return true;
  }

 private:
  static constexpr std::string_view kBlanks = " \t\r\v\f";
  void SkipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size())); }
  std::string_view Take(size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view rest_;
};

double RadiusFromText(std::string_view text) {
  double radius = 0.0;
  ParseNumber(text, radius);
  return radius;
}

// "6 C  br 0.770000 ar 0.200000 color 169 169 169  texture 1"; what stands before the first field that does not scan
// counts.
void ApplyLine(ElementTable& table, std::string_view line) {
  if (line.starts_with('#')) return;
  LineScanner scan(line);
  int row = 0;
  if (!scan.Integer(row) || row < 1 || row >= kElementRows) return;
  ElementInfo& element = table[row];
  scan.Word();
  for (double* radius : {&element.bondRadius, &element.drawRadius}) {
    scan.Word();
    const std::string_view text = scan.Word();
    if (text.empty()) return;
    *radius = RadiusFromText(text);
  }
  scan.Word();
  std::array<int, 3> colour{RedOf(element.colour), GreenOf(element.colour), BlueOf(element.colour)};
  bool scanned = true;
  for (int& part : colour) scanned = scanned && scan.Integer(part);
  element.colour = PackColour(colour[0], colour[1], colour[2]);
  int texture = 0;
  if (!scanned || scan.Word().empty() || !scan.Integer(texture)) return;
  if (texture >= 0 && texture < kTextures) element.texture = static_cast<uint8_t>(texture);
}

}  // namespace

void ElementTable::SetDefaultRow(int row) {
  const int source = row >= 1 && row < kElementRows ? row : kUnknownRow;
  const ElementDefaults& from = kElementDefaults[static_cast<size_t>(source - 1)];
  ElementInfo to;
  to.symbol[0] = from.symbol[0];
  to.symbol[1] = from.symbol[1] ? from.symbol[1] : ' ';
  to.symbolLength = from.symbol[1] ? 2 : 1;
  to.atomicNumber = source;
  to.bondRadius = from.bondRadius;
  to.searchRadius = from.bondRadius + 0.5;
  to.drawRadius = from.drawRadius;
  to.numberAsReal = source == kUnknownRow ? 6.0 : source == kDeuteriumRow ? 1.0 : source;
  to.atomicWeight = from.atomicWeight;
  to.colour = PackColour(from.red, from.green, from.blue);
  to.texture = from.texture;
  rows_[static_cast<size_t>(row)] = to;
}

void ElementTable::SetDefaults() {
  for (int row = 0; row < kElementRows; ++row) SetDefaultRow(row);
}

int ElementTable::ElementFromLabel(std::string_view label) {
  const char first = label.empty() ? '\0' : UpperLetter(label[0]);
  if (!first) return kUnknownRow;
  const char second = label.size() > 1 ? UpperLetter(label[1]) : '\0';
  return kRowByLetters[static_cast<size_t>(first - 'A')][second ? static_cast<size_t>(second - 'A' + 1) : 0];
}

std::optional<std::string> ElementFilePath() {
  std::optional<std::string> path = EnvironmentValue(kPackageVariable);
  if (path) *path += kFileName;
  return path;
}

void InitElementTable(ElementTable& table, bool readUserFile) {
  table.SetDefaults();
  if (!readUserFile) return;
  if (const auto path = ElementFilePath()) ReadElementFile(table, *path);
}

bool ReadElementFile(ElementTable& table, const std::string& path) {
  const FileContent file = ReadWholeFile(path);
  if (!file.opened) return false;
  std::string_view rest = file.content;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    ApplyLine(table, rest.substr(0, std::min(end, kLongestLine)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return true;
}

bool WriteElementFile(const ElementTable& table, const std::string& path) {
  std::string text;
  for (int row = 1; row < kElementRows; ++row) {
    const ElementInfo& e = table[row];
    AppendPrintf(text, "%d %s br %f ar %f color %d %d %d  texture %d \n", row, e.symbol, e.bondRadius, e.drawRadius,
                 RedOf(e.colour), GreenOf(e.colour), BlueOf(e.colour), e.texture);
  }
  return WriteFileAtomically(path, text) == 0;
}

}  // namespace marvik
