#include "run/model_changes.h"

#include <gtest/gtest.h>

#include "crystal/cell_metric.h"

#include "support/structures.h"

namespace marvik {
namespace {

// C1, N1 in residue 2 and O1 in a cell of 10 x 20 x 25 Å.
void Fill(Document& document) {
  document.cell = {10, 20, 25, 90, 90, 90};
  ASSERT_TRUE(BuildOrthogonalisation(document.cell, document.matrix));
  document.residues.emplace_back().number = 2;
  test::AddAtom(document, "C1", {0.1, 0.2, 0.3});
  test::AddAtom(document, "N1", {0.2, 0.2, 0.3})->residue = 0;
  test::AddAtom(document, "O1", {0.3, 0.2, 0.3});
}

TEST(ModelChanges, ListWhatMovedCameAndWent) {
  Document before;
  Document after;
  Fill(before);
  Fill(after);
  test::AddAtom(before, "Q1", {0.5, 0.5, 0.5});
  test::AddAtom(before, "H1", {0.5, 0.1, 0.5});
  after.atoms.FindAtom("C1")->fract = {0.1, 0.2005, 0.3};
  after.atoms.FindAtom("N1")->fract = {0.2, 0.2, 0.302};
  after.atoms.FindAtom("O1")->name = "o1";
  test::AddAtom(after, "H2", {0.5, 0.1, 0.5});
  test::AddAtom(after, "Q1", {0.98, 0.2, 0.3})->peakHeight = 0.75;
  test::AddAtom(after, "Q2", {0.5, 0.8, 0.8});
  const Uncertainties uncertainties = FindUncertainties(
      "loop\nN1_2 0.2 0.2000(-4) 0.3020(5)\nC1 C 0.1000(2) 0.20050(10) 0.3 0.05\n N1_2 0.2 0.2000(4) 0.3020(5)\nC1 "
      "0.1(1) 0.1 0.1\n"
      "C1 C2 1.540(3)\nX9 0.1(1) 0.2(1) 0.3(1)\n",
      after);
  EXPECT_EQ(uncertainties.size(), 2u);
  const ModelChanges changes = CompareModels(before, after, uncertainties);
  ASSERT_EQ(changes.atoms.size(), 5u);
  EXPECT_EQ(changes.added, 1u);
  EXPECT_EQ(changes.gone, 1u);
  EXPECT_EQ(changes.atoms[0].name, "H2");
  EXPECT_EQ(changes.atoms[1].name, "H1");
  EXPECT_EQ(changes.atoms[1].fate, AtomFate::Gone);
  EXPECT_EQ(changes.atoms[2].name, "N1_2");
  EXPECT_NEAR(changes.atoms[2].shift, 0.05, 1e-9);
  EXPECT_NEAR(*changes.atoms[2].overUncertainty, 4.0, 1e-6);
  EXPECT_NEAR(changes.atoms[3].shift, 0.01, 1e-9);
  EXPECT_NEAR(*changes.atoms[3].overUncertainty, 5.0, 1e-6);
  EXPECT_EQ(changes.atoms[4].shift, 0.0);
  EXPECT_FALSE(changes.atoms[4].overUncertainty);
  EXPECT_NEAR(changes.largestShift, 0.05, 1e-9);
  ASSERT_EQ(changes.peaks.size(), 2u);
  EXPECT_EQ(changes.peaks[0].nearest, "C1") << "over the edge of the cell";
  EXPECT_NEAR(changes.peaks[0].distance, 1.2, 0.01);
  EXPECT_EQ(changes.peaks[0].height, 0.75);
  EXPECT_EQ(changes.peaks[1].nearest, "");
}

TEST(ModelChanges, ReadTheRemarksOfAResult) {
  const CyclePoint figures = FiguresOfResult(
      "REM Solution 1  R1  0.161,  Alpha = 0.0792\nTITL wR2 = 0.9\nREM wR2 = 0.1431, GooF = S = 1.143, Restrained GooF "
      "= 1.150 for all data\r\nrem R1 = 0.0540 for 3557 Fo > 4sig(Fo) and 0.0594 for all 3952 data\n");
  EXPECT_EQ(figures.wR2, 0.1431);
  EXPECT_EQ(figures.r1, 0.054);
  EXPECT_EQ(figures.goof, 1.143);
  EXPECT_FALSE(FiguresOfResult("TITL x\nREM nothing\n").r1);
  EXPECT_FALSE(FiguresOfResult("REM R1 =").r1) << "cut off";
}

}  // namespace
}  // namespace marvik
