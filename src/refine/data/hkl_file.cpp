#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/instruction.h"
#include "language/tokenizer.h"
#include "refine/data/reflections.h"

namespace marvik {
namespace {

constexpr double kLargestIntensity = 1e30;  // squares of intensities are summed
constexpr double kWhole = 0.05;             // of an index; what is farther from a whole number is none
constexpr size_t kSample = 300;             // lines that tell how a file is written

// h k l Fo² σ, the batch number and the wavelength, 0 without one.
using Fields = std::array<double, 7>;

bool IsWhole(double value) {
  return std::fabs(value - std::round(value)) < 1e-9;
}

// A fixed column: an empty one is 0, one that holds no number makes the line bad.
bool Column(std::string_view line, size_t at, size_t width, double& value) {
  value = 0.0;
  if (at >= line.size()) return true;
  std::string_view field = line.substr(at, width);
  while (!field.empty() && field.front() == ' ') field.remove_prefix(1);
  while (!field.empty() && (field.back() == ' ' || field.back() == '\t')) field.remove_suffix(1);
  return field.empty() || ParseWholeNumber(field, value);
}

bool ReadFixed(std::string_view line, Fields& v) {
  bool good = true;
  for (size_t i = 0; i < 3; ++i) good = Column(line, 4 * i, 4, v[i]) && IsWhole(v[i]) && good;
  good = Column(line, 12, 8, v[3]) && Column(line, 20, 8, v[4]) && good;
  if (!Column(line, 32, 8, v[6])) v[6] = 0.0;  // something else stands there in files of other kinds
  return Column(line, 28, 4, v[5]) && good;
}

// Numbers between blanks: five or more, of which the first three are whole.
bool ReadFree(std::string_view line, Fields& v) {
  v = {};
  size_t n = 0;
  std::vector<std::string_view> words;
  SplitWords(line, words);
  for (const std::string_view word : words) {
    if (n >= v.size() || !ParseWholeNumber(word, v[n])) break;
    ++n;
  }
  if (n >= 6 && !IsWhole(v[5])) v[5] = 0.0;
  return n >= 5 && IsWhole(v[0]) && IsWhole(v[1]) && IsWhole(v[2]);
}

bool Differ(const Fields& a, const Fields& b) {
  for (size_t i = 0; i < 5; ++i)
    if (std::fabs(a[i] - b[i]) > 1e-3 * std::fabs(a[i])) return true;
  return false;
}

// The lines of a file whose ends may be any of LF, CRLF and CR.
std::vector<std::string_view> LinesOf(std::string_view content) {
  std::vector<std::string_view> lines;
  while (!content.empty()) {
    const size_t end = content.find_first_of("\r\n");
    lines.push_back(content.substr(0, end));
    if (end == std::string_view::npos) break;
    content.remove_prefix(end + (content.substr(end, 2) == "\r\n" ? 2 : 1));
  }
  return lines;
}

// Whether numbers stand between blanks and not in the columns: most lines then mean something else by columns.
bool IsFreeFormat(const std::vector<std::string_view>& lines) {
  size_t free = 0;
  size_t fixed = 0;
  for (size_t i = 0; i < lines.size() && i < kSample; ++i) {
    Fields byColumns{};
    Fields byBlanks{};
    const bool columns = ReadFixed(lines[i], byColumns);
    const bool blanks = ReadFree(lines[i], byBlanks);
    if (blanks && (!columns || Differ(byBlanks, byColumns))) ++free;
    if (columns && !blanks) ++fixed;  // columns that touch
  }
  return free > 3 * fixed && 2 * free > std::min(lines.size(), kSample);
}

bool IsEnd(std::string_view line, const Fields& v) {
  return line.find_first_not_of(" \t") == std::string_view::npos || (v[0] == 0.0 && v[1] == 0.0 && v[2] == 0.0);
}

// The indices under the matrix of HKLF; false when they are not whole.
bool Transform(const HklFormat& format, const Fields& v, Miller& h) {
  for (size_t i = 0; i < 3; ++i) {
    const double index =
        format.matrix[3 * i] * v[0] + format.matrix[3 * i + 1] * v[1] + format.matrix[3 * i + 2] * v[2];
    h[i] = WholeNumber(index);
    if (std::fabs(index - h[i]) > kWhole) return false;
  }
  return true;
}

// An amplitude and its σ made an intensity.
void Square(double& f, double& sigma) {
  sigma = std::max(2.0 * std::fabs(f) * sigma, sigma * sigma);
  f *= std::fabs(f);
}

}  // namespace

HklFormat ParseHklf(const std::string& line) {
  HklFormat format;
  const Instruction command = ParseInstruction(line);
  const auto& n = command.numbers;
  if (!n.empty()) format.code = WholeNumber(n[0]);
  if (n.size() > 1 && n[1] != 0.0) format.scale = n[1];
  if (n.size() >= 11) std::copy(n.begin() + 2, n.begin() + 11, format.matrix.begin());
  if (n.size() > 11 && n[11] > 0.0) format.sigmaScale = n[11];
  return format;
}

HklFile ParseHklFile(const std::string& content, const HklFormat& format) {
  HklFile file;
  const std::vector<std::string_view> lines = LinesOf(content);
  const bool free = IsFreeFormat(lines);
  const auto read = free ? ReadFree : ReadFixed;
  size_t bad = 0, firstBad = 0, fractional = 0, firstFractional = 0, unsure = 0, behind = 0, colourless = 0;
  size_t at = 0;
  for (; at < lines.size(); ++at) {
    Fields v{};
    const bool good = read(lines[at], v) && std::fabs(v[3]) < kLargestIntensity && std::fabs(v[4]) < kLargestIntensity;
    if (IsEnd(lines[at], v) && (good || lines[at].find_first_not_of(" \t") == std::string_view::npos)) break;
    if (!good) {
      if (bad++ == 0) firstBad = at + 1;
      if (bad > 20 && file.reflections.empty()) break;
      continue;
    }
    Reflection r;
    if (!Transform(format, v, r.h)) {
      if (fractional++ == 0) firstFractional = at + 1;
      continue;
    }
    if (format.code == 3) Square(v[3], v[4]);
    r.intensity = v[3] * format.scale;
    r.sigma = std::fabs(v[4] * format.scale * format.sigmaScale);
    r.batch = v[5] == 0.0 ? 1 : WholeNumber(v[5]);
    if (format.code == 2 && v[6] > 0.0 && v[6] < 100.0) r.wavelength = static_cast<float>(v[6]);
    colourless += format.code == 2 && r.wavelength == 0.0f;
    unsure += r.sigma == 0.0;
    file.reflections.push_back(r);
  }
  const size_t end = at + 1;
  for (++at; at < lines.size(); ++at) {
    Fields v{};
    behind += read(lines[at], v) && !IsEnd(lines[at], v) && v[4] > 0.0;
  }
  if (free)
    file.notes.push_back("its numbers are read between blanks, for they do not stand in the columns 4 4 4 8 8 4");
  if (bad > 0) file.notes.push_back(Printf("line %zu and %zu more cannot be read", firstBad, bad - 1));
  if (fractional > 0) {
    file.notes.push_back(Printf("line %zu and %zu more have no whole indices under the matrix of HKLF and are left out",
                                firstFractional, fractional - 1));
  }
  if (unsure > 0) file.notes.push_back(Printf("%zu reflections have a standard uncertainty of 0", unsure));
  if (colourless > 0)
    file.notes.push_back(Printf("%zu reflections have no wavelength; that of CELL is taken", colourless));
  if (behind > 0) {
    file.notes.push_back(
        Printf("line %zu, blank or of zeros, ends it; %zu reflections behind it are not read", end, behind));
  }
  return file;
}

}  // namespace marvik
