#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/vec3.h"

namespace marvik {

// The codes of FMAP.
enum class MapKind : uint8_t { Difference = 2, Observed = 3, TwiceObserved = 4 };

// A map of electron density over the whole cell, e/Å³.
struct DensityMap {
  std::array<size_t, 3> size{};
  std::vector<float> values;  // the last index runs fastest
  double sigma = 0.0;         // root mean square deviation from the mean

  float At(long i, long j, long k) const;
  // Trilinear interpolation.
  double Interpolate(const Fractional& x) const;
  // Cubic through the four points around in each direction: smooth across grid points.
  double InterpolateSmoothly(const Fractional& x) const;
};

}  // namespace marvik
