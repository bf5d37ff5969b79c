#include <cmath>
#include <gtest/gtest.h>
#include <set>

#include "models.h"

// What a refinement must give beside a good fit: figures, uncertainties and limits.
namespace marvik {
namespace {

TEST(NormalMatrix, SumsFactorisesAndInvertsTheSameOnAnyNumberOfThreads) {
  constexpr size_t kSize = 613;  // several tiles, the last one not full
  constexpr size_t kBlocks = 6;
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  RowBatch batch(kSize, kBlocks);
  std::vector<double> all(kSize * kBlock * kBlocks);
  for (double& v : all) v = normal(random);
  for (size_t b = 0; b < kBlocks; ++b) batch.Fill(b, &all[b * kSize * kBlock]);
  NormalMatrix first;
  for (const size_t threads : {1, 3}) {
    NormalMatrix matrix(kSize);
    matrix.AddProducts(batch, kBlocks, threads);
    for (const auto& [i, j] : {std::pair<size_t, size_t>{0, 0}, {612, 0}, {95, 96}, {400, 399}, {612, 612}}) {
      double sum = 0.0;
      for (size_t b = 0; b < kBlocks; ++b) {
        for (size_t k = 0; k < kBlock; ++k)
          sum += all[(b * kSize + i) * kBlock + k] * all[(b * kSize + j) * kBlock + k];
      }
      EXPECT_NEAR(matrix.At(i, j), sum, 1e-9 * std::fabs(sum) + 1e-9) << i << " " << j;
    }
    NormalMatrix inverse = matrix;
    EXPECT_TRUE(inverse.Factorise(1e-10, threads).empty());
    inverse.InvertTriangle(threads);
    const std::vector<double> diagonal = inverse.ColumnNorms();
    inverse.SquareTriangle(threads);
    double worst = 0.0;
    for (const size_t i : {size_t{0}, size_t{100}, size_t{612}}) {
      EXPECT_NEAR(diagonal[i], inverse.At(i, i), 1e-9 * diagonal[i]);
      for (size_t j = 0; j < kSize; ++j) {
        double sum = 0.0;
        for (size_t k = 0; k < kSize; ++k) sum += matrix.At(i, k) * inverse.At(k, j);
        worst = std::max(worst, std::fabs(sum - (i == j ? 1.0 : 0.0)));
      }
    }
    EXPECT_LT(worst, 1e-9);
    if (threads == 1) first = inverse;
    for (size_t i = 0; i < kSize; ++i) ASSERT_EQ(first.At(i, kSize - 1), inverse.At(i, kSize - 1));
  }
}

TEST(Refinement, IsTheSameOnAnyNumberOfThreads) {
  const Structure truth = MakeCrystal(GroupNamed("P 21 21 21"), 42, 4);
  const Observations o = SimulateData(truth, 0.8);
  Job single = PlainJob(3), parallel = single;
  single.threads = 1;
  parallel.threads = 4;
  Structure first = truth;
  first.sites[1].x.y += 0.01;
  Structure second = first;
  const Refined one = RefineModel(first, o, single), four = RefineModel(second, o, parallel);
  for (size_t p = 0; p < one.parametrisation.Size(); ++p) {
    EXPECT_EQ(one.parametrisation.Value(first, p), four.parametrisation.Value(second, p));
    EXPECT_EQ(one.result.sigmas[p], four.result.sigmas[p]);
  }
}

// With both members of every Friedel pair, which say nearly the same, there are nearly twice the data.
TEST(Refinement, FriedelOppositesDoNotMakeUncertaintiesSmaller) {
  const Structure truth = MakeCrystal(GroupNamed("P 21 21 21"), 7, 4);
  Observations half = SimulateData(truth, 0.8);
  std::set<Miller> seen;
  std::erase_if(half.indices[0],
                [&](const Miller& h) { return !seen.insert(truth.group.Representative(h, true)).second; });
  Observations both = half;
  for (const Miller& h : half.indices[0]) {
    const Miller opposite = truth.group.Representative({-h[0], -h[1], -h[2]}, false);
    if (opposite != truth.group.Representative(h, false)) both.indices[0].push_back(opposite);
  }
  std::mt19937 random(3);
  std::normal_distribution<double> noise;
  for (Observations* o : {&half, &both}) {
    o->batch[0].assign(o->indices[0].size(), 1);
    o->intensity.assign(o->indices[0].size(), 1.0);
    o->sigma = o->intensity;
    const Calculated c = CalculateAt(truth, *o);
    for (size_t i = 0; i < o->Size(); ++i) {
      o->sigma[i] = 0.02 * c.fc2[i] + 1.0;
      o->intensity[i] = truth.scale * truth.scale * (c.fc2[i] + o->sigma[i] * noise(random));
      o->sigma[i] *= truth.scale * truth.scale;
    }
  }
  Structure lone = truth, paired = truth;
  const Refined few = RefineModel(lone, half, PlainJob(4)), many = RefineModel(paired, both, PlainJob(4));
  EXPECT_EQ(few.result.friedelFactor, 1.0);
  // Of centric reflections both are one: the factor is less than two.
  std::set<Miller> all;
  for (const Miller& h : both.indices[0]) all.insert(truth.group.Representative(h, false));
  EXPECT_NEAR(many.result.friedelFactor, static_cast<double>(all.size()) / static_cast<double>(half.Size()), 1e-9);
  EXPECT_GT(many.result.friedelFactor, 1.5);
  double ratio = 0.0;
  for (size_t p = 1; p < few.result.sigmas.size(); ++p)
    ratio += many.result.sigmas[p] / few.result.sigmas[p] / static_cast<double>(few.result.sigmas.size() - 1);
  EXPECT_NEAR(ratio, 1.0, 0.12);
}

TEST(Refinement, OneWildAtomDoesNotHoldTheOthersBack) {
  const Structure truth = MakeCrystal(GroupNamed("P 1 21/c 1"), 42, 4);
  const Observations o = SimulateData(truth, 0.9);
  Structure model = truth;
  model.sites[0].x.x += 0.004;
  model.sites[3].u[0] = 0.6;  // far beyond what one cycle may change
  const Refined run = RefineModel(model, o, PlainJob(1));
  ASSERT_NE(run.said.find("cut to their limits"), std::string::npos) << run.said;
  EXPECT_LT(std::fabs(model.sites[0].x.x - truth.sites[0].x.x), 0.0015);
}

TEST(Refinement, AnExplosionInTheLastCycleIsTakenBack) {
  const Structure truth = MakeCrystal(GroupNamed("P 1 21/c 1"), 42, 4);
  const Observations o = SimulateData(truth, 0.9);
  Structure model = truth;
  model.solventScale = 0.0;
  model.hasSolvent = true;
  model.solventU = -3.0;  // an exponential that grows
  ParameterOptions options;
  options.solvent = true;
  const Refined run = RefineModel(model, o, PlainJob(1), options);
  EXPECT_TRUE(std::isfinite(run.result.final.wR2));
  EXPECT_LT(run.result.final.wR2, 1.0) << run.said;
}

}  // namespace
}  // namespace marvik
