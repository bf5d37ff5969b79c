#include <cmath>
#include <gtest/gtest.h>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "refine/data/observations.h"
#include "refine/data/reflections.h"
#include "refine/data/weighting.h"

#include "models.h"

namespace marvik {
namespace {

SpaceGroup Group(int lattice, const std::vector<std::string>& operators) {
  std::string problem;
  return *MakeSpaceGroup(lattice, ListOperators(lattice, operators), problem);
}

TEST(ReflectionFile, ReadsFixedColumnsThatTouch) {
  const std::string text =
      "   1   0   0  123.45    1.50   1\n"
      " -10 -11 -1299999.9912345.67  -2\n"
      "   2-100   3-1234.56   10.00\r\n"
      "   3   1   x  100.00    1.00\n"
      "   0   0   0    0.00    0.00   0\n"
      "   5   5   5  999.00    1.00\n";
  const HklFile file = ParseHklFile(text, {});
  ASSERT_EQ(file.reflections.size(), 3u);
  ASSERT_EQ(file.notes.size(), 2u);
  EXPECT_EQ(file.notes[0], "line 4 and 0 more cannot be read");
  EXPECT_EQ(file.notes[1], "line 5, blank or of zeros, ends it; 1 reflections behind it are not read");
  EXPECT_EQ(file.reflections[1].h, (Miller{-10, -11, -12}));
  EXPECT_DOUBLE_EQ(file.reflections[1].intensity, 99999.99);
  EXPECT_DOUBLE_EQ(file.reflections[1].sigma, 12345.67);
  EXPECT_EQ(file.reflections[1].batch, -2);
  EXPECT_EQ(file.reflections[2].h, (Miller{2, -100, 3}));
  EXPECT_DOUBLE_EQ(file.reflections[2].intensity, -1234.56);
  EXPECT_EQ(file.reflections[2].batch, 1);

  const HklFormat format = ParseHklf("HKLF 4 2.0 0 1 0 1 0 0 0 0 -1 3.0");
  const HklFile turned = ParseHklFile(text, format);
  EXPECT_EQ(turned.reflections[2].h, (Miller{-100, 2, -3}));
  EXPECT_DOUBLE_EQ(turned.reflections[0].intensity, 246.9);
  EXPECT_DOUBLE_EQ(turned.reflections[0].sigma, 9.0);
}

TEST(ReflectionFile, ReadsOtherLayoutsAndLineEndsAndSaysSo) {
  const auto lines = [](const char* format, const char* end) {
    std::string text;
    for (int i = 1; i < 60; ++i) text += Printf(format, i, 1, -2, 1000.0 + i, 3.0) + end;
    return text;
  };
  const std::pair<const char*, size_t> layouts[] = {
      {"%4d%4d%4d%8.2f%8.2f", 0}, {"%4d%4d%4d%12.4f%12.4f", 1}, {"%d %d %d %.3f %.2f", 1}};
  for (const auto& [layout, notes] : layouts) {
    for (const char* end : {"\n", "\r\n", "\r"}) {
      const HklFile file = ParseHklFile(lines(layout, end), {});
      ASSERT_EQ(file.reflections.size(), 59u) << layout;
      EXPECT_EQ(file.reflections[40].h, (Miller{41, 1, -2}));
      EXPECT_DOUBLE_EQ(file.reflections[40].intensity, 1041.0);
      EXPECT_DOUBLE_EQ(file.reflections[40].sigma, 3.0);
      EXPECT_EQ(file.notes.size(), notes) << layout;
    }
  }
  const HklFile third =
      ParseHklFile(lines("%4d%4d%4d%8.2f%8.2f", "\n"), ParseHklf("HKLF 4 1 0.333333 0 0 0 1 0 0 0 1"));
  EXPECT_EQ(third.reflections.size(), 19u) << "every third has whole indices";
  ASSERT_EQ(third.notes.size(), 1u);
  EXPECT_EQ(third.notes[0].find("line 1 and 39 more have no whole indices"), 0u) << third.notes[0];
  TwinLaw law;
  law.present = true;
  law.matrix = {1.0 / 3.0, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(MakeObservations(ParseHklFile(lines("%4d%4d%4d%8.2f%8.2f", "\n"), {}).reflections, law).apart, 40u);
}

TEST(Merging, FollowsTheGroupAndTheMergCode) {
  const Metric metric = MakeMetric({8, 9, 10, 90, 100, 90});
  // Equivalents of 1 2 3 in 2/m, and a Friedel pair of P21.
  const std::vector<Reflection> raw = {{{1, 2, 3}, 100, 2, 1},  {{-1, 2, -3}, 104, 2, 1}, {{-1, -2, -3}, 90, 2, 1},
                                       {{1, -2, 3}, 110, 2, 1}, {{0, 3, 0}, 50, 1, 1},    {{0, 4, 0}, -9, 1, 1}};
  DataLimits limits;
  const auto merge = [&](const SpaceGroup& group, int code, MergeStatistics& m) {
    m = {};
    return MergeReflections(raw, group, metric, limits, code, m);
  };
  MergeStatistics m;
  const SpaceGroup p21c = Group(1, {"-X, 0.5+Y, 0.5-Z"});
  auto merged = merge(p21c, 2, m);
  ASSERT_EQ(merged.size(), 2u);
  EXPECT_EQ(m.absent, 1u);
  EXPECT_NEAR(m.rInt, (1 + 3 + 11 + 9) / 404.0, 0.003);
  const Reflection& four = merged[0].h[1] == 4 ? merged[1] : merged[0];
  EXPECT_NEAR(four.intensity, 101.5, 0.1);
  EXPECT_NEAR(four.sigma, 24.0 / (4 * std::sqrt(3.0)), 0.1) << "the spread beats the counting statistics";
  const Reflection& weak = merged[0].h[1] == 4 ? merged[0] : merged[1];
  EXPECT_DOUBLE_EQ(weak.intensity, -1.0) << "what is below -σ is replaced by -σ";

  const SpaceGroup p21 = Group(-1, {"-X, 0.5+Y, -Z"});
  EXPECT_EQ(merge(p21, 2, m).size(), 3u) << "Friedel opposites stay apart";
  EXPECT_EQ(merge(p21, 4, m).size(), 2u);
  EXPECT_EQ(merge(p21, 0, m).size(), 5u);
  EXPECT_EQ(merge(p21c, 1, m).size(), 5u);

  limits.omitted = {{1, -2, 3}};
  EXPECT_EQ(merge(p21c, 2, m).size(), 1u) << "OMIT takes the equivalents too";
  limits.omitted.clear();
  limits.omitSigmas = 4.0;
  EXPECT_EQ(merge(p21c, 2, m).size(), 1u) << "a positive OMIT leaves weak data out";
  limits = {};
  limits.resolutionHigh = 2.3;
  EXPECT_EQ(merge(p21c, 2, m).size(), 1u);
}

TEST(Observations, GroupOverlappedReflectionsAndTwinComponents) {
  const std::vector<Reflection> raw = {{{1, 0, 0}, 10, 1, -2}, {{2, 0, 0}, 10, 1, 1}, {{3, 0, 0}, 5, 1, 2}};
  const Observations overlapped = MakeOverlappedObservations(raw);
  ASSERT_EQ(overlapped.Size(), 2u);
  ASSERT_EQ(overlapped.Components(), 2u);
  EXPECT_EQ(overlapped.batch[0][0], 1);
  EXPECT_EQ(overlapped.indices[0][0], (Miller{2, 0, 0})) << "the end of the group stands for it";
  EXPECT_EQ(overlapped.batch[1][0], 2);
  EXPECT_EQ(overlapped.batch[1][1], 0);
  EXPECT_EQ(LargestBatch(raw), 2);

  TwinLaw law;
  law.present = true;
  law.matrix = {0, 1, 0, 1, 0, 0, 0, 0, -1};
  law.components = -4;
  const Observations twin = MakeObservations({{{1, 2, 3}, 10, 1, 1}}, law);
  ASSERT_EQ(twin.Components(), 4u);
  EXPECT_EQ(twin.indices[1][0], (Miller{2, 1, -3}));
  EXPECT_EQ(twin.indices[2][0], (Miller{-1, -2, -3}));
  EXPECT_EQ(twin.indices[3][0], (Miller{-2, -1, 3}));
}

TEST(Weights, TheSuggestionFlattensTheVariance) {
  Calculated c;
  std::mt19937 random(3);
  std::normal_distribution<double> normal;
  for (int i = 0; i < 6000; ++i) {
    const double f2 = std::exp(8.0 * i / 6000.0);
    const double sigma = 0.5 + 0.01 * f2;
    const double spread = std::sqrt(sigma * sigma + std::pow(0.05 * f2, 2) + 0.8 * f2);
    c.fc2.push_back(f2);
    c.sigma.push_back(sigma);
    c.fo2.push_back(f2 + spread * normal(random));
  }
  const auto [a, b] = SuggestWeights(c, 1.0 / 3.0);
  EXPECT_NEAR(a, 0.05, 0.01);
  EXPECT_NEAR(b, 0.8, 0.25);
}

}  // namespace
}  // namespace marvik
