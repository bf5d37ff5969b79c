#include "refine/output/linear_study.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "crystal/site_symmetry.h"
#include "refine/factors/lane_math.h"
#include "refine/job/prepare.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr double kLargestStudy = 3e8;     // parameters times reflections
constexpr size_t kMostInstructions = 25;  // that are left out in turn
constexpr size_t kMostEquations = 600;    // of one
constexpr size_t kExactLeverages = 50;
constexpr double kHeld = 50.0;  // uncertainties

// Solves a·x = b by elimination with pivots; false where the matrix is singular, measured by `scale` of its rows.
bool SolveDense(std::vector<double>& a, std::vector<double>& b, std::vector<double>& scale) {
  const size_t n = b.size();
  for (size_t k = 0; k < n; ++k) {
    size_t best = k;
    for (size_t i = k + 1; i < n; ++i)
      if (std::fabs(a[i * n + k]) > std::fabs(a[best * n + k])) best = i;
    if (std::fabs(a[best * n + k]) < 1e-9 * scale[best]) return false;
    if (best != k) {
      std::swap_ranges(&a[k * n], &a[k * n] + n, &a[best * n]);
      std::swap(b[k], b[best]);
      std::swap(scale[k], scale[best]);
    }
    for (size_t i = k + 1; i < n; ++i) {
      const double f = a[i * n + k] / a[k * n + k];
      if (f == 0.0) continue;
      for (size_t j = k; j < n; ++j) a[i * n + j] -= f * a[k * n + j];
      b[i] -= f * b[k];
    }
  }
  for (size_t k = n; k-- > 0;) {
    for (size_t j = k + 1; j < n; ++j) b[k] -= a[k * n + j] * b[j];
    b[k] /= a[k * n + k];
  }
  return true;
}

class Study {
 public:
  explicit Study(const Session& s)
      : s_(s),
        n_(s.parametrisation.Size()),
        data_(s.observations.Size()),
        scale_(s.result.final.goof * s.result.final.goof * s.result.friedelFactor),
        pass_(s.structure, s.observations, s.job.weights, s.job.threads) {}

  LinearStudy Do() {
    LeaveOutInstructions();
    estimates_.resize(data_);
    changes_.assign(steps_.size(), std::vector<double>(data_));
    Calculated calculated;
    pass_.RunBlocks(0, s_.observations.Blocks(), calculated, s_.parametrisation,
                    [&](size_t block, const double* rows, const Lanes& residual) { Take(block, rows, residual); });
    for (size_t i = 0; i < steps_.size(); ++i) study_.restraints[i].gain = s_.result.final.r1 - R1With(changes_[i]);
    std::stable_sort(study_.restraints.begin(), study_.restraints.end(), [](const auto& a, const auto& b) {
      return std::make_pair(a.gain, a.chi2) > std::make_pair(b.gain, b.chi2);
    });
    FindInfluences();
    return std::move(study_);
  }

 private:
  // Element of the inverse normal matrix.
  double Inverse(size_t i, size_t j) const { return s_.result.covariance.At(i, j) / scale_; }

  // At the minimum the gradients of data and restraints balance. Without equations A·Δ = d of weights W the step is
  // -V·Aᵀ·(W⁻¹ - A·V·Aᵀ)⁻¹·d, where V is the inverse with them.
  std::optional<std::vector<double>> StepWithout(const std::vector<ParameterEquation>& equations) const {
    const size_t k = equations.size();
    std::vector<std::vector<double>> columns;
    std::vector<double> b;
    for (const ParameterEquation& e : equations) {
      std::vector<double> column(n_);
      for (const Term& term : e.slopes)
        for (size_t p = 0; p < n_; ++p) column[p] += term.factor * Inverse(p, static_cast<size_t>(term.parameter));
      columns.push_back(std::move(column));
      b.push_back(e.deviation);
    }
    std::vector<double> a(k * k);
    std::vector<double> scale;
    for (size_t i = 0; i < k; ++i) {
      for (size_t j = 0; j < k; ++j)
        for (const Term& term : equations[i].slopes)
          a[i * k + j] -= term.factor * columns[j][static_cast<size_t>(term.parameter)];
      a[i * k + i] += 1.0 / equations[i].weight;
      scale.push_back(std::fabs(1.0 / equations[i].weight));
    }
    if (!SolveDense(a, b, scale)) return std::nullopt;
    std::vector<double> step(n_);
    for (size_t i = 0; i < k; ++i)
      for (size_t p = 0; p < n_; ++p) step[p] -= columns[i][p] * b[i];
    // Where nothing else holds a parameter the step leads anywhere.
    for (size_t p = 0; p < n_; ++p)
      if (!(std::fabs(step[p]) <= kHeld * s_.result.sigmas[p])) return std::nullopt;
    return step;
  }

  void LeaveOutInstructions() {
    std::map<std::string, std::vector<const Restraint*>> lines;
    for (const auto& restraint : s_.restraints) lines[restraint->text].push_back(restraint.get());
    std::vector<std::pair<RestraintCost, std::vector<const Restraint*>>> order;
    for (const auto& [text, restraints] : lines) {
      RestraintSums sums;
      sums.scale = 1.0;
      MakeEquations(s_.structure, s_.parametrisation, restraints, sums);
      order.push_back({{text, sums.restraints, sums.sum, 0.0, false}, restraints});
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first.chi2 > b.first.chi2; });
    const Residuals& r = s_.result.final;
    RestraintSums sums;
    sums.scale =
        std::max(1e-3, r.goof * r.goof * std::max(0.0, 1.0 - static_cast<double>(n_) / static_cast<double>(data_)));
    for (auto& [cost, restraints] : order) {
      std::vector<ParameterEquation> equations = MakeEquations(s_.structure, s_.parametrisation, restraints, sums);
      std::erase_if(equations, [](const ParameterEquation& e) { return e.weight == 0.0; });
      if (equations.empty()) continue;
      if (steps_.size() >= kMostInstructions || equations.size() > kMostEquations) {
        ++study_.untried;
        continue;
      }
      const auto step = StepWithout(equations);
      cost.needed = !step;
      steps_.push_back(step.value_or(std::vector<double>(n_)));
      study_.restraints.push_back(cost);
    }
  }

  void Take(size_t block, const double* rows, const Lanes& residual) {
    Lanes leverage{};
    std::vector<Lanes> changes(steps_.size());
    for (size_t p = 0; p < n_; ++p) {
      const double* row = rows + p * kBlock;
      const double variance = Inverse(p, p);
      for (size_t i = 0; i < kBlock; ++i) leverage[i] += variance * row[i] * row[i];
      for (size_t l = 0; l < steps_.size(); ++l) {
        const double shift = steps_[l][p];
        if (shift == 0.0) continue;
        for (size_t i = 0; i < kBlock; ++i) changes[l][i] += shift * row[i];
      }
    }
    for (size_t i = 0; i < kBlock && block * kBlock + i < data_; ++i) {
      const size_t at = block * kBlock + i;
      estimates_[at] = leverage[i] * residual[i] * residual[i];
      const double root = std::sqrt(s_.result.calculated.weight[at]);
      for (size_t l = 0; l < steps_.size(); ++l) changes_[l][at] = root > 0.0 ? changes[l][i] / root : 0.0;
    }
  }

  double R1With(const std::vector<double>& change) const {
    const Calculated& c = s_.result.calculated;
    double top = 0.0;
    double bottom = 0.0;
    for (size_t i = 0; i < data_; ++i) {
      if (!IsStrong(c.fo2[i], c.sigma[i])) continue;
      const double fo = std::sqrt(c.fo2[i]);
      top += std::fabs(fo - std::sqrt(std::max(0.0, c.fc2[i] + change[i])));
      bottom += fo;
    }
    return bottom > 0.0 ? top / bottom : 0.0;
  }

  // The exact leverages of those that a diagonal matrix ranks highest.
  void FindInfluences() {
    std::vector<size_t> order(data_);
    for (size_t i = 0; i < data_; ++i) order[i] = i;
    const size_t count = std::min(kExactLeverages, data_);
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count), order.end(),
                      [&](size_t a, size_t b) { return estimates_[a] > estimates_[b]; });
    std::map<size_t, std::vector<size_t>> byBlock;
    for (size_t i = 0; i < count; ++i) byBlock[order[i] / kBlock].push_back(order[i]);
    Calculated calculated;
    for (const auto& entry : byBlock) {
      const size_t block = entry.first;
      const std::vector<size_t>& observations = entry.second;
      pass_.RunBlocks(block, block + 1, calculated, s_.parametrisation,
                      [&](size_t, const double* rows, const Lanes& residual) {
                        for (const size_t at : observations) AddInfluence(at, rows, residual[at % kBlock]);
                      });
    }
    std::sort(study_.reflections.begin(), study_.reflections.end(),
              [](const Influence& a, const Influence& b) { return a.distance > b.distance; });
  }

  void AddInfluence(size_t at, const double* rows, double residual) {
    const size_t lane = at % kBlock;
    double leverage = 0.0;
    for (size_t p = 0; p < n_; ++p) {
      const double row = rows[p * kBlock + lane];
      if (row == 0.0) continue;
      double sum = 0.5 * Inverse(p, p) * row;
      for (size_t q = 0; q < p; ++q) sum += Inverse(p, q) * rows[q * kBlock + lane];
      leverage += 2.0 * row * sum;
    }
    const double rest = std::max(1e-6, 1.0 - leverage);
    const double s2 = s_.result.final.goof * s_.result.final.goof;
    const double distance =
        s2 > 0.0 ? residual * residual * leverage / (static_cast<double>(n_) * s2 * rest * rest) : 0.0;
    study_.reflections.push_back({at, leverage, distance});
  }

  const Session& s_;
  size_t n_;
  size_t data_;
  double scale_;
  DataPass pass_;
  LinearStudy study_;
  std::vector<std::vector<double>> steps_;
  std::vector<double> estimates_;
  std::vector<std::vector<double>> changes_;
};

bool IsTooLarge(const Session& s, size_t parameters) {
  return static_cast<double>(parameters) * static_cast<double>(s.observations.Size()) > kLargestStudy;
}

}  // namespace

LinearStudy StudyLinearly(const Session& s) {
  const size_t n = s.parametrisation.Size();
  const bool possible = s.result.covariance.Size() == n && s.result.final.goof > 0.0 && s.result.singular.empty();
  return possible && !IsTooLarge(s, n) ? Study(s).Do() : LinearStudy{};
}

namespace {

// Scale, and for each site its occupancy and an isotropic change of its displacement.
Parametrisation OccupanciesAndDisplacements(const Structure& structure) {
  Parametrisation p;
  p.parameters.push_back({ParameterKind::Scale, -1, 0, 0, "scale"});
  p.rows.assign(structure.sites.size() * kRawPerSite, {});
  const std::array<double, 6> unit = TensorOfIsotropic(structure.metric, 1.0);
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const int site = static_cast<int>(i);
    const int first = static_cast<int>(p.parameters.size());
    p.parameters.push_back({ParameterKind::Occupancy, site, 0, 0, ""});
    p.parameters.push_back({ParameterKind::Displacement, site, 0, 0, ""});
    p.rows[i * kRawPerSite + kRawOccupancy] = {{first, 1.0}};
    for (size_t k = 0; k < (structure.sites[i].anisotropic ? 6u : 1u); ++k)
      p.rows[i * kRawPerSite + kRawU + k] = {{first + 1, structure.sites[i].anisotropic ? unit[k] : 1.0}};
  }
  return p;
}

// The sums of the normal equations of scale, occupancy and displacement, of one site.
using SiteSums = std::array<double, 9>;  // ss so su oo ou uu, gs go gu

// The change of the occupancy and its variance in units of S².
std::optional<std::pair<double, double>> FreeOccupancy(const SiteSums& n) {
  Mat3 m;
  m.m = {{{n[0], n[1], n[2]}, {n[1], n[3], n[4]}, {n[2], n[4], n[5]}}};
  if (!(n[0] > 0.0) || !(n[3] > 0.0) || !(n[5] > 0.0)) return std::nullopt;
  const Mat3 inverse = Inverse(m);
  const double change = inverse.m[1][0] * n[6] + inverse.m[1][1] * n[7] + inverse.m[1][2] * n[8];
  if (!std::isfinite(change) || !(inverse.m[1][1] > 0.0)) return std::nullopt;
  return std::make_pair(change, inverse.m[1][1]);
}

double AgainstNeighbours(const Session& s, size_t site) {
  double sum = 0.0;
  int count = 0;
  for (const Neighbour& n : s.bonds[site]) {
    const Site& other = s.structure.sites[static_cast<size_t>(n.site)];
    if (other.hydrogen) continue;
    sum += s.structure.Ueq(other);
    ++count;
  }
  return count > 0 && sum > 0.0 ? s.structure.Ueq(s.structure.sites[site]) * count / sum : 1.0;
}

}  // namespace

std::vector<SiteElectrons> FindStrangeElements(const Session& s) {
  const auto& sites = s.structure.sites;
  std::vector<SiteElectrons> found;
  const bool xrays = s.structure.wavelength > 0.05 &&
                     std::none_of(s.job.commands.begin(), s.job.commands.end(),
                                  [](const Instruction& c) { return c.keyword == InstructionKeyword::kNeut; });
  if (!xrays || s.result.final.r1 > 0.25 || s.bonds.size() != sites.size()) return found;
  const Parametrisation p = OccupanciesAndDisplacements(s.structure);
  if (IsTooLarge(s, p.Size())) return found;
  DataPass pass(s.structure, s.observations, s.job.weights, s.job.threads);
  std::vector<std::vector<SiteSums>> shares(DataPass::kShares, std::vector<SiteSums>(sites.size()));
  Calculated calculated;
  pass.Run(calculated, &p, [&](size_t share, const double* rows, const Lanes& residual) {
    const double* scale = rows;
    for (size_t i = 0; i < sites.size(); ++i) {
      const double* o = rows + (2 * i + 1) * kBlock;
      const double* u = o + kBlock;
      const std::pair<const double*, const double*> products[] = {
          {scale, scale},           {scale, o},           {scale, u},          {o, o}, {o, u}, {u, u},
          {scale, residual.data()}, {o, residual.data()}, {u, residual.data()}};
      for (size_t k = 0; k < 9; ++k)
        shares[share][i][k] += SumOfProducts<kBlock>(products[k].first, products[k].second);
    }
  });
  for (size_t i = 0; i < sites.size(); ++i) {
    const Site& site = sites[i];
    const int z = s.structure.scatterers[static_cast<size_t>(site.scatterer)].electrons;
    if (site.hydrogen || z < 3 || site.part != 0 || site.occupancy <= 0.0) continue;
    if (SplitCodedValue(site.code[kRawOccupancy]).variable != 1) continue;
    SiteSums sums{};
    for (const auto& share : shares)
      for (size_t k = 0; k < 9; ++k) sums[k] += share[i][k];
    const auto change = FreeOccupancy(sums);
    if (!change) continue;
    SiteElectrons e{static_cast<int>(i), 1.0 + change->first / site.occupancy,
                    std::sqrt(change->second) * s.result.final.goof / site.occupancy, AgainstNeighbours(s, i), 0};
    const double off = std::fabs(e.share - 1.0);
    if (off < 6.0 * e.su || off < std::max(0.05, 0.6 / z)) continue;
    e.suggested = std::clamp(static_cast<int>(std::lround(z * e.share)), 0, 98);
    if (e.suggested == z) e.suggested += e.share > 1.0 ? 1 : -1;
    found.push_back(e);
  }
  std::sort(found.begin(), found.end(), [](const SiteElectrons& a, const SiteElectrons& b) {
    return std::fabs(a.share - 1.0) / a.su > std::fabs(b.share - 1.0) / b.su;
  });
  return found;
}

}  // namespace marvik
