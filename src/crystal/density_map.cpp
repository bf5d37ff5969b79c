#include "crystal/density_map.h"

#include <cmath>

namespace marvik {
namespace {

size_t Wrap(long i, size_t n) {
  const long m = static_cast<long>(n);
  return static_cast<size_t>(((i % m) + m) % m);
}

// The grid point below x in each direction, and how far x is beyond it.
void Place(const DensityMap& map, const Fractional& x, std::array<long, 3>& at, std::array<double, 3>& part) {
  for (int i = 0; i < 3; ++i) {
    const auto n = static_cast<size_t>(i);
    const double v = x[i] * static_cast<double>(map.size[n]);
    at[n] = static_cast<long>(std::floor(v));
    part[n] = v - std::floor(v);
  }
}

// Weights of the points at -1, 0, 1 and 2 (Catmull and Rom).
std::array<double, 4> CubicWeights(double t) {
  return {0.5 * t * (-1.0 + t * (2.0 - t)), 1.0 + 0.5 * t * t * (3.0 * t - 5.0), 0.5 * t * (1.0 + t * (4.0 - 3.0 * t)),
          0.5 * t * t * (t - 1.0)};
}

}  // namespace

float DensityMap::At(long i, long j, long k) const {
  return values[(Wrap(i, size[0]) * size[1] + Wrap(j, size[1])) * size[2] + Wrap(k, size[2])];
}

double DensityMap::Interpolate(const Fractional& x) const {
  std::array<long, 3> at;
  std::array<double, 3> part;
  Place(*this, x, at, part);
  double sum = 0.0;
  for (int n = 0; n < 8; ++n) {
    const int a = n >> 2 & 1, b = n >> 1 & 1, c = n & 1;
    const double w = (a ? part[0] : 1 - part[0]) * (b ? part[1] : 1 - part[1]) * (c ? part[2] : 1 - part[2]);
    sum += w * static_cast<double>(At(at[0] + a, at[1] + b, at[2] + c));
  }
  return sum;
}

double DensityMap::InterpolateSmoothly(const Fractional& x) const {
  std::array<long, 3> at;
  std::array<double, 3> part;
  Place(*this, x, at, part);
  const std::array<std::array<double, 4>, 3> w{CubicWeights(part[0]), CubicWeights(part[1]), CubicWeights(part[2])};
  double sum = 0.0;
  for (size_t n = 0; n < 64; ++n) {
    const size_t a = n >> 4, b = n >> 2 & 3, c = n & 3;
    sum += w[0][a] * w[1][b] * w[2][c] *
           static_cast<double>(At(at[0] + static_cast<long>(a) - 1, at[1] + static_cast<long>(b) - 1,
                                  at[2] + static_cast<long>(c) - 1));
  }
  return sum;
}

}  // namespace marvik
