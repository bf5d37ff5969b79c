#include "report/structure_facts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>

#include "base/numbers.h"
#include "crystal/cell_metric.h"
#include "crystal/space_group.h"
#include "language/instruction.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr double kDaltonsPerCubicAngstrom = 1.660539;  // g/cm³ of one Da/Å³ (CODATA 2018)

using Counts = std::map<std::string, double>;

std::vector<std::pair<std::string, double>> PerFormula(const Counts& counts, double units) {
  std::vector<std::pair<std::string, double>> list;
  for (const auto& [symbol, count] : counts) list.emplace_back(symbol, count / units);
  return list;
}

// What UNIT says the cell holds.
Counts GivenContents(const Document& document) {
  Counts counts;
  const Instructions& in = document.instructions;
  for (size_t i = 0; i < in.sfac.size() && i < in.unit.size(); ++i) {
    double count = 0.0;
    if (ParseWholeNumber(in.unit[i], count)) counts[std::string(document.elements[in.sfac[i]].Symbol())] += count;
  }
  return counts;
}

struct Contents {
  Counts counts;
  double weight = 0.0;  // Da
};

// What the atoms of the file add up to in the cell: site occupation factors hold the multiplicity of special positions.
Contents FoundContents(const Document& document) {
  Contents found;
  const double operators = static_cast<double>(std::max<size_t>(1, document.symmetry.size()));
  for (const AtomRecord* atom : Atoms(document.atoms, kNoGenerated)) {
    if (atom->IsPeak() || atom->element->atomicNumber == kUnknownRow) continue;
    const double count = DecodedOccupancy(*atom, document.instructions) * operators;
    found.counts[std::string(atom->element->Symbol())] += count;
    found.weight += count * atom->element->atomicWeight;
  }
  return found;
}

std::string CellText(const CellParameters& cell) {
  return Printf("%.4f, %.4f, %.4f Å\n%.3f, %.3f, %.3f°", cell.a, cell.b, cell.c, cell.alpha, cell.beta, cell.gamma);
}

}  // namespace

std::string FormulaText(const std::vector<std::pair<std::string, double>>& counts) {
  const bool organic = std::ranges::any_of(counts, [](const auto& entry) { return entry.first == "C"; });
  const auto rank = [organic](const std::string& symbol) {
    return organic && symbol == "C" ? 0 : organic && symbol == "H" ? 1 : 2;
  };
  auto sorted = counts;
  std::ranges::sort(sorted, [&](const auto& a, const auto& b) {
    return rank(a.first) != rank(b.first) ? rank(a.first) < rank(b.first) : a.first < b.first;
  });
  std::string text;
  for (const auto& [symbol, count] : sorted) {
    const double rounded = std::round(count * 100.0) / 100.0;
    if (!(rounded > 0.0)) continue;
    if (!text.empty()) text += ' ';
    text += symbol;
    if (rounded != 1.0) text += Printf("%g", rounded);
  }
  return text;
}

std::vector<StructureFact> StructureFacts(const Document& document) {
  const Instructions& in = document.instructions;
  if (!document.atoms.head && in.cellLine.empty()) return {};
  std::vector<StructureFact> facts;
  const auto add = [&facts](const char* caption, std::string value) {
    if (!value.empty()) facts.push_back({caption, std::move(value)});
  };
  const auto zerr = ParseInstruction(in.zerrLine).numbers;
  const double units = !zerr.empty() && zerr[0] > 0.0 ? zerr[0] : 1.0;
  const Contents found = FoundContents(document);
  const double volume = MakeMetric(document.cell).volume;

  add("Formula given", FormulaText(PerFormula(GivenContents(document), units)));
  add("Formula found", FormulaText(PerFormula(found.counts, units)));
  add("Cell", CellText(document.cell));
  std::string problem;
  // Without atoms P 1 says only that no group is known yet.
  const int least = document.atoms.head ? 1 : 2;
  if (const auto group = MakeSpaceGroup(document.latticeCode, document.symmetry, problem);
      group && group->number >= least)
    add("Space group", Printf("%s (No. %d)", group->symbol.c_str(), group->number));
  add("Volume", Printf("%.1f Å³", volume));
  const auto operators = static_cast<double>(std::max<size_t>(1, document.symmetry.size()));
  if (!zerr.empty()) add("Z, Z'", Printf("%g, %.4g", units, units / operators));
  if (found.weight > 0.0) add("Density", Printf("%.3f g/cm³", found.weight / volume * kDaltonsPerCubicAngstrom));
  if (const auto temperature = TemperatureOf(document)) add("Temperature", Printf("%.0f K", *temperature + 273.15));
  const auto cellLine = ParseInstruction(in.cellLine).numbers;
  if (cellLine.size() >= 7 && cellLine[0] > 0.0) add("Wavelength", Printf("%g Å", cellLine[0]));
  return facts;
}

}  // namespace marvik
