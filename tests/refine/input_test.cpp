#include <cmath>
#include <regex>

#include "crystal/cell_metric.h"
#include "refine/job/line_places.h"

#include "run_fixture.h"

namespace marvik {
namespace {

using InputTest = RunTest;

// What one atom adds is taken from a file instead, which has one reflection of each set of equivalents.
TEST(AddedFactors, StandForAnAtomInEveryLatticeType) {
  unsigned seed = 11;
  for (const GroupCase& group : GroupCases()) {
    const Structure full = MakeCrystal(group, ++seed);
    Structure without = full;
    without.sites.pop_back();
    Structure alone = full;
    alone.sites = {full.sites.back()};
    Observations o = SimulateData(full, 1.2);
    const Calculated part = CalculateAt(alone, o);
    std::string fab;
    for (size_t i = 0; i < o.Size(); ++i) {
      const Miller& h = o.indices[0][i];
      fab += Printf("%4d%4d%4d %.8g %.8g\n", h[0], h[1], h[2], part.a[i], part.b[i]);
    }
    for (size_t i = 0; i < o.Size(); ++i)
      o.indices[0][i] = full.group.all[i % full.group.all.size()].ApplyToIndices(o.indices[0][i]);
    const Calculated wanted = CalculateAt(full, o);
    EXPECT_EQ(AddFactors(ParseFabFile(fab + "   0   0   0 0 0\n"), without, 1.0, 0.0, o), 0u) << group.name;
    const Calculated found = CalculateAt(without, o);
    for (size_t i = 0; i < o.Size(); ++i)
      ASSERT_NEAR(found.fc2[i], wanted.fc2[i], 1e-4 * (1.0 + wanted.fc2[i])) << group.name;
  }
}

const std::string kModel =
    "TITL t\nCELL 0.71073 7.1 9.3 8.2 90 101 90\nZERR 4 0.001 0.001 0.001 0 0.01 0\nLATT 1\nSYMM -X, 0.5+Y, 0.5-Z\n"
    "SFAC C O\nUNIT 8 4\nL.S. 6\nFMAP 2\nPLAN 5\nWGHT 0.02\nFVAR 1\n"
    "O1 2 0.30 0.21 0.33 11 0.03 0.035 0.03 0.002 0.004 -0.003\n"
    "C1 1 0.458 0.303 0.40 11 0.03 0.03 0.005 0.001 0.006 0.002\nC2 1 0.65 0.241 0.388 11 0.045\nHKLF 4\nEND\n";

TEST_F(InputTest, AmplitudesAreRefinedAgainstAndTensorsAreKeptPositive) {
  resultsAreKept_ = true;
  Simulate("i", kModel, 0.9);
  std::string amplitudes;
  for (const Reflection& r : ParseHklFile(Read("i.hkl"), {}).reflections) {
    const double f = std::sqrt(std::fabs(r.intensity));
    amplitudes += Printf("%4d%4d%4d%8.3f%8.3f\n", r.h[0], r.h[1], r.h[2], std::copysign(f, r.intensity),
                         0.5 * r.sigma / std::max(f, std::sqrt(r.sigma)));
  }
  Write("f.hkl", amplitudes);
  ASSERT_EQ(Run("f", With(kModel, "HKLF 4", "HKLF 3")), 0) << Said();
  EXPECT_LT(Last("R1 = "), 0.03) << Said();

  fs::copy_file(Path("i.hkl"), Path("x.hkl"));
  ASSERT_EQ(Run("x", With(kModel, "WGHT", "XNPD 0.02\nWGHT")), 0) << Said();
  const Structure refined = ModelOf(Read("x.res"));
  EXPECT_NEAR(SymmetricEigen(refined.metric.CartesianU(refined.sites[1].u)).values[0], 0.02, 1e-4);
  EXPECT_GT(SymmetricEigen(refined.metric.CartesianU(refined.sites[0].u)).values[0], 0.025);
}

TEST_F(InputTest, StirTakesInMoreReflectionsInEveryCycle) {
  Simulate("s", kModel, 0.9);
  const size_t all = ParseHklFile(Read("s.hkl"), {}).reflections.size();
  ASSERT_EQ(Run("s", With(kModel, "WGHT", "STIR 1.5 0.1\nWGHT")), 0) << Said();
  std::vector<size_t> counts;
  const std::string said = Said();
  const std::regex pattern("before, (\\d+) data");
  for (std::sregex_iterator at(said.begin(), said.end(), pattern), end; at != end; ++at)
    counts.push_back(std::stoul((*at)[1]));
  ASSERT_EQ(counts.size(), 6u) << said;
  EXPECT_TRUE(std::ranges::is_sorted(counts)) << said;
  // The number within a sphere goes by the cube of its radius; 1.0 A in the sixth cycle.
  EXPECT_NEAR(static_cast<double>(counts[5]) / static_cast<double>(counts[0]), 3.375, 0.2);
  EXPECT_LT(counts[5], all);
  EXPECT_NE(Read("s.res").find(Printf("for all %zu data", all)), std::string::npos);
  EXPECT_LT(Last("R1 = "), 0.03) << said;
}

// Nothing of an atom line is lost without a word, and what is not done is said with its line.
TEST_F(InputTest, SaysWhereItDoesNotTakeALineAsItStands) {
  Simulate("s", kModel, 1.2);
  const struct {
    const char* what;
    const char* by;
    const char* said;
  } kCases[] = {
      {"C2 1 0.65", "C2 1 nan", "s.ins, line 15: C2: is not refined: its coordinate nan is no number"},
      {"C2 1 0.65 0.241 0.388 11 0.045", "C2 1 0.65 0.241", "line 15: C2: is not refined: it has no three"},
      {"C2 1 ", "C2 7 ", "line 15: C2: has the SFAC number 7 of 2"},
      {"C2 1 ", "C2 1.5 ", "line 15: C2: is not refined: 1.5 is no SFAC number"},
      {"11 0.045", "11 nan", "line 15: C2: nan is no number; the usual value is taken"},
      {"WGHT", "ISOR C1\nISOR C1 C9\nWGHT", "ISOR: there is no atom C9 (s.ins, line 12)"},
      {"WGHT", "CONF C1 C2 O1 C7\nWGHT", "CONF: there is no atom C7 (s.ins, line 11)"},
      {"WGHT", "SADI_7 C1 O1 C2 O1\nWGHT", "SADI_7: there is no such residue (s.ins, line 11)"},
      {"WGHT", "HFIX 43 C8\nWGHT", "HFIX 43 C8: H is not on SFAC (s.ins, line 11)"},
      {"WGHT", "HOPE 2\nWGHT",
       "HOPE 2: an overall anisotropic scale of six parameters (ANSC) is refined, not twelve on FVAR (s.ins, line 11)"},
      {"WGHT", "ANSC 0 0 0 0 0 0\nWGHT", "ANSC: has an effect with ANSR or HOPE only (s.ins, line 11)"},
      {"WGHT", "WIGL 0.1\nWGHT", "WIGL: "},
      {"WGHT", "LIST 9\nWGHT", "LIST 9: only 1 to 6 and 8 are written (s.ins, line 11)"},
      {"WGHT", "ABIN\nWGHT", "ABIN: s.fab is not there; nothing is added (s.ins, line 11)"},
      {"HKLF 4", "HKLF 1", "HKLF 1 IS NOT REFINED AGAINST, ONLY 2 TO 6 (s.ins, line 16)"},
  };
  for (const auto& c : kCases) {
    Run("s", With(kModel, c.what, c.by));
    EXPECT_TRUE(Says(c.said)) << c.said << "\n" << Said();
  }
  EXPECT_TRUE(FindPlaces(kModel, "s.ins").notes.empty());
}

}  // namespace
}  // namespace marvik
