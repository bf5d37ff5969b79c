#pragma once

#include <array>
#include <vector>

#include "base/text_string.h"
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

// The six non-zero elements of the fractional-to-Cartesian matrix in the convention c along Z, b in the YZ plane:
//   X = m0·x     Y = m1·x + m2·y     Z = -(m3·x + m4·y + m5·z)
struct OrthogonalisationMatrix {
  std::array<double, 6> m{10.0, 0.0, 10.0, 0.0, 0.0, 10.0};

  Cartesian operator*(const Fractional& f) const {
    return {m[0] * f.x, m[1] * f.x + m[2] * f.y, -(m[3] * f.x + m[4] * f.y + m[5] * f.z)};
  }
  friend bool operator==(const OrthogonalisationMatrix&, const OrthogonalisationMatrix&) = default;
};

// Three rows r1 r2 r3 t: x' = r11·x + r12·y + r13·z + t1 and so on. Coefficients are -1, 0 or +1, translations are
// fractions of a cell edge.
struct SymmetryOperator {
  TextString name;     // the SYMM text as given, or "Added Center", "Added Translation"
  int originFlag = 0;  // as given for a parsed operator, 0 for every generated one
  std::array<std::array<double, 4>, 3> rows{};

  Fractional Apply(const Fractional& f) const {
    const auto row = [&](size_t i) { return rows[i][0] * f.x + rows[i][1] * f.y + rows[i][2] * f.z + rows[i][3]; };
    return {row(0), row(1), row(2)};
  }
};

// Origin flags of parsed operators.
inline constexpr int kImpliedOperator = 1;  // the identity that LATT stands for: not written
inline constexpr int kSymmLineOperator = 2;

// In the order in which they were added; the identity stands first.
using SymmetryList = std::vector<SymmetryOperator>;

}  // namespace marvik
