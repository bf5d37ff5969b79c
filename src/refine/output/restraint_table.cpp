#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/tokenizer.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kMostLines = 60;

struct KindSum {
  std::string text;
  double restraints = 0.0;
  double chi2 = 0.0;
};

std::string AtomsOf(const Session& s, const RestraintEquation& e) {
  std::string names;
  for (const int site : e.atoms)
    names += (names.empty() ? "" : " ") + s.structure.sites[static_cast<size_t>(site)].label;
  return names;
}

}  // namespace

std::vector<RestraintLine> RestraintLinesOf(const Session& s) {
  std::vector<RestraintLine> lines;
  for (const auto& restraint : s.restraints) {
    std::vector<RestraintEquation> equations;
    restraint->Evaluate(s.structure, equations);
    for (const RestraintEquation& e : equations) {
      if (e.counted == 0.0) continue;
      const double chi2 = e.inFull * std::pow(e.Deviation() / e.sigma, 2);
      lines.push_back({restraint->text, AtomsOf(s, e), e.target, e.value, e.sigma, chi2, e.counted});
    }
  }
  return lines;
}

std::string RestraintTable(const Session& s) {
  std::vector<RestraintLine> lines = RestraintLinesOf(s);
  if (lines.empty()) return {};
  std::vector<KindSum> kinds;
  std::vector<KindSum> instructions;
  const auto add = [](std::vector<KindSum>& sums, const std::string& text, const RestraintLine& line) {
    auto at = std::find_if(sums.begin(), sums.end(), [&](const KindSum& k) { return k.text == text; });
    if (at == sums.end()) at = sums.insert(at, {text});
    at->restraints += line.counted;
    at->chi2 += line.chi2;
  };
  for (const RestraintLine& line : lines) {
    add(kinds, UpperCase(line.instruction.substr(0, 4)), line);
    add(instructions, line.instruction, line);
  }
  const auto worse = [](const KindSum& a, const KindSum& b) { return a.chi2 > b.chi2; };
  std::stable_sort(kinds.begin(), kinds.end(), worse);
  std::stable_sort(instructions.begin(), instructions.end(), worse);
  std::string out =
      "\n Restraints: number, sum of chi squared; by kind and by instruction, those that cost most first\n";
  for (const std::vector<KindSum>* sums : {&kinds, &instructions}) {
    for (size_t i = 0; i < sums->size() && i < kMostLines; ++i) {
      const KindSum& k = (*sums)[i];
      AppendPrintf(out, " %8.0f %12.2f  %.90s\n", k.restraints, k.chi2, k.text.c_str());
    }
    out += "\n";
  }
  std::stable_sort(lines.begin(), lines.end(),
                   [](const RestraintLine& a, const RestraintLine& b) { return a.chi2 > b.chi2; });
  out += " Worst restraints: target, value, sigma, chi squared\n";
  for (size_t i = 0; i < lines.size() && i < kMostLines; ++i) {
    const RestraintLine& line = lines[i];
    AppendPrintf(out, " %-4s %10.4f %10.4f %8.4f %9.2f  %s\n", UpperCase(line.instruction.substr(0, 4)).c_str(),
                 line.target, line.value, line.sigma, line.chi2, line.atoms.c_str());
  }
  return out;
}

}  // namespace marvik
