#pragma once

#include <atomic>
#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "phase/statistics.h"

namespace marvik::phase {

// One reflection of a half sphere, on the primitive basis.
struct PhasedReflection {
  Miller h{};
  float e = 0.0f;
  float f = 0.0f;
  float s2 = 0.0f;            // Å⁻²
  std::uint32_t unique = 0;   // of DataStatistics::normalised
  std::complex<float> phase;  // of modulus 1
};

// How good a set of phases is.
struct PhaseMerit {
  double correlation = 0.0;  // of E with the transform of the map cut at 2.5 σ
  double skewness = 0.0;     // of the map
  double kurtosis = 0.0;
  bool Accepted() const {
    return correlation >= 0.75 || (correlation >= 0.71 && skewness >= 3.7) || (correlation >= 0.60 && skewness >= 7.0);
  }
  bool BetterThan(const PhaseMerit& o) const { return correlation > o.correlation; }
};

struct PhaseSet {
  int start = -1;
  PhaseMerit merit;
  std::vector<PhasedReflection> reflections;
};

constexpr int kMostStarts = 400;  // three times what the slowest real data are known to need

struct PhasingOptions {
  std::uint32_t seed = 1;
  int threads = 0;      // 0: as many as the machine has
  double effort = 1.0;  // of the usual number of iterations before giving up
  int starts = kMostStarts;
  int wanted = 2;                                                    // accepted starts
  std::function<bool(int starts, const PhaseMerit& best)> progress;  // false stops
  std::function<void(const PhaseSet& set)> accepted;                 // each, on any thread, one at a time
};

// Charge flipping in P1 (G. Oszlányi & A. Sütő, Acta Cryst. A60 (2004) 134; A61 (2005) 147) from random and from
// Patterson superposition starts, closed by low-density elimination (M. Shiono & M. M. Woolfson, Acta Cryst. A48 (1992)
// 451). Gives accepted sets first, the best of them first, then the best of the others. Depends on seed and data alone.
std::vector<PhaseSet> FindPhases(const DataStatistics& data, const PhasingOptions& options);

}  // namespace marvik::phase
