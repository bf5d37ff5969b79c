#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "model/placement.h"

#include "support/structures.h"

namespace marvik {
namespace {

const CellParameters kTriclinic{7.31, 9.52, 11.04, 81.2, 103.7, 96.5};

// Å, from the metric tensor: an independent road to the same length.
double MetricLength(const CellParameters& c, const Fractional& d) {
  const auto cosine = [](double angle) { return std::cos(angle * kRadiansPerDegree); };
  return std::sqrt(c.a * c.a * d.x * d.x + c.b * c.b * d.y * d.y + c.c * c.c * d.z * d.z +
                   2 * c.b * c.c * cosine(c.alpha) * d.y * d.z + 2 * c.a * c.c * cosine(c.beta) * d.x * d.z +
                   2 * c.a * c.b * cosine(c.gamma) * d.x * d.y);
}

TEST(Orthogonalisation, LengthsAgreeWithTheMetricTensor) {
  const CellParameters cells[] = {
      {10, 10, 10, 90, 90, 90}, {5.1, 5.1, 12.3, 90, 90, 120}, {8, 9, 10, 90, 104.5, 90}, kTriclinic};
  for (const CellParameters& cell : cells) {
    OrthogonalisationMatrix matrix;
    ASSERT_TRUE(BuildOrthogonalisation(cell, matrix));
    for (const Fractional& d :
         {Fractional{1, 0, 0}, Fractional{0, 1, 0}, Fractional{0, 0, 1}, Fractional{0.3, -0.7, 0.2}})
      EXPECT_NEAR(Length(matrix * d), MetricLength(cell, d), 1e-12);
    const double triple =
        Dot(matrix * Fractional{1, 0, 0}, Cross(matrix * Fractional{0, 1, 0}, matrix * Fractional{0, 0, 1}));
    EXPECT_NEAR(triple, -MakeMetric(cell).volume, 1e-9) << "the frame is mirrored in Z";
    EXPECT_EQ((matrix * Fractional{0, 0, 1}), (Cartesian{0, 0, -cell.c}));
    EXPECT_EQ((matrix * Fractional{0, 1, 0}).x, 0.0);
    const Cartesian c = matrix * Fractional{0, 0, 1}, b = matrix * Fractional{0, 1, 0};
    EXPECT_NEAR(MakeMetric(cell).reciprocalEdges[0], Length(Cross(b, c)) / MakeMetric(cell).volume, 1e-14);
  }
  Document document;
  AtomRecord* atom = test::AddAtom(document, "C1", {0.1, 0.2, 0.3});
  atom->position = {};
  FractionalToCartesian(document.matrix, *atom);
  EXPECT_NEAR(Distance(atom->position, {1, 2, -3}), 0.0, 1e-15);
}

TEST(Orthogonalisation, RefusesImpossibleCells) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const CellParameters impossible[] = {
      {0, 10, 10, 90, 90, 90},     {10, -1, 10, 90, 90, 90},   {10, 10, nan, 90, 90, 90}, {10, 10, 10, 0, 90, 90},
      {10, 10, 10, 90, 180, 90},   {10, 10, 10, 90, 90, nan},  {10, 10, 10, 30, 30, 120}, {10, 10, 10, 60, 60, 120},
      {1 / 0.0, 1, 1, 90, 90, 90}, {0.099, 10, 10, 90, 90, 90}};
  for (const CellParameters& cell : impossible) {
    OrthogonalisationMatrix matrix;
    matrix.m[4] = 7;
    EXPECT_FALSE(BuildOrthogonalisation(cell, matrix)) << cell.a << ' ' << cell.alpha << ' ' << cell.gamma;
    EXPECT_EQ(matrix.m[4], 7);
  }
}

TEST(Angle, IsDefinedForEveryTriple) {
  const Cartesian o{0, 0, 0};
  EXPECT_NEAR(Angle(o, {1, 0, 0}, {0, 2, 0}), 90.0, 1e-12);
  EXPECT_EQ(Angle(o, {0.1, 0.1, 0.1}, {0.3, 0.3, 0.3}), 0.0);
  EXPECT_NEAR(Angle(o, {0.1, 0.1, 0.1}, {-0.3, -0.3, -0.3}), 180.0, 1e-5);
  EXPECT_EQ(Angle(o, o, {1, 0, 0}), 0.0);
  EXPECT_EQ(Angle(o, {1, 0, 0}, o), 0.0);
}

TEST(Metric, HoldsTheReciprocalCellAndTheTraceOfTensors) {
  for (const CellParameters& cell : {CellParameters{8, 9, 10, 90, 90, 90}, {5.1, 5.1, 12.3, 90, 90, 120}, kTriclinic}) {
    const Metric metric = MakeMetric(cell);
    const auto edge = [&](double x, double y, double z) { return metric.ToCartesian(Fractional{x, y, z}); };
    const Cartesian a = edge(1, 0, 0), b = edge(0, 1, 0), c = edge(0, 0, 1);
    EXPECT_NEAR(Dot(a, Cross(b, c)), metric.volume, 1e-9);
    // 1 / 2d from the reciprocal vectors as cross products.
    for (const auto& [h, k, l] : {std::array{1, 0, 0}, {0, 2, 0}, {0, 0, 3}, {1, 2, 3}, {-4, 1, 2}, {3, -2, -1}}) {
      const Cartesian star = (h * Cross(b, c) + k * Cross(c, a) + l * Cross(a, b)) / metric.volume;
      EXPECT_NEAR(metric.SinThetaSquared(h, k, l), 0.25 * Dot(star, star), 1e-12);
    }
    const Fractional from{0.1, 0.2, 0.3}, to{0.4, -0.3, 0.9};
    EXPECT_NEAR(std::sqrt(metric.DistanceSquared(from, to)), MetricLength(cell, to - from), 1e-12);
    EXPECT_NEAR(Length(metric.ToFractional(metric.ToCartesian(from)) - from), 0.0, 1e-14);
    const std::array<double, 6> u{0.043, 0.061, 0.035, 0.007, -0.011, 0.004};
    const Mat3 tensor = metric.CartesianU(u);
    EXPECT_NEAR(metric.Ueq(u), (tensor[0][0] + tensor[1][1] + tensor[2][2]) / 3, 1e-12);
    // The tensor of a sphere: U_ij = U cos of the reciprocal angles.
    const auto& g = metric.reciprocal;
    const auto& s = metric.reciprocalEdges;
    const std::array<double, 6> sphere{
        0.05, 0.05, 0.05, 0.05 * g[3] / (s[1] * s[2]), 0.05 * g[4] / (s[0] * s[2]), 0.05 * g[5] / (s[0] * s[1])};
    EXPECT_NEAR(metric.Ueq(sphere), 0.05, 1e-14);
    for (int i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j)
        EXPECT_NEAR(metric.CartesianU(sphere)[i][j], i == static_cast<int>(j) ? 0.05 : 0.0, 1e-14);
  }
}

}  // namespace
}  // namespace marvik
