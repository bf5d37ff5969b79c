#include "refine/data/weighting.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace marvik {
namespace {

constexpr size_t kRanges = 10;
constexpr double kLargestA = 0.2;

class Objective {
 public:
  Objective(const Calculated& c, double share) {
    std::vector<size_t> order(c.fc2.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return c.fc2[a] < c.fc2[b]; });
    for (const size_t i : order) {
      delta_.push_back((c.fo2[i] - c.fc2[i]) * (c.fo2[i] - c.fc2[i]));
      variance_.push_back(c.sigma[i] * c.sigma[i]);
      p_.push_back(std::max(0.0, share * std::max(0.0, c.fo2[i]) + (1.0 - share) * c.fc2[i]));
    }
  }

  // Of the inverse means of w(Fo² - Fc²)² how far they are from one, each range alike. Of several such measures this
  // one comes nearest to the weights that nine published refinements suggest: a within 6 % (10 % in one), b within
  // 15 %.
  double operator()(double a, double b) const {
    const size_t n = delta_.size();
    double sum = 0.0;
    for (size_t r = 0; r < kRanges; ++r) {
      double mean = 0.0;
      const size_t from = r * n / kRanges;
      const size_t to = (r + 1) * n / kRanges;
      for (size_t i = from; i < to; ++i) {
        const double v = variance_[i] + a * a * p_[i] * p_[i] + b * p_[i];
        if (v > 0.0) mean += delta_[i] / v;
      }
      if (to > from) sum += std::pow(static_cast<double>(to - from) / std::max(1e-6, mean) - 1.0, 2);
    }
    return sum;
  }

  double LargestB() const {
    double top = 0.0;
    double bottom = 0.0;
    for (size_t i = 0; i < delta_.size(); ++i) top += delta_[i], bottom += p_[i];
    return bottom > 0.0 ? 4.0 * top / bottom : 1.0;
  }

 private:
  std::vector<double> delta_;
  std::vector<double> variance_;
  std::vector<double> p_;
};

}  // namespace

std::pair<double, double> SuggestWeights(const Calculated& calculated, double maximumShare) {
  if (calculated.fo2.size() < 2 * kRanges) return {0.1, 0.0};
  const Objective objective(calculated, maximumShare);
  double a = 0.05;
  double b = 0.0;
  double stepA = 0.05;
  double stepB = objective.LargestB() / 4.0;
  double best = objective(a, b);
  // A pattern search: the function is cheap and has a flat valley along which a and b trade.
  while (stepA > 2e-5) {
    bool better = false;
    for (const auto& [da, db] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, -1}, {-1, 1}}) {
      const double x = std::clamp(a + da * stepA, 0.0, kLargestA);
      const double y = std::max(0.0, b + db * stepB);
      const double value = objective(x, y);
      if (value < best - 1e-12) best = value, a = x, b = y, better = true;
    }
    if (!better) stepA *= 0.5, stepB *= 0.5;
  }
  return {a, b};
}

}  // namespace marvik
