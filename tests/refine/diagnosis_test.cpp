#include <cmath>

#include "refine/output/linear_study.h"
#include "refine/output/tables.h"

#include "run_fixture.h"

namespace marvik {
namespace {

// Eight atoms in P21/c.
const std::string kHeader =
    "TITL t\nCELL 0.71073 7.1 9.3 8.2 90 101 90\nZERR 4 0.001 0.001 0.001 0 0.01 0\nLATT 1\nSYMM -X, 0.5+Y, 0.5-Z\n"
    "SFAC C N O S\nUNIT 16 8 8 4\nL.S. 8\nFMAP 2\nPLAN 5\n";
const std::string kAtoms =
    "WGHT 0.02\nFVAR 1\nS1 4 0.12 0.05 0.21 11 0.03\nO1 3 0.30 0.11 0.13 11 0.035\nN1 2 0.05 0.22 0.20 11 0.03\n"
    "C1 1 0.20 0.31 0.29 11 0.03\nC2 1 0.38 0.29 0.40 11 0.04\nC3 1 0.51 0.41 0.45 11 0.03\n"
    "O2 3 0.69 0.39 0.55 11 0.04\nC4 1 0.45 0.15 0.45 11 0.045\nHKLF 4\nEND\n";

class DiagnosisTest : public RunTest {
 protected:
  // Refines a text against the data of NAME.
  void Refine(Session& s, const std::string& ins, const std::string& data) {
    std::string problem;
    const LineSink quiet = [](const std::string&) {};
    s.document = ReadDocument(ins);
    HklFile file = ParseHklFile(Read(data + ".hkl"), {});
    if (damaged_ > 0) file.reflections[damaged_].intensity += 60.0 * file.reflections[damaged_].sigma;
    ASSERT_TRUE(PrepareSession(s, file.reflections, quiet, problem)) << problem;
    ASSERT_TRUE(RefineSession(s, quiet));
    s.bonds = MakeBonds(s.structure, s.document, s.job.commands);
  }
  size_t damaged_ = 0;
};

TEST_F(DiagnosisTest, NamesAtomsOfAnotherElement) {
  Simulate("d", kHeader + kAtoms, 0.8);
  Session right;
  Refine(right, kHeader + kAtoms, "d");
  EXPECT_EQ(StrangeElementTable(right), "");
  Session wrong;
  Refine(wrong, With(With(kHeader + kAtoms, "N1 2", "N1 1"), "C2 1", "C2 3"), "d");
  const std::vector<SiteElectrons> found = FindStrangeElements(wrong);
  ASSERT_EQ(found.size(), 2u) << StrangeElementTable(wrong);
  for (const SiteElectrons& e : found) {
    const bool isNitrogen = wrong.structure.sites[static_cast<size_t>(e.site)].label == "N1";
    EXPECT_TRUE(isNitrogen || wrong.structure.sites[static_cast<size_t>(e.site)].label == "C2");
    EXPECT_NEAR(e.suggested, isNitrogen ? 7 : 6, 1);
    EXPECT_TRUE(isNitrogen ? e.displacement < 0.9 : e.displacement > 1.1);
  }
}

TEST_F(DiagnosisTest, SaysWhatARestraintCosts) {
  Simulate("d", kHeader + kAtoms, 0.8);
  Session free, tied;
  Refine(free, kHeader + kAtoms, "d");
  Refine(tied, kHeader + "DFIX 1.28 0.002 C1 C2\nDFIX 1.42 0.03 C3 O2\n" + kAtoms, "d");
  const LinearStudy study = StudyLinearly(tied);
  ASSERT_EQ(study.restraints.size(), 2u);
  EXPECT_TRUE(study.restraints[0].instruction.starts_with("DFIX 1.28")) << "the one that hurts stands first";
  const double cost = tied.result.final.r1 - free.result.final.r1;
  EXPECT_GT(cost, 0.002);
  EXPECT_NEAR(study.restraints[0].gain, cost, 0.3 * cost) << "one linear step tells it";
  EXPECT_LT(std::fabs(study.restraints[1].gain), 0.02 * cost);
  // The window takes these sections out of the listing by their heads.
  const std::string listing = ComposeListing(tied, "");
  for (const char* head : {"\n Worst restraints: target, value, sigma, chi squared\n DFIX ", "\n\n What each restraint",
                           "\n\n Most influential"})
    EXPECT_NE(listing.find(head), std::string::npos) << head;
  // What nothing but a restraint determines.
  Session held;
  Refine(held, With(kHeader + "SUMP 0.5 0.01 1 2\n" + kAtoms, "FVAR 1", "FVAR 1 0.5"), "d");
  ASSERT_EQ(held.result.final.all > 0, true);
  for (const RestraintCost& c : StudyLinearly(held).restraints) EXPECT_TRUE(c.needed) << c.instruction;
}

TEST_F(DiagnosisTest, FindsTheReflectionThatPullsMost) {
  Simulate("d", kHeader + kAtoms, 1.0);
  damaged_ = 40;
  Session s;
  Refine(s, kHeader + kAtoms, "d");
  const LinearStudy study = StudyLinearly(s);
  ASSERT_FALSE(study.reflections.empty());
  const HklFile file = ParseHklFile(Read("d.hkl"), {});
  EXPECT_EQ(s.observations.indices[0][study.reflections[0].observation],
            s.structure.group.Representative(file.reflections[40].h, true));
  for (const Influence& i : study.reflections) {
    EXPECT_GT(i.leverage, 0.0);
    EXPECT_LT(i.leverage, 1.0);
  }
  EXPECT_NE(DominantReflection(s).find("alone makes"), std::string::npos);
  EXPECT_NE(CompletenessTable(s).find("1.000   1.000"), std::string::npos) << CompletenessTable(s);
}

// The same crystal with half of its symmetry and twice as many atoms.
TEST_F(DiagnosisTest, FindsSymmetryThatTheGroupLacks) {
  Simulate("d", kHeader + kAtoms, 0.9);
  Session whole;
  Refine(whole, kHeader + kAtoms, "d");
  EXPECT_EQ(MissedSymmetryTable(whole), "");
  std::string half = With(kHeader, "SYMM[^\n]*\n", "");
  std::string more;
  for (const Site& site : whole.structure.sites) {
    const Fractional& x = site.x;
    more +=
        Printf("%s%s %d %.5f %.5f %.5f 11 %.4f\n", site.label.substr(0, 1).c_str(),
               ("9" + site.label.substr(1)).c_str(), site.scatterer + 1, 0.001 - x.x, 0.5 + x.y, 0.5 - x.z, site.u[0]);
  }
  half += With(kAtoms, "HKLF", more + "HKLF");
  Simulate("h", half, 0.9);
  Session lower;
  Refine(lower, half, "h");
  const std::string table = MissedSymmetryTable(lower);
  EXPECT_NE(table.find("takes 100 % of the atoms"), std::string::npos) << table;
  EXPECT_NE(table.find("h0l, l odd"), std::string::npos) << table;
}

}  // namespace
}  // namespace marvik
