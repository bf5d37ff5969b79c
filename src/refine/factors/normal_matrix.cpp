#include "refine/factors/normal_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/parallel.h"
#include "refine/factors/structure_factors.h"

namespace marvik {
namespace {

constexpr size_t kPanel = NormalMatrix::kPanel;
constexpr size_t kTile = NormalMatrix::kTile;
constexpr size_t kPanels = kTile / kPanel;  // of a tile
constexpr size_t kArea = kTile * kTile;

template <size_t kWidth>
struct VectorOf;
template <>
struct VectorOf<2> {
  using Type = double __attribute__((vector_size(16)));
};
template <>
struct VectorOf<4> {
  using Type = double __attribute__((vector_size(32)));
};
template <>
struct VectorOf<8> {
  using Type = double __attribute__((vector_size(64)));
};

// c[i][j] += sign Σ_k a[k][i]·b[k][j], a piece of kRows by kVectors·kWidth that stays in registers.
template <size_t kWidth, size_t kRows, size_t kVectors>
[[gnu::always_inline]] inline void Piece(const double* a, const double* b, size_t depth, double sign, double* c) {
  using Vector = typename VectorOf<kWidth>::Type;
  Vector sum[kRows][kVectors] = {};
  for (size_t k = 0; k < depth; ++k) {
    Vector right[kVectors];
#pragma GCC unroll 8
    for (size_t v = 0; v < kVectors; ++v) std::memcpy(&right[v], b + k * kPanel + v * kWidth, sizeof(Vector));
#pragma GCC unroll 16
    for (size_t i = 0; i < kRows; ++i) {
      const double left = a[k * kPanel + i];
#pragma GCC unroll 8
      for (size_t v = 0; v < kVectors; ++v) sum[i][v] += left * right[v];
    }
  }
#pragma GCC unroll 16
  for (size_t i = 0; i < kRows; ++i) {
#pragma GCC unroll 8
    for (size_t v = 0; v < kVectors; ++v) {
      Vector old;
      std::memcpy(&old, c + i * kTile + v * kWidth, sizeof old);
      old += sign * sum[i][v];
      std::memcpy(c + i * kTile + v * kWidth, &old, sizeof old);
    }
  }
}

// So many lanes at a time that both panels stay in 32 KB.
template <size_t kWidth, size_t kRows, size_t kVectors>
[[gnu::always_inline]] inline void WholePanel(const double* a, const double* b, size_t depth, double sign, double* c) {
  constexpr size_t kLanes = 64;
  for (size_t k = 0; k < depth; k += kLanes) {
    const size_t lanes = std::min(kLanes, depth - k);
    for (size_t i = 0; i < kPanel; i += kRows) {
      for (size_t j = 0; j < kPanel; j += kWidth * kVectors)
        Piece<kWidth, kRows, kVectors>(a + k * kPanel + i, b + k * kPanel + j, lanes, sign, c + i * kTile + j);
    }
  }
}

using Kernel = void (*)(const double* a, const double* b, size_t depth, double sign, double* c);

void PlainKernel(const double* a, const double* b, size_t depth, double sign, double* c) {
  WholePanel<2, 4, 2>(a, b, depth, sign, c);
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
__attribute__((target("avx2,fma"))) void Avx2Kernel(const double* a, const double* b, size_t depth, double sign,
                                                    double* c) {
  WholePanel<4, 4, 3>(a, b, depth, sign, c);
}
__attribute__((target("avx512f,avx512vl,avx512dq"))) void Avx512Kernel(const double* a, const double* b, size_t depth,
                                                                       double sign, double* c) {
  WholePanel<8, 8, 3>(a, b, depth, sign, c);
}
Kernel BestKernel() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq"))
    return Avx512Kernel;
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? Avx2Kernel : PlainKernel;
}
#else
Kernel BestKernel() {
  return PlainKernel;
}
#endif

// c[24 x 24 of a tile] += sign·aᵀ·b, by the best instructions of the processor.
const Kernel kMultiply = BestKernel();

// A tile times a tile: panels of kTile lanes each.
void MultiplyTile(const double* a, const double* b, double sign, double* c) {
  for (size_t i = 0; i < kPanels; ++i) {
    for (size_t j = 0; j < kPanels; ++j)
      kMultiply(a + i * kTile * kPanel, b + j * kTile * kPanel, kTile, sign, c + i * kPanel * kTile + j * kPanel);
  }
}

// Panels whose lanes are the columns of a tile, or its rows.
void PackColumns(const double* tile, double* out) {
  for (size_t r = 0; r < kTile; ++r) {
    double* to = out + r / kPanel * kTile * kPanel + r % kPanel;
    for (size_t k = 0; k < kTile; ++k) to[k * kPanel] = tile[r * kTile + k];
  }
}
void PackRows(const double* tile, double* out) {
  for (size_t k = 0; k < kTile; ++k) {
    for (size_t p = 0; p < kPanels; ++p)
      std::memcpy(out + (p * kTile + k) * kPanel, tile + k * kTile + p * kPanel, kPanel * sizeof(double));
  }
}

// The inverse of a lower triangle; columns whose diagonal is 0 stay 0.
void InvertLower(const double* l, double* inverse) {
  std::fill(inverse, inverse + kArea, 0.0);
  for (size_t i = 0; i < kTile; ++i) {
    double* row = inverse + i * kTile;
    for (size_t k = 0; k < i; ++k) {
      const double factor = l[i * kTile + k];
      const double* other = inverse + k * kTile;
      for (size_t j = 0; j <= k; ++j) row[j] -= factor * other[j];
    }
    const double d = l[i * kTile + i] != 0.0 ? 1.0 / l[i * kTile + i] : 0.0;
    for (size_t j = 0; j < i; ++j) row[j] *= d;
    row[i] = d;
  }
}

// The tile of a lower triangle at a running number, counted by rows.
std::pair<size_t, size_t> TileOf(size_t index) {
  auto row = static_cast<size_t>((std::sqrt(8.0 * static_cast<double>(index) + 1.0) - 1.0) / 2.0);
  while ((row + 1) * (row + 2) / 2 <= index) ++row;
  while (row * (row + 1) / 2 > index) --row;
  return {row, index - row * (row + 1) / 2};
}

}  // namespace

RowBatch::RowBatch(size_t parameters, size_t blocks)
    : parameters_(parameters),
      blocks_(blocks),
      panels_((parameters + kPanel - 1) / kPanel),
      values_(panels_ * kPanel * kBlock * blocks) {}

void RowBatch::Fill(size_t block, const double* rows) {
  double* out = &values_[block * panels_ * kPanel * kBlock];
  for (size_t p = 0; p < parameters_; ++p) {
    double* to = out + p / kPanel * kPanel * kBlock + p % kPanel;
    const double* row = rows + p * kBlock;
    for (size_t k = 0; k < static_cast<size_t>(kBlock); ++k) to[k * kPanel] = row[k];
  }
}

const double* RowBatch::Panel(size_t block, size_t panel) const {
  return &values_[(block * panels_ + panel) * kPanel * kBlock];
}

NormalMatrix::NormalMatrix(size_t parameters)
    : size_(parameters), tiles_((parameters + kTile - 1) / kTile), values_(TileStart(tiles_, 0)) {}

void NormalMatrix::Clear() {
  std::fill(values_.begin(), values_.end(), 0.0);
}

void NormalMatrix::Decouple(size_t parameter) {
  for (size_t i = 0; i < size_; ++i) At(i, parameter) = i == parameter ? 1.0 : 0.0;
}

void NormalMatrix::AddProducts(const RowBatch& rows, size_t blocks, size_t threads) {
  const size_t panels = (size_ + kPanel - 1) / kPanel;
  // In bands of columns, whose panels stay in the cache while the rows go by.
  constexpr size_t kBand = 8;
  std::vector<std::pair<size_t, size_t>> order;
  for (size_t band = 0; band < tiles_; band += kBand) {
    for (size_t row = band; row < tiles_; ++row) {
      for (size_t column = band; column <= std::min(row, band + kBand - 1); ++column) order.emplace_back(row, column);
    }
  }
  ForEachInParallel(size_ < 200 ? 1 : threads, order.size(), [&](size_t index, size_t) {
    const auto [row, column] = order[index];
    double* tile = Tile(row, column);
    for (size_t block = 0; block < blocks; ++block) {
      for (size_t i = 0; i < kPanels && row * kPanels + i < panels; ++i) {
        const size_t last = row == column ? i + 1 : kPanels;
        for (size_t j = 0; j < last; ++j) {
          kMultiply(rows.Panel(block, row * kPanels + i), rows.Panel(block, column * kPanels + j),
                    static_cast<size_t>(kBlock), 1.0, tile + i * kPanel * kTile + j * kPanel);
        }
      }
    }
  });
}

void NormalMatrix::FactoriseDiagonal(size_t k, double tolerance, double* inverse, std::vector<int>& singular) {
  double* t = Tile(k, k);
  std::vector<size_t> bad;
  for (size_t j = 0; j < kTile; ++j) {
    double* row = t + j * kTile;
    std::fill(row + j + 1, row + kTile, 0.0);
    if (!(row[j] > tolerance)) {
      bad.push_back(j);
      if (k * kTile + j < size_) singular.push_back(static_cast<int>(k * kTile + j));
      std::fill(row, row + j, 0.0);
      row[j] = 0.0;
      for (size_t i = j + 1; i < kTile; ++i) t[i * kTile + j] = 0.0;
      continue;
    }
    row[j] = std::sqrt(row[j]);
    for (size_t i = j + 1; i < kTile; ++i) t[i * kTile + j] /= row[j];
    for (size_t i = j + 1; i < kTile; ++i) {
      const double factor = t[i * kTile + j];
      if (factor == 0.0) continue;
      for (size_t c = j + 1; c <= i; ++c) t[i * kTile + c] -= factor * t[c * kTile + j];
    }
  }
  InvertLower(t, inverse);
  for (const size_t j : bad) {
    t[j * kTile + j] = 1.0;
    for (size_t c = 0; c < k; ++c) std::fill_n(Tile(k, c) + j * kTile, kTile, 0.0);
  }
}

std::vector<int> NormalMatrix::Factorise(double tolerance, size_t threads) {
  std::vector<int> singular;
  std::vector<double> inverse(kArea);
  std::vector<double> packedInverse(kArea);
  std::vector<double> packed(tiles_ * kArea);
  if (size_ < 500) threads = 1;
  for (size_t k = 0; k < tiles_; ++k) {
    FactoriseDiagonal(k, tolerance, inverse.data(), singular);
    PackColumns(inverse.data(), packedInverse.data());
    const size_t rest = tiles_ - k - 1;
    ForEachInParallel(threads, rest, [&](size_t index, size_t) {
      double* tile = Tile(k + 1 + index, k);
      double* own = &packed[index * kArea];
      PackColumns(tile, own);
      std::fill_n(tile, kArea, 0.0);
      MultiplyTile(own, packedInverse.data(), 1.0, tile);
      PackColumns(tile, own);
    });
    ForEachInParallel(threads, rest * (rest + 1) / 2, [&](size_t index, size_t) {
      const auto [i, j] = TileOf(index);
      MultiplyTile(&packed[i * kArea], &packed[j * kArea], -1.0, Tile(k + 1 + i, k + 1 + j));
    });
  }
  return singular;
}

void NormalMatrix::Solve(std::vector<double>& b) const {
  for (size_t i = 0; i < size_; ++i) {
    double sum = b[i];
    for (size_t c = 0; c <= i / kTile; ++c) {
      const double* row = Tile(i / kTile, c) + i % kTile * kTile;
      const size_t end = std::min(kTile, i - c * kTile);
      for (size_t j = 0; j < end; ++j) sum -= row[j] * b[c * kTile + j];
    }
    b[i] = sum / At(i, i);
  }
  for (size_t i = size_; i-- > 0;) {
    b[i] /= At(i, i);
    for (size_t c = 0; c <= i / kTile; ++c) {
      const double* row = Tile(i / kTile, c) + i % kTile * kTile;
      const size_t end = std::min(kTile, i - c * kTile);
      for (size_t j = 0; j < end; ++j) b[c * kTile + j] -= row[j] * b[i];
    }
  }
}

void NormalMatrix::InvertTriangle(size_t threads) {
  if (size_ < 500) threads = 1;
  std::vector<double> column(tiles_ * kArea);
  std::vector<double> inverse(kArea);
  std::vector<double> packedInverse(kArea);
  for (size_t j = tiles_; j-- > 0;) {
    InvertLower(Tile(j, j), inverse.data());
    PackRows(inverse.data(), packedInverse.data());
    const size_t rest = tiles_ - j - 1;
    for (size_t k = 0; k < rest; ++k) PackRows(Tile(j + 1 + k, j), &column[k * kArea]);
    // X(i, j) = -Σ_k L⁻¹(i, k)·L(k, j)·L⁻¹(j, j).
    ForEachInParallel(threads, rest, [&](size_t index, size_t) {
      std::vector<double> sum(kArea);
      std::vector<double> left(kArea);
      for (size_t k = 0; k <= index; ++k) {
        PackColumns(Tile(j + 1 + index, j + 1 + k), left.data());
        MultiplyTile(left.data(), &column[k * kArea], 1.0, sum.data());
      }
      PackColumns(sum.data(), left.data());
      double* tile = Tile(j + 1 + index, j);
      std::fill_n(tile, kArea, 0.0);
      MultiplyTile(left.data(), packedInverse.data(), -1.0, tile);
    });
    std::copy(inverse.begin(), inverse.end(), Tile(j, j));
  }
}

void NormalMatrix::SquareTriangle(size_t threads) {
  if (size_ < 500) threads = 1;
  std::vector<double> column(tiles_ * kArea);
  for (size_t i = 0; i < tiles_; ++i) {
    for (size_t k = i; k < tiles_; ++k) PackRows(Tile(k, i), &column[k * kArea]);
    // A⁻¹(i, j) = Σ_k L⁻¹(k, i)ᵀ·L⁻¹(k, j) over k >= i; what is overwritten is not needed any more.
    ForEachInParallel(threads, i + 1, [&](size_t j, size_t) {
      std::vector<double> sum(kArea);
      std::vector<double> right(kArea);
      for (size_t k = i; k < tiles_; ++k) {
        PackRows(Tile(k, j), right.data());
        MultiplyTile(&column[k * kArea], right.data(), 1.0, sum.data());
      }
      std::copy(sum.begin(), sum.end(), Tile(i, j));
    });
  }
}

std::vector<double> NormalMatrix::ColumnNorms() const {
  std::vector<double> norms(tiles_ * kTile);
  for (size_t row = 0; row < tiles_; ++row) {
    for (size_t column = 0; column <= row; ++column) {
      const double* tile = Tile(row, column);
      double* out = &norms[column * kTile];
      for (size_t i = 0; i < kTile; ++i) {
        for (size_t j = 0; j < kTile; ++j) out[j] += tile[i * kTile + j] * tile[i * kTile + j];
      }
    }
  }
  norms.resize(size_);
  return norms;
}

}  // namespace marvik
