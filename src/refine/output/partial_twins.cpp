#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kWorst = 60;     // reflections that are most above what is calculated
constexpr size_t kSample = 1000;  // of all
constexpr double kOverlap = 0.2;  // of an index, as a TWIN instruction takes it
constexpr double kLargestIndex = 1e6;
constexpr double kMostShare = 0.9;       // beyond, the law is one of the whole lattice
constexpr double kLeastShare = 0.6;      // of the worst reflections
constexpr double kEnrichment = 1.25;     // of the worst against all
constexpr double kLeastFraction = 0.03;  // of a component that is worth a line
constexpr double kLeastGain = 0.02;      // of R1
constexpr double kSure = 10.0;           // s.u. of the second component

// Nothing where the image of a reflection falls on none.
std::optional<Miller> Overlapped(const std::array<double, 9>& law, const Miller& h) {
  Miller out{};
  for (size_t i = 0; i < 3; ++i) {
    const double index = law[3 * i] * h[0] + law[3 * i + 1] * h[1] + law[3 * i + 2] * h[2];
    if (!(std::fabs(index) < kLargestIndex)) return std::nullopt;
    out[i] = static_cast<int>(std::lround(index));
    if (std::fabs(index - out[i]) >= kOverlap) return std::nullopt;
  }
  return out;
}

// Of indices as columns, about [axis] or, `reciprocal`, about the normal of the planes (axis).
std::array<double, 9> TwofoldTurn(const Metric& metric, const std::array<int, 3>& axis, bool reciprocal) {
  const std::array<double, 6>& g = reciprocal ? metric.reciprocal : metric.direct;
  std::array<double, 3> product{};
  double length = 0.0;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j)
      product[i] += g[static_cast<size_t>(TensorIndex(static_cast<int>(i), static_cast<int>(j)))] * axis[j];
    length += product[i] * axis[i];
  }
  std::array<double, 9> law{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j)
      law[3 * i + j] = 2.0 / length * (reciprocal ? axis[i] * product[j] : product[i] * axis[j]) - (i == j ? 1.0 : 0.0);
  return law;
}

class PartialTwins {
 public:
  explicit PartialTwins(const Session& s)
      : group_(s.structure.group), c_(s.result.calculated), indices_(s.observations.indices[0]) {
    std::vector<size_t> order;
    for (size_t i = 0; i < indices_.size(); ++i)
      if (c_.fo2[i] > c_.fc2[i]) order.push_back(i);
    const auto excess = [&](size_t i) { return std::sqrt(c_.weight[i]) * (c_.fc2[i] - c_.fo2[i]); };
    const size_t n = std::min(kWorst, order.size());
    std::ranges::partial_sort(order, order.begin() + static_cast<std::ptrdiff_t>(n), {}, excess);
    worst_.assign(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(n));
    const size_t step = std::max<size_t>(1, indices_.size() / kSample);
    for (size_t i = 0; i < indices_.size(); i += step) sample_.push_back(i);
  }

  std::optional<TwinCandidate> Try(const std::array<double, 9>& law) {
    const double all = Share(law, sample_);
    const double worst = Share(law, worst_);
    if (worst_.size() < kWorst || all > kMostShare || worst < kLeastShare || worst < kEnrichment * all) return {};
    if (byIndex_.empty())
      for (size_t i = 0; i < indices_.size(); ++i) byIndex_[group_.Representative(indices_[i], false)] = i;
    // Fo² against Fc² and that of the partner, 0 where there is none; what has one that is not measured tells nothing.
    std::vector<std::pair<size_t, double>> pairs;
    double aa = 0.0, ab = 0.0, bb = 0.0, ao = 0.0, bo = 0.0;
    for (size_t i = 0; i < indices_.size(); ++i) {
      const auto image = Overlapped(law, indices_[i]);
      const auto partner = image ? byIndex_.find(group_.Representative(*image, false)) : byIndex_.end();
      if (image && partner == byIndex_.end()) continue;
      const double a = c_.fc2[i], b = image ? c_.fc2[partner->second] : 0.0, w = c_.weight[i];
      pairs.emplace_back(i, b);
      aa += w * a * a, ab += w * a * b, bb += w * b * b;
      ao += w * a * c_.fo2[i], bo += w * b * c_.fo2[i];
    }
    const double determinant = aa * bb - ab * ab;
    if (pairs.size() * 2 < indices_.size() || !(determinant > 1e-9 * aa * bb)) return {};
    const double own = (ao * bb - bo * ab) / determinant;
    const double other = (bo * aa - ao * ab) / determinant;
    if (!(own > 0.0) || !(other > kLeastFraction * own)) return {};
    TwinCandidate found{law, other / (own + other), R1(pairs, 1.0, 0.0), R1(pairs, own, other), all};
    double misfit = 0.0;
    for (const auto& [i, b] : pairs) {
      const double rest = c_.fo2[i] - own * c_.fc2[i] - other * b;
      misfit += c_.weight[i] * rest * rest;
    }
    const double sigma = std::sqrt(misfit / static_cast<double>(pairs.size()) * aa / determinant);
    if (other < kSure * sigma || found.twinned > found.single * (1.0 - kLeastGain)) return {};
    return found;
  }

 private:
  double Share(const std::array<double, 9>& law, const std::vector<size_t>& of) const {
    const auto overlaps = [&](size_t i) { return Overlapped(law, indices_[i]).has_value(); };
    return of.empty() ? 0.0 : static_cast<double>(std::ranges::count_if(of, overlaps)) / static_cast<double>(of.size());
  }

  double R1(const std::vector<std::pair<size_t, double>>& pairs, double own, double other) const {
    double top = 0.0, bottom = 0.0;
    for (const auto& [i, b] : pairs) {
      if (!IsStrong(c_.fo2[i], c_.sigma[i])) continue;
      const double fo = std::sqrt(c_.fo2[i]);
      top += std::fabs(fo - std::sqrt(std::max(0.0, own * c_.fc2[i] + other * b)));
      bottom += fo;
    }
    return bottom > 0.0 ? top / bottom : 0.0;
  }

  const SpaceGroup& group_;
  const Calculated& c_;
  const std::vector<Miller>& indices_;
  std::vector<size_t> worst_, sample_;
  std::map<Miller, size_t> byIndex_;
};

}  // namespace

std::vector<TwinCandidate> FindPartialTwinLaws(const Session& s) {
  std::vector<TwinCandidate> found;
  if (s.observations.Components() != 1 || s.observations.Size() == 0) return found;
  PartialTwins search(s);
  for (int code = 0; code < 125; ++code) {
    const std::array<int, 3> axis{code / 25 - 2, code / 5 % 5 - 2, code % 5 - 2};
    const auto first = std::ranges::find_if(axis, [](int v) { return v != 0; });
    if (first == axis.end() || *first < 0 || std::gcd(std::gcd(axis[0], axis[1]), axis[2]) != 1) continue;
    for (const bool reciprocal : {false, true})
      if (const auto law = search.Try(TwofoldTurn(s.structure.metric, axis, reciprocal))) found.push_back(*law);
  }
  std::ranges::sort(found, {}, &TwinCandidate::twinned);
  // An axis of both lattices gives one law twice, and so does the symmetry of the crystal.
  const auto same = [](const TwinCandidate& a, const TwinCandidate& b) {
    return std::fabs(a.twinned - b.twinned) < 1e-6 && std::fabs(a.fraction - b.fraction) < 1e-6;
  };
  found.erase(std::unique(found.begin(), found.end(), same), found.end());
  constexpr size_t kMostNamed = 3;
  if (found.size() > kMostNamed) found.resize(kMostNamed);
  return found;
}

}  // namespace marvik
