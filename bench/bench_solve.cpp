#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>

#include "base/numbers.h"
#include "phase/solution.h"

namespace marvik {
namespace {

// Intensities of 25 carbon atoms and their opposites at made-up places, to 0.85 Å.
std::string Reflections(const Metric& metric) {
  std::string text;
  for (int h = -8; h <= 8; ++h)
    for (int k = -10; k <= 10; ++k)
      for (int l = 0; l <= 14; ++l) {
        const double s2 = metric.SinThetaSquared(h, k, l);
        if (s2 > 0.346 || s2 == 0.0) continue;
        double sum = 0.0;
        for (int i = 1; i <= 25; ++i)
          sum += std::cos(
              2.0 * std::numbers::pi *
              (h * std::fmod(0.1459 * i, 1.0) + k * std::fmod(0.3819 * i, 1.0) + l * std::fmod(0.0557 * i, 1.0)));
        const double f = 12.0 * sum * std::exp(-4.0 * s2);
        text += Printf("%4d%4d%4d%8.2f%8.2f\n", h, k, l, f * f * 0.1, 0.002 * f * f + 0.1);
      }
  return text;
}

// Phases, group, elements and isotropic model on one thread.
void SolveTwentyFiveAtoms(benchmark::State& state) {
  const Metric metric = MakeMetric({7.1, 8.9, 12.3, 84, 79, 88});
  const std::string reflections = Reflections(metric);
  for (auto _ : state) {
    phase::Problem problem;
    std::string sentence;
    phase::MakeProblem("CELL 0.71073 7.1 8.9 12.3 84 79 88\nLATT -1\nSFAC C\nUNIT 50\nHKLF 4\nEND\n", reflections,
                       problem, sentence);
    phase::SolveOptions options;
    options.threads = 1;
    const phase::Solution solution = phase::Solve(problem, options);
    if (!solution.solved) state.SkipWithError("not solved");
    benchmark::DoNotOptimize(solution);
  }
}
BENCHMARK(SolveTwentyFiveAtoms)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marvik
