#include "crystal/neighbour_grid.h"

#include <atomic>
#include <bit>
#include <cmath>
#include <utility>

#include "base/parallel.h"

namespace marvik {

namespace {

constexpr double kFarthestCell = 1 << 30;

// Cells that a box may have for each point before it counts as mostly empty.
constexpr double kCellsPerPoint = 8.0;
constexpr double kFewCells = 512.0;

}  // namespace

int32_t NeighbourGrid::CellAlong(size_t axis, double coordinate) const {
  // Never decreasing in the coordinate, rounding and bounds included, so a search that takes the cells between those of
  // its two ends misses nothing.
  const double cell = (coordinate - origin_[axis]) * cellsPerAngstrom_;
  if (!hashed_) return static_cast<int32_t>(std::clamp(cell, 0.0, size_[axis] - 1.0));
  return static_cast<int32_t>(std::floor(std::clamp(cell, -kFarthestCell, kFarthestCell)));
}

uint32_t NeighbourGrid::BucketOf(const Cell& cell) const {
  if (!hashed_) return static_cast<uint32_t>((cell[2] * size_[1] + cell[1]) * size_[0] + cell[0]);
  uint64_t key = 0;
  for (const int32_t c : cell) key = (key ^ static_cast<uint32_t>(c)) * 0x9E3779B97F4A7C15u;
  return static_cast<uint32_t>(key >> 32) & (static_cast<uint32_t>(starts_.size()) - 2);
}

void NeighbourGrid::Build(std::span<const Cartesian> points, double cellSize) {
  if (!(std::isfinite(cellSize) && std::isfinite(1.0 / cellSize) && cellSize > 0.0)) cellSize = 1.0;
  cellsPerAngstrom_ = 1.0 / cellSize;
  indices_.clear();
  Cartesian low, high;
  for (uint32_t i = 0; i < points.size(); ++i) {
    const Cartesian& p = points[i];
    if (!IsFinite(p)) continue;
    if (indices_.empty()) low = high = p;
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    indices_.push_back(i);
  }
  const double count = static_cast<double>(indices_.size());
  double cells = 1.0;
  for (int axis = 0; axis < 3; ++axis) {
    const double size = std::floor((high[axis] - low[axis]) * cellsPerAngstrom_) + 1.0;
    cells *= size;
    size_[static_cast<size_t>(axis)] = static_cast<int32_t>(std::min(size, kFarthestCell));
    origin_[static_cast<size_t>(axis)] = low[axis];
  }
  hashed_ = !(cells <= kCellsPerPoint * count + kFewCells);
  // A power of two and one more, for the end.
  const size_t buckets = hashed_ ? std::bit_ceil(indices_.size()) * 2 : static_cast<size_t>(cells);
  if (hashed_) origin_ = {};
  starts_.assign(buckets + 1, 0);

  std::vector<uint32_t> bucketOf(indices_.size());
  std::vector<Cell> cellOf(hashed_ ? indices_.size() : 0);
  for (size_t k = 0; k < indices_.size(); ++k) {
    const Cartesian& p = points[indices_[k]];
    const Cell cell{CellAlong(0, p.x), CellAlong(1, p.y), CellAlong(2, p.z)};
    if (hashed_) cellOf[k] = cell;
    bucketOf[k] = BucketOf(cell);
    ++starts_[bucketOf[k]];
  }
  uint32_t before = 0;
  for (uint32_t& start : starts_) before += std::exchange(start, before);

  const std::vector<uint32_t> unsorted = std::move(indices_);
  indices_.assign(unsorted.size(), 0);
  points_.resize(unsorted.size());
  cells_.resize(cellOf.size());
  for (size_t k = 0; k < unsorted.size(); ++k) {
    const uint32_t at = starts_[bucketOf[k]]++;
    indices_[at] = unsorted[k];
    points_[at] = points[unsorted[k]];
    if (hashed_) cells_[at] = cellOf[k];
  }
  // Each start has moved on to the next bucket's.
  for (size_t b = starts_.size() - 1; b > 0; --b) starts_[b] = starts_[b - 1];
  starts_[0] = 0;
}

bool NeighbourGrid::FindRange(const Cartesian& centre, double radius, Range& range) const {
  if (!(radius >= 0.0) || !IsFinite(centre) || points_.empty()) return false;
  double cells = 1.0;
  for (int axis = 0; axis < 3; ++axis) {
    const auto a = static_cast<size_t>(axis);
    // More than the rounding of a difference can take away.
    const double reach = radius + 1e-9 * radius + 1e-15 * std::fabs(centre[axis]);
    range.low[a] = CellAlong(a, centre[axis] - reach);
    range.high[a] = CellAlong(a, centre[axis] + reach);
    cells *= static_cast<double>(range.high[a]) - range.low[a] + 1.0;
  }
  range.everything = cells > static_cast<double>(starts_.size());
  return true;
}

namespace {

constexpr uint32_t kPiece = 10'000;   // of points, worth a thread
constexpr size_t kTellAfter = 1'000;  // pairs, of which others need not know

// Sorts pairs of indices below `count`, few of which share their first: by counting, then within each group.
void SortPairs(size_t count, std::vector<IndexPair>& pairs) {
  std::vector<size_t> ends(count, 0);
  for (const IndexPair& pair : pairs) ++ends[pair.first];
  size_t before = 0;
  for (size_t& end : ends) before += std::exchange(end, before);
  std::vector<IndexPair> sorted(pairs.size());
  for (const IndexPair& pair : pairs) sorted[ends[pair.first]++] = pair;
  pairs.swap(sorted);
  auto begin = pairs.begin();
  for (const size_t end : ends) {
    const auto last = pairs.begin() + static_cast<std::ptrdiff_t>(end);
    if (last - begin > 1) std::sort(begin, last);
    begin = last;
  }
}

// Search radius that a quarter of the points exceed: few cells per search, without a rare giant making all cells large.
double UsualReach(std::span<const double> radii, double tolerance) {
  std::vector<double> reach;
  for (const double r : radii)
    if (!std::isnan(r)) reach.push_back(2.0 * r + tolerance);
  if (reach.empty()) return 1.0;
  const auto at = reach.begin() + static_cast<std::ptrdiff_t>(reach.size() * 3 / 4);
  std::nth_element(reach.begin(), at, reach.end());
  return *at;
}

}  // namespace

std::optional<std::vector<IndexPair>> ClosePairs(std::vector<Cartesian> points, std::vector<double> radii,
                                                 double tolerance, size_t most) {
  const size_t count = points.size();
  std::vector<IndexPair> pairs;
  {  // What is needed no more is freed at once: this is where a large structure takes the most memory.
    const NeighbourGrid grid(points, UsualReach(radii, tolerance));
    points = {};
    std::vector<double> radiusAt(grid.indices_.size());
    for (size_t at = 0; at < radiusAt.size(); ++at) radiusAt[at] = radii[grid.indices_[at]];
    radii = {};
    std::atomic<size_t> total{0};  // of all pieces, which bounds their memory together
    const auto find = [&](uint32_t begin, uint32_t end, std::vector<IndexPair>& found) {
      size_t told = 0;
      const auto tell = [&] { total += found.size() - std::exchange(told, found.size()); };
      found.reserve(std::min(most, (end - begin) * size_t{3} / 2));
      for (uint32_t own = begin; own < end; ++own) {
        if (found.size() > told + kTellAfter) tell();
        if (total > most) return;
        // The point with the larger radius finds the other, so that nobody looks farther than twice its own radius.
        const double radius = radiusAt[own];
        grid.ForEachPlace(grid.points_[own], 2.0 * radius + tolerance, [&](uint32_t at, double distance) {
          const double other = radiusAt[at];
          if (!(other < radius || (other == radius && at < own)) || !(distance <= radius + other + tolerance)) return;
          const auto [first, second] = std::minmax(grid.indices_[own], grid.indices_[at]);
          if (found.size() <= most) found.push_back({first, second});
        });
      }
      tell();
    };
    const auto places = static_cast<uint32_t>(radiusAt.size());
    if (places < 2 * kPiece) {
      find(0, places, pairs);
    } else {
      std::vector<std::vector<IndexPair>> pieces(places / kPiece);
      const auto beginOf = [&](size_t piece) { return static_cast<uint32_t>(piece * places / pieces.size()); };
      ForEachInParallel(ThreadCount(0), pieces.size(),
                        [&](size_t i, size_t) { find(beginOf(i), beginOf(i + 1), pieces[i]); });
      if (total > most) return std::nullopt;
      pairs.reserve(total);
      for (const auto& piece : pieces) pairs.insert(pairs.end(), piece.begin(), piece.end());
    }
    if (total > most) return std::nullopt;
  }
  SortPairs(count, pairs);
  return pairs;
}

}  // namespace marvik
