#include <benchmark/benchmark.h>
#include <random>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hydrogens.h"
#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"

namespace marvik {
namespace {

// Benzyl alcohol skeletons on a grid in a face-centred cell with a mirror plane's worth of operators: eight in all.
void Build(Document& document, int atoms) {
  RecordingMessages messages;
  constexpr double kMolecule[][3] = {{0, 0, 0},     {1.39, 0, 0},       {2.085, 1.204, 0}, {1.39, 2.408, 0},
                                     {0, 2.408, 0}, {-0.695, 1.204, 0}, {-2.2, 1.204, 0},  {-2.75, 2.5, 0.2}};
  const int molecules = atoms / 8;
  int perEdge = 1;
  while (perEdge * perEdge * perEdge < molecules) ++perEdge;
  const double spacing = 8.0;
  const double edge = 2.0 * spacing * (perEdge + 1);
  document.cell = {edge, edge, edge, 90, 90, 90};
  BuildOrthogonalisation(document.cell, document.matrix);
  document.symmetry = ListOperators(4, {});
  document.instructions.sfac = {6, 1, 8};
  for (int m = 0; m < molecules; ++m)
    for (int i = 0; i < 8; ++i) {
      AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
      atom->name = std::string(i == 7 ? "O" : "C").append(std::to_string(m * 8 + i));
      atom->element = &document.elements[i == 7 ? 8 : 6];
      const int at[3] = {m % perEdge, m / perEdge % perEdge, m / perEdge / perEdge};
      for (int k = 0; k < 3; ++k) atom->fract[k] = (kMolecule[i][k] + spacing * (at[k] + 0.5)) / edge;
      document.atoms.LinkAtTail(atom);
    }
  document.RecomputePositions();
  Connect(document, messages);
}

void HybridizeAndPlaceHydrogens(benchmark::State& state) {
  RecordingMessages messages;
  Document start;
  Build(start, static_cast<int>(state.range(0)));
  size_t hydrogens = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Document document = start;
    state.ResumeTiming();
    HybridizeAll(document, messages);
    CalculateHydrogens(document, messages);
    hydrogens = document.atoms.LiveCount() - start.atoms.LiveCount();
  }
  state.counters["operators"] = static_cast<double>(start.symmetry.size());
  state.counters["hydrogens"] = static_cast<double>(hydrogens);
}
BENCHMARK(HybridizeAndPlaceHydrogens)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marvik
