#include "base/mat3.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace marvik {
namespace {

// Orthonormal right-handed rows, ascending values, and A·v = λ·v to rounding of the largest element.
void ExpectSolved(const Mat3& a) {
  const Eigen3 e = SymmetricEigen(a);
  double scale = 0.0;
  for (const auto& row : a.m)
    for (const double v : row) scale = std::max(scale, std::fabs(v));
  EXPECT_NEAR(Determinant(e.vectors), 1.0, 1e-13);
  for (int i = 0; i < 3; ++i) {
    const auto v = e.Vector<CartesianSpace>(i);
    const double value = e.values[static_cast<size_t>(i)];
    EXPECT_GE(value, e.values[0]);
    EXPECT_LE(value, e.values[2]);
    EXPECT_NEAR(Length(v), 1.0, 1e-14);
    const Cartesian rest = (a * v) / scale - v * (value / scale);
    EXPECT_LE(Length(rest), 1e-14) << "value " << value << " scale " << scale;
  }
}

Mat3 Symmetric(double xx, double yy, double zz, double yz, double xz, double xy) {
  return {{{{xx, xy, xz}, {xy, yy, yz}, {xz, yz, zz}}}};
}

TEST(SymmetricEigen, SolvesDegenerateAndIllConditionedMatrices) {
  for (const Mat3& a : {Symmetric(1, 1, 1, 0, 0, 0), Symmetric(1, 1, 1, 1, 1, 1), Symmetric(2, 2, 5, 0, 0, 0),
                        Symmetric(1, 1, 1, 1e-9, 0, -1e-9), Symmetric(1, 1 + 1e-15, 1, 1e-16, 0, 1e-15),
                        Symmetric(1e-12, 1, 1e12, 1e-3, 1, 1e5), Symmetric(1e300, 1e300, 1e300, 1e300, -1e300, 1e299),
                        Symmetric(1e-300, 2e-300, 0, 1e-300, 0, 3e-300), Symmetric(0, 0, 0, 1, 0, 0),
                        Symmetric(-1, -2, -3, 0.5, 0.25, 0.125), Symmetric(4e-320, 1e-320, 0, 0, 0, 0)})
    ExpectSolved(a);
  std::mt19937 random(3);
  std::uniform_real_distribution<double> element(-1, 1);
  for (int i = 0; i < 2000; ++i) {
    const double size = std::pow(10.0, i % 5 - 2);
    ExpectSolved(Symmetric(element(random), element(random) * size, element(random), element(random) * size,
                           element(random), element(random)));
  }
}

TEST(SymmetricEigen, GivesExactValuesAndSurvivesNonsense) {
  const Eigen3 zero = SymmetricEigen({});
  EXPECT_EQ(zero.values, (std::array<double, 3>{0, 0, 0}));
  EXPECT_EQ(zero.vectors, Mat3::Identity());
  const Eigen3 e = SymmetricEigen(Symmetric(2, 2, 7, 0, 0, 1));
  EXPECT_NEAR(e.values[0], 1, 1e-15);
  EXPECT_NEAR(e.values[1], 3, 1e-15);
  EXPECT_NEAR(e.values[2], 7, 1e-15);
  EXPECT_NEAR(std::fabs(e.vectors[0][0] * e.vectors[0][1] + 0.5), 0, 1e-15);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Eigen3 bad = SymmetricEigen(Symmetric(3, 2, 1, nan, 0, 0));
  EXPECT_EQ(bad.values, (std::array<double, 3>{1, 2, 3}));
  EXPECT_NEAR(Determinant(bad.vectors), 1.0, 0);
}

TEST(Inverse, UndoesTheMatrix) {
  const Mat3 a{{{{7, 0, 0}, {-1.5, 9, 0}, {2, 0.25, -11}}}};
  const Mat3 unit = a * Inverse(a);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(unit[i][static_cast<size_t>(j)], i == j, 1e-15);
  EXPECT_FALSE(std::isfinite(Inverse({})[0][0]));
  EXPECT_EQ(Normalised(Cartesian{}), Cartesian{});
}

}  // namespace
}  // namespace marvik
