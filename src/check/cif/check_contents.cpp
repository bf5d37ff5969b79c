#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"
#include "refine/structure/absorption.h"

namespace marvik::cif {

namespace {

const ElementTable& Table() {
  static const ElementTable table;
  return table;
}

double Weight(int row) {
  return Table()[row].atomicWeight;
}

double WeightOf(const std::map<int, double>& contents) {
  double weight = 0.0;
  for (const auto& [row, n] : contents) weight += row == kUnknownRow ? 0.0 : n * Weight(row);
  return weight;
}

std::map<int, double> CountsOf(const std::vector<FormulaElement>& formula) {
  std::map<int, double> counts;
  for (const FormulaElement& e : formula) counts[e.row == kDeuteriumRow ? kHydrogenRow : e.row] += e.count;
  return counts;
}

std::string TextOf(const std::map<int, double>& counts) {
  std::string text;
  const auto add = [&](int row) {
    const auto at = counts.find(row);
    if (at != counts.end()) AppendPrintf(text, "%s%s%.6g", text.empty() ? "" : " ", SymbolOf(row).c_str(), at->second);
  };
  add(6);
  add(kHydrogenRow);
  for (const auto& [row, n] : counts) {
    if (row != 6 && row != kHydrogenRow) add(row);
  }
  return text;
}

double LargestDifference(const std::map<int, double>& a, const std::map<int, double>& b, bool hydrogen) {
  double largest = 0.0;
  for (const auto* one : {&a, &b}) {
    for (const auto& [row, n] : *one) {
      if (row == kHydrogenRow && !hydrogen) continue;
      const double x = a.contains(row) ? a.at(row) : 0.0;
      const double y = b.contains(row) ? b.at(row) : 0.0;
      largest = std::max(largest, std::fabs(x - y));
    }
  }
  return largest;
}

// Sum of the moieties: "C18 H25 N O3 1+, Cl 1-, 0.5(C H4 O)", "2(H2 O)".
std::map<int, double> MoietyCounts(std::string_view moiety, bool& readable) {
  std::map<int, double> counts;
  readable = moiety.find_first_of("nx{") == moiety.npos;
  while (!moiety.empty()) {
    const size_t comma = std::min(moiety.find(','), moiety.size());
    std::string_view part = moiety.substr(0, comma);
    moiety.remove_prefix(std::min(comma + 1, moiety.size()));
    while (part.starts_with(' ') || part.starts_with('\n')) part.remove_prefix(1);
    double factor = 1.0;
    const size_t used = ParseNumber(part, factor);
    if (used == 0) factor = 1.0;
    std::string inner(part.substr(used));
    std::erase_if(inner, [](char c) { return c == '(' || c == ')'; });
    // A charge at the end is no element.
    while (!inner.empty() && (inner.back() == '+' || inner.back() == '-' || inner.back() == ' ')) {
      const bool sign = inner.back() != ' ';
      inner.pop_back();
      while (sign && !inner.empty() && inner.back() >= '0' && inner.back() <= '9') inner.pop_back();
    }
    for (const FormulaElement& e : ParseFormula(inner))
      counts[e.row == kDeuteriumRow ? kHydrogenRow : e.row] += factor * e.count;
  }
  return counts;
}

void Formula(CifChecker& c) {
  const CifModel& m = c.model;
  const CifValue sum = m.Item("_chemical_formula_sum");
  if (sum.empty()) return;
  std::vector<std::string> symbols;
  for (size_t i = 0; i < sum.size(); ++i) {
    const char ch = sum[i];
    if (ch >= 'A' && ch <= 'Z') {
      const bool two = i + 1 < sum.size() && sum[i + 1] >= 'a' && sum[i + 1] <= 'z';
      symbols.emplace_back(sum.substr(i, two ? 2 : 1));
    } else if (ch == ',' || ch == '(' || ch == '[') {
      c.Found("formula-character", Printf("'%c' in %.60s.", ch, std::string(sum).c_str()), {}, sum.data());
      return;
    }
  }
  for (const std::string& symbol : symbols) {
    if (RowOfAtomType(symbol) == kUnknownRow) c.Found("formula-element", symbol + ".", {}, sum.data());
  }
  const bool carbon = std::ranges::find(symbols, "C") != symbols.end();
  std::vector<std::string> ordered = symbols;
  std::ranges::sort(ordered, {}, [carbon](const std::string& s) {
    return carbon && s == "C" ? std::string("0") : carbon && (s == "H" || s == "D") ? "1" + s : s;
  });
  if (ordered != symbols) c.Found("formula-order", std::string(sum) + ".", {}, sum.data());

  const std::string wanted = LowerCase(m.Item("_publ_requested_category"));
  const bool hydrogen = std::ranges::find(symbols, "H") != symbols.end();
  const bool metal = std::ranges::any_of(symbols, [](const std::string& s) { return IsMetal(RowOfAtomType(s)); });
  const char kind = !carbon ? 'i' : metal && hydrogen ? 'm' : 'o';
  const char asked =
      wanted.size() == 2 && (wanted[1] == 'i' || wanted[1] == 'm' || wanted[1] == 'o') ? wanted[1] : kind;
  if (asked != kind) c.Found("formula-category", wanted + ".");
}

void Moiety(CifChecker& c, const std::map<int, double>& formula) {
  const CifValue text = c.model.Item("_chemical_formula_moiety");
  if (text.empty() || formula.empty()) return;
  bool readable = true;
  const auto moiety = MoietyCounts(text, readable);
  if (readable && !moiety.empty()) {
    c.Test("formula-moiety", LargestDifference(moiety, formula, true), TextOf(moiety) + " and " + TextOf(formula) + ".",
           {}, text.data());
  }
}

void Weights(CifChecker& c, const std::map<int, double>& formula, const std::map<int, double>& cell, double z) {
  const CifModel& m = c.model;
  const Measured given = m.Number("_chemical_formula_weight");
  const double calculated = WeightOf(formula);
  if (given.Given() && calculated > 0.0) {
    const std::string text = Printf("%.2f given, %.2f of the formula.", given.value, calculated);
    c.Test("weight-formula", std::fabs(given.value / calculated - 1.0), text);
    c.Test("weight-difference", std::fabs(given.value - calculated), text);
  }
  const double atoms = WeightOf(cell) / z;
  if (given.Given() && atoms > 0.0) {
    c.Test("weight-atoms", std::fabs(given.value / atoms - 1.0),
           Printf("%.2f given, %.2f of the atoms.", given.value, atoms));
  }
  const Measured density = m.Number("_exptl_crystal_density_diffrn", "_exptl_crystal_density_calc");
  const double volume = m.metric.volume;
  constexpr double kUnit = 1.66054;  // g/cm³ of one unit of mass in 1 Å³
  if (density.Given() && given.Given()) {
    const double ratio = density.value / (kUnit * given.value * z / volume);
    c.Test("density-formula", std::fabs(ratio - 1.0),
           Printf("%.3f given, %.3f calculated.", density.value, density.value / ratio));
  }
  if (density.Given() && atoms > 0.0) {
    const double ratio = density.value / (kUnit * atoms * z / volume);
    c.Test("density-atoms", std::fabs(ratio - 1.0),
           Printf("%.3f given, %.3f of the atoms.", density.value, density.value / ratio));
  }
  if (density.Given()) c.Test("density-low", density.value, Printf("%.3f g/cm\xC2\xB3.", density.value));
  const Measured measured = m.Number("_exptl_crystal_density_meas");
  const std::string method = LowerCase(m.Item("_exptl_crystal_density_method"));
  if (!measured.Given() && !method.empty() && !Contains(method, {"not", "none", "?"}))
    c.Found("density-measured", method + ".");
  if (measured.Given() && measured.value > 0.0 && density.Given()) {
    c.Test("density-ratio", std::fabs(density.value / measured.value - 1.0),
           Printf("%.3f measured, %.3f calculated.", measured.value, density.value));
  }
}

void Electrons(CifChecker& c, const std::map<int, double>& contents) {
  const CifModel& m = c.model;
  const Measured given = m.Number("_exptl_crystal_f_000");
  if (!given.Given() || contents.empty() || !m.xray) return;
  double plain = 0.0;
  double real = 0.0;
  double imaginary = 0.0;
  for (const auto& [row, n] : contents) {
    const auto s = TabulatedScatterer(Table()[row], m.wavelength.Given() ? m.wavelength.value : 0.71073);
    plain += n * s.electrons;
    real += n * (s.electrons + s.fPrime);
    imaginary += n * s.fDoublePrime;
  }
  const double dispersed = std::hypot(real, imaginary);
  // Tables of dispersion differ by some hundredths for each atom.
  const double atoms = std::max(1.0, 0.002 * plain);
  const double off =
      std::min(std::fabs(given.value - plain), std::max(0.0, std::fabs(given.value - dispersed) - atoms));
  c.Test("f000-contents", off,
         Printf("%.10g given, %.1f electrons, %.1f with dispersion.", given.value, plain, dispersed));
}

}  // namespace

std::map<int, double> FormulaContents(const CifModel& model) {
  auto contents = CountsOf(model.formula);
  const double z = model.z.value > 0.0 ? model.z.value : 1.0;
  for (auto& [row, n] : contents) n *= z;
  return contents;
}

void CheckContents(CifChecker& c) {
  const CifModel& m = c.model;
  Formula(c);
  const auto formula = CountsOf(m.formula);
  Moiety(c, formula);
  const auto cell = m.AtomsInCell();
  double heavyCell = 0.0;
  double heavyFormula = 0.0;
  for (const auto& [row, n] : cell) heavyCell += row == kHydrogenRow ? 0.0 : n;
  for (const auto& [row, n] : formula) heavyFormula += row == kHydrogenRow ? 0.0 : n;
  const double z = m.z.value > 0.0 ? m.z.value : 0.0;
  if (heavyCell > 0.0 && heavyFormula > 0.0 && z > 0.0) {
    const double found = heavyCell / heavyFormula;
    c.Test("z-atoms", std::fabs(found / z - 1.0), Printf("Z is %g, %.3f of the atoms.", z, found));
    auto unit = cell;
    for (auto& [row, n] : unit) n /= z;
    c.Test("formula-atoms", LargestDifference(unit, formula, true),
           TextOf(unit) + " of the atoms, " + TextOf(formula) + " given.");
    c.Test("contents-atoms", LargestDifference(cell, FormulaContents(m), false),
           "Cell: " + TextOf(cell) + " of the atoms.");
    const double h = (formula.contains(kHydrogenRow) ? formula.at(kHydrogenRow) * z : 0.0) -
                     (cell.contains(kHydrogenRow) ? cell.at(kHydrogenRow) : 0.0);
    c.Test("contents-hydrogen", h, Printf("%.2f in the cell.", h));
  }
  std::string broken;
  for (const auto& [row, n] : cell) {
    if (std::fabs(n - std::round(n)) > 0.05)
      AppendPrintf(broken, "%s%s %.2f", broken.empty() ? "" : ", ", SymbolOf(row).c_str(), n);
  }
  if (!broken.empty()) c.Found("cell-fraction", broken + ".");
  if (cell.contains(6) && !cell.contains(kHydrogenRow) && formula.contains(kHydrogenRow)) c.Found("no-hydrogen", "");
  if (z <= 0.0) return;
  Weights(c, formula, cell, z);
  const auto contents = formula.empty() ? cell : FormulaContents(m);
  Electrons(c, contents);
  const Measured mu = m.Number("_exptl_absorpt_coefficient_mu");
  if (!mu.Given() || !m.xray || !(m.wavelength.value > 0.2) || contents.empty()) return;
  double area = 0.0;
  for (const auto& [row, n] : contents) {
    if (row != kUnknownRow && row > 0)
      area += n * AbsorptionCrossSection(TabulatedScatterer(Table()[row], m.wavelength.value), m.wavelength.value);
  }
  const double calculated = AbsorptionCoefficient(area, m.metric.volume);
  const double rounding = 0.6 * std::pow(10.0, -mu.decimals) / calculated;
  c.Test("mu-formula", std::max(0.0, std::fabs(mu.value / calculated - 1.0) - rounding),
         Printf("%.3f given, %.3f calculated.", mu.value, calculated));
}

}  // namespace marvik::cif
