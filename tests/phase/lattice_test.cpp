#include "phase/lattice.h"

#include <algorithm>
#include <cmath>
#include <gemmi/symmetry.hpp>
#include <gtest/gtest.h>
#include <random>
#include <set>

#include "phase/statistics.h"

namespace marvik::phase {
namespace {

TEST(Lattice, CentringsForbidWhatTheTextbooksSay) {
  const auto allowed = [](char symbol, int h, int k, int l) {
    const auto even = [](int n) { return n % 2 == 0; };
    switch (symbol) {
      case 'A':
        return even(k + l);
      case 'B':
        return even(h + l);
      case 'C':
        return even(h + k);
      case 'I':
        return even(h + k + l);
      case 'F':
        return even(h + k) && even(k + l);
      case 'R':
        return (-h + k + l) % 3 == 0;
      default:
        return true;
    }
  };
  for (const Centring& c : KnownCentrings()) {
    EXPECT_NEAR(std::fabs(Determinant(Mat3{c.p})) * static_cast<double>(c.points.size()), 1.0, 1e-12) << c.symbol;
    std::set<Miller> primitive;
    for (int h = -4; h <= 4; ++h)
      for (int k = -4; k <= 4; ++k)
        for (int l = -4; l <= 4; ++l) {
          const Miller m{h, k, l};
          ASSERT_EQ(c.Allows(m), allowed(c.symbol, h, k, l)) << c.symbol << h << k << l;
          if (!c.Allows(m)) continue;
          EXPECT_EQ(c.FromPrimitive(c.ToPrimitive(m)), m) << c.symbol;
          EXPECT_TRUE(primitive.insert(c.ToPrimitive(m)).second) << c.symbol;
        }
  }
}

TEST(Lattice, EveryCrystalSystemHasItsRotationsAndTheirSubgroups) {
  // Orders of the proper holohedries, and the numbers of their subgroups.
  const struct {
    char centring;
    CellParameters cell;
    size_t rotations;
    size_t subgroups;
  } cases[] = {{'P', {7, 8, 9, 95, 101, 108}, 1, 1},  {'P', {7, 8, 9, 90, 101, 90}, 2, 2},
               {'C', {7, 8, 9, 90, 90, 90}, 4, 5},    {'I', {7, 7, 9, 90, 90, 90}, 8, 10},
               {'A', {7, 7, 9, 90, 90, 90}, 4, 5},    {'P', {7, 7, 9, 90, 90, 120}, 12, 16},
               {'R', {7, 7, 9, 90, 90, 120}, 6, 6},   {'P', {7, 7, 7, 81, 81, 81}, 6, 6},
               {'F', {7, 7, 7, 90, 90, 90}, 24, 30},  {'P', {7, 7.03, 9, 90, 90, 90}, 8, 10},
               {'P', {7, 7.06, 9, 90, 90, 90}, 4, 5}, {'P', {7, 7, 9, 90, 91, 90}, 2, 2}};
  for (const auto& c : cases) {
    const auto centring = std::ranges::find(KnownCentrings(), c.centring, &Centring::symbol);
    const auto rotations = MetricSymmetry(MakeMetric(c.cell), *centring);
    EXPECT_EQ(rotations.size(), c.rotations) << c.centring << c.cell.b << c.cell.beta;
    const auto groups = RotationGroups(rotations);
    EXPECT_EQ(groups.size(), c.subgroups) << c.centring << c.cell.b;
    EXPECT_EQ(groups.front().size(), 1u);
    EXPECT_EQ(groups.back().size(), rotations.size());
    for (const auto& group : groups) {
      EXPECT_EQ(rotations.size() % group.size(), 0u) << "as Lagrange has it";
      for (const Rotation& a : group)
        EXPECT_TRUE(std::ranges::binary_search(group, Product(a, group.back()))) << c.centring;
    }
  }
}

TEST(Lattice, LaueClassesOfAllGroupsHaveTheirNames) {
  for (const gemmi::SpaceGroup& known : gemmi::spacegroup_tables::main) {
    SpaceGroup group;
    for (const gemmi::Op& op : known.operations().sym_ops) {
      group.pointOperators.emplace_back();
      for (size_t i = 0; i < 3; ++i)
        for (size_t k = 0; k < 3; ++k) group.pointOperators.back().r[i][k] = op.rot[i][k] / gemmi::Op::DEN;
    }
    EXPECT_EQ(LaueSymbol(ProperRotations(group)), known.laue_str()) << known.xhm();
  }
}

TEST(Lattice, IndicesTurnAgainstCoordinates) {
  const Rotation threefold{{{0, -1, 0}, {1, -1, 0}, {0, 0, 1}}};
  EXPECT_EQ(Turned({1, 2, 3}, threefold), (Miller{2, -3, 3}));
  EXPECT_EQ(Product(threefold, Product(threefold, threefold)), (Rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}));
}

// Intensities of random atoms (A. J. C. Wilson, Acta Cryst. 2 (1949) 318) in 2/m, with a fall-off and errors of 5 %.
struct Made {
  Problem problem;
  size_t unique = 0;
};

Made Wilson(bool centric, char lattice = 'P', double keep = 1.0) {
  Made made;
  made.problem.metric = MakeMetric({8, 9, 11, 90, 100, 90});
  made.problem.wavelength = 0.71073;
  const auto centring = std::ranges::find(KnownCentrings(), lattice, &Centring::symbol);
  std::mt19937 random(5);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> share;
  for (int h = -10; h <= 10; ++h)
    for (int k = 0; k <= 11; ++k)
      for (int l = 0; l <= 13; ++l) {
        const double s2 = made.problem.metric.SinThetaSquared(h, k, l);
        if (s2 == 0.0 || s2 > 0.25 / 0.81 || (l == 0 && h < 0)) continue;
        const double a = normal(random), b = normal(random);
        const double e2 = centric ? a * a : 0.5 * (a * a + b * b);
        const bool there = centring->Allows({h, k, l});
        if (share(random) > keep) continue;
        made.unique += there;
        const double i = there ? 1000.0 * e2 * std::exp(-6.0 * s2) : 0.0;
        const double sigma = 0.05 * i + 0.5;
        for (const int sign : {1, -1}) {
          made.problem.reflections.push_back({{h, sign * k, l}, i, sigma, 1});
          made.problem.reflections.push_back({{-h, sign * k, -l}, i, sigma, 1});
        }
      }
  return made;
}

TEST(Statistics, TellWhatWilsonsDistributionsSay) {
  for (const bool centric : {false, true}) {
    Made made = Wilson(centric);
    DataStatistics s;
    std::string sentence;
    ASSERT_TRUE(AnalyseData(made.problem, {}, s, sentence)) << sentence;
    EXPECT_TRUE(made.problem.notes.empty()) << made.problem.notes[0];
    EXPECT_EQ(s.centring.symbol, 'P');
    EXPECT_EQ(s.laue.size(), 2u);
    EXPECT_EQ(s.merged.size(), made.unique);
    ASSERT_EQ(s.agreements.size(), 1u);
    EXPECT_LT(s.agreements[0].r, 1e-9);
    EXPECT_GT(s.agreements[0].pairs, made.unique / 2);
    EXPECT_NEAR(s.completeness, 1.0, 0.03);
    EXPECT_NEAR(s.dMin, 0.9, 0.005);
    EXPECT_NEAR(s.dPhasing, 0.9, 0.005);
    EXPECT_NEAR(s.eSquaredMinusOne, centric ? 0.968 : 0.736, 0.05);
    double sum = 0.0, last = 0.0;
    for (const NormalisedReflection& r : s.normalised) {
      sum += r.e * r.e;
      EXPECT_GE(r.s2, last);
      last = r.s2;
    }
    EXPECT_NEAR(sum / static_cast<double>(s.normalised.size()), 1.0, 0.03);
  }
}

TEST(Statistics, LatticeLaueClassAndGapsAreSaid) {
  const auto notes = [](Made& made, DataStatistics& s) {
    std::string sentence, all;
    EXPECT_TRUE(AnalyseData(made.problem, {}, s, sentence)) << sentence;
    for (const std::string& note : made.problem.notes) all += note + "\n";
    return all;
  };
  DataStatistics s;
  Made made = Wilson(false, 'C');
  EXPECT_EQ(notes(made, s), "the lattice is C by its absences, not P as LATT says\n");
  EXPECT_EQ(s.merged.size(), made.unique);
  EXPECT_NEAR(s.completeness, 1.0, 0.03);
  s = {};
  made = Wilson(true, 'P', 0.7);
  EXPECT_EQ(notes(made, s), "70 % of the reflections to 0.90 A are measured: more would help\n");
  // A cell that looks orthorhombic, with intensities that do not.
  s = {};
  made = Wilson(true);
  made.problem.metric = MakeMetric({8, 9, 11, 90, 90, 90});
  EXPECT_NE(notes(made, s).find("the cell has 4 rotations, the intensities 2: look out for twinning"),
            std::string::npos);
  EXPECT_EQ(s.laue.size(), 2u);
  // Given symmetry is taken as it is.
  s = {};
  std::string sentence;
  made = Wilson(true);
  made.problem.lattice = 1;
  AnalysisOptions options;
  options.given = true;
  ASSERT_TRUE(AnalyseData(made.problem, options, s, sentence));
  EXPECT_EQ(s.laue.size(), 1u);
  for (auto& r : made.problem.reflections) r.sigma = 10000.0;
  EXPECT_FALSE(AnalyseData(made.problem, {}, s, sentence));
  EXPECT_NE(sentence.find("nothing but noise"), std::string::npos);
  made.problem.reflections.resize(19);
  for (auto& r : made.problem.reflections) r.sigma = 0.01;
  EXPECT_FALSE(AnalyseData(made.problem, {}, s, sentence));
  EXPECT_NE(sentence.find("unique reflections are left"), std::string::npos);
}

TEST(Statistics, MergedDataAreOfTheClassInWhichTheyAreComplete) {
  // An octant of a tetragonal cell, without the axial plane that a fourfold axis repeats, or with it.
  for (const bool fourfold : {true, false}) {
    Problem problem;
    problem.metric = MakeMetric({8, 8, 11, 90, 90, 90});
    std::mt19937 random(5);
    for (int h = 0; h <= 8; ++h)
      for (int k = 0; k <= 8; ++k)
        for (int l = 0; l <= 11; ++l) {
          if (h + k + l == 0 || (fourfold && k == 0 && h > 0)) continue;
          problem.reflections.push_back({{h, k, l}, static_cast<double>(random() % 1000), 5.0, 1});
        }
    DataStatistics s;
    std::string sentence;
    ASSERT_TRUE(AnalyseData(problem, {}, s, sentence)) << sentence;
    EXPECT_EQ(s.laue.size(), 4u);
    const Rotation quarter{{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}};
    EXPECT_EQ(std::ranges::count(s.laue, quarter), fourfold ? 1 : 0);
    ASSERT_FALSE(problem.notes.empty());
    EXPECT_EQ(problem.notes[0].find("several Laue classes fit") != std::string::npos, fourfold);
  }
}

}  // namespace
}  // namespace marvik::phase
