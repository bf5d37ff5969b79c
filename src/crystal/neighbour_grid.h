#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/vec3.h"
#include "crystal/cell_metric.h"

namespace marvik {

struct IndexPair {
  uint32_t first = 0;
  uint32_t second = 0;
  friend auto operator<=>(const IndexPair&, const IndexPair&) = default;
};

// Points sorted into cubic cells, to find the ones near a place at a cost that does not grow with their number, however
// far apart they lie: the memory is proportional to the number of points, never to the space between them.
class NeighbourGrid {
 public:
  NeighbourGrid() = default;
  NeighbourGrid(std::span<const Cartesian> points, double cellSize) { Build(points, cellSize); }

  // `cellSize` in Å is best near the usual search radius; 1 is taken in place of one that is not positive and finite.
  // A point that is not finite is never found.
  void Build(std::span<const Cartesian> points, double cellSize);

  // Calls visit(index, distance) for every point with distance <= radius (Å), one at the very place included, where
  // index is that of the span. The order is that of the cells and means nothing, but is the same every time. A negative
  // or NaN radius, or a centre that is not finite, finds nothing; an infinite radius finds every finite point. Nothing
  // is allocated.
  template <class Visit>
  void ForEachWithin(const Cartesian& centre, double radius, Visit visit) const {
    ForEachPlace(centre, radius, [&](uint32_t at, double distance) { visit(indices_[at], distance); });
  }

 private:
  friend std::optional<std::vector<IndexPair>> ClosePairs(std::vector<Cartesian>, std::vector<double>, double, size_t);
  using Cell = std::array<int32_t, 3>;
  struct Range {
    Cell low{};
    Cell high{};
    bool everything = false;
  };

  int32_t CellAlong(size_t axis, double coordinate) const;
  bool FindRange(const Cartesian& centre, double radius, Range& range) const;
  uint32_t BucketOf(const Cell& cell) const;

  // As ForEachWithin, with the places in the order of the cells for indices.
  template <class Visit>
  void ForEachPlace(const Cartesian& centre, double radius, Visit visit) const {
    Range range;
    if (!FindRange(centre, radius, range)) return;
    // Squares spare the root of nearly all that fails; what rounding may decide goes on to the distance itself.
    const double reject = radius * radius * (1.0 + 1e-9);
    ForEachCandidate(range, [&](uint32_t at) {
      const Cartesian d = points_[at] - centre;
      if (Dot(d, d) > reject) return;
      const double distance = Length(d);
      if (distance <= radius) visit(at, distance);
    });
  }
  template <class Visit>
  void ForEachCandidate(const Range& range, Visit visit) const {
    if (range.everything) {
      for (uint32_t at = 0; at < points_.size(); ++at) visit(at);
      return;
    }
    for (int32_t z = range.low[2]; z <= range.high[2]; ++z)
      for (int32_t y = range.low[1]; y <= range.high[1]; ++y) {
        if (!hashed_) {
          const uint32_t end = starts_[BucketOf({range.high[0], y, z}) + 1];
          for (uint32_t at = starts_[BucketOf({range.low[0], y, z})]; at < end; ++at) visit(at);
          continue;
        }
        for (int32_t x = range.low[0]; x <= range.high[0]; ++x) {
          const Cell cell{x, y, z};
          const uint32_t bucket = BucketOf(cell);
          for (uint32_t at = starts_[bucket]; at < starts_[bucket + 1]; ++at)
            if (cells_[at] == cell) visit(at);
        }
      }
  }

  double cellsPerAngstrom_ = 1.0;
  std::array<double, 3> origin_{};
  // A box that is mostly filled has one bucket per cell, its rows along x lying in one piece. Otherwise the cells are
  // hashed into as many buckets as there are points, and each point carries its cell.
  bool hashed_ = false;
  Cell size_{};
  std::vector<uint32_t> starts_;  // of each bucket, and the end
  std::vector<Cartesian> points_;
  std::vector<uint32_t> indices_;
  std::vector<Cell> cells_;
};

// All pairs first < second whose distance is at most radii[first] + radii[second] + tolerance (Å), ordered by first,
// then second, as a plain double loop gives them. Points that are not finite and NaN radii pair with nothing. Nothing
// at all when there are more than `most`. Points and radii are freed as soon as the grid has them.
std::optional<std::vector<IndexPair>> ClosePairs(std::vector<Cartesian> points, std::vector<double> radii,
                                                 double tolerance, size_t most);

}  // namespace marvik
