#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "crystal/crystal.h"

namespace marvik {

// The points of a lattice near a place. They are counted along short vectors of the lattice, not along the edges of the
// cell: of an oblique cell thousands of millions may be passed for a few points.
class LatticePoints {
 public:
  explicit LatticePoints(const OrthogonalisationMatrix& matrix);

  // Calls visit({x, y, z}), in whole cells, for each point for which |from + point| <= reach in Å, and for a few
  // beyond, until it says false; of those along one vector at most kMostPoints on either side.
  template <class Visit>
  void ForEachWithin(const Cartesian& from, double reach, Visit visit) const {
    const auto left = [reach](double used) { return std::sqrt(std::max(reach * reach - used, 0.0)); };
    const double z0 = Dot(axes_[2], from);
    const Range rangeZ(z0, along_[2][2], reach);
    for (int64_t z = rangeZ.low; z <= rangeZ.high; ++z) {
      const double dz = z0 + along_[2][2] * static_cast<double>(z);
      const double y0 = Dot(axes_[1], from) + along_[2][1] * static_cast<double>(z);
      const Range rangeY(y0, along_[1][1], left(dz * dz));
      for (int64_t y = rangeY.low; y <= rangeY.high; ++y) {
        const double dy = y0 + along_[1][1] * static_cast<double>(y);
        const double x0 =
            Dot(axes_[0], from) + along_[1][0] * static_cast<double>(y) + along_[2][0] * static_cast<double>(z);
        const Range rangeX(x0, along_[0][0], left(dz * dz + dy * dy));
        for (int64_t x = rangeX.low; x <= rangeX.high; ++x)
          if (!visit(Cell(x, y, z))) return;
      }
    }
  }

 private:
  static constexpr double kMostPoints = 1e3;
  // The whole numbers n with |start + n·step| <= reach.
  struct Range {
    Range(double start, double step, double reach);
    int64_t low = 0, high = -1;
  };
  std::array<int32_t, 3> Cell(int64_t x, int64_t y, int64_t z) const {
    constexpr int64_t kFarthestPoint = 1'000'000'000;  // leaves room for a cell to be added
    std::array<int32_t, 3> cell{};
    for (size_t i = 0; i < 3; ++i) {
      const int64_t n = x * vectors_[0][i] + y * vectors_[1][i] + z * vectors_[2][i];
      cell[i] = static_cast<int32_t>(std::clamp(n, -kFarthestPoint, kFarthestPoint));
    }
    return cell;
  }

  std::array<std::array<int64_t, 3>, 3> vectors_{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};  // in cells, the shortest first
  std::array<Cartesian, 3> axes_;  // at right angles: along the first vector, in the plane with the second
  std::array<std::array<double, 3>, 3> along_{};  // Å: vector i along axis j
};

}  // namespace marvik
