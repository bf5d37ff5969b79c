#pragma once

#include <vector>

#include "engine/reflections.h"
#include "engine/structure_factors.h"

namespace marvik::engine {

// TWIN r11 ... r33 n: n components related by powers of the matrix; a negative n adds the inversion twins of all.
struct TwinLaw {
  bool present = false;
  std::array<double, 9> matrix{-1, 0, 0, 0, -1, 0, 0, 0, -1};
  int components = 2;
};

// What is refined against. Every observation is a sum over components: Fo² ~ scale² Σ_c k_c Fc²(h_c), where k_c belongs
// to a batch (1: one minus the BASF fractions; m > 1: the BASF value m - 1; 0: this component is missing).
struct Observations {
  std::vector<double> intensity;  // Fo², file scale
  std::vector<double> sigma;
  std::vector<std::vector<Miller>> indices;  // [component][observation]
  std::vector<std::vector<int>> batch;       // [component][observation]

  size_t Size() const { return intensity.size(); }
  size_t Components() const { return indices.size(); }
  size_t Blocks() const { return (Size() + kBlock - 1) / kBlock; }
};

Observations MakeObservations(const std::vector<Reflection>& merged, const TwinLaw& twin);
// HKLF 5: a line with a negative batch number goes with the following one.
Observations MakeOverlappedObservations(const std::vector<Reflection>& raw);
// Batches beyond the first that occur.
int BatchCount(const Observations& observations);

}  // namespace marvik::engine
