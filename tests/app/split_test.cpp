#include "base/numbers.h"

#include "bench_fixture.h"
#include "support/structures.h"

namespace marvik::test {
namespace {

// A chain whose end swings, with its hydrogens; a ring atom of a rigid group; an atom on a centre of symmetry.
constexpr char kFile[] =
    "TITL split\nCELL 0.71073 10 10 10 90 90 90\nZERR 2 0 0 0 0 0 0\nLATT 1\nSFAC C H O\nUNIT 12 4 4\nL.S. 4\n"
    "BOND $H\nHTAB O1 C9\nFVAR 1.0 0.7\n"
    "C1   1  0.100000  0.100000  0.200000  11.00000  0.03000  0.03000 =\n         0.03000  0.00000  0.00000  0.00000\n"
    "C2   1  0.250000  0.100000  0.200000  11.00000  0.03000  0.03000 =\n         0.09000  0.00000  0.00000  0.00000\n"
    "AFIX  23\nH2A  2  0.270000  0.030000  0.270000  11.00000  -1.20000\n"
    "H2B  2  0.270000  0.030000  0.130000  11.00000  -1.20000\nAFIX   0\n"
    "O1   3  0.320000  0.220000  0.200000  11.00000  0.03000  0.03000 =\n         0.13000  0.00000  0.00000  0.00000\n"
    "C9   1  0.600000  0.600000  0.600000  11.00000  0.05000\n"
    "C5   1  0.500000  0.500000  0.500000  10.50000  0.03000  0.03000 =\n         0.03000  0.00000  0.00000  0.00000\n"
    "AFIX  66\nC6   1  0.700000  0.700000  0.700000  11.00000  0.05000\nAFIX   0\n"
    "PART 1\nC7   1  0.800000  0.300000  0.300000  21.00000  0.05000\nPART 0\n"
    "HKLF 4\nEND\nQ1   1  0.3050  0.2300  0.3100  11.00000  0.05  1.50\n";

class Split : public BenchTest {
 protected:
  Split() {
    bench.FmolAfterChanges = false;
    EXPECT_TRUE(Open(kFile));
  }
  double Far(const char* a, const char* b) { return Length(Atom(a)->position - Atom(b)->position); }
};

TEST_F(Split, SymmetryMakesTheOtherPart) {
  ExpectRefused("split", "C9 way=symmetry", "None of the chosen atoms lies on a special position.");
  const std::string before = Saved();
  ASSERT_EQ(Run("split", "C2 C5 way=symmetry distance=0.6"), Outcome::Changed);
  EXPECT_EQ(Atom("C5")->part, -1);
  EXPECT_EQ(Atom("C5")->occupancy, 10.5) << "the share of the position";
  EXPECT_NEAR(Length(Atom("C5")->position - bench.document.matrix * Fractional{0.5, 0.5, 0.5}), 0.3, 1e-6);
  EXPECT_EQ(Atom("C2")->fract.x, 0.25) << "what lies beside the position stays";
  EXPECT_EQ(Atom("H2A")->part, -1);
  EXPECT_EQ(Atom("H2A")->occupancy, 10.5);
  EXPECT_EQ(bench.document.instructions.freeVariables.size(), 1u);
  EXPECT_FALSE(Atom("C5A"));
  Run(kUndoCommand);
  EXPECT_EQ(Saved(), before);
  Atom("H2A")->occupancy = -21.0;
  ASSERT_EQ(Run("split", "C2 C5 way=symmetry"), Outcome::Changed);
  EXPECT_EQ(Atom("H2A")->occupancy, -20.5) << "half of what one less the free variable is";
}

TEST_F(Split, AnAtomGoesAlongItsAxisWithItsHydrogensAndOnlyItsLinesChange) {
  ASSERT_EQ(Run("split", "C2 O1"), Outcome::Changed);
  // Half the distance is the root of what the longest axis has over the others.
  EXPECT_NEAR(Far("O1", "O1A"), 2.0 * std::sqrt(0.10), 1e-6);
  EXPECT_NEAR(Far("C2", "C2A"), 2.0 * std::sqrt(0.06), 1e-6);
  EXPECT_GT((Atom("O1")->fract.z - 0.2) * (Atom("C2")->fract.z - 0.2), 0.0) << "parts that are bonded lie on one side";
  EXPECT_NEAR(Atom("O1A")->u[2], 0.030, 1e-6);
  ASSERT_TRUE(Atom("H2AB")) << NamesOf(bench.document.atoms);
  EXPECT_EQ(Atom("H2AB")->parent, Atom("C2A"));
  EXPECT_EQ(BondsOf(bench.document.atoms).find("C2-O1A"), std::string::npos);
  const std::string text = Saved();
  for (const char* line : {"\nFVAR 1.0 0.7 0.500000\n", "\nPART 1\nC2 ", "\nPART 2\n", "\nSADI C1 C2 C1 C2A\n",
                           "\nSADI C2 O1 C2A O1A\n", "\nSADI 0.04 C1 O1 C1 O1A\n", "\nSIMU C2 C2A O1 O1A\n",
                           "\nC1   1  0.100000  0.100000  0.200000  11.00000  0.03000  0.03000 =\n", "\nBOND $H\nHTAB"})
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  EXPECT_NE(text.find(" 31.00000"), std::string::npos);
  EXPECT_NE(text.find(" -31.000000"), std::string::npos);
  Open(text);
  EXPECT_EQ(Atom("O1A")->part, 2) << "what is written can be read";
  EXPECT_EQ(Atom("H2AB")->part, 2);
  EXPECT_EQ(Run("join", "O1 C2A"), Outcome::Changed);
  EXPECT_EQ(bench.document.instructions.freeVariables.size(), 1u);
  EXPECT_NEAR(Atom("O1")->fract.z, 0.2, 1e-6);
  EXPECT_NEAR(Atom("C2")->u[2], 0.09, 1e-4);
  EXPECT_EQ(Saved().find("SADI"), std::string::npos) << Saved();
  EXPECT_EQ(Saved().find("SIMU"), std::string::npos);
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 C2 H2A H2B O1 C9 C5 C6 C7 Q1");
}

TEST_F(Split, AtomsOfOneNameInTwoResiduesShareTheLetter) {
  const auto residue = [](int number, const char* x) {
    return Printf("RESI %d MOL\nC1 1 %s 0.1 0.1 11 0.03 0.03 =\n 0.09 0 0 0\n", number, x);
  };
  std::string text(kFile);
  Open(text.insert(text.find("HKLF"), residue(1, "0.8") + residue(2, "0.4") + "RESI 0\n"));
  ASSERT_EQ(Run("split", "C1_1 C1_2"), Outcome::Changed);
  size_t found = 0;
  for (const AtomRecord* atom : Atoms(bench.document.atoms)) found += atom->name == "C1A";
  EXPECT_EQ(found, 2u);
}

TEST_F(Split, APeakGoesToTheAtomWhoseNeighboursItFits) {
  Run(kSelectAtomsCommand, "C2 O1 Q1");
  ASSERT_EQ(Run("split", "distances=same displacements=both"), Outcome::Changed);
  EXPECT_NEAR(Atom("O1A")->fract.z, 0.31, 1e-9);
  EXPECT_NEAR(Atom("O1")->fract.z, 0.2, 1e-9);
  EXPECT_GT(Atom("C2A")->fract.z, Atom("C2")->fract.z) << "its neighbour goes the same way";
  EXPECT_FALSE(Atom("Q1"));
  const std::string text = Saved();
  EXPECT_NE(text.find("\nSAME C2 O1\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nRIGU C2 C2A C1 O1 O1A\n"), std::string::npos) << text;
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_TRUE(Atom("Q1"));
  EXPECT_EQ(Saved(), kFile);
}

TEST_F(Split, ThreePartsHaveASumAndSymmetryElementsMakeTheSecondPart) {
  ASSERT_EQ(Run("split", "O1 parts=3 distances=none displacements=equal"), Outcome::Changed);
  std::string text = Saved();
  EXPECT_NE(text.find("\nSUMP 1 0.001 1 3 1 4 1 5\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nEADP O1 O1A O1B\n"), std::string::npos) << text;
  EXPECT_NEAR(Atom("O1A")->fract.z, 0.2, 1e-9);
  EXPECT_EQ(Run("join", "O1B"), Outcome::Changed);
  EXPECT_EQ(Saved().find("SUMP"), std::string::npos);
  ASSERT_EQ(Run("split", "C9 about=C1 fvar=2"), Outcome::Changed);
  EXPECT_NEAR(Atom("C9A")->fract.x, -0.4, 1e-9);
  EXPECT_EQ(Atom("C9A")->occupancy, -21.0);
  Run(kUndoCommand);
  ASSERT_EQ(Run("split", "C9 about=\"C1 C2\" angle=90"), Outcome::Changed);
  EXPECT_NEAR(Far("C9A", "C2"), Far("C9", "C2"), 1e-9);
  Run(kUndoCommand);
  ASSERT_EQ(Run("split", "O1 about=\"C1 C2 C9\""), Outcome::Changed);
  EXPECT_NEAR(Far("O1A", "C9"), Far("O1", "C9"), 1e-9);
}

TEST_F(Split, WhatCannotComeApartIsRefusedWithASentence) {
  const std::string before = Saved();
  const std::pair<const char*, const char*> kRefused[] = {{"H2A", "rides on its carrier"},
                                                          {"C6", "rigid group (AFIX 66)"},
                                                          {"C7", "it is in PART 1"},
                                                          {"C5", "special position"},
                                                          {"C9", "isotropic"},
                                                          {"Q1", "is a peak"},
                                                          {"O1 about=C1 parts=3", "two"},
                                                          {"O1 fvar=9", "next new one is number 3"},
                                                          {"O1 fvar=2 fvar=2", "given twice"},
                                                          {"O1 to=C1", "is no peak"},
                                                          {"O1 way=rotation", "axis"},
                                                          {"O1 distances=many", "sadi|same|none"}};
  for (const auto& [argument, part] : kRefused) ExpectRefused("split", argument, part);
  ExpectRefused("join", "O1", "nothing to join");
  EXPECT_EQ(Saved(), before);
}

}  // namespace
}  // namespace marvik::test
