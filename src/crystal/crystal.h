#pragma once

#include <array>
#include <compare>
#include <string>
#include <vector>

#include "base/vec3.h"

namespace marvik {

// Cell edges in Å, angles in degrees; the six values lie in this order.
struct CellParameters {
  double a = 10.0;
  double b = 10.0;
  double c = 10.0;
  double alpha = 90.0;
  double beta = 90.0;
  double gamma = 90.0;
  friend bool operator==(const CellParameters&, const CellParameters&) = default;
};

// The six non-zero elements of the matrix from fractional coordinates to the drawing frame, which is mirrored: c along
// Z, b in the YZ plane,
//   X = m0·x     Y = m1·x + m2·y     Z = -(m3·x + m4·y + m5·z)
struct OrthogonalisationMatrix {
  std::array<double, 6> m{10.0, 0.0, 10.0, 0.0, 0.0, 10.0};

  Cartesian operator*(const Fractional& f) const {
    return {m[0] * f.x, m[1] * f.x + m[2] * f.y, -(m[3] * f.x + m[4] * f.y + m[5] * f.z)};
  }
  friend bool operator==(const OrthogonalisationMatrix&, const OrthogonalisationMatrix&) = default;
};

using Miller = std::array<int, 3>;

// What translations are counted in: a 120th of an edge is exact for eighths, twelfths and twenty-fourths, and for the
// fifths and tenths of superstructures.
inline constexpr int kTranslationParts = 120;

// An exact operation: x' = r·x + t/kTranslationParts on fractional coordinates, h' = h·r on indices. The identity, as
// long as nothing else is said.
struct SymmetryOperator {
  std::array<std::array<int, 3>, 3> r{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::array<int, 3> t{};

  Fractional Apply(const Fractional& f) const {
    const auto row = [&](size_t i) { return r[i][0] * f.x + r[i][1] * f.y + r[i][2] * f.z + Translation(i); };
    return {row(0), row(1), row(2)};
  }
  // Of an edge.
  double Translation(size_t axis) const { return static_cast<double>(t[axis]) / kTranslationParts; }
  Miller ApplyToIndices(const Miller& h) const {
    const auto column = [&](size_t j) { return h[0] * r[0][j] + h[1] * r[1][j] + h[2] * r[2][j]; };
    return {column(0), column(1), column(2)};
  }
  // h·t in turns.
  double PhaseShift(const Miller& h) const {
    return static_cast<double>(h[0] * t[0] + h[1] * t[1] + h[2] * t[2]) / kTranslationParts;
  }
  // Followed by a translation of whole cells.
  SymmetryOperator Shifted(const std::array<int, 3>& cells) const {
    SymmetryOperator moved = *this;
    for (size_t i = 0; i < 3; ++i) moved.t[i] += cells[i] * kTranslationParts;
    return moved;
  }
  int Determinant() const;
  friend auto operator<=>(const SymmetryOperator&, const SymmetryOperator&) = default;
};

// The second operation first.
SymmetryOperator operator*(const SymmetryOperator& after, const SymmetryOperator& before);

// One of a file's, or what LATT adds to it. Of a text that is no operator all elements are 0.
struct ListedOperator : SymmetryOperator {
  std::string name;    // the SYMM text as given, or "Added Center", "Added Translation"
  int originFlag = 0;  // as given for a parsed operator, 0 for every generated one
  friend bool operator==(const ListedOperator&, const ListedOperator&) = default;
};

// Origin flags of parsed operators.
inline constexpr int kImpliedOperator = 1;  // the identity that LATT stands for: not written
inline constexpr int kSymmLineOperator = 2;

// In the order in which they were added; the identity stands first.
using SymmetryList = std::vector<ListedOperator>;

}  // namespace marvik
