#include "phase/cell_strain.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "phase/bond_prices.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kReach = 2.4;           // Å
constexpr double kShortestBond = 0.9;    // Å
constexpr int kRounds = 12;              // of the fit
constexpr size_t kFewest = 12;           // lengths
constexpr double kOutlier = 2.0;         // standard deviations, beyond which a length counts less
constexpr double kDependent = 2.0;       // variances times: the lengths of a ring follow from one another
constexpr double kMostStep = 0.1;        // of an edge, in one round
constexpr double kLeastExcess = 0.06;    // that is said
constexpr double kLeastCertainty = 4.0;  // in standard deviations
constexpr double kUnusual = 0.018;       // that molecules alike in one direction may differ from the usual lengths
// Å, of two atoms bonded to a third; nearer than the limit they are in a ring of five.
constexpr double kOuter = 2.46, kOuterInFive = 2.28, kOuterSpread = 0.09, kFiveLimit = 2.37;

// Mean lengths of all hybridisations and their spread, Å (after F. H. Allen et al., J. Chem. Soc. Perkin Trans. II
// (1987) S1).
struct UsualLength {
  int a, b;
  double length, spread;
};
constexpr UsualLength kUsual[] = {
    {5, 6, 1.60, 0.04},  {5, 8, 1.40, 0.06},  {5, 9, 1.38, 0.03},   {6, 6, 1.45, 0.07},   {6, 7, 1.39, 0.07},
    {6, 8, 1.33, 0.09},  {6, 9, 1.34, 0.03},  {7, 7, 1.36, 0.06},   {7, 8, 1.26, 0.07},   {6, 14, 1.87, 0.03},
    {8, 14, 1.63, 0.03}, {6, 15, 1.82, 0.03}, {7, 15, 1.64, 0.05},  {8, 15, 1.53, 0.06},  {9, 15, 1.57, 0.04},
    {6, 16, 1.76, 0.05}, {7, 16, 1.62, 0.05}, {8, 16, 1.46, 0.04},  {6, 17, 1.74, 0.03},  {8, 17, 1.42, 0.04},
    {6, 35, 1.90, 0.03}, {6, 53, 2.10, 0.04}, {16, 16, 2.06, 0.04}, {15, 16, 1.98, 0.06},
};

const UsualLength* UsualOf(int a, int b) {
  if (a > b) std::swap(a, b);
  const auto at =
      std::find_if(std::begin(kUsual), std::end(kUsual), [&](const UsualLength& u) { return u.a == a && u.b == b; });
  return at == std::end(kUsual) ? nullptr : at;
}

// Normal equations of ln(usual) - ln(found) by the logarithms of the edges.
struct Fit {
  Mat3 normal;
  std::array<double, 3> right{};
  double chi = 0.0;
  size_t lengths = 0;

  void Add(const Structure& s, const Fractional& d, double usual, double spread) {
    const std::vector<SymmetryOperator>& turns = s.group.pointOperators;
    const double length = std::sqrt(s.metric.DistanceSquared(d, {})), off = std::log(usual / length);
    const double sigmas = std::fabs(off) * usual / spread;
    const double each = usual * usual / (spread * spread * static_cast<double>(turns.size())) /
                        std::max(1.0, sigmas * sigmas / (kOutlier * kOutlier));
    ++lengths;
    chi += each * off * off * static_cast<double>(turns.size());
    const Cartesian a = s.metric.ToCartesian({1, 0, 0}), b = s.metric.ToCartesian({0, 1, 0}),
                    c = s.metric.ToCartesian({0, 0, 1});
    for (const SymmetryOperator& turn : turns) {
      const Fractional t = SymmetryOperator{turn.r, {}}.Apply(d);
      const Cartesian along = s.metric.ToCartesian(t);
      const double slopes[3] = {t.x * Dot(a, along), t.y * Dot(b, along), t.z * Dot(c, along)};
      for (size_t i = 0; i < 3; ++i) {
        right[i] += each * off * slopes[i] / (length * length);
        for (size_t j = 0; j < 3; ++j) normal.m[i][j] += each * slopes[i] * slopes[j] / std::pow(length, 4);
      }
    }
  }
};

// All lengths that tell, bonds being those of the cell as it is now.
Fit FitOf(const Structure& s, const std::vector<double>& shares) {
  Fit fit;
  const NeighbourTable table = ImagesWithin(s, kReach);
  const auto z = [&](size_t site) { return s.scatterers[static_cast<size_t>(s.sites[site].scatterer)].electrons; };
  const auto whole = [&](size_t site) { return s.sites[site].part == 0 && shares[site] > 0.99; };
  for (size_t i = 0; i < table.size(); ++i) {
    if (!whole(i)) continue;
    std::vector<Fractional> outer;
    for (const Neighbour& n : table[i]) {
      const auto other = static_cast<size_t>(n.site);
      if (!whole(other) || n.distance < kShortestBond || !Bonded(z(i), z(other), n.distance)) continue;
      const Fractional x = ImagePosition(s, n);
      if (const UsualLength* usual = UsualOf(z(i), z(other)); usual && other >= i)
        fit.Add(s, x - s.sites[i].x, usual->length, usual->spread);
      if (z(other) < 10) outer.push_back(x);
    }
    if (z(i) > 9 || outer.size() > 4) continue;
    for (size_t a = 0; a < outer.size(); ++a)
      for (size_t b = 0; b < a; ++b) {
        const bool five = s.metric.DistanceSquared(outer[a], outer[b]) < kFiveLimit * kFiveLimit;
        fit.Add(s, outer[a] - outer[b], five ? kOuterInFive : kOuter, kOuterSpread);
      }
  }
  return fit;
}

}  // namespace

CellStrain FitCellStrain(const Structure& structure, const std::vector<double>& shares) {
  CellStrain strain;
  Structure s = structure;
  const CellParameters given = structure.metric.cell;
  Fit fit;
  Mat3 inverse;
  for (int round = 0; round < kRounds; ++round) {
    fit = FitOf(s, shares);
    if (fit.lengths < kFewest) return strain;
    inverse = Inverse(fit.normal);
    CellParameters cell = s.metric.cell;
    double* edges[3] = {&cell.a, &cell.b, &cell.c};
    for (size_t i = 0; i < 3; ++i) {
      double step = 0.0;
      for (size_t j = 0; j < 3; ++j) step += inverse.m[i][j] * fit.right[j];
      if (!std::isfinite(step)) return strain;
      *edges[i] *= std::exp(std::clamp(step, -kMostStep, kMostStep));
    }
    s.metric = MakeMetric(cell);
  }
  const CellParameters& right = s.metric.cell;
  strain.excess = {given.a / right.a - 1.0, given.b / right.b - 1.0, given.c / right.c - 1.0};
  const double scatter = std::max(1.0, fit.chi / static_cast<double>(fit.lengths - 3));
  for (size_t i = 0; i < 3; ++i) strain.error[i] = std::sqrt(kDependent * scatter * inverse.m[i][i]);
  strain.lengths = fit.lengths;
  return strain;
}

std::string DescribeCellStrain(const CellStrain& strain) {
  std::string text;
  int edges = 0;
  for (size_t i = 0; i < 3 && strain.lengths > 0; ++i) {
    const double off = std::fabs(strain.excess[i]);
    if (off < std::max(kLeastExcess, kLeastCertainty * std::hypot(strain.error[i], kUnusual))) continue;
    text += Printf("%s %.0f %% too %s along %c", text.empty() ? "bonds are" : ",", 100.0 * off,
                   strain.excess[i] > 0.0 ? "long" : "short", "abc"[i]);
    ++edges;
  }
  return edges == 0 ? text : text + (edges == 1 ? ": check that edge of the cell" : ": check these edges of the cell");
}

}  // namespace marvik::phase
