#include "phase/statistics.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <set>

#include "base/numbers.h"
#include "crystal/symmetry.h"

namespace marvik::phase {
namespace {

constexpr double kPhasingLimit = 0.80;  // Å
constexpr double kLargestE = 5.0;
constexpr double kAbsentLimit = 0.25;    // <I/σ> of absences over that of all
constexpr double kUnrelated = 0.5;       // R of unrelated intensities that are not centric
constexpr double kMostTwinned = 0.42;    // share that leaves enough of the differences
constexpr double kMoreComplete = 1.003;  // by axes that another merging would have left out

double MeanRatio(const std::vector<Reflection>& reflections) {
  double sum = 0.0;
  for (const Reflection& r : reflections) sum += r.intensity / r.sigma;
  return sum / static_cast<double>(std::max<size_t>(1, reflections.size()));
}

// The lattice with the most points whose absences are weak. One that no measured reflection speaks against is taken
// when the others are missing altogether.
const Centring& FindCentring(Problem& problem, bool given) {
  const auto& known = KnownCentrings();
  const Centring* hint = &known[0];
  for (const Centring& c : known) {
    if (c.latt == std::abs(problem.lattice)) hint = &c;
  }
  if (given) return *hint;
  const double all = MeanRatio(problem.reflections);
  const Centring* best = &known[0];
  double bestRatio = 0.0;
  for (const Centring& c : known) {
    double sum = 0.0;
    size_t count = 0;
    for (const Reflection& r : problem.reflections) {
      if (c.Allows(r.h)) continue;
      sum += r.intensity / r.sigma;
      ++count;
    }
    const double ratio = count > 0 ? sum / static_cast<double>(count) / std::max(all, 0.1) : 0.0;
    if (ratio > kAbsentLimit) continue;
    if (c.points.size() > best->points.size() || (c.points.size() == best->points.size() && ratio < bestRatio)) {
      best = &c;
      bestRatio = ratio;
    }
  }
  if (best != hint)
    problem.notes.push_back(
        Printf("the lattice is %c by its absences, not %c as LATT says", best->symbol, hint->symbol));
  return *best;
}

std::vector<Rotation> HintedRotations(const Problem& problem) {
  std::vector<Rotation> rotations;
  std::string unused;
  const int lattice = problem.lattice == 0 ? 1 : problem.lattice;
  const auto group = MakeSpaceGroup(lattice, ListOperators(lattice, problem.symm), unused);
  if (!group) return rotations;
  for (const SymmetryOperator& op : group->pointOperators) {
    Rotation r = op.r;
    if (op.Determinant() < 0)
      for (auto& row : r)
        for (int& v : row) v = -v;
    if (std::find(rotations.begin(), rotations.end(), r) == rotations.end()) rotations.push_back(r);
  }
  return rotations;
}

RotationAgreement AgreementOf(const Rotation& rotation, const std::map<Miller, const Reflection*>& index,
                              const SpaceGroup& friedel) {
  RotationAgreement a{rotation, 0.0, 0};
  double difference = 0.0, sum = 0.0;
  for (const auto& [h, r] : index) {
    const Miller image = friedel.Representative(Turned(h, rotation), true);
    if (image == h || r->intensity < 3.0 * r->sigma) continue;
    const auto at = index.find(image);
    if (at == index.end()) continue;
    difference += std::fabs(r->intensity - at->second->intensity);
    sum += r->intensity + std::max(0.0, at->second->intensity);
    ++a.pairs;
  }
  if (sum > 0.0) a.r = difference / sum;
  return a;
}

// Into how many reflections the operations of a group turn one.
double OrbitSize(const SpaceGroup& laue, const Miller& h) {
  const auto& ops = laue.pointOperators;
  const auto same = std::count_if(ops.begin(), ops.end(), [&](const auto& op) { return op.ApplyToIndices(h) == h; });
  return static_cast<double>(ops.size()) / static_cast<double>(std::max<std::ptrdiff_t>(1, same));
}

// How many reflections of the sphere the measured ones and their equivalents are.
double Covered(const std::map<Miller, const Reflection*>& index, const SpaceGroup& laue) {
  std::set<Miller> unique;
  double count = 0.0;
  for (const auto& [h, r] : index)
    if (unique.insert(laue.Representative(h, true)).second) count += OrbitSize(laue, h);
  return count;
}

std::vector<Rotation> FindLaueClass(Problem& problem, DataStatistics& s, const std::vector<Reflection>& friedelMerged,
                                    const SpaceGroup& friedel, double limit) {
  std::map<Miller, const Reflection*> index;
  for (const Reflection& r : friedelMerged) index.emplace(r.h, &r);
  const std::vector<Rotation> rotations = MetricSymmetry(problem.metric, s.centring);
  for (const Rotation& r : rotations) {
    if (r != rotations.front()) s.agreements.push_back(AgreementOf(r, index, friedel));
  }
  const size_t few = std::max<size_t>(10, friedelMerged.size() / 50);
  const auto refuted = [&](const Rotation& r, double most) {
    return std::any_of(s.agreements.begin(), s.agreements.end(),
                       [&](const RotationAgreement& a) { return a.rotation == r && a.pairs >= few && a.r > most; });
  };
  const auto groups = RotationGroups(rotations);
  // Of groups of one size merged data may refute none, as those of 4/m and mmm: they are complete in the right one.
  bool merged = false;
  const auto largest = [&](double most) {
    const std::vector<Rotation>* best = &groups.front();
    double covered = 0.0;
    for (const auto& g : groups) {
      if (g.size() < best->size() || &g == best ||
          std::any_of(g.begin(), g.end(), [&](const Rotation& r) { return refuted(r, most); }))
        continue;
      const bool alike = g.size() == best->size();
      if (alike && covered == 0.0) covered = Covered(index, LaueSpaceGroup(*best, s.centring));
      const double own = alike ? Covered(index, LaueSpaceGroup(g, s.centring)) : 0.0;
      merged = alike;
      if (alike && own < kMoreComplete * covered) continue;
      best = &g;
      covered = own;
    }
    return *best;
  };
  const std::vector<Rotation> laue = largest(limit);
  if (merged)
    problem.notes.push_back(
        "the data were merged so that several Laue classes fit: that in which they are most complete is taken");
  const std::vector<Rotation> nearly = largest(kTwinLimit);
  if (nearly.size() > laue.size()) {
    problem.notes.push_back(Printf(
        "the cell has %zu rotations, %zu of which hold for the intensities and %zu nearly so: twinning is likely",
        rotations.size(), laue.size(), nearly.size()));
  } else if (rotations.size() > laue.size()) {
    problem.notes.push_back(Printf("the cell has %zu rotations, the intensities %zu: look out for twinning",
                                   rotations.size(), laue.size()));
  }
  return laue;
}

// |F| of a measured intensity; weak and negative ones get what is left by the prior that none is negative.
double AmplitudeOf(const Reflection& r) {
  const double i = r.intensity;
  if (i > 5.0 * r.sigma) return std::sqrt(i);
  return std::sqrt(0.5 * (i + std::sqrt(i * i + 2.0 * r.sigma * r.sigma)));
}

// Where the data are too weak or too fine to help with phases, in (sin θ / λ)².
double PhasingLimit(const std::vector<Reflection>& merged, const std::vector<double>& s2) {
  const double limit = 0.25 / (kPhasingLimit * kPhasingLimit);
  const size_t shell = std::max<size_t>(40, merged.size() / 20);
  double furthest = 0.25 / (1.5 * 1.5);
  for (size_t begin = 0; begin < merged.size(); begin += shell) {
    const size_t end = std::min(merged.size(), begin + shell);
    double sum = 0.0;
    for (size_t i = begin; i < end; ++i) sum += merged[i].intensity / merged[i].sigma;
    if (sum / static_cast<double>(end - begin) < 1.0 && s2[begin] > furthest) return std::min(limit, s2[begin]);
  }
  return std::min(limit, s2.back());
}

void Normalise(const Metric& metric, DataStatistics& s) {
  std::vector<Reflection>& merged = s.merged;
  const auto s2Of = [&](const Reflection& r) { return metric.SinThetaSquared(r.h[0], r.h[1], r.h[2]); };
  std::stable_sort(merged.begin(), merged.end(),
                   [&](const Reflection& a, const Reflection& b) { return s2Of(a) < s2Of(b); });
  std::vector<double> s2(merged.size());
  std::transform(merged.begin(), merged.end(), s2.begin(), s2Of);
  const double limit = PhasingLimit(merged, s2);
  const auto n = static_cast<size_t>(std::upper_bound(s2.begin(), s2.end(), limit * 1.0001) - s2.begin());
  std::vector<double> weight(n + 1, 0.0), weighted(n + 1, 0.0), amplitude(n);
  for (size_t i = 0; i < n; ++i) {
    const double m = OrbitSize(s.laueGroup, merged[i].h);
    amplitude[i] = AmplitudeOf(merged[i]);
    weight[i + 1] = weight[i] + m;
    weighted[i + 1] = weighted[i] + m * amplitude[i] * amplitude[i];
  }
  const size_t half = std::max<size_t>(20, n / 50);
  double e2sum = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const size_t begin = i > half ? i - half : 0;
    const size_t end = std::min(n, i + half + 1);
    const double mean = (weighted[end] - weighted[begin]) / (weight[end] - weight[begin]);
    const double e = mean > 0.0 ? amplitude[i] / std::sqrt(mean) : 0.0;
    s.normalised.push_back({merged[i].h, amplitude[i], std::min(kLargestE, e), s2[i]});
    e2sum += std::fabs(e * e - 1.0);
  }
  s.eSquaredMinusOne = n > 0 ? e2sum / static_cast<double>(n) : 0.0;
  s.dMin = 0.5 / std::sqrt(s2.back());
  s.dPhasing = n > 0 ? 0.5 / std::sqrt(s2[n - 1]) : 0.0;
}

double Completeness(const Metric& metric, const DataStatistics& s) {
  double measured = 0.0;
  for (const NormalisedReflection& r : s.normalised) measured += OrbitSize(s.laueGroup, r.h);
  const double expected = 4.0 / 3.0 * std::numbers::pi * metric.volume / std::pow(s.dPhasing, 3) /
                          static_cast<double>(s.centring.points.size());
  return measured / expected;
}

// The share of a second part from how much intensities differ that its law makes equivalent: R is 0.5·(1 - 2α) for
// those that are not centric (T. O. Yeates, Acta Cryst. A44 (1988) 142-144). Both parts of each pair follow from it.
void Detwin(DataStatistics& s) {
  const RotationAgreement* law = nullptr;
  for (const RotationAgreement& a : s.agreements) {
    const bool own = std::find(s.laue.begin(), s.laue.end(), a.rotation) != s.laue.end();
    if (!own && a.pairs > 0 && a.r < kTwinLimit && (!law || a.r < law->r)) law = &a;
  }
  if (!law) return;
  std::map<Miller, const Reflection*> index;
  for (const Reflection& r : s.merged) index.emplace(s.laueGroup.Representative(r.h, true), &r);
  std::vector<Reflection> apart = s.merged;
  std::vector<const Reflection*> mates;
  double difference = 0.0, sum = 0.0;
  for (const Reflection& r : s.merged) {
    const auto at = index.find(s.laueGroup.Representative(Turned(r.h, law->rotation), true));
    mates.push_back(at == index.end() || at->second == &r ? nullptr : at->second);
    if (!mates.back()) continue;
    difference += std::fabs(r.intensity - mates.back()->intensity);
    sum += std::max(0.0, r.intensity) + std::max(0.0, mates.back()->intensity);
  }
  const double share = sum > 0.0 ? 0.5 * (1.0 - difference / sum / kUnrelated) : 0.0;
  if (share < 0.0 || share > kMostTwinned) return;
  s.secondPart = share;
  const double first = (1.0 - share) / (1.0 - 2.0 * share), second = share / (1.0 - 2.0 * share);
  for (size_t i = 0; i < apart.size(); ++i) {
    if (!mates[i]) continue;
    apart[i].intensity = first * s.merged[i].intensity - second * mates[i]->intensity;
    apart[i].sigma = std::hypot(first * s.merged[i].sigma, second * mates[i]->sigma);
  }
  s.merged = std::move(apart);
}

}  // namespace

SpaceGroup LaueSpaceGroup(const std::vector<Rotation>& rotations, const Centring& centring) {
  SpaceGroup group;
  group.centric = group.hasInversion = true;
  for (const auto& point : centring.points) {
    auto& parts = group.centring.emplace_back();
    for (size_t i = 0; i < 3; ++i) parts[i] = RoundHalfAway(point[i] * kTranslationParts);
  }
  for (const Rotation& r : rotations) {
    SymmetryOperator op;
    op.r = r;
    group.primitive.push_back(op);
    group.pointOperators.push_back(op);
    for (auto& row : op.r)
      for (int& v : row) v = -v;
    group.pointOperators.push_back(op);
  }
  for (const auto& c : group.centring) {
    for (SymmetryOperator op : group.pointOperators) {
      op.t = c;
      group.all.push_back(op);
    }
  }
  return group;
}

bool AnalyseData(Problem& problem, const AnalysisOptions& options, DataStatistics& s, std::string& sentence) {
  s.meanIOverSigma = MeanRatio(problem.reflections);
  if (s.meanIOverSigma < 0.3) {
    sentence =
        Printf("the mean I/sigma is %.2f: there is nothing but noise; check the columns and the sign of the data",
               s.meanIOverSigma);
    return false;
  }
  s.centring = FindCentring(problem, options.given);
  DataLimits limits;
  limits.omitSigmas = 0.0;
  limits.wavelength = problem.wavelength;
  const Rotation identity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  const SpaceGroup friedel = LaueSpaceGroup({identity}, s.centring);
  const std::vector<Reflection> merged =
      MergeReflections(problem.reflections, friedel, problem.metric, limits, 4, s.merging);
  if (s.merging.outside * 5 > problem.reflections.size())
    problem.notes.push_back(
        "many indices lie beyond the limit of the wavelength: are CELL and the indices of one kind?");
  s.laue =
      options.given ? HintedRotations(problem) : FindLaueClass(problem, s, merged, friedel, options.equivalentLimit);
  s.laueGroup = LaueSpaceGroup(s.laue, s.centring);
  s.merging = {};
  s.merged = MergeReflections(problem.reflections, s.laueGroup, problem.metric, limits, 4, s.merging);
  if (s.merged.size() < 20) {
    sentence = Printf("only %zu unique reflections are left: nothing can be solved from so few", s.merged.size());
    return false;
  }
  if (options.detwin) Detwin(s);
  Normalise(problem.metric, s);
  if (s.normalised.size() < 20 || s.dPhasing > 2.5) {
    sentence = Printf("the data are significant to %.2f A only: atoms cannot be told apart", s.dPhasing);
    return false;
  }
  s.completeness = std::min(1.0, Completeness(problem.metric, s));
  if (s.dPhasing > 1.1)
    problem.notes.push_back(
        Printf("the data reach %.2f A only: below 1.1 A fewer than half of such structures are solved", s.dPhasing));
  if (s.completeness < 0.85)
    problem.notes.push_back(Printf("%.0f %% of the reflections to %.2f A are measured: more would help",
                                   100.0 * s.completeness, s.dPhasing));
  if (s.merging.rIntMembers > 20 && s.merging.rInt > 0.3)
    problem.notes.push_back(Printf("R(int) = %.2f: equivalents do not agree", s.merging.rInt));
  return true;
}

}  // namespace marvik::phase
