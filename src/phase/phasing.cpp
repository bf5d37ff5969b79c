#include "phase/phasing.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>
#include <random>
#include <thread>

#include "refine/map/transform.h"

namespace marvik::phase {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;
constexpr float kWeakShare = 0.25f;
constexpr int kSuperpositions = 60;
constexpr int kLook = 20;                // iterations between looks whether it is solved already
constexpr double kSolvedAlready = 0.69;  // correlation while flipping: 0.48 to 0.66 unsolved, to 0.80 solved
constexpr double kStillRising = 0.008;   // of it, from look to look
constexpr int kEliminations = 10;
constexpr double kMostWork = 3.0e10;  // grid points times iterations before giving up

using Complex = std::complex<float>;

float Uniform(std::mt19937& random) {
  return static_cast<float>(random() >> 8) * (1.0f / 16777216.0f);
}

struct Place {
  std::uint32_t at;
  std::uint32_t mate;  // of the Friedel opposite where the half grid holds it too, else `at`
};

// Everything that the starts share.
struct Setting {
  GridShape grid{};
  size_t half = 0;
  std::vector<PhasedReflection> reflections;
  std::vector<Place> places;
  std::vector<float> amplitude;  // E^0.8 F^0.2
  std::vector<char> weak;
  std::vector<float> patterson;            // of E² - 1
  std::vector<std::uint32_t> seedVectors;  // grid points of its highest peaks

  size_t Points() const { return grid[0] * grid[1] * grid[2]; }
};

std::uint32_t IndexOf(const Setting& s, const Miller& h) {
  const auto wrap = [](int i, size_t n) { return static_cast<size_t>(i < 0 ? i + static_cast<int>(n) : i); };
  return static_cast<std::uint32_t>((wrap(h[0], s.grid[0]) * s.grid[1] + wrap(h[1], s.grid[1])) * s.half +
                                    static_cast<size_t>(h[2]));
}

Miller Opposite(const Miller& h) {
  return {-h[0], -h[1], -h[2]};
}

void Put(const Place& p, Complex value, std::vector<Complex>& coefficients) {
  coefficients[p.at] = value;
  if (p.mate != p.at) coefficients[p.mate] = std::conj(value);
}

void ExpandReflections(const DataStatistics& data, Setting& s) {
  double sum = 0.0;
  for (std::uint32_t i = 0; i < data.normalised.size(); ++i) {
    const NormalisedReflection& r = data.normalised[i];
    std::vector<Miller> images;
    for (const Rotation& rotation : data.laue) {
      Miller h = data.centring.ToPrimitive(Turned(r.h, rotation));
      if (h[2] < 0 || (h[2] == 0 && (h[1] < 0 || (h[1] == 0 && h[0] < 0)))) h = Opposite(h);
      if (std::find(images.begin(), images.end(), h) == images.end()) images.push_back(h);
    }
    for (const Miller& h : images) {
      s.reflections.push_back(
          {h, static_cast<float>(r.e), static_cast<float>(r.f), static_cast<float>(r.s2), i, {1.0f, 0.0f}});
      sum += r.f * r.f;
    }
  }
  std::array<int, 3> most{1, 1, 1};
  for (const PhasedReflection& r : s.reflections)
    for (size_t i = 0; i < 3; ++i) most[i] = std::max(most[i], std::abs(r.h[i]));
  for (size_t i = 0; i < 3; ++i) s.grid[i] = FriendlySize(static_cast<size_t>(2 * most[i] + 2));
  s.half = s.grid[2] / 2 + 1;
  const double scale = std::sqrt(static_cast<double>(s.reflections.size()) / std::max(sum, 1e-30));
  for (const PhasedReflection& r : s.reflections) {
    const std::uint32_t at = IndexOf(s, r.h);
    s.places.push_back({at, r.h[2] == 0 ? IndexOf(s, {-r.h[0], -r.h[1], 0}) : at});
    s.amplitude.push_back(std::pow(r.e, 0.8f) * std::pow(static_cast<float>(scale) * r.f, 0.2f));
  }
  std::vector<float> sorted = s.amplitude;
  const auto cut = sorted.begin() + static_cast<std::ptrdiff_t>(kWeakShare * static_cast<float>(sorted.size()));
  std::nth_element(sorted.begin(), cut, sorted.end());
  for (const float a : s.amplitude) s.weak.push_back(a < *cut);
}

void MakePatterson(Setting& s) {
  std::vector<Complex> c(s.grid[0] * s.grid[1] * s.half);
  for (size_t i = 0; i < s.places.size(); ++i) {
    const float e = s.reflections[i].e;
    Put(s.places[i], {e * e - 1.0f, 0.0f}, c);
  }
  s.patterson.resize(s.Points());
  TransformToReal(s.grid, c.data(), s.patterson.data());
  const size_t n1 = s.grid[0], n2 = s.grid[1], n3 = s.grid[2];
  const auto at = [&](size_t i, size_t j, size_t k) { return s.patterson[((i % n1) * n2 + j % n2) * n3 + k % n3]; };
  std::vector<std::pair<float, std::uint32_t>> peaks;
  for (size_t i = 0; i < n1; ++i) {
    for (size_t j = 0; j < n2; ++j) {
      for (size_t k = 0; k < n3; ++k) {
        const float v = at(i, j, k);
        if (v <= 0.0f || i + j + k == 0) continue;
        bool top = true;
        for (size_t n = 0; n < 27 && top; ++n)
          top = n == 13 || at(i + n1 + n / 9 - 1, j + n2 + n / 3 % 3 - 1, k + n3 + n % 3 - 1) <= v;
        if (top) peaks.emplace_back(-v, static_cast<std::uint32_t>((i * n2 + j) * n3 + k));
      }
    }
  }
  std::sort(peaks.begin(), peaks.end());
  for (size_t i = 0; i < peaks.size() && s.seedVectors.size() < 2 * kSuperpositions; i += 1)
    s.seedVectors.push_back(peaks[i].second);
}

// One thread's arrays.
class Worker {
 public:
  explicit Worker(const Setting& setting)
      : s_(setting),
        coefficients_(s_.grid[0] * s_.grid[1] * s_.half),
        density_(s_.Points()),
        factors_(s_.places.size()) {}

  PhaseSet Run(int start, std::uint32_t seed, int iterations, const std::atomic<int>& last) {
    std::mt19937 random(seed * 7919u + static_cast<std::uint32_t>(start) * 104729u + 17u);
    if (start % 2 == 0 || s_.seedVectors.empty()) {
      for (size_t i = 0; i < factors_.size(); ++i)
        factors_[i] = std::polar(s_.amplitude[i], static_cast<float>(kTurn) * Uniform(random));
    } else {
      StartFromPatterson(static_cast<size_t>(start / 2) % s_.seedVectors.size(), random);
    }
    constexpr float kDeltas[] = {1.15f, 1.2f, 1.1f, 1.05f};
    const float delta = kDeltas[static_cast<size_t>(start / 2) % 4];
    zero_ = 0.0f;
    PhaseSet set;
    set.start = start;
    double before = 0.0;
    for (int i = 1; i <= iterations && last > start; ++i) {
      Flip(delta);
      if (i % kLook != 0 && i < iterations) continue;
      const std::vector<Complex> flipped = factors_;
      const float zero = zero_;
      const auto goOn = [&] { factors_ = flipped, zero_ = zero; };
      const double now = Judge().correlation;
      goOn();
      const bool settled = before > kSolvedAlready && now < before + kStillRising;
      before = now;
      if (!settled && i < iterations) continue;
      for (int k = 0; k < kEliminations && last > start; ++k) Eliminate();
      set.merit = Judge();
      if (set.merit.Accepted() || i == iterations) break;
      goOn();
    }
    set.reflections = s_.reflections;
    for (size_t i = 0; i < factors_.size(); ++i) {
      const float modulus = std::abs(factors_[i]);
      set.reflections[i].phase = modulus > 0.0f ? factors_[i] / modulus : Complex(1.0f, 0.0f);
    }
    return set;
  }

 private:
  void StartFromPatterson(size_t vector, std::mt19937& random) {
    const auto [n1, n2, n3] = s_.grid;
    const size_t shift = s_.seedVectors[vector];
    const size_t a = shift / (n2 * n3), b = shift / n3 % n2, c = shift % n3;
    for (size_t i = 0; i < n1; ++i)
      for (size_t j = 0; j < n2; ++j) {
        const float* row = &s_.patterson[(i * n2 + j) * n3];
        const float* other = &s_.patterson[((i + a) % n1 * n2 + (j + b) % n2) * n3];
        float* out = &density_[(i * n2 + j) * n3];
        for (size_t k = 0; k < n3; ++k) out[k] = std::min(row[k], other[(k + c) % n3]);
      }
    TransformToCoefficients(s_.grid, density_.data(), coefficients_.data());
    // A superposition is exactly mirror symmetric when its vector is a Harker one, and flipping never breaks that.
    for (size_t i = 0; i < factors_.size(); ++i) {
      const float phase = std::arg(coefficients_[s_.places[i].at]) + 2.0f * Uniform(random) - 1.0f;
      factors_[i] = std::polar(s_.amplitude[i], phase);
    }
  }

  void Synthesise() {
    std::fill(coefficients_.begin(), coefficients_.end(), Complex());
    coefficients_[0] = zero_;
    for (size_t i = 0; i < factors_.size(); ++i) Put(s_.places[i], factors_[i], coefficients_);
    TransformToReal(s_.grid, coefficients_.data(), density_.data());
  }

  // Standard deviation of the map from its coefficients.
  float Sigma() const {
    double sum = 0.0;
    for (const Complex& f : factors_) sum += static_cast<double>(std::norm(f));
    return static_cast<float>(std::sqrt(2.0 * sum));
  }

  void Analyse() {
    TransformToCoefficients(s_.grid, density_.data(), coefficients_.data());
    const float scale = 1.0f / static_cast<float>(s_.Points());
    zero_ = coefficients_[0].real() * scale;
    for (size_t i = 0; i < factors_.size(); ++i) factors_[i] = coefficients_[s_.places[i].at] * scale;
  }

  void Flip(float delta) {
    Synthesise();
    const float limit = delta * Sigma();
    for (float& v : density_) v = v < limit ? -v : v;
    Analyse();
    for (size_t i = 0; i < factors_.size(); ++i) {
      const Complex g = factors_[i];
      if (s_.weak[i]) {
        factors_[i] = {-g.imag(), g.real()};
      } else {
        factors_[i] = g * (s_.amplitude[i] / std::sqrt(std::max(std::norm(g), 1e-30f)));
      }
    }
  }

  void UseE() {
    for (size_t i = 0; i < factors_.size(); ++i)
      factors_[i] *= s_.reflections[i].e / std::sqrt(std::max(std::norm(factors_[i]), 1e-30f));
    zero_ = 0.0f;
  }

  void Eliminate() {
    UseE();
    Synthesise();
    const float limit = 1.5f * Sigma();
    for (float& v : density_) v = v < limit ? 0.0f : v;
    Analyse();
  }

  PhaseMerit Judge() {
    UseE();
    const std::vector<Complex> kept = factors_;
    Synthesise();
    const double sigma = static_cast<double>(Sigma());
    PhaseMerit merit;
    double cube = 0.0, fourth = 0.0;
    const auto cut = static_cast<float>(2.5 * sigma);
    for (float& v : density_) {
      const double x = static_cast<double>(v) / sigma;
      cube += x * x * x;
      fourth += x * x * x * x;
      v = v < cut ? 0.0f : v;
    }
    merit.skewness = cube / static_cast<double>(density_.size());
    merit.kurtosis = fourth / static_cast<double>(density_.size());
    Analyse();
    double se = 0, sc = 0, see = 0, scc = 0, sec = 0;
    for (size_t i = 0; i < factors_.size(); ++i) {
      const auto e = static_cast<double>(s_.reflections[i].e), c = static_cast<double>(std::abs(factors_[i]));
      se += e, sc += c, see += e * e, scc += c * c, sec += e * c;
    }
    const auto n = static_cast<double>(factors_.size());
    const double variance = (see - se * se / n) * (scc - sc * sc / n);
    merit.correlation = variance > 0.0 ? (sec - se * sc / n) / std::sqrt(variance) : 0.0;
    factors_ = kept;
    return merit;
  }

  const Setting& s_;
  std::vector<Complex> coefficients_;
  std::vector<float> density_;
  std::vector<Complex> factors_;
  float zero_ = 0.0f;
};

int IterationsOf(int start) {
  return start < 8 ? 250 : start < 24 ? 500 : 1000;
}

// Hands out start numbers and stops when enough of the lowest are accepted, so that the outcome does not depend on
// which thread was quicker.
class Dealer {
 public:
  Dealer(const PhasingOptions& options, double points) : options_(options) {
    double work = 0.0;
    while (work < kMostWork * options.effort && starts_ < options.starts) work += points * IterationsOf(starts_++);
    last_ = starts_;
  }

  int Next() {
    const std::lock_guard lock(mutex_);
    return next_ < last_ ? next_++ : -1;
  }

  void Take(PhaseSet&& set) {
    const std::lock_guard lock(mutex_);
    if (set.start >= last_) return;
    if (best_.correlation < set.merit.correlation) best_ = set.merit;
    if (options_.accepted && set.merit.Accepted()) options_.accepted(set);
    sets_.push_back(std::move(set));
    std::vector<int> accepted;
    for (const PhaseSet& s : sets_) {
      if (s.merit.Accepted()) accepted.push_back(s.start);
    }
    std::sort(accepted.begin(), accepted.end());
    const auto wanted = static_cast<size_t>(options_.wanted);
    if (accepted.size() >= wanted) last_ = std::min<int>(last_, accepted[wanted - 1] + 1);
    DropUseless();
    if (options_.progress && !options_.progress(static_cast<int>(next_), best_)) last_ = 0;
  }

  const std::atomic<int>& Last() const { return last_; }

  std::vector<PhaseSet> Result() {
    std::erase_if(sets_, [&](const PhaseSet& s) { return s.start >= last_; });
    std::sort(sets_.begin(), sets_.end(), Before);
    if (sets_.size() > kKept) sets_.resize(kKept);
    return std::move(sets_);
  }

 private:
  static constexpr size_t kKept = 6;
  static bool Before(const PhaseSet& a, const PhaseSet& b) {
    if (a.merit.Accepted() != b.merit.Accepted()) return a.merit.Accepted();
    if (a.merit.correlation != b.merit.correlation) return a.merit.correlation > b.merit.correlation;
    return a.start < b.start;
  }

  // Unaccepted sets beyond those that could still be wanted would fill the memory.
  void DropUseless() {
    std::sort(sets_.begin(), sets_.end(), Before);
    while (sets_.size() > 4 * kKept && !sets_.back().merit.Accepted()) sets_.pop_back();
  }

  const PhasingOptions& options_;
  std::mutex mutex_;
  int starts_ = 0;
  int next_ = 0;
  std::atomic<int> last_{0};
  PhaseMerit best_;
  std::vector<PhaseSet> sets_;
};

}  // namespace

std::vector<PhaseSet> FindPhases(const DataStatistics& data, const PhasingOptions& options) {
  Setting setting;
  ExpandReflections(data, setting);
  MakePatterson(setting);
  Dealer dealer(options, static_cast<double>(setting.Points()));
  const auto work = [&] {
    Worker worker(setting);
    for (int start = dealer.Next(); start >= 0; start = dealer.Next())
      dealer.Take(worker.Run(start, options.seed, IterationsOf(start), dealer.Last()));
  };
  const unsigned machine = std::max(1u, std::thread::hardware_concurrency());
  const unsigned threads = options.threads > 0 ? static_cast<unsigned>(options.threads) : std::min(8u, machine);
  std::vector<std::jthread> others;
  for (unsigned i = 1; i < threads; ++i) others.emplace_back(work);
  work();
  others.clear();
  return dealer.Result();
}

}  // namespace marvik::phase
