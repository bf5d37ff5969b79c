#include "phase/quick_refinement.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "refine/constraints/parameters.h"
#include "refine/solve/refinement.h"

namespace marvik::phase {
namespace {

constexpr double kLargestShift = 0.15;  // Å
constexpr double kDamping = 0.8;

// Gradient and normal matrix of the parameters of one site.
struct Block {
  static constexpr size_t kSize = 5;
  std::array<double, kSize * kSize> n{};
  std::array<double, kSize> g{};
  size_t first = 0;
  size_t count = 0;
};

// Cholesky with a little damping; false for a matrix that is not positive.
bool SolveBlock(Block& b, std::array<double, Block::kSize>& shift) {
  std::array<double, Block::kSize * Block::kSize> l{};
  for (size_t i = 0; i < b.count; ++i) {
    for (size_t j = 0; j <= i; ++j) {
      double sum = b.n[j * Block::kSize + i] * (i == j ? 1.001 : 1.0);
      for (size_t k = 0; k < j; ++k) sum -= l[i * Block::kSize + k] * l[j * Block::kSize + k];
      if (i == j && !(sum > 0.0)) return false;
      l[i * Block::kSize + j] = i == j ? std::sqrt(sum) : sum / l[j * Block::kSize + j];
    }
  }
  for (size_t i = 0; i < b.count; ++i) {
    shift[i] = b.g[i];
    for (size_t k = 0; k < i; ++k) shift[i] -= l[i * Block::kSize + k] * shift[k];
    shift[i] /= l[i * Block::kSize + i];
  }
  for (size_t i = b.count; i-- > 0;) {
    for (size_t k = i + 1; k < b.count; ++k) shift[i] -= l[k * Block::kSize + i] * shift[k];
    shift[i] /= l[i * Block::kSize + i];
  }
  return true;
}

// Orientations of one group overlap; without restraints they stay as the density placed them.
bool IsFree(const Parameter& p, const Freedom& freedom, const Structure& s) {
  if (s.sites[static_cast<size_t>(p.site)].part != 0) return false;
  if (p.kind == ParameterKind::Coordinate) return true;
  if (p.kind == ParameterKind::Occupancy) return freedom.occupancies;
  return p.kind == ParameterKind::Displacement && freedom.ownDisplacements;
}

double LaneDot(const double* a, const double* b) {
  constexpr int kSums = 8;  // apart, so that they can be worked out side by side
  static_assert(kBlock % kSums == 0);
  std::array<double, kSums> sums{};
  for (int i = 0; i < kBlock; i += kSums)
    for (int k = 0; k < kSums; ++k) sums[static_cast<size_t>(k)] += a[i + k] * b[i + k];
  return std::accumulate(sums.begin(), sums.end(), 0.0);
}

// The block-diagonal normal equations of one pass over the data.
struct Sums {
  std::vector<Block> blocks;
  double scale[2] = {};    // normal element and gradient of the scale
  double overall[2] = {};  // of one U for all
  double second[2] = {};   // of the share of a twin's second part

  void Add(const double* rows, const Lanes& residual, const Parametrisation& p, bool common) {
    scale[0] += LaneDot(rows, rows);
    scale[1] += LaneDot(rows, residual.data());
    for (size_t k = 1; k < p.Size() && p.parameters[k].kind == ParameterKind::BatchFraction; ++k) {
      second[0] += LaneDot(rows + k * kBlock, rows + k * kBlock);
      second[1] += LaneDot(rows + k * kBlock, residual.data());
    }
    for (Block& b : blocks) {
      for (size_t i = 0; i < b.count; ++i) {
        const double* row = rows + (b.first + i) * kBlock;
        b.g[i] += LaneDot(row, residual.data());
        for (size_t j = i; j < b.count; ++j) b.n[i * Block::kSize + j] += LaneDot(row, rows + (b.first + j) * kBlock);
      }
    }
    if (!common) return;
    Lanes sum{};
    for (size_t k = 0; k < p.Size(); ++k) {
      if (p.parameters[k].kind != ParameterKind::Displacement) continue;
      const double* row = rows + k * kBlock;
      for (size_t i = 0; i < kBlock; ++i) sum[i] += row[i];
    }
    overall[0] += LaneDot(sum.data(), sum.data());
    overall[1] += LaneDot(sum.data(), residual.data());
  }

  void Join(const Sums& o) {
    for (int i = 0; i < 2; ++i) scale[i] += o.scale[i], overall[i] += o.overall[i], second[i] += o.second[i];
    for (size_t b = 0; b < blocks.size(); ++b) {
      for (size_t i = 0; i < blocks[b].n.size(); ++i) blocks[b].n[i] += o.blocks[b].n[i];
      for (size_t i = 0; i < blocks[b].g.size(); ++i) blocks[b].g[i] += o.blocks[b].g[i];
    }
  }
};

std::vector<Block> BlocksOf(const Parametrisation& p, size_t sites) {
  std::vector<Block> blocks(sites);
  for (size_t k = 0; k < p.Size(); ++k) {
    if (p.parameters[k].site < 0) continue;
    Block& b = blocks[static_cast<size_t>(p.parameters[k].site)];
    if (b.count == 0) b.first = k;
    ++b.count;
  }
  return blocks;
}

// Parameters that are not free get neither gradient nor coupling.
void Hold(Block& b, const Parametrisation& p, const Freedom& freedom, const Structure& s) {
  for (size_t i = 0; i < b.count; ++i) {
    if (IsFree(p.parameters[b.first + i], freedom, s)) continue;
    b.g[i] = 0.0;
    for (size_t j = 0; j < b.count; ++j) b.n[std::min(i, j) * Block::kSize + std::max(i, j)] = i == j ? 1.0 : 0.0;
  }
}

double LimitedShift(const Parameter& p, const Structure& s, double shift) {
  const Site& site = s.sites[static_cast<size_t>(p.site)];
  double most = 1e30;
  if (p.kind == ParameterKind::Coordinate) {
    const CellParameters& c = s.metric.cell;
    const double edges[3] = {c.a, c.b, c.c};
    most = kLargestShift / edges[p.component];
  } else if (p.kind == ParameterKind::Occupancy) {
    most = 0.3 * std::max(0.05, std::fabs(site.occupancy));
  } else if (p.kind == ParameterKind::Displacement) {
    most = 0.35 * std::max(0.01, site.u[0]);
  }
  return std::clamp(shift, -most, most);
}

// Of all parameters, damped and within limits.
std::vector<double> ShiftsOf(Sums& sums, const Parametrisation& p, const Freedom& freedom, const Structure& structure) {
  std::vector<double> shifts(p.Size(), 0.0);
  if (freedom.scale && sums.scale[0] > 0.0)
    shifts[0] = std::clamp(kDamping * sums.scale[1] / sums.scale[0], -0.2 * structure.scale, 0.2 * structure.scale);
  if (!structure.batchFractions.empty() && sums.second[0] > 0.0)
    shifts[1] = std::clamp(kDamping * sums.second[1] / sums.second[0], -0.1, 0.1);
  for (Block& b : sums.blocks) {
    std::array<double, Block::kSize> shift{};
    Hold(b, p, freedom, structure);
    if (!SolveBlock(b, shift)) continue;
    for (size_t i = 0; i < b.count; ++i)
      shifts[b.first + i] = LimitedShift(p.parameters[b.first + i], structure, kDamping * shift[i]);
  }
  if (!freedom.ownDisplacements && sums.overall[0] > 0.0) {
    const double mean = structure.sites[0].u[0];
    const double shift = std::clamp(kDamping * sums.overall[1] / sums.overall[0], -0.3 * mean, 0.3 * mean);
    for (size_t k = 0; k < p.Size(); ++k) {
      if (p.parameters[k].kind == ParameterKind::Displacement) shifts[k] = shift;
    }
  }
  return shifts;
}

}  // namespace

Residuals RefineQuickly(Structure& structure, const Observations& observations, int cycles, const Freedom& freedom,
                        Calculated& calculated) {
  Parametrisation p;
  std::vector<RigidGroup> none;
  std::vector<std::string> notes;
  ParameterOptions options;
  options.specialTolerance = kSiteTolerance;
  p.Build(structure, options, {}, none, notes);
  WeightScheme weights;
  DataPass pass(structure, observations, weights);
  for (int cycle = 0; cycle < cycles; ++cycle) {
    MatchScale(structure, pass, calculated);
    std::array<Sums, DataPass::kShares> sums;
    for (Sums& s : sums) s.blocks = BlocksOf(p, structure.sites.size());
    pass.Run(calculated, &p, [&](size_t share, const double* rows, const Lanes& residual) {
      sums[share].Add(rows, residual, p, !freedom.ownDisplacements);
    });
    for (size_t share = 1; share < sums.size(); ++share) sums[0].Join(sums[share]);
    p.Apply(ShiftsOf(sums[0], p, freedom, structure), structure);
    for (double& share : structure.batchFractions) share = std::clamp(share, 0.0, 1.0);
    for (Site& site : structure.sites) {
      site.u[0] = std::clamp(site.u[0], 0.003, 0.4);
      if (freedom.occupancies) site.occupancy = std::max(site.occupancy, 0.005);
    }
  }
  pass.Run(calculated);
  return MakeResiduals(calculated, p.Size());
}

}  // namespace marvik::phase
