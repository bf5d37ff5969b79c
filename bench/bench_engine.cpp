#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>
#include <random>

#include "crystal/symmetry.h"
#include "refine/map/fourier.h"
#include "refine/solve/refinement.h"

// Whole refinements of made-up crystals in P21/c; process time counts all threads.
namespace marvik {
namespace {

// Atoms on a jittered lattice, so that none come too near each other; 18 Å³ each in the cell.
Structure MakeModel(int atoms, int isotropic) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> uniform(-0.5, 0.5);
  Structure s;
  const double edge = std::cbrt(4.0 * atoms * 18.0);
  s.metric = MakeMetric({edge, edge * 1.1, edge / 1.1, 90, 98, 90});
  std::string problem;
  s.group = *MakeSpaceGroup(1, ListOperators(1, {"-X, 0.5+Y, 0.5-Z"}), problem);
  const ElementTable table;
  for (const int row : {6, 8, 1, 30}) s.scatterers.push_back(TabulatedScatterer(table[row], s.wavelength));
  const int n = static_cast<int>(std::ceil(std::cbrt(static_cast<double>(atoms))));
  for (int i = 0; i < atoms; ++i) {
    Site site;
    site.label = site.name = "X" + std::to_string(i);
    site.scatterer = i % 12 == 0 ? 3 : i % 4 == 0 ? 1 : 0;
    site.code[kRawOccupancy] = 11.0;
    site.x = {(i % n + 0.5 + 0.3 * uniform(random)) / n, (i / n % n + 0.5 + 0.3 * uniform(random)) / (4.4 * n) + 0.02,
              (i / (n * n) + 0.5 + 0.3 * uniform(random)) / n};
    site.anisotropic = i >= isotropic;
    site.u = {0.03, 0, 0, 0, 0, 0};
    if (site.anisotropic) site.u = {0.03, 0.035, 0.028, 0.001, 0.004, -0.002};
    s.sites.push_back(site);
  }
  return s;
}

Observations Simulate(const Structure& structure, size_t count) {
  Observations o;
  o.indices.resize(1);
  o.batch.resize(1);
  const double s2Limit =
      std::pow(3.0 * static_cast<double>(count) * 4.0 / (4.0 * std::numbers::pi * structure.metric.volume), 2.0 / 3.0) /
      4.0;
  const auto limit = [&](size_t i) {
    return static_cast<int>(2.0 * std::sqrt(s2Limit) / structure.metric.reciprocalEdges[i]) + 2;
  };
  for (int h = -limit(0); h <= limit(0); ++h) {
    for (int k = 0; k <= limit(1); ++k) {
      for (int l = 0; l <= limit(2); ++l) {
        const Miller m{h, k, l};
        if (structure.metric.SinThetaSquared(h, k, l) > s2Limit || (h | k | l) == 0 || structure.group.IsAbsent(m))
          continue;
        if (structure.group.Representative(m, true) != m) continue;
        o.indices[0].push_back(m);
      }
    }
  }
  o.batch[0].assign(o.indices[0].size(), 1);
  o.intensity.assign(o.indices[0].size(), 1.0);
  o.sigma = o.intensity;
  Calculated c;
  DataPass(structure, o, WeightScheme{}).Run(c);
  std::mt19937 random(1);
  std::normal_distribution<double> noise;
  for (size_t i = 0; i < o.Size(); ++i) {
    o.sigma[i] = 0.03 * c.fc2[i] + 1.0;
    o.intensity[i] = c.fc2[i] + o.sigma[i] * noise(random);
  }
  return o;
}

void RunRefinement(benchmark::State& state, int atoms, int isotropic, size_t data, int cycles, bool gradients,
                   bool map) {
  const Structure truth = MakeModel(atoms, isotropic);
  const Observations o = Simulate(truth, data);
  Job job;
  job.cycles = cycles;
  job.conjugateGradients = gradients;
  size_t parameters = 0;
  double r1 = 0.0;
  for (auto _ : state) {
    Structure model = truth;
    for (Site& site : model.sites) site.x.x += 0.0005;
    Parametrisation p;
    std::vector<RigidGroup> rigid;
    std::vector<std::string> notes;
    p.Build(model, {}, {}, rigid, notes);
    const RefinementResult r = Refine(job, model, p, o, {}, [](const std::string&) {});
    parameters = p.Size();
    r1 = r.final.r1;
    if (map) benchmark::DoNotOptimize(FindPeaks(model, MakeMap(model, o, r.calculated), 20, false));
  }
  state.counters["data"] = static_cast<double>(o.Size());
  state.counters["parameters"] = static_cast<double>(parameters);
  state.counters["R1"] = r1;
}

BENCHMARK_CAPTURE(RunRefinement, Small45AtomsTenCyclesAndMap, 45, 38, 3300, 10, false, true)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(RunRefinement, Medium92AtomsFourCycles, 92, 72, 8000, 4, false, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(RunRefinement, Medium300AnisotropicAtomsOneCycle, 300, 0, 27000, 1, false, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->Iterations(1);
// A tenth of the data that such a structure has: the pass and the products grow with them, the rest does not.
BENCHMARK_CAPTURE(RunRefinement, Large1000AnisotropicAtomsOneCycle, 1000, 0, 9000, 1, false, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->Iterations(1);
// With all of them: minutes.
BENCHMARK_CAPTURE(RunRefinement, Whole1000AnisotropicAtomsOneCycle, 1000, 0, 90000, 1, false, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(RunRefinement, Whole5000AtomsGradients, 5000, 0, 90000, 1, true, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(RunRefinement, Large1500AtomsGradients, 1500, 700, 25000, 2, true, false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->Iterations(1);

}  // namespace
}  // namespace marvik
