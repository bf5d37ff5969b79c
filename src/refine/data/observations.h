#pragma once

#include <complex>
#include <string_view>
#include <vector>

#include "refine/data/reflections.h"
#include "refine/factors/structure_factors.h"

namespace marvik {

// TWIN r11 ... r33 n: n components related by powers of the matrix; a negative n adds the inversion twins of all.
struct TwinLaw {
  bool present = false;
  std::array<double, 9> matrix{-1, 0, 0, 0, -1, 0, 0, 0, -1};
  int components = 2;
};

// What is refined against. Every observation is a sum over components: Fo² ~ scale² Σ_c k_c Fc²(h_c), where k_c belongs
// to a batch (1: one minus the BASF fractions, or one where BASF holds scales of batches; m > 1: the BASF value m - 1;
// 0: this component is missing).
struct Observations {
  std::vector<double> intensity;  // Fo², file scale
  std::vector<double> sigma;
  std::vector<std::vector<Miller>> indices;  // [component][observation]
  std::vector<std::vector<int>> batch;       // [component][observation]

  std::vector<std::vector<std::complex<double>>> added;       // [component][observation], to F; empty for nothing
  std::vector<double> wavelength;                             // of Laue data, Å; empty where it is the same for all
  std::vector<std::vector<std::complex<double>>> dispersion;  // [scatterer][observation], f' + i f" of Laue data
  bool batchScales = false;
  bool multiplicities = false;  // a component's batch says how often it counts, as in lines of powder data
  size_t apart = 0;  // observations that not every component of a twin law reaches, for want of whole indices

  size_t Size() const { return intensity.size(); }
  size_t Components() const { return indices.size(); }
  size_t Blocks() const { return (Size() + kBlock - 1) / kBlock; }
};

// With `batches` each reflection keeps the batch of its line, whose scale BASF holds.
Observations MakeObservations(const std::vector<Reflection>& merged, const TwinLaw& twin, bool batches = false);
// HKLF 5: a line with a negative batch number goes with the following one. The last of a group becomes its first
// component.
Observations MakeOverlappedObservations(const std::vector<Reflection>& raw);
// f' and f" of the structure's scatterers at the wavelength of each observation, but where the file gives its own.
void SetDispersion(const Structure& structure, Observations& observations);
// At least one.
int LargestBatch(const std::vector<Reflection>& raw);

// A part of F that the atoms do not make, such as that of a solvent region, in electrons per cell.
struct AddedFactor {
  Miller h{};
  std::complex<double> f;
};
// Lines of h k l A B, numbers between blanks or h k l in columns of four; ends at a line of zeros.
std::vector<AddedFactor> ParseFabFile(std::string_view content);
// The lines that FabText has behind the last, without their "REM"; none in files that others made.
std::vector<std::string> FabRemarks(std::string_view content);
std::string FabText(const std::vector<AddedFactor>& factors, const std::vector<std::string>& remarks);
// Fills `added` with k·exp(-8π²U s²)·(A + iB), symmetry and Friedel opposites applied. How many observations have a
// component without one.
size_t AddFactors(const std::vector<AddedFactor>& factors, const Structure& structure, double k, double u,
                  Observations& observations);

}  // namespace marvik
