#include "phase/elements.h"

#include <algorithm>
#include <cmath>

namespace marvik::phase {
namespace {

constexpr double kSpread = 0.06;  // of ln(electrons)

struct Kind {
  int scatterer = 0;
  double electrons = 6.0;
  double share = 1.0;  // of the atoms but hydrogen
};

std::vector<Kind> KindsOf(const Problem& problem) {
  std::vector<Kind> kinds;
  double sum = 0.0;
  for (size_t i = 0; i < problem.formula.size(); ++i) {
    const int z = problem.scatterers[i].electrons;
    if (z <= 1) continue;
    kinds.push_back(
        {static_cast<int>(i), static_cast<double>(z), problem.formulaFits ? problem.formula[i].count : 1.0});
    sum += kinds.back().share;
  }
  for (Kind& k : kinds) k.share = std::max(0.003, k.share / std::max(sum, 1e-9));
  return kinds;
}

double LogLikelihood(const Kind& kind, double logElectrons, double logScale) {
  // What is not one of the elements at full weight keeps a floor, so that one odd site does not move the scale.
  const double d = (logElectrons - logScale - std::log(kind.electrons)) / kSpread;
  return std::log(kind.share) - 0.5 * std::min(d * d, 40.0);
}

}  // namespace

std::vector<int> ElementsOf(const Problem& problem, const Structure& structure, const std::vector<double>& electrons,
                            const std::vector<double>& fractions, double) {
  const std::vector<Kind> kinds = KindsOf(problem);
  if (kinds.empty()) return std::vector<int>(electrons.size(), static_cast<int>(structure.scatterers.size()) - 1);
  std::vector<double> logs;
  for (const double e : electrons) logs.push_back(std::log(std::max(e, 1e-3)));
  double best = -1e300, scale = 0.0;
  std::vector<double> sorted = logs;
  std::sort(sorted.begin(), sorted.end());
  for (double s = -1.6; s <= 1.6; s += 0.01) {
    double sum = 0.0;
    for (size_t i = 0; i < logs.size(); ++i) {
      double most = -1e300;
      for (const Kind& k : kinds) most = std::max(most, LogLikelihood(k, logs[i], s));
      sum += most * fractions[i];
    }
    // The scale of the refinement is right within a factor; sites are rather too weak than too strong.
    sum -= 0.02 * static_cast<double>(logs.size()) * s * s;
    if (sum > best) best = sum, scale = s;
  }
  std::vector<int> elements;
  for (const double l : logs) {
    const auto most = std::max_element(kinds.begin(), kinds.end(), [&](const Kind& a, const Kind& b) {
      return LogLikelihood(a, l, scale) < LogLikelihood(b, l, scale);
    });
    elements.push_back(most->scatterer);
  }
  return elements;
}

}  // namespace marvik::phase
