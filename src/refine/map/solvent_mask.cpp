#include "refine/map/solvent_mask.h"

#include <algorithm>
#include <cmath>

#include "base/stop.h"
#include "chem/bonds/van_der_waals.h"
#include "refine/map/fourier.h"
#include "refine/map/transform.h"
#include "refine/solve/refinement.h"

namespace marvik {
namespace {

constexpr double kMostPoints = 3.0e7;
constexpr double kCoarsest = 0.4;  // Å, of the grid of a large cell
constexpr long kSpread = 4;        // grid points from one place of a void to the next
constexpr int kMostCycles = 40;
constexpr double kRest = 0.001;  // of the electrons, and as many electrons

using GridPoint = std::array<long, 3>;

// The points of a grid over the cell, by three indices that wrap.
class CellGrid {
 public:
  CellGrid(const Metric& metric, const std::array<size_t, 3>& size) : metric_(metric), size_(size) {}

  size_t At(const GridPoint& p) const {
    return (Wrap(p[0], size_[0]) * size_[1] + Wrap(p[1], size_[1])) * size_[2] + Wrap(p[2], size_[2]);
  }
  // Which cell a point lies in.
  std::array<int16_t, 3> CellOf(const GridPoint& p) const {
    std::array<int16_t, 3> cell{};
    for (size_t i = 0; i < 3; ++i)
      cell[i] = static_cast<int16_t>(std::floor(static_cast<double>(p[i]) / static_cast<double>(size_[i])));
    return cell;
  }
  // Steps from a place given in grid units to the points within `radius` of it.
  template <class Visit>
  void ForEachWithin(const Fractional& place, double radius, Visit visit) const {
    GridPoint low{}, high{};
    for (int i = 0; i < 3; ++i) {
      const auto n = static_cast<size_t>(i);
      const double reach = radius * metric_.reciprocalEdges[n];
      low[n] = static_cast<long>(std::ceil((place[i] - reach) * static_cast<double>(size_[n])));
      high[n] = static_cast<long>(std::floor((place[i] + reach) * static_cast<double>(size_[n])));
    }
    for (long i = low[0]; i <= high[0]; ++i) {
      for (long j = low[1]; j <= high[1]; ++j) {
        for (long k = low[2]; k <= high[2]; ++k) {
          const GridPoint p{i, j, k};
          if (metric_.DistanceSquared(Place(p), place) <= radius * radius) visit(p);
        }
      }
    }
  }
  Fractional Place(const GridPoint& p) const {
    return {static_cast<double>(p[0]) / static_cast<double>(size_[0]),
            static_cast<double>(p[1]) / static_cast<double>(size_[1]),
            static_cast<double>(p[2]) / static_cast<double>(size_[2])};
  }

 private:
  static size_t Wrap(long i, size_t n) {
    const long m = static_cast<long>(n);
    return static_cast<size_t>(((i % m) + m) % m);
  }

  const Metric& metric_;
  std::array<size_t, 3> size_;
};

constexpr std::array<GridPoint, 6> kNeighbours{{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}}};

GridPoint Beside(const GridPoint& p, const GridPoint& step) {
  return {p[0] + step[0], p[1] + step[1], p[2] + step[2]};
}

// Multiples of twelve, so that every operation takes points to points.
std::array<size_t, 3> MaskGrid(const Structure& structure, const Observations& observations, double step) {
  constexpr double kRoom = 1.5;  // for sizes that are rounded up
  step = std::clamp(std::cbrt(kRoom * structure.metric.volume / kMostPoints), step, std::max(step, kCoarsest));
  std::array<size_t, 3> size = GridSize(structure.metric, structure.group, observations.indices[0], step);
  for (size_t& n : size) n = 12 * FriendlySize((n + 11) / 12);
  return size;
}

// Points where the middle of a probe may be: 1, others 0.
std::vector<uint8_t> FreePoints(const Structure& structure, const CellGrid& grid, size_t points, double probe) {
  std::vector<uint8_t> free(points, 1);
  for (const Site& site : structure.sites) {
    if (!(site.occupancy > 0.0)) continue;
    const Scatterer& scatterer = structure.scatterers[static_cast<size_t>(site.scatterer)];
    const double reach = ContactRadius(scatterer.row, scatterer.radius) + probe;
    for (const SymmetryOperator& op : structure.group.all)
      grid.ForEachWithin(op.Apply(site.x), reach, [&](const GridPoint& p) { free[grid.At(p)] = 0; });
  }
  return free;
}

// A void as it is collected: its points, unwrapped, as they hang together.
struct Region {
  std::vector<GridPoint> points;
  bool endless = false;
};

// What hangs together with a free point.
Region Collect(const CellGrid& grid, const GridPoint& start, std::vector<uint8_t>& free,
               std::vector<std::array<int16_t, 3>>& cells) {
  Region region;
  region.points.push_back(start);
  free[grid.At(start)] = 2;
  cells[grid.At(start)] = grid.CellOf(start);
  for (size_t done = 0; done < region.points.size(); ++done) {
    for (const GridPoint& step : kNeighbours) {
      const GridPoint next = Beside(region.points[done], step);
      const size_t at = grid.At(next);
      if (free[at] == 2) region.endless = region.endless || cells[at] != grid.CellOf(next);
      if (free[at] != 1) continue;
      free[at] = 2;
      cells[at] = grid.CellOf(next);
      region.points.push_back(next);
    }
  }
  return region;
}

// The points within `shrink` of a region that no other has become theirs too.
void Widen(const CellGrid& grid, double shrink, uint32_t number, std::vector<uint32_t>& owner, Region& region) {
  std::vector<GridPoint> ball;
  grid.ForEachWithin({}, shrink, [&](const GridPoint& p) { ball.push_back(p); });
  for (const GridPoint& p : region.points) owner[grid.At(p)] = number;
  std::vector<GridPoint> edge;
  for (const GridPoint& p : region.points) {
    if (std::ranges::any_of(kNeighbours,
                            [&](const GridPoint& step) { return owner[grid.At(Beside(p, step))] != number; }))
      edge.push_back(p);
  }
  for (const GridPoint& p : edge) {
    for (const GridPoint& step : ball) {
      const GridPoint near = Beside(p, step);
      uint32_t& at = owner[grid.At(near)];
      if (at != 0) continue;
      at = number;
      region.points.push_back(near);
    }
  }
}

SolventVoid VoidOf(const CellGrid& grid, const Region& region, double voxel) {
  SolventVoid one;
  one.endless = region.endless;
  const auto points = static_cast<double>(region.points.size());
  one.volume = voxel * points;
  for (const GridPoint& p : region.points) {
    one.centre += grid.Place(p) / points;
    if (p[0] % kSpread == 0 && p[1] % kSpread == 0 && p[2] % kSpread == 0) one.places.push_back(grid.Place(p));
  }
  const Fractional whole = one.centre;
  for (int i = 0; i < 3; ++i) one.centre[i] -= std::floor(one.centre[i] + 1e-6);
  for (Fractional& place : one.places) place += one.centre - whole;
  return one;
}

// Every void gets the number of its place in the order of volumes; those too small are forgotten.
void SortVoids(SolventMask& mask, double smallest) {
  std::vector<uint32_t> order(mask.voids.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = static_cast<uint32_t>(i);
  std::ranges::stable_sort(order, std::ranges::greater(), [&](uint32_t i) { return mask.voids[i].volume; });
  std::vector<uint32_t> numbers(order.size() + 1);
  std::vector<SolventVoid> sorted;
  for (const uint32_t i : order) {
    if (mask.voids[i].volume < smallest) break;
    sorted.push_back(mask.voids[i]);
    numbers[i + 1] = static_cast<uint32_t>(sorted.size());
    mask.volume += sorted.back().volume;
  }
  for (uint32_t& owner : mask.owner) owner = numbers[owner];
  mask.voids = std::move(sorted);
}

// One index triple of each set of equivalents as far as the data go, that of F(000) left out.
std::vector<Miller> UniqueIndices(const Structure& structure, const Observations& observations) {
  const Metric& metric = structure.metric;
  double highest = 0.0;
  for (const Miller& h : observations.indices[0]) highest = std::max(highest, metric.SinThetaSquared(h[0], h[1], h[2]));
  highest *= 1.0 + 1e-9;
  const double reach = 2.0 * std::sqrt(highest);
  const int most[] = {static_cast<int>(reach * metric.cell.a), static_cast<int>(reach * metric.cell.b),
                      static_cast<int>(reach * metric.cell.c)};
  std::vector<Miller> unique;
  for (int h = -most[0]; h <= most[0]; ++h) {
    for (int k = -most[1]; k <= most[1]; ++k) {
      for (int l = 0; l <= most[2]; ++l) {
        const Miller m{h, k, l};
        if (m == Miller{} || metric.SinThetaSquared(h, k, l) > highest) continue;
        if (structure.group.Representative(m, true) == m && !structure.group.IsAbsent(m)) unique.push_back(m);
      }
    }
  }
  return unique;
}

// What the data have and the atoms do not: Fo with the phases of atoms and voids, less the atoms.
DensityMap MissingDensity(const Structure& structure, const Observations& observations, const Calculated& calculated,
                          const std::vector<std::complex<double>>& ofAtoms, const SolventMask& mask) {
  const auto means = MeanAmplitudes(structure, observations, calculated);
  std::vector<MapCoefficient> terms;
  for (const auto& [key, mean] : means) {
    const std::complex<double> total(calculated.a[mean.first], calculated.b[mean.first]);
    terms.push_back(
        {observations.indices[0][mean.first], total / std::abs(total) * (mean.fo / mean.count) - ofAtoms[mean.first]});
  }
  for (const AddedFactor& factor : mask.factors)
    if (!means.contains(factor.h)) terms.push_back({factor.h, factor.f});
  return Synthesise(structure.group, structure.metric.volume, mask.size, terms);
}

// Leaves the density in the voids, from a level at which there is none outside, and counts it.
void CutToVoids(DensityMap& map, double volume, SolventMask& mask) {
  double outside = 0.0;
  size_t points = 0;
  for (size_t i = 0; i < map.values.size(); ++i)
    if (mask.owner[i] == 0) outside += static_cast<double>(map.values[i]), ++points;
  const auto level = static_cast<float>(outside / static_cast<double>(std::max<size_t>(points, 1)));
  const double voxel = volume / static_cast<double>(map.values.size());
  mask.electrons = 0.0;
  for (SolventVoid& one : mask.voids) one.electrons = 0.0;
  for (size_t i = 0; i < map.values.size(); ++i) {
    float& value = map.values[i];
    value = mask.owner[i] == 0 ? 0.0f : value - level;
    if (mask.owner[i] != 0) mask.voids[mask.owner[i] - 1].electrons += static_cast<double>(value) * voxel;
  }
  for (const SolventVoid& one : mask.voids) mask.electrons += one.electrons;
}

// The scale of least residuals on amplitudes; the data's weights would follow what the model lacks.
void FitScale(Structure& structure, DataPass& pass, Calculated& calculated) {
  MatchScale(structure, pass, calculated);
  double top = 0.0;
  double bottom = 0.0;
  for (size_t i = 0; i < calculated.fo2.size(); ++i) {
    const double fc2 = std::max(calculated.fc2[i], 0.0);
    top += std::sqrt(std::max(calculated.fo2[i], 0.0) * fc2);
    bottom += fc2;
  }
  if (!(top > 0.0) || !(bottom > 0.0)) return;
  structure.scale *= top / bottom;
  pass.Run(calculated);
}

}  // namespace

SolventMask FindVoids(const Structure& structure, const Observations& observations, const MaskOptions& options) {
  SolventMask mask;
  mask.size = MaskGrid(structure, observations, options.step);
  const size_t points = mask.size[0] * mask.size[1] * mask.size[2];
  if (static_cast<double>(points) > kMostPoints) return mask;
  const CellGrid grid(structure.metric, mask.size);
  std::vector<uint8_t> free = FreePoints(structure, grid, points, options.probe);
  std::vector<std::array<int16_t, 3>> cells(points);
  mask.owner.assign(points, 0);
  const double voxel = structure.metric.volume / static_cast<double>(points);
  for (long i = 0; i < static_cast<long>(mask.size[0]); ++i) {
    for (long j = 0; j < static_cast<long>(mask.size[1]); ++j) {
      for (long k = 0; k < static_cast<long>(mask.size[2]); ++k) {
        if (free[grid.At({i, j, k})] != 1) continue;
        Region region = Collect(grid, {i, j, k}, free, cells);
        Widen(grid, options.shrink, static_cast<uint32_t>(mask.voids.size() + 1), mask.owner, region);
        mask.voids.push_back(VoidOf(grid, region, voxel));
      }
    }
  }
  SortVoids(mask, options.smallest);
  return mask;
}

// What the atoms scatter stays the same: it is worked out once, and the cycles add to it what the voids do.
void FillVoids(Structure& structure, Observations& observations, const WeightScheme& weights, SolventMask& mask,
               Calculated& calculated) {
  const std::vector<Miller> unique = UniqueIndices(structure, observations);
  mask.factors.clear();
  for (const Miller& h : unique) mask.factors.push_back({h, {}});
  observations.added.clear();
  DataPass(structure, observations, weights).Run(calculated);
  std::vector<std::complex<double>> ofAtoms(calculated.a.size());
  for (size_t i = 0; i < ofAtoms.size(); ++i) ofAtoms[i] = {calculated.a[i], calculated.b[i]};
  Structure empty = structure;
  empty.sites.clear();
  DataPass pass(empty, observations, weights);
  const auto addVoids = [&] {
    AddFactors(mask.factors, structure, 1.0, 0.0, observations);
    for (size_t i = 0; i < ofAtoms.size(); ++i) observations.added[0][i] += ofAtoms[i];
    FitScale(empty, pass, calculated);
  };
  addVoids();
  for (mask.cycles = 1; mask.cycles <= kMostCycles && !StopWanted(); ++mask.cycles) {
    const double before = mask.electrons;
    DensityMap map = MissingDensity(empty, observations, calculated, ofAtoms, mask);
    CutToVoids(map, structure.metric.volume, mask);
    const auto factors = Analyse(map, structure.metric.volume, unique);
    for (size_t i = 0; i < unique.size(); ++i) mask.factors[i].f = factors[i];
    addVoids();
    mask.settled = mask.cycles > 1 && std::fabs(mask.electrons - before) < kRest * (1.0 + std::fabs(mask.electrons));
    if (mask.settled) break;
  }
  structure.scale = empty.scale;
  AddFactors(mask.factors, structure, 1.0, 0.0, observations);
}

}  // namespace marvik
