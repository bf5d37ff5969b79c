#include "files/start/job_start.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "base/numbers.h"
#include "base/words.h"
#include "files/cif/cif_elements.h"
#include "files/cif/cif_text.h"
#include "files/res/reader.h"
#include "language/tokenizer.h"
#include "model/document.h"

namespace marvik {
namespace {

constexpr size_t kFewestRows = 20;  // of a text field that holds reflections
constexpr double CellParameters::*kCellFields[] = {&CellParameters::a,    &CellParameters::b,
                                                   &CellParameters::c,    &CellParameters::alpha,
                                                   &CellParameters::beta, &CellParameters::gamma};

// The line up to its end, which is passed.
std::string_view NextLine(std::string_view& text) {
  const size_t end = std::min(text.find_first_of("\r\n"), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(text.size(), end + 1));
  return line;
}

size_t NumbersOf(std::string_view text, double* values, size_t most) {
  size_t count = 0;
  while (count < most) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const size_t used = ParseNumber(text, values[count]);
    if (used == 0) break;
    text.remove_prefix(used);
    ++count;
  }
  return count;
}

// Without blanks and quotes around it.
std::string Bare(std::string_view text) {
  return std::string(Trimmed(text, " \t'\""));
}

bool TakeCell(JobStart& start, const double* values) {
  CellParameters cell;
  for (size_t i = 0; i < 6; ++i) cell.*kCellFields[i] = values[i];
  if (IsPossible(cell)) start.cell = cell;
  return start.cell.has_value();
}

// Lines of h k l I sigma, all of them.
bool HoldsReflections(std::string_view text) {
  size_t rows = 0;
  while (!text.empty() && rows < kFewestRows) {
    const std::string_view line = NextLine(text);
    if (Bare(line).empty()) continue;
    double v[3];
    if (line.size() < 20 || line.size() > 80) return false;
    for (size_t i = 0; i < 3; ++i)
      if (!ParseWholeNumber(line.substr(4 * i, 4), v[i]) || v[i] != std::floor(v[i])) return false;
    if (!ParseWholeNumber(line.substr(12, 8), v[0])) return false;
    ++rows;
  }
  return rows >= kFewestRows;
}

bool IsWavelength(double value) {
  return value >= kShortestWavelength && value <= kLongestWavelength;
}

std::string SymbolOf(int row) {
  static const ElementTable table;
  return std::string(table[row].Symbol());
}

}  // namespace

void JobStart::FillFrom(const JobStart& other) {
  const auto take = [&](auto& mine, const auto& theirs, bool missing) {
    if (missing) mine = theirs;
  };
  take(from, other.from, from.empty());
  take(title, other.title, title.empty());
  take(wavelength, other.wavelength, wavelength == 0.0);
  take(errors, other.errors, !cell);
  take(cell, other.cell, !cell);
  // A number of units goes with its formula.
  take(units, other.units, units == 0.0 && (formula.empty() || formula == other.formula));
  take(formula, other.formula, formula.empty());
  take(sizes, other.sizes, sizes.empty());
  take(reflections, other.reflections, reflections.empty());
}

JobStart ReadParameterFile(std::string_view text) {
  JobStart start;
  while (!text.empty()) {
    const std::string_view line = NextLine(text);
    const size_t blank = std::min(line.find_first_of(" \t"), line.size());
    const std::string key = UpperCase(line.substr(0, blank));
    const std::string_view rest = line.substr(blank);
    double values[6] = {};
    if (key == "CELL") {
      if (NumbersOf(rest, values, 6) == 6) TakeCell(start, values);
    } else if (key == "CELLSD") {
      if (NumbersOf(rest, values, 6) == 6) std::copy_n(values, 6, start.errors.begin());
    } else if (key == "SOURCE") {
      // The anode, then wavelengths: the mean comes first.
      const std::string_view behind = rest.substr(std::min(rest.find_first_of("0123456789"), rest.size()));
      if (NumbersOf(behind, values, 1) == 1 && IsWavelength(values[0])) start.wavelength = values[0];
    } else if (key == "CHEM" && Bare(rest) != "?") {
      start.formula = Bare(rest);
    } else if (key == "CCOLOR" && Bare(rest) != "?") {
      start.colour = Bare(rest);
    } else if (key == "MORPH" && Bare(rest) != "?") {
      start.shape = Bare(rest);
    } else if (key == "CSIZE") {
      const bool given = NumbersOf(rest, values, 3) == 3 && *std::min_element(values, values + 3) > 0.0;
      if (given) start.sizes.assign(values, values + 3);
    } else if (key == "TITLE") {
      start.title = Bare(rest);
    }
  }
  return start;
}

JobStart ReadCifStart(std::string_view text) {
  JobStart best;
  CifReader reader(text, {"_cell_", "_chemical_formula_sum", "_diffrn_radiation_wavelength"});
  CifBlock block;
  while (reader.Next(block)) {
    JobStart start;
    start.title = std::string(block.name);
    constexpr const char* kItems[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                      "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
    double values[6] = {0, 0, 0, 90, 90, 90};
    bool all = true;
    for (size_t i = 0; i < 6; ++i) {
      const CifValue value = FindColumn(block, {kItems[i]})[0];
      double digits = 0.0;
      if (!ParseCifNumber(value, values[i], &digits)) {
        all = all && i >= 3 && value.empty();
        continue;
      }
      const size_t point = value.find('.'), bracket = std::min(value.find('('), value.size());
      const double decimals = point < bracket ? static_cast<double>(bracket - point - 1) : 0.0;
      start.errors[i] = digits * std::pow(10.0, -decimals);
    }
    if (all) TakeCell(start, values);
    start.formula = Bare(FindColumn(block, {"_chemical_formula_sum"})[0]);
    double number = 0.0;
    if (ParseCifNumber(FindColumn(block, {"_cell_formula_units_z"})[0], number) && number > 0.0) start.units = number;
    if (ParseCifNumber(FindColumn(block, {"_diffrn_radiation_wavelength"})[0], number) && IsWavelength(number))
      start.wavelength = number;
    for (const std::string_view field : block.textFields) {
      std::string lines = UnfoldedText(field);
      lines.erase(0, lines.find_first_not_of("\r\n") == std::string::npos ? 0 : lines.find_first_not_of("\r\n"));
      if (HoldsReflections(lines)) start.reflections = std::move(lines);
    }
    best.FillFrom(start);
    if (best.cell && !best.formula.empty() && !best.reflections.empty()) break;
  }
  return best;
}

JobStart ReadInstructionStart(std::string_view text) {
  JobStart start;
  Document document;
  RecordingMessages unheard;
  if (!ReadInstructionText(document, std::string(text), unheard)) return start;
  start.title = document.instructions.title;
  if (!IsPossible(document.cell)) return start;
  start.cell = document.cell;
  double number = 0.0;
  const auto firstOf = [&](std::string_view line) {
    return line.size() > 4 && NumbersOf(line.substr(4), &number, 1) == 1;
  };
  if (firstOf(document.instructions.cellLine)) start.wavelength = number;
  if (firstOf(document.instructions.zerrLine) && number > 0.0) start.units = number;
  for (size_t i = 0; i < document.instructions.sfac.size() && i < document.instructions.unit.size(); ++i) {
    if (!ParseWholeNumber(document.instructions.unit[i], number) || !(number > 0.0)) continue;
    const double count = number / std::max(1.0, start.units);
    start.formula +=
        Printf("%s%s%g", start.formula.empty() ? "" : " ", SymbolOf(document.instructions.sfac[i]).c_str(), count);
  }
  return start;
}

JobStart FindJobStart(const std::string& base) {
  constexpr struct {
    const char* extension;
    JobStart (*read)(std::string_view);
  } kSources[] = {
      {".p4p", ReadParameterFile}, {".cif_od", ReadCifStart}, {".cif", ReadCifStart}, {".ins", ReadInstructionStart}};
  JobStart found;
  for (const auto& source : kSources) {
    const FileContent file = ReadWholeFile(base + source.extension);
    if (!file.opened) continue;
    JobStart start = source.read(file.content);
    if (start.cell || !start.formula.empty()) start.from = FileNameOf(base) + source.extension;
    found.FillFrom(start);
  }
  return found;
}

double LikelyUnits(std::string_view formula, const CellParameters& cell) {
  // Å3 of an atom in a crystal, D. W. M. Hofmann, Acta Cryst. B58 (2002) 489; other elements are taken as alike.
  constexpr std::pair<int, double> kVolumes[] = {{1, 5.08}, {6, 13.87}, {7, 11.8}, {8, 11.39}, {9, 11.17}};
  double one = 0.0;
  for (const FormulaElement& element : ParseFormula(formula)) {
    double volume = 27.0;
    for (const auto& [row, each] : kVolumes)
      if (element.row == row || (row == 1 && IsHydrogenRow(element.row))) volume = each;
    one += volume * element.count;
  }
  const bool cubic = cell.a == cell.b && cell.b == cell.c && cell.alpha == 90.0;
  const bool threefold = std::fabs(cell.gamma - 120.0) < 0.5 ||
                         (cell.alpha == cell.beta && cell.alpha == cell.gamma && cell.alpha != 90.0);
  const double wanted = MakeMetric(cell).volume / std::max(one, 1.0);
  double best = 1.0;
  for (const double z : {2.0, 3.0, 4.0, 6.0, 8.0, 9.0, 12.0, 16.0, 18.0, 24.0, 32.0, 36.0, 48.0, 64.0, 96.0, 192.0}) {
    if (!cubic && z > 2.0 && threefold != (std::fmod(z, 3.0) == 0.0)) continue;
    if (std::fabs(std::log(z / wanted)) < std::fabs(std::log(best / wanted))) best = z;
  }
  return best;
}

std::string ComposeJobStart(const JobStart& start, std::string& sentence) {
  if (!start.cell || !IsPossible(*start.cell)) {
    sentence = "The cell is missing or impossible: six numbers are wanted, Å and degrees.";
    return {};
  }
  if (!IsWavelength(start.wavelength)) {
    sentence = "The wavelength is missing: a number in Å, such as 0.71073, is wanted.";
    return {};
  }
  const auto elements = ParseFormula(start.formula);
  if (elements.empty()) {
    sentence = "The formula names no element: such as C10 H12 N2 O is wanted.";
    return {};
  }
  const CellParameters& c = *start.cell;
  const double units = start.units > 0.0 ? start.units : LikelyUnits(start.formula, c);
  std::string title = start.title.empty() ? "new" : start.title.substr(0, 70);
  std::ranges::replace_if(
      title, [](char ch) { return static_cast<unsigned char>(ch) < ' '; }, ' ');
  std::string text = "TITL " + title +
                     Printf("\nCELL %.5f %.4f %.4f %.4f %.3f %.3f %.3f\nZERR %g", start.wavelength, c.a, c.b, c.c,
                            c.alpha, c.beta, c.gamma, units);
  for (const double e : start.errors) text += Printf(" %.4f", e);
  // The group is to be found; the solver takes this as a hint at most.
  text += "\nLATT -1\nSFAC";
  for (const FormulaElement& element : elements) text += " " + SymbolOf(element.row);
  text += "\nUNIT";
  for (const FormulaElement& element : elements)
    text += Printf(" %g", std::round(element.count * units * 100.0) / 100.0);
  if (start.sizes.size() == 3) text += Printf("\nSIZE %.3f %.3f %.3f", start.sizes[0], start.sizes[1], start.sizes[2]);
  return text + "\nHKLF 4\nEND\n";
}

}  // namespace marvik
