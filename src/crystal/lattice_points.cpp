#include "crystal/lattice_points.h"

#include <algorithm>
#include <cmath>

namespace marvik {

LatticePoints::LatticePoints(const OrthogonalisationMatrix& matrix) {
  const auto place = [&](size_t i) {
    const auto& v = vectors_[i];
    return matrix * Fractional{static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])};
  };
  // Pair by pair each vector loses what it has of a shorter one, as Gauss reduced plane lattices. Rounding could make
  // it go round for ever.
  constexpr int kMostRounds = 100;
  constexpr double kMostAtOnce = 1e5;
  bool changed = true;
  for (int round = 0; changed && round < kMostRounds; ++round) {
    changed = false;
    std::array<std::pair<double, std::array<int64_t, 3>>, 3> byLength;
    for (size_t i = 0; i < 3; ++i) byLength[i] = {Length(place(i)), vectors_[i]};
    std::ranges::sort(byLength);
    for (size_t i = 0; i < 3; ++i) vectors_[i] = byLength[i].second;
    for (size_t i = 1; i < 3; ++i)
      for (size_t j = 0; j < i; ++j) {
        const Cartesian shorter = place(j);
        const double share = std::round(Dot(place(i), shorter) / Dot(shorter, shorter));
        if (!(share != 0.0 && std::fabs(share) < kMostAtOnce)) continue;
        for (size_t k = 0; k < 3; ++k) vectors_[i][k] -= static_cast<int64_t>(share) * vectors_[j][k];
        changed = true;
      }
  }
  for (size_t i = 0; i < 3; ++i) {
    Cartesian rest = place(i);
    for (size_t j = 0; j < i; ++j) {
      along_[i][j] = Dot(place(i), axes_[j]);
      rest -= axes_[j] * Dot(rest, axes_[j]);
    }
    axes_[i] = Normalised(rest);
    along_[i][i] = Length(rest);
  }
}

LatticePoints::Range::Range(double start, double step, double reach) {
  constexpr double kFarthest = 1e8;
  const double middle = -start / step;
  const double half = std::min(reach / step, kMostPoints) + 1e-6;
  if (!(std::fabs(middle) < kFarthest)) return;
  low = static_cast<int64_t>(std::ceil(middle - half));
  high = static_cast<int64_t>(std::floor(middle + half));
}

}  // namespace marvik
