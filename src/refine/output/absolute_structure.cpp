#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "base/mat3.h"
#include "base/numbers.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kPairsListed = 10;

struct FriedelPair {
  size_t plus = 0;  // observations
  size_t minus = 0;
};

// Of groups without a centre, where the components of a twin do not mix the hands; not of Laue data, whose opposites
// are measured at other wavelengths.
std::vector<FriedelPair> FriedelPairs(const Session& s) {
  std::vector<FriedelPair> pairs;
  if (s.structure.group.hasInversion || !s.observations.wavelength.empty()) return pairs;
  if (s.observations.Components() > 1) {
    const auto& m = s.job.twin.matrix;
    const double determinant = Determinant({{{{m[0], m[1], m[2]}, {m[3], m[4], m[5]}, {m[6], m[7], m[8]}}}});
    if (!s.job.twin.present || s.job.twin.components < 0 || determinant <= 0.0) return pairs;
  }
  const auto key = [&](const Miller& h) { return s.structure.group.Representative(h, false); };
  std::map<Miller, size_t> index;
  for (size_t i = 0; i < s.observations.Size(); ++i) index[key(s.observations.indices[0][i])] = i;
  for (const auto& [h, i] : index) {
    const auto other = index.find(key({-h[0], -h[1], -h[2]}));
    if (other != index.end() && other->second > i) pairs.push_back({i, other->second});
  }
  return pairs;
}

}  // namespace

FlackResult EstimateFlack(const Session& s) {
  FlackResult flack;
  const Calculated& c = s.result.calculated;
  double sumW = 0.0;
  double sumWX = 0.0;
  double sumWXX = 0.0;
  for (const auto& [i, j] : FriedelPairs(s)) {
    const double sumO = c.fo2[i] + c.fo2[j];
    const double sumC = c.fc2[i] + c.fc2[j];
    const double sigma = std::hypot(c.sigma[i], c.sigma[j]);
    if (sumO < 6.0 * sigma || sumC <= 0.0) continue;
    const double observed = (c.fo2[i] - c.fo2[j]) / sumO;
    const double calculated = (c.fc2[i] - c.fc2[j]) / sumC;
    const double su = 2.0 * std::hypot(c.fo2[j] * c.sigma[i], c.fo2[i] * c.sigma[j]) / (sumO * sumO);
    // An observed quotient is (1 - 2x) times the calculated one.
    if (std::fabs(calculated) < 1e-4 || su <= 0.0) continue;
    const double x = 0.5 * (1.0 - observed / calculated);
    const double w = std::pow(2.0 * calculated / su, 2);
    sumW += w;
    sumWX += w * x;
    sumWXX += w * x * x;
    flack.strongest.push_back({s.observations.indices[0][i], observed, calculated, w});
  }
  flack.pairs = flack.strongest.size();
  if (flack.pairs < 3 || sumW <= 0.0) return flack;
  flack.present = true;
  flack.x.value = sumWX / sumW;
  // The scatter of the quotients widens what their σ alone would give.
  const double chi2 = std::max(1.0, (sumWXX - sumWX * sumWX / sumW) / static_cast<double>(flack.pairs - 1));
  flack.x.su = std::sqrt(chi2 / sumW);
  std::sort(flack.strongest.begin(), flack.strongest.end(),
            [](const auto& a, const auto& b) { return a.weight > b.weight; });
  if (flack.strongest.size() > kPairsListed) flack.strongest.resize(kPairsListed);
  for (auto& pair : flack.strongest) pair.weight /= sumW;
  return flack;
}

std::optional<Measured> FitHand(const Session& s) {
  if (s.structure.group.hasInversion || s.observations.Components() != 1) return std::nullopt;
  Observations opposite = s.observations;
  for (Miller& h : opposite.indices[0]) h = {-h[0], -h[1], -h[2]};
  for (auto& component : opposite.added)
    for (auto& f : component) f = std::conj(f);
  Calculated other;
  DataPass(s.structure, opposite, s.job.weights).Run(other);
  // Fo² = (1 + k) [Fc² + x (Fc²(-h) - Fc²)], linear in k and x (1 + k).
  const Calculated& c = s.result.calculated;
  double xx = 0.0, xk = 0.0, kk = 0.0, xd = 0.0, kd = 0.0, dd = 0.0;
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    const double w = c.weight[i], x = other.fc2[i] - c.fc2[i], k = c.fc2[i], d = c.fo2[i] - c.fc2[i];
    xx += w * x * x, xk += w * x * k, kk += w * k * k, xd += w * x * d, kd += w * k * d, dd += w * d * d;
  }
  const double determinant = xx * kk - xk * xk;
  if (c.fo2.size() <= s.result.parameters || determinant <= 1e-12 * xx * kk) return std::nullopt;
  const double slope = (xd * kk - kd * xk) / determinant, k = (kd * xx - xd * xk) / determinant;
  if (k <= -1.0) return std::nullopt;
  const double left = (dd - slope * xd - k * kd) / static_cast<double>(c.fo2.size() - s.result.parameters);
  return Measured{slope / (1.0 + k), std::sqrt(std::max(0.0, left) * kk / determinant) / (1.0 + k)};
}

HooftResult EstimateHooft(const Session& s) {
  HooftResult hooft;
  const Calculated& c = s.result.calculated;
  const std::vector<FriedelPair> pairs = FriedelPairs(s);
  double largest = 0.0;
  for (const auto& [i, j] : pairs) largest = std::max(largest, std::fabs(c.fc2[i] - c.fc2[j]));
  // log p(G) = -½Σ[(G ΔFc² - ΔFo²)/σ]², a parabola about the best G.
  double curvature = 0.0;
  double slope = 0.0;
  double square = 0.0;
  for (const auto& [i, j] : pairs) {
    const double sigma = std::hypot(c.sigma[i], c.sigma[j]);
    const double observed = c.fo2[i] - c.fo2[j];
    const double calculated = c.fc2[i] - c.fc2[j];
    // Differences beyond twice the largest that the model has are mistakes.
    if (sigma <= 0.0 || calculated == 0.0 || std::fabs(observed) > 2.0 * largest + 3.0 * sigma) continue;
    curvature += calculated * calculated / (sigma * sigma);
    slope += calculated * observed / (sigma * sigma);
    square += observed * observed / (sigma * sigma);
    ++hooft.pairs;
  }
  if (hooft.pairs < 3 || curvature <= 0.0) return hooft;
  hooft.present = true;
  const double g = slope / curvature;
  const double chi2 = std::max(1.0, (square - g * slope) / static_cast<double>(hooft.pairs - 1));
  curvature /= chi2;
  hooft.y = {0.5 * (1.0 - g), 0.5 / std::sqrt(curvature)};
  const auto log = [&](double at) { return -0.5 * curvature * (at - g) * (at - g); };
  const double best = std::max({log(1.0), log(0.0), log(-1.0)});
  const double right = std::exp(log(1.0) - best), none = std::exp(log(0.0) - best), wrong = std::exp(log(-1.0) - best);
  hooft.right = 1.0 / (1.0 + std::exp(std::min(700.0, log(-1.0) - log(1.0))));
  hooft.rightOf3 = right / (right + none + wrong);
  hooft.racemic = none / (right + none + wrong);
  hooft.wrongOf3 = wrong / (right + none + wrong);
  return hooft;
}

std::string HandTable(const Session& s) {
  std::string out;
  const FlackResult flack = EstimateFlack(s);
  if (flack.present)
    AppendPrintf(out, "\n Flack parameter %s from %zu quotients%s\n", WithSu(flack.x, 3).c_str(), flack.pairs,
                 s.observations.Components() > 1 ? " of the twin" : "");
  if (const auto fit = flack.present ? std::nullopt : FitHand(s))
    AppendPrintf(out, "\n Flack parameter %s from a fit of all intensities, for want of quotients\n",
                 WithSu(*fit, 3).c_str());
  const HooftResult hooft = EstimateHooft(s);
  if (hooft.present) {
    AppendPrintf(out,
                 " Hooft parameter %s from %zu differences; probability that the hand is right %.3g, with a "
                 "racemic twin as a third case: right %.3g, racemic %.3g, wrong %.3g\n",
                 WithSu(hooft.y, 3).c_str(), hooft.pairs, hooft.right, hooft.rightOf3, hooft.racemic, hooft.wrongOf3);
  }
  if (!flack.present) return out;
  out += " Friedel pairs that say most of it: share, quotient observed and calculated\n";
  for (const auto& pair : flack.strongest)
    AppendPrintf(out, " %4d%4d%4d %8.4f %9.4f %9.4f\n", pair.h[0], pair.h[1], pair.h[2], pair.weight, pair.observed,
                 pair.calculated);
  return out;
}

}  // namespace marvik
