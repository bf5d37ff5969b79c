#include "phase/problem.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "base/numbers.h"
#include "language/instruction.h"
#include "language/line_source.h"
#include "language/tokenizer.h"
#include "model/element_table.h"

namespace marvik::phase {
namespace {

constexpr size_t kMostReflections = 5000000;
constexpr size_t kFewestReflections = 30;
constexpr double kShortestXRays = 0.1;       // Å
constexpr double kLargestVolume = 200000.0;  // Å3

// Instructions of the header that a solution carries on, apart from those that it decides itself.
constexpr const char* kCarried[] = {"TITL", "CELL", "ZERR", "NEUT", "SFAC", "DISP", "UNIT", "TEMP", "SIZE"};

bool NumberAt(const Instruction& command, size_t at, double& value) {
  if (at >= command.numbers.size()) return false;
  value = command.numbers[at];
  return std::isfinite(value);
}

int RowOf(const std::string& symbol) {
  static const ElementTable table;
  for (int row = 1; row <= kDeuteriumRow; ++row) {
    if (UpperCase(table[row].Symbol()) == symbol) return row;
  }
  return 0;
}

void AddElement(Problem& problem, const std::string& word, std::string& unknown) {
  static const ElementTable table;
  std::string symbol = UpperCase(word);
  if (!symbol.empty() && symbol[0] == '$') symbol.erase(0, 1);
  // A charge behind the symbol has no factor of its own.
  symbol.erase(std::find_if_not(symbol.begin(), symbol.end(), [](char c) { return c >= 'A' && c <= 'Z'; }),
               symbol.end());
  const int row = RowOf(symbol);
  if (row == 0) {
    unknown = word;
    return;
  }
  problem.formula.push_back({std::string(table[row].Symbol()), 0.0});
  problem.scatterers.push_back(TabulatedScatterer(table[row], problem.wavelength));
}

// SFAC with the coefficients of one element: a1 b1 ... a4 b4 c.
void TakeCoefficients(Problem& problem, const Instruction& command) {
  if (problem.scatterers.empty() || command.numbers.size() < 9) return;
  Scatterer& s = problem.scatterers.back();
  for (size_t i = 0; i < 4; ++i) s.a[i] = command.numbers[2 * i], s.b[i] = command.numbers[2 * i + 1];
  s.c = command.numbers[8];
}

std::string ReadHeader(const std::string& text, Problem& problem) {
  LineSource source(text);
  SourceLine line;
  bool cell = false;
  CellParameters parameters;
  std::vector<double> unit;
  std::string unknown;
  while (source.Next(line)) {
    const Instruction command = ParseInstruction(line);
    const std::string& k = command.name;
    if (k == "END" || k == "HKLF") {
      if (k == "HKLF") problem.hklfLine = std::string(line.code);
      break;
    }
    if (std::any_of(std::begin(kCarried), std::end(kCarried), [&](const char* name) { return k == name; }))
      problem.header.push_back(source.KeptText(line));
    if (k == "TITL") {
      problem.title = line.code.size() > 5 ? std::string(line.code.substr(5)) : "";
    } else if (k == "CELL" && command.numbers.size() >= 7) {
      cell = true;
      problem.wavelength = command.numbers[0];
      const double* v = &command.numbers[1];
      parameters = {v[0], v[1], v[2], v[3], v[4], v[5]};
    } else if (k == "LATT") {
      double code = 1.0;
      if (NumberAt(command, 0, code)) problem.lattice = WholeNumber(code);
    } else if (k == "SYMM") {
      problem.symm.emplace_back(line.code.substr(4));
    } else if (k == "SFAC") {
      const bool own = command.numbers.size() >= 9;
      for (const std::string& word : command.words) {
        if (!own || word == command.words.front()) AddElement(problem, word, unknown);
      }
      if (own) TakeCoefficients(problem, command);
    } else if (k == "UNIT") {
      unit = command.numbers;
    } else if (k == "NEUT") {
      return "these are neutron data (NEUT): phases are sought by positive density, which nuclei do not all have";
    }
  }
  if (!unknown.empty()) return "SFAC: " + unknown + " is no element";
  if (!cell) return "there is no CELL with a wavelength and six parameters";
  if (!(problem.wavelength > 0.005 && problem.wavelength < 10.0))
    return Printf("the wavelength of %g A on CELL is impossible", problem.wavelength);
  if (problem.wavelength < kShortestXRays)
    problem.notes.push_back(
        Printf("%g A is a wavelength of electrons; the scattering factors are those of X-rays, which "
               "makes elements unsure",
               problem.wavelength));
  problem.metric = MakeMetric(parameters);
  if (!(problem.metric.volume > 20.0) || std::min({parameters.a, parameters.b, parameters.c}) < 1.5)
    return "the cell on CELL is impossible";
  if (problem.metric.volume > kLargestVolume)
    return Printf("a cell of %.0f A3 is too large: %.0f A3 at most", problem.metric.volume, kLargestVolume);
  if (problem.formula.empty()) return "SFAC names no element: put the elements that may be there on SFAC";
  for (size_t i = 0; i < std::min(unit.size(), problem.formula.size()); ++i) {
    problem.formula[i].count = std::isfinite(unit[i]) ? std::clamp(unit[i], 0.0, 1e5) : 0.0;
  }
  return {};
}

void JudgeFormula(Problem& problem) {
  double heavy = 0.0;
  for (size_t i = 0; i < problem.formula.size(); ++i) {
    if (problem.scatterers[i].electrons > 1) heavy += problem.formula[i].count;
  }
  const double each = heavy > 0.0 ? problem.metric.volume / heavy : 1e9;
  problem.formulaFits = each >= 9.0 && each <= 32.0;
  if (heavy > 0.0 && !problem.formulaFits) {
    problem.notes.push_back(Printf(
        "UNIT gives %.0f A3 for each atom but hydrogen, which no compound has: the formula is a guess only", each));
  } else if (heavy == 0.0) {
    problem.notes.push_back("UNIT has no numbers: only the elements of SFAC are known");
  }
}

bool ReadReflections(const std::string& text, Problem& problem, std::string& sentence) {
  const HklFormat format = ParseHklf(problem.hklfLine.empty() ? "HKLF 4" : problem.hklfLine);
  if (format.code < 2 || format.code > 5) {
    sentence = Printf("HKLF %d holds no intensities of a single crystal: give them as HKLF 4", format.code);
    return false;
  }
  HklFile file = ParseHklFile(text, format);
  for (const std::string& note : file.notes) problem.notes.push_back("reflection file: " + note);
  size_t unmeasured = 0;
  for (Reflection& r : file.reflections) {
    const bool indices = std::all_of(r.h.begin(), r.h.end(), [](int i) { return std::abs(i) < 500; });
    const bool overlapped = format.code == 5 && r.batch != 1 && r.batch != -1;
    if (!(r.sigma > 0.0) || !indices || overlapped) {
      ++unmeasured;
      continue;
    }
    if (problem.reflections.size() >= kMostReflections) break;
    problem.reflections.push_back(r);
  }
  if (unmeasured > 0)
    problem.notes.push_back(Printf("%zu reflections without a standard deviation are left out", unmeasured));
  if (problem.reflections.size() < kFewestReflections) {
    sentence = Printf("only %zu reflections can be used: nothing can be solved from fewer than %zu",
                      problem.reflections.size(), kFewestReflections);
    return false;
  }
  return true;
}

}  // namespace

int Problem::ScattererOf(int z) const {
  for (size_t i = 0; i < scatterers.size(); ++i)
    if (scatterers[i].electrons == z) return static_cast<int>(i);
  return -1;
}

bool MakeProblem(const std::string& instructions, const std::string& reflections, Problem& problem,
                 std::string& sentence) {
  sentence = ReadHeader(instructions, problem);
  if (!sentence.empty()) return false;
  JudgeFormula(problem);
  return ReadReflections(reflections, problem, sentence);
}

bool ReadProblem(const std::string& instructions, const std::string& reflections, Problem& problem,
                 std::string& sentence) {
  std::string content[2];
  int i = 0;
  for (const std::string& path : {instructions, reflections}) {
    FileContent file = ReadWholeFile(path);
    if (!file.opened || !file.complete) {
      sentence = path + (file.opened ? " cannot be read to its end" : " cannot be opened");
      return false;
    }
    content[i++] = std::move(file.content);
  }
  return MakeProblem(content[0], content[1], problem, sentence);
}

}  // namespace marvik::phase
