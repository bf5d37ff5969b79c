#pragma once

#include <cstddef>
#include <vector>

namespace marvik {

// Derivative rows of a few blocks of reflections, laid out for NormalMatrix::AddProducts.
class RowBatch {
 public:
  RowBatch(size_t parameters, size_t blocks);
  // rows: one of kBlock lanes for each parameter.
  void Fill(size_t block, const double* rows);
  size_t Blocks() const { return blocks_; }
  const double* Panel(size_t block, size_t panel) const;

 private:
  size_t parameters_;
  size_t blocks_;
  size_t panels_;
  std::vector<double> values_;
};

// A symmetric matrix, of which the lower triangle is kept, in square tiles. All work is shared by tiles, and what
// happens to one does not depend on the number of threads, so that results are the same to the last bit.
class NormalMatrix {
 public:
  static constexpr size_t kPanel = 24;
  static constexpr size_t kTile = 96;

  explicit NormalMatrix(size_t parameters = 0);
  size_t Size() const { return size_; }
  // In either order of the indices; after Factorise and InvertTriangle i >= j of the triangular matrix.
  double& At(size_t i, size_t j) { return values_[Index(i, j)]; }
  double At(size_t i, size_t j) const { return values_[Index(i, j)]; }
  void Clear();
  // Zeroes the row and column of a parameter and puts one on the diagonal.
  void Decouple(size_t parameter);

  // += Σ rows·rowsᵀ over the first `blocks` blocks.
  void AddProducts(const RowBatch& rows, size_t blocks, size_t threads);

  // Cholesky factorisation in place, A = L·Lᵀ. Parameters whose pivot is not above `tolerance` are decoupled from the
  // rest, each after those before it, and given back.
  std::vector<int> Factorise(double tolerance, size_t threads);
  // Solves L·Lᵀ·x = b in place; needs Factorise.
  void Solve(std::vector<double>& b) const;
  // L becomes L⁻¹.
  void InvertTriangle(size_t threads);
  // L⁻¹ becomes A⁻¹ = L⁻ᵀ·L⁻¹.
  void SquareTriangle(size_t threads);
  // Σ_i L⁻¹_ij² for each j, the diagonal of A⁻¹; needs InvertTriangle.
  std::vector<double> ColumnNorms() const;

 private:
  size_t Index(size_t i, size_t j) const {
    if (i < j) std::swap(i, j);
    return TileStart(i / kTile, j / kTile) + i % kTile * kTile + j % kTile;
  }
  static size_t TileStart(size_t row, size_t column) { return (row * (row + 1) / 2 + column) * kTile * kTile; }
  double* Tile(size_t row, size_t column) { return &values_[TileStart(row, column)]; }
  const double* Tile(size_t row, size_t column) const { return &values_[TileStart(row, column)]; }
  void FactoriseDiagonal(size_t k, double tolerance, double* inverse, std::vector<int>& singular);

  size_t size_;
  size_t tiles_;
  std::vector<double> values_;
};

}  // namespace marvik
