#include "phase/model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "crystal/site_symmetry.h"
#include "phase/elements.h"
#include "phase/groups/anions.h"
#include "phase/groups/rotors.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kClosestAtoms = 0.95;   // Å
constexpr double kVolumePerAtom = 18.0;  // Å3
constexpr double kStartingU = 0.04;      // Å²
constexpr size_t kMostSites = 1500;
constexpr size_t kShells = 20;
constexpr size_t kSmallestShell = 40;  // reflections
constexpr double kLeastElectrons = 1.8;
constexpr double kNoWorse = 1.02;                                     // of R1, with two places of one atom
constexpr double kWhole = 0.72;                                       // share that an atom there in part seldom has
constexpr double kShortestLightBond = 1.1, kLongestLightBond = 1.75;  // Å
constexpr double kGhost = 0.2;                                        // of the median of the electrons
constexpr double kTwinGain = 0.92;                                    // of R1, that a law must explain
constexpr int kTwinRounds = 20;
constexpr double kTwinSettled = 0.98;  // of R1 two rounds ago
constexpr double kLeastTwin = 0.03;    // share

// Å to the nearest image of any site, below 1.5 Å exact (no width of a cell is below 3 Å there).
double DistanceToSites(const Structure& s, const Fractional& x, size_t except = SIZE_MAX) {
  double best = 1e30;
  for (const SymmetryOperator& op : s.group.all) {
    const Fractional image = op.Apply(x);
    for (size_t i = 0; i < s.sites.size(); ++i) {
      if (i == except) continue;
      Fractional d = image - s.sites[i].x;
      for (int k = 0; k < 3; ++k) d[k] -= std::round(d[k]);
      best = std::min(best, s.metric.DistanceSquared(d, {}));
    }
  }
  return std::sqrt(best);
}

}  // namespace

Model::Model(const Problem& problem, const DataStatistics& data, const GroupCandidate& candidate) : problem_(problem) {
  structure.metric = problem.metric;
  structure.group = candidate.group;
  structure.wavelength = problem.wavelength;
  structure.scatterers = problem.scatterers;
  for (Scatterer& s : structure.scatterers) s.fDoublePrime = 0.0;
  const Scatterer* carbon = nullptr;
  for (const Scatterer& s : structure.scatterers) {
    if (s.electrons == 6) carbon = &s;
  }
  static const ElementTable table;
  structure.scatterers.push_back(carbon ? *carbon : TabulatedScatterer(table[6], problem.wavelength));
  structure.scatterers.back().fDoublePrime = 0.0;
  DataLimits limits;
  limits.wavelength = problem.wavelength;
  limits.resolutionHigh = data.dPhasing * 0.9999;
  MergeStatistics unused;
  merged_ = MergeReflections(problem.reflections, structure.group, problem.metric, limits, 4, unused);
  observations_ = MakeObservations(merged_, {});
  for (const Rotation& law : TwinLaws(problem.metric, candidate.latt, candidate.group)) {
    const bool unrelated = std::any_of(data.agreements.begin(), data.agreements.end(), [&](const RotationAgreement& a) {
      return a.rotation == law && a.pairs > 0 && a.r > kTwinLimit;
    });
    if (!unrelated) laws_.push_back(LawOf(law));
  }
  expected_ = AtomsToExpect(problem, structure.group);
}

double AtomsToExpect(const Problem& problem, const SpaceGroup& group) {
  double atoms = 0.0;
  for (size_t i = 0; i < problem.formula.size(); ++i) {
    if (problem.scatterers[i].electrons > 1) atoms += problem.formula[i].count;
  }
  if (!problem.formulaFits) atoms = problem.metric.volume / kVolumePerAtom;
  return atoms / static_cast<double>(group.all.size());
}

int LightScatterer(const Problem& problem) {
  int best = 0;
  const auto off = [&](int i) {
    const int z = problem.scatterers[static_cast<size_t>(i)].electrons;
    return z > 1 ? std::abs(z - 6) : 1000;
  };
  for (int i = 1; i < static_cast<int>(problem.scatterers.size()); ++i)
    if (off(i) < off(best)) best = i;
  return best;
}

double Model::Weight() const {
  double sum = 0.0;
  for (const double f : fractions_) sum += f;
  return sum;
}

void Model::FindFractions() {
  fractions_.clear();
  for (Site& site : structure.sites) {
    const auto operations = SiteOperations(structure.group.all, structure.metric, site.x, kSiteTolerance);
    if (operations.size() > 1) site.x = ProjectOnSite(operations, site.x);
    fractions_.push_back(1.0 / static_cast<double>(std::max<size_t>(1, operations.size())));
  }
}

// Takes peaks from the highest down until their number in the asymmetric unit is reached.
void Model::SetSites(const std::vector<Peak>& peaks, double limit) {
  structure.sites.clear();
  double sum = 0.0;
  const int carbon = static_cast<int>(structure.scatterers.size()) - 1;
  const double reference = peaks.empty() ? 1.0 : peaks[std::min(peaks.size() - 1, peaks.size() / 2)].height;
  for (const Peak& p : peaks) {
    if (sum >= limit || structure.sites.size() >= kMostSites) break;
    Site site;
    site.x = p.x;
    const auto operations = SiteOperations(structure.group.all, structure.metric, p.x, kSiteTolerance);
    if (operations.size() > 1) site.x = ProjectOnSite(operations, p.x);
    if (DistanceToSites(structure, site.x) < kClosestAtoms) continue;
    const double fraction = 1.0 / static_cast<double>(std::max<size_t>(1, operations.size()));
    site.scatterer = carbon;
    site.u = {kStartingU, 0, 0, 0, 0, 0};
    site.occupancy = fraction * std::clamp(p.height / std::max(1e-9, reference), 0.3, 15.0);
    structure.sites.push_back(site);
    sum += fraction;
  }
  FindFractions();
}

void Model::Refine(int cycles, const Freedom& freedom) {
  if (!structure.sites.empty()) residuals_ = RefineQuickly(structure, observations_, cycles, freedom, calculated_);
}

void Model::DropWhere(const std::vector<bool>& drop) {
  size_t to = 0;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    if (drop[i]) continue;
    structure.sites[to] = structure.sites[i];
    fractions_[to] = fractions_[i];
    if (i < electrons_.size()) electrons_[to] = electrons_[i];
    if (i < shares_.size()) shares_[to] = shares_[i];
    ++to;
  }
  structure.sites.resize(to);
  fractions_.resize(to);
  if (electrons_.size() > to) electrons_.resize(to);
  if (shares_.size() > to) shares_.resize(to);
}

void Model::CountElectrons(bool evenly) {
  electrons_.clear();
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    electrons_.push_back(structure.scatterers[static_cast<size_t>(site.scatterer)].electrons * site.occupancy /
                         fractions_[i]);
  }
  if (evenly) LevelDisplacements(structure, electrons_);
}

// The median of the atoms of the cell.
double Model::UsualElectrons() const {
  std::vector<std::pair<double, double>> sorted;
  for (size_t i = 0; i < electrons_.size(); ++i) sorted.emplace_back(electrons_[i], fractions_[i]);
  std::sort(sorted.begin(), sorted.end());
  double sum = 0.0;
  for (const auto& [electrons, fraction] : sorted) {
    sum += fraction;
    if (2.0 * sum > Weight()) return electrons;
  }
  return 1.0;
}

// Drops what is weak against the median and takes up new peaks of the map with the phases of what is left.
void Model::Recycle(double weakest) {
  CountElectrons();
  const double median = UsualElectrons();
  std::vector<bool> drop;
  for (const double e : electrons_) drop.push_back(e < weakest * median);
  DropWhere(drop);
  const DensityMap map = MakeMap(structure, observations_, calculated_, MapKind::TwiceObserved);
  std::vector<double> heights;
  for (const Site& site : structure.sites) heights.push_back(map.Interpolate(site.x));
  if (heights.empty()) return;
  std::nth_element(heights.begin(), heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2), heights.end());
  const double reference = heights[heights.size() / 2];
  const auto count = static_cast<size_t>(std::min(2000.0, 2.5 * expected_ + 20.0));
  const double limit = 1.15 * expected_;
  const double u = structure.sites[0].u[0];
  for (const Peak& peak : FindPeaks(structure, map, count, false, PeakPlaces::Parabola)) {
    if (peak.height < 0.35 * reference || Weight() >= limit || structure.sites.size() >= kMostSites) break;
    if (peak.distance < kClosestAtoms) continue;
    Site site;
    site.x = peak.x;
    const auto operations = SiteOperations(structure.group.all, structure.metric, peak.x, kSiteTolerance);
    if (operations.size() > 1) site.x = ProjectOnSite(operations, peak.x);
    if (DistanceToSites(structure, site.x) < kClosestAtoms) continue;
    site.scatterer = static_cast<int>(structure.scatterers.size()) - 1;
    site.u = {u, 0, 0, 0, 0, 0};
    fractions_.push_back(1.0 / static_cast<double>(std::max<size_t>(1, operations.size())));
    site.occupancy = fractions_.back() * median / 6.0 * std::clamp(peak.height / reference, 0.3, 10.0);
    structure.sites.push_back(site);
  }
}

std::vector<Peak> PeaksOfPhases(const Structure& empty, const std::vector<AveragedReflection>& phases,
                                double expected) {
  Observations observations;
  Calculated map;
  observations.indices.resize(1);
  for (const AveragedReflection& r : phases) {
    const double modulus = std::abs(r.e);
    if (modulus < 1e-6) continue;
    observations.indices[0].push_back(r.h);
    observations.intensity.push_back(1.0);
    map.a.push_back(r.e.real() / modulus);
    map.b.push_back(r.e.imag() / modulus);
    map.fc2.push_back(1.0);
    map.fo2.push_back(r.amplitude * r.amplitude);
    map.sigma.push_back(0.0);
  }
  const DensityMap density = MakeMap(empty, observations, map, MapKind::Observed);
  const auto count = static_cast<size_t>(std::min(2000.0, 2.5 * expected + 20.0));
  return FindPeaks(empty, density, count, false, PeakPlaces::Parabola);
}

void Model::BuildFromPhases(const std::vector<AveragedReflection>& phases) {
  SetSites(PeaksOfPhases(structure, phases, expected_), 1.15 * expected_);
  if (structure.sites.empty()) return;
  Freedom freedom;
  freedom.occupancies = true;
  Refine(4, freedom);
  for (int round = 0; round < 4 && !structure.sites.empty(); ++round) {
    Recycle(0.45);
    freedom.ownDisplacements = round >= 2;
    Refine(4, freedom);
  }
  if (!FindTwin()) return;
  // The first maps held both parts.
  Refine(4, freedom);
  double before[2] = {1.0, residuals_.r1};
  for (int round = 0; round < kTwinRounds && !structure.sites.empty(); ++round) {
    Recycle(0.45);
    Refine(4, freedom);
    if (residuals_.r1 > kTwinSettled * before[0]) break;
    before[0] = std::exchange(before[1], residuals_.r1);
  }
}

// Shares of both parts by least squares on their intensities as the model stands.
bool Model::FindTwin() {
  const double before = residuals_.r1;
  TwinLaw best;
  double share = 0.0, r1 = kTwinGain * before;
  for (const TwinLaw& law : laws_) {
    Structure trial = structure;
    const Observations observations = MakeObservations(merged_, law);
    Calculated parts[2];
    for (const double second : {0.0, 1.0}) {
      trial.batchFractions = {second};
      DataPass(trial, observations, {}).Run(parts[second > 0.0]);
    }
    double n[3] = {}, right[2] = {};
    for (size_t i = 0; i < observations.Size(); ++i) {
      const double w = calculated_.weight[i], fo2 = parts[0].fo2[i], a = parts[0].fc2[i], b = parts[1].fc2[i];
      n[0] += w * a * a, n[1] += w * a * b, n[2] += w * b * b;
      right[0] += w * a * fo2, right[1] += w * b * fo2;
    }
    const double first = right[0] * n[2] - right[1] * n[1], second = right[1] * n[0] - right[0] * n[1];
    if (!(first + second > 0.0) || second < kLeastTwin * (first + second) || first < kLeastTwin * (first + second))
      continue;
    trial.batchFractions = {second / (first + second)};
    DataPass(trial, observations, {}).Run(parts[0]);
    const double found = MakeResiduals(parts[0], 0).r1;
    if (found > r1) continue;
    best = law, share = trial.batchFractions[0], r1 = found;
  }
  if (!best.present) return false;
  twin_ = best;
  structure.batchFractions = {share};
  observations_ = MakeObservations(merged_, twin_);
  return true;
}

// Ripples of the map beside heavy atoms, and what else refined to next to nothing, would count as neighbours.
void Model::DropGhosts() {
  CountElectrons();
  const double usual = UsualElectrons();
  std::vector<bool> drop;
  for (const double e : electrons_) drop.push_back(e < kGhost * usual);
  DropWhere(drop);
}

void Model::UseElements(const std::vector<int>& elements) {
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    Site& site = structure.sites[i];
    const int before = structure.scatterers[static_cast<size_t>(site.scatterer)].electrons;
    site.scatterer = elements[i];
    const int after = structure.scatterers[static_cast<size_t>(site.scatterer)].electrons;
    site.occupancy *= static_cast<double>(before) / after;
  }
}

void Model::AssignElements() {
  Freedom freedom;
  freedom.occupancies = true;
  freedom.ownDisplacements = true;
  for (int pass = 0; pass < 3 && !structure.sites.empty(); ++pass) {
    DropGhosts();
    CountElectrons(true);
    UseElements(ElementsOf(problem_, structure, electrons_, fractions_));
    Refine(pass == 0 ? 3 : 5, freedom);
  }
  if (structure.sites.empty()) return;
  DropGhosts();
  CountElectrons(true);
  UseElements(ElementsOf(problem_, structure, electrons_, fractions_));
  // What has much less than its element's electrons is there in part.
  std::vector<int> numbers;
  std::vector<double> found;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    numbers.push_back(structure.scatterers[static_cast<size_t>(structure.sites[i].scatterer)].electrons);
    found.push_back(electrons_[i] / numbers.back());
  }
  std::vector<double> ratios = found;
  std::nth_element(ratios.begin(), ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2), ratios.end());
  for (double& share : found) share /= ratios[ratios.size() / 2];
  const NeighbourTable near = ImagesWithin(structure, kLongestLightBond);
  std::vector<bool> drop;
  shares_.clear();
  for (size_t i = 0; i < found.size(); ++i) {
    drop.push_back(found[i] * numbers[i] < kLeastElectrons);
    // Nothing stands in part between two light atoms that are whole.
    const auto holding = std::count_if(near[i].begin(), near[i].end(), [&](const Neighbour& n) {
      const auto at = static_cast<size_t>(n.site);
      return n.distance > kShortestLightBond && found[at] > kWhole && numbers[at] < 10;
    });
    shares_.push_back(found[i] > kWhole || (holding >= 2 && numbers[i] < 10) ? 1.0 : found[i]);
  }
  DropWhere(drop);
}

int Model::AddPeaks(double least, double room) {
  const DensityMap map = MakeMap(structure, observations_, calculated_);
  const double limit = std::max(least, 5.0 * map.sigma);
  int added = 0;
  const int light = LightScatterer(problem_);
  for (const Peak& peak : FindPeaks(structure, map, static_cast<size_t>(room) + 5, false, PeakPlaces::Parabola)) {
    if (peak.height < limit || added >= room) break;
    if (peak.distance < 1.1 || peak.distance > 4.0) continue;
    Site site;
    site.x = peak.x;
    site.scatterer = light;
    site.u = {0.06, 0, 0, 0, 0, 0};
    site.occupancy = peak.siteFraction;
    if (DistanceToSites(structure, site.x) < kClosestAtoms) continue;
    structure.sites.push_back(site);
    electrons_.push_back(problem_.scatterers[static_cast<size_t>(light)].electrons);
    shares_.push_back(1.0);
    ++added;
  }
  FindFractions();
  return added;
}

bool Model::Finish() {
  Freedom freedom;
  freedom.scale = true;
  freedom.ownDisplacements = true;
  for (int round = 0; round < 3; ++round) {
    if (structure.sites.empty()) return false;
    for (size_t i = 0; i < structure.sites.size(); ++i) structure.sites[i].occupancy = fractions_[i] * shares_[i];
    Refine(4, freedom);
    std::vector<double> u;
    for (const Site& site : structure.sites) u.push_back(site.u[0]);
    std::nth_element(u.begin(), u.begin() + static_cast<std::ptrdiff_t>(u.size() / 2), u.end());
    const double limit = std::max(0.15, 5.0 * u[u.size() / 2]);
    std::vector<bool> drop;
    bool any = false;
    for (const Site& site : structure.sites) {
      drop.push_back(site.u[0] > limit);
      any = any || drop.back();
    }
    DropWhere(drop);
    if (round == 2) break;
    const double room = 1.1 * expected_ - Weight();
    if (room > 0.4) any = AddPeaks(2.0, room) > 0 || any;
    if (!any) break;
  }
  if (structure.sites.empty()) return false;
  Refine(2, freedom);
  return true;
}

void Model::PlaceDisorder() {
  Freedom freedom;
  freedom.scale = true;
  freedom.ownDisplacements = true;
  // What one group explains makes the next one show.
  for (int round = 0; round < 3 && FitRotors(problem_, observations_, structure, shares_, fractions_); ++round)
    Refine(3, freedom);
  if (FitAnions(problem_, observations_, structure, shares_, fractions_)) Refine(3, freedom);
  const Model before = *this;
  if (!SplitEnds(problem_, structure, shares_, fractions_)) return;
  Refine(3, freedom);
  if (residuals_.r1 < kNoWorse * before.residuals_.r1) return;
  structure = before.structure;
  shares_ = before.shares_;
  calculated_ = before.calculated_;
  residuals_ = before.residuals_;
}

double Model::Correlation() const {
  const Calculated& c = calculated_;
  std::vector<size_t> order(c.s2.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::sort(order.begin(), order.end(), [&](size_t i, size_t j) { return c.s2[i] < c.s2[j]; });
  const size_t shell = std::max<size_t>(kSmallestShell, order.size() / kShells + 1);
  double n = 0, so = 0, sc = 0, soo = 0, scc = 0, soc = 0;
  for (size_t first = 0; first < order.size(); first += shell) {
    const size_t last = std::min(order.size(), first + shell);
    double observed = 0, calculated = 0;
    for (size_t k = first; k < last; ++k) observed += std::max(0.0, c.fo2[order[k]]), calculated += c.fc2[order[k]];
    for (size_t k = first; k < last && observed > 0.0 && calculated > 0.0; ++k) {
      const auto count = static_cast<double>(last - first);
      const double o = std::sqrt(count * std::max(0.0, c.fo2[order[k]]) / observed);
      const double e = std::sqrt(count * c.fc2[order[k]] / calculated);
      n += 1.0, so += o, sc += e, soo += o * o, scc += e * e, soc += o * e;
    }
  }
  const double variance = n > 0.0 ? (soo - so * so / n) * (scc - sc * sc / n) : 0.0;
  return variance > 0.0 ? (soc - so * sc / n) / std::sqrt(variance) : 0.0;
}

}  // namespace marvik::phase
