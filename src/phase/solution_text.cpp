#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "language/instruction.h"
#include "phase/groups/rotors.h"
#include "phase/solution.h"

namespace marvik::phase {
namespace {

std::string KeywordOf(const std::string& line) {
  return ParseInstruction(line).name;
}

std::map<int, double> CountElements(const Candidate& c) {
  std::map<int, double> counts;
  for (const Site& site : c.structure.sites)
    counts[site.scatterer] += site.occupancy * static_cast<double>(c.structure.group.all.size());
  return counts;
}

// UNIT as it was where it can be right, else what was found.
std::string UnitLine(const Problem& problem, const Candidate& c) {
  std::string line = "UNIT";
  const std::map<int, double> found = CountElements(c);
  for (size_t i = 0; i < problem.formula.size(); ++i) {
    const auto at = found.find(static_cast<int>(i));
    const double count = problem.formulaFits ? problem.formula[i].count : at == found.end() ? 0.0 : at->second;
    line += Printf(" %g", std::round(count * 100.0) / 100.0);
  }
  return line;
}

}  // namespace

std::string FormulaOf(const Problem& problem, const Candidate& c) {
  std::string text;
  for (const auto& [scatterer, count] : CountElements(c)) {
    if (static_cast<size_t>(scatterer) >= problem.formula.size()) continue;
    text += Printf("%s%s%.4g", text.empty() ? "" : " ", problem.formula[static_cast<size_t>(scatterer)].symbol.c_str(),
                   count / static_cast<double>(c.structure.group.all.size()));
  }
  return text;
}

std::string ComposeInstructions(const Problem& problem, const Candidate& c) {
  std::string text;
  bool latticeDone = false;
  const auto lattice = [&] {
    if (latticeDone) return;
    latticeDone = true;
    text += Printf("LATT %d\n", c.group.latt);
    for (const std::string& op : c.group.symm) text += "SYMM " + op + "\n";
  };
  if (problem.header.empty() || KeywordOf(problem.header[0]) != "TITL") text += "TITL\n";
  for (const std::string& line : problem.header) {
    const std::string keyword = KeywordOf(line);
    if (keyword == "SFAC" || keyword == "NEUT") lattice();
    if (keyword == "UNIT") continue;
    text += line + "\n";
    if (keyword == "TITL") text += "REM " + c.group.symbol + Printf(", R1 %.4f\n", c.r1);
  }
  lattice();
  // DISP, TEMP and SIZE may stand before it.
  text += UnitLine(problem, c) + "\n";
  text += "L.S. 8\nBOND\nFMAP 2\nPLAN 20\n" + RotorRestraints(c.structure);
  if (c.twin.present && !c.structure.batchFractions.empty())
    text += "TWIN" + LawText(c.twin) + Printf(" 2\nBASF %.4f\n", c.structure.batchFractions[0]);
  text += "WGHT 0.1\n" + Printf("FVAR %.5f", c.structure.scale);
  for (size_t i = 0; i < c.structure.freeVariables.size(); ++i)
    text += Printf(i % 7 == 6 ? "\nFVAR %.5f" : " %.5f", c.structure.freeVariables[i]);
  text += "\n";
  int part = 0;
  for (const Site& s : c.structure.sites) {
    if (s.part != part) text += Printf("PART %d\n", part = s.part);
    text += Printf("%-4s %2d %10.6f %10.6f %10.6f %10.5f %8.5f\n", s.name.c_str(), s.scatterer + 1, s.x.x, s.x.y, s.x.z,
                   s.part != 0 ? s.code[kRawOccupancy] : 10.0 + s.occupancy, s.u[0]);
  }
  if (part != 0) text += "PART 0\n";
  text += (problem.hklfLine.empty() ? std::string("HKLF 4") : problem.hklfLine) + "\nEND\n";
  return text;
}

namespace {

// That of the group, which a twin's intensities do not show.
std::string LaueOf(const Solution& solution) {
  const std::string tried = LaueSymbol(solution.statistics.laue);
  if (!solution.solved) return tried;
  const std::string found = LaueSymbol(ProperRotations(solution.candidates[0].group.group));
  return found == tried ? found : found + ", the intensities were merged in " + tried;
}

}  // namespace

std::string ComposeReport(const Problem& problem, const Solution& solution) {
  const DataStatistics& d = solution.statistics;
  std::string text;
  for (const std::string& note : solution.notes) text += " Note: " + note + "\n";
  if (d.merged.size() > 0) {
    text += Printf(
        " %zu reflections, %zu unique, R(int) %.3f, to %.2f A (%.0f %% of those to %.2f A), mean |E2-1| %.3f\n"
        " Lattice %c, Laue class %s\n",
        problem.reflections.size(), d.merged.size(), d.merging.rInt, d.dMin, 100.0 * d.completeness, d.dPhasing,
        d.eSquaredMinusOne, d.centring.symbol, LaueOf(solution).c_str());
  }
  if (!solution.candidates.empty()) {
    text += "     group           phases  worst  absent    CC    R1  atoms expected  formula found\n";
    char letter = 'a';
    for (const Candidate& c : solution.candidates) {
      text +=
          Printf(" %c   %-14s %6.3f %6.3f  %6.2f %5.2f %5.3f  %5zu %8.1f  %s%s%s\n", letter++, c.group.symbol.c_str(),
                 c.group.mean, c.group.least, c.group.absences, c.merit.correlation, c.r1, c.structure.sites.size(),
                 c.expectedAtoms, FormulaOf(problem, c).c_str(), c.remark.empty() ? "" : "; ", c.remark.c_str());
      if (const std::string said = DescribeRotors(c.structure); !said.empty()) text += "     " + said + "\n";
      if (c.flackError > 0.0 && c.flackError < 0.3)
        text += Printf("     hand: Flack parameter %.2f(%.2f)\n", c.flack, c.flackError);
    }
  }
  if (!solution.solved) text += " Not solved: " + solution.sentence + ".\n";
  return text;
}

}  // namespace marvik::phase
