#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"
#include "model/placement.h"

#include "support/structures.h"

namespace marvik {
namespace {

const std::array<double, 6> kU{0.043, 0.061, 0.035, 0.007, -0.011, 0.004};

struct Setting {
  CellParameters cell;
  OrthogonalisationMatrix matrix;
  explicit Setting(const CellParameters& c) : cell(c) { EXPECT_TRUE(BuildOrthogonalisation(cell, matrix)); }
};

AtomRecord Anisotropic(const std::array<double, 6>& u) {
  AtomRecord atom;
  atom.u = u;
  atom.uCount = 6;
  return atom;
}

// Mean square displacement along a fractional vector d by the metric formula: Σ (g d)_i (g d)_j a*_i a*_j U_ij / d·g·d.
double MeanSquareAlong(const Setting& s, const std::array<double, 6>& u, const Fractional& d) {
  const CellParameters& c = s.cell;
  const double ca = std::cos(c.alpha * kRadiansPerDegree), cb = std::cos(c.beta * kRadiansPerDegree),
               cg = std::cos(c.gamma * kRadiansPerDegree);
  const Mat3 g{{{{c.a * c.a, c.a * c.b * cg, c.a * c.c * cb},
                 {c.a * c.b * cg, c.b * c.b, c.b * c.c * ca},
                 {c.a * c.c * cb, c.b * c.c * ca, c.c * c.c}}}};
  const Fractional gd = g * d;
  const auto star = MakeMetric(c).reciprocalEdges;
  const Fractional h{gd.x * star[0], gd.y * star[1], gd.z * star[2]};
  return Dot(h, TensorFromFileOrder(u) * h) / Dot(d, gd);
}

TEST(CartesianTensor, AgreesWithTheMetricFormulaAlongAnyDirection) {
  for (const CellParameters& cell : {CellParameters{7, 9, 11, 90, 90, 90}, CellParameters{5.1, 5.1, 12.3, 90, 90, 120},
                                     CellParameters{7.31, 9.52, 11.04, 81.2, 103.7, 96.5}}) {
    const Setting s(cell);
    const Mat3 tensor = CartesianTensor(Anisotropic(kU), s.cell, s.matrix);
    for (const Fractional& d :
         {Fractional{1, 0, 0}, Fractional{0, 1, 0}, Fractional{0, 0, 1}, Fractional{0.1, -0.2, 0.15}}) {
      const Cartesian along = Normalised(s.matrix * d);
      EXPECT_NEAR(Dot(along, tensor * along), MeanSquareAlong(s, kU, d), 1e-12);
    }
    for (int i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j)
        EXPECT_NEAR(tensor[i][j], tensor[static_cast<int>(j)][static_cast<size_t>(i)], 1e-16);
  }
  AtomRecord isotropic;
  isotropic.u = {0.05, 9, 9, 9, 9, 9};
  const Setting s({7, 8, 9, 80, 100, 110});
  EXPECT_EQ(CartesianTensor(isotropic, s.cell, s.matrix), Mat3::Diagonal(0.05, 0.05, 0.05));
}

TEST(RotatedTensor, TurnsAsTheOperatorTurnsTheStructure) {
  const struct {
    CellParameters cell;
    const char* text;
  } cases[] = {{{5.1, 5.1, 12.3, 90, 90, 120}, "-Y,X-Y,1/3+Z"},
               {{5.1, 5.1, 12.3, 90, 90, 120}, "X-Y,X,Z+1/6"},
               {{5.1, 5.1, 12.3, 90, 90, 120}, "Y,X,1/2-Z"},
               {{9, 9, 9, 90, 90, 90}, "Z,X,Y"},
               {{9, 9, 9, 90, 90, 90}, "1/4+Y,3/4-X,Z"},
               {{7, 9, 11, 90, 103, 90}, "-X,1/2+Y,1/2-Z"},
               {{7, 9, 11, 81, 103, 96}, "-X,-Y,-Z"}};
  for (const auto& c : cases) {
    const Setting s(c.cell);
    const SymmetryOperator op = ParseOperator(c.text).value();
    const auto rotated = RotatedTensor(kU, op, MakeMetric(s.cell).reciprocalEdges);
    const Mat3 before = CartesianTensor(Anisotropic(kU), s.cell, s.matrix);
    const Mat3 after = CartesianTensor(Anisotropic(rotated), s.cell, s.matrix);
    // The same displacement, turned by the operator, must meet the turned tensor with the same mean square.
    for (const Fractional& d : {Fractional{1, 0, 0}, Fractional{0, 1, 0}, Fractional{0, 0, 1}, Fractional{1, 1, 0},
                                Fractional{0, 1, 1}, Fractional{1, 0, 1}}) {
      const Cartesian v = s.matrix * d;
      const Cartesian turned = s.matrix * (op.Apply(d) - op.Apply({}));
      EXPECT_NEAR(Length(v), Length(turned), 1e-12) << "a proper operator of the cell";
      EXPECT_NEAR(Dot(v, before * v), Dot(turned, after * turned), 1e-10) << c.text;
    }
  }
}

TEST(EllipsoidAxes, GivesARightHandedFrameAndTellsBadTensors) {
  const Setting s({7.31, 9.52, 11.04, 81.2, 103.7, 96.5});
  const DisplacementEllipsoid e = EllipsoidAxes(CartesianTensor(Anisotropic(kU), s.cell, s.matrix));
  EXPECT_TRUE(e.positiveDefinite);
  EXPECT_LT(e.lengths[0], e.lengths[1]);
  EXPECT_LT(e.lengths[1], e.lengths[2]);
  EXPECT_NEAR(Dot(Cross(e.axes[0], e.axes[1]), e.axes[2]), 1.0, 1e-12);

  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& bad : {std::array<double, 6>{0.04, 0.04, -0.01, 0, 0, 0},
                          {0.04, 0.04, 0.04, 0, 0, 0.05},
                          {0, 0, 0, 0, 0, 0},
                          {0.04, 0.04, nan, 0, 0, 0},
                          {1e308, 1e308, 1e308, 1e308, 0, 0}}) {
    const DisplacementEllipsoid wrong = EllipsoidAxes(CartesianTensor(Anisotropic(bad), s.cell, s.matrix));
    EXPECT_FALSE(wrong.positiveDefinite) << bad[2];
    for (const double length : wrong.lengths) EXPECT_TRUE(std::isfinite(length));
    for (const Cartesian& axis : wrong.axes) EXPECT_NEAR(Length(axis), 1.0, 1e-12);
  }
  const DisplacementEllipsoid negative = EllipsoidAxes(Mat3::Diagonal(0.04, -0.09, 0.01));
  EXPECT_NEAR(negative.lengths[0], 0.3, 1e-15);
  // Flat to rounding: a zero eigenvalue that came out as something.
  for (const double scale : {1e-3, 1.0, 1e3})
    EXPECT_FALSE(EllipsoidAxes(Mat3::Diagonal(40 * scale, 50 * scale, 4e-9 * scale)).positiveDefinite);
}

TEST(ProbabilityScale, IsTheChiSquareQuantileWithThreeDegreesOfFreedom) {
  // Printed tables: quantiles 2.36597 (50 %), 4.10834 (75 %), 6.25139 (90 %), 11.34487 (99 %), 0.00000... (0).
  EXPECT_NEAR(ProbabilityScale(0.5), 1.5382, 5e-5);
  EXPECT_NEAR(std::pow(ProbabilityScale(0.5), 2), 2.36597, 5e-6);
  EXPECT_NEAR(std::pow(ProbabilityScale(0.75), 2), 4.10834, 5e-6);
  EXPECT_NEAR(std::pow(ProbabilityScale(0.9), 2), 6.25139, 5e-6);
  EXPECT_NEAR(std::pow(ProbabilityScale(0.99), 2), 11.34487, 5e-6);
  EXPECT_EQ(ProbabilityScale(1.0), ProbabilityScale(0.9999));
  EXPECT_EQ(ProbabilityScale(7.0), ProbabilityScale(0.9999));
  for (const double none : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_EQ(ProbabilityScale(none), 0.0);
}

}  // namespace
}  // namespace marvik
