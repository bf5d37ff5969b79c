#include "app/bench_fixture.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::NamesOf;

class HandlerTest : public BenchTest {
 protected:
  HandlerTest() { EXPECT_TRUE(Open()); }
  std::string Selected() {
    std::string list;
    for (const AtomRecord* atom : bench.document.atoms.selection) list += (list.empty() ? "" : " ") + atom->name;
    return list;
  }
};

TEST_F(HandlerTest, SelectionsReplaceAddRemoveAndInvert) {
  const std::tuple<int, const char*, const char*> steps[] = {
      {144, "O1", "O1"},     {144, "+C*", "O1 C1 C2"},        {163, "N1", "O1 C1 C2 N1"}, {144, "- C2 O1", "C1 N1"},
      {144, "~C*", "N1 C2"}, {144, "~", "C1 O1 O2 H1 Q1 Q2"}, {144, "=PEAKS", "Q1 Q2"},   {144, "$H O1", "O1 H1"},
  };
  for (const auto& [id, argument, names] : steps) {
    EXPECT_EQ(Run(id, argument), Outcome::Done) << argument;
    EXPECT_EQ(Selected(), names) << argument;
  }
  for (const auto& [id, argument] : {std::pair(163, "Z9"), std::pair(144, "+X9")}) {
    EXPECT_EQ(Run(id, argument), Outcome::Failed);
    EXPECT_EQ(Captions(), "Error: No Atoms Selected");
  }
  EXPECT_EQ(Selected(), "O1 H1");
  bench.PickAtom(Atom("O1"));
  Run(127);
  EXPECT_EQ(Selected(), "H1");
  Run(127);
  EXPECT_EQ(Selected(), "H1 O1");
  Run(184);
  EXPECT_EQ(Selected(), "");
  EXPECT_FALSE(Atom("O1")->Has(kSelected));
}

TEST_F(HandlerTest, KillingMovesTheCentreOnly) {
  const double radius = bench.view.viewRadius;
  bench.view.panX = 7;
  const Cartesian before = bench.view.viewCentre;
  Run(163, "O2 Q1");
  EXPECT_EQ(Run(113), Outcome::Changed);
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 C2 N1 O1 H1 Q2");
  EXPECT_NE(bench.view.viewCentre, before);
  EXPECT_EQ(bench.view.viewRadius, radius);
  EXPECT_EQ(bench.view.panX, 7);
  EXPECT_EQ(Run(113), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Atoms Selected");

  bench.PickAtom(Atom("H1"));
  EXPECT_EQ(Run(130), Outcome::Changed);
  EXPECT_EQ(bench.PickedAtom(), nullptr) << "a pick does not outlive its atom";
  EXPECT_EQ(Run(130), Outcome::Failed);
  EXPECT_EQ(Run(203), Outcome::Changed);
  EXPECT_EQ(Run(203), Outcome::Done) << "no peak left, nothing changed";
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 C2 N1 O1");
  EXPECT_EQ(bench.document.atoms.killedHead->name, "Q2");
}

TEST_F(HandlerTest, AZoomedViewStaysWhereItIs) {
  EXPECT_EQ(Run(119), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Insufficient Selections");
  Run(163, "C1 C2");
  EXPECT_EQ(Run(119), Outcome::Done);
  EXPECT_TRUE(CommandChecked(bench, 119));
  EXPECT_NEAR(bench.view.viewRadius, 0.75, 1e-6);
  const Cartesian centre = bench.view.viewCentre;
  Run(203);
  EXPECT_EQ(bench.view.viewCentre, centre);
  Run(119);
  EXPECT_FALSE(CommandChecked(bench, 119));
  EXPECT_GT(bench.view.viewRadius, 3.0);
}

TEST_F(HandlerTest, KillingTheLastShownAtomShowsTheRest) {
  bench.document.atoms.displaySubset.Append(Atom("O2"));
  bench.ResetViewToModel();
  EXPECT_EQ(bench.view.viewRadius, 0.5);
  Run(130, "O2");
  EXPECT_TRUE(bench.document.atoms.displaySubset.Empty());
  EXPECT_GT(bench.view.viewRadius, 1.0);
}

TEST_F(HandlerTest, BondOrderStyleAndWidth) {
  EXPECT_EQ(Run(190), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Bonds Selected");
  Run(186, "C1 C2");
  Run(186, "N1-O1");
  for (const auto& [id, order] : {std::pair(189, 0), {190, 1}, {191, 2}, {235, 3}, {236, 4}}) {
    EXPECT_EQ(Run(id), Outcome::Changed);
    EXPECT_EQ(Bond("C1", "C2")->Order(), order);
    EXPECT_EQ(Bond("O1", "N1")->Order(), order);
    EXPECT_EQ(Bond("C2", "N1")->Order(), 0);
  }
  for (int style : {0, 2, 1}) {
    Run(224 + style);
    EXPECT_EQ(Bond("C1", "C2")->Style(), style);
  }
  // A picked bond that is not selected stands alone; one that is stands for all.
  bench.PickBond(Bond("C2", "N1"));
  Run(218);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_EQ(Bond("C1", "C2")->width, 0.1f);
  bench.PickBond(Bond("C1", "C2"));
  Run(219);
  EXPECT_EQ(Bond("N1", "O1")->width, 0.025f);
  Run(217);
  EXPECT_EQ(Bond("N1", "O1")->width, 0.1f);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_FALSE(bench.modified) << "no file holds the looks of a bond";
  Run(134);
  EXPECT_EQ(LastText(), "C1  C2     1.500\n order: Pi");
  EXPECT_EQ(Captions(), "Bond");
  Run(186, "C2 C1");
  EXPECT_EQ(bench.document.atoms.selectedBonds, std::vector{Bond("N1", "O1")});
}

TEST_F(HandlerTest, BondsAreMadeAndBroken) {
  EXPECT_EQ(Run(237, "O2"), Outcome::Failed);
  EXPECT_EQ(LastText(), "You must select at least one atom to bind to a target.");
  Run(163, "C1 O1");
  const Cartesian centre = bench.view.viewCentre;
  EXPECT_EQ(Run(237, "O2"), Outcome::Changed);
  EXPECT_TRUE(Bond("C1", "O2"));
  EXPECT_TRUE(Bond("O1", "O2"));
  EXPECT_EQ(bench.view.viewCentre, centre);
  bench.PickAtom(Atom("N1"));
  EXPECT_EQ(Run(238, "N1"), Outcome::Failed);
  EXPECT_EQ(Run(238, "nobody"), Outcome::Failed);
  EXPECT_EQ(Run(238, "O2"), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.bindPairs.pairs.size(), 3u);

  bench.PickBond(Bond("C1", "O2"));
  EXPECT_EQ(Run(136), Outcome::Changed);
  EXPECT_EQ(bench.PickedBond(), nullptr);
  EXPECT_EQ(Run(136, "C1-C2"), Outcome::Changed);
  EXPECT_EQ(Run(136, "C1-C2"), Outcome::Failed);
  EXPECT_EQ(bench.document.atoms.bindPairs.pairs.size(), 2u);
  EXPECT_EQ(bench.document.atoms.freePairs.pairs.size(), 1u);
  EXPECT_TRUE(bench.modified);
}

TEST_F(HandlerTest, HidingTakesAtomsOutOfTheSelection) {
  Run(163, "C1 C2");
  EXPECT_EQ(Run(243), Outcome::Changed);
  EXPECT_TRUE(Atom("C1")->Has(kHidden));
  EXPECT_FALSE(Atom("N1")->Has(kHidden));
  EXPECT_EQ(Selected(), "");
  Run(163, "N1");
  Run(244);
  EXPECT_EQ(AtomIterator(bench.document.atoms).Count(kVisibleOnly), 1);
  EXPECT_TRUE(Atom("C1")->Has(kHidden)) << "what was hidden stays hidden";
  EXPECT_EQ(Selected(), "N1");
  EXPECT_EQ(Run(245), Outcome::Changed);
  EXPECT_EQ(AtomIterator(bench.document.atoms).Count(kVisibleOnly), 8);
  EXPECT_FALSE(bench.modified);
}

TEST_F(HandlerTest, LabelsOfSingleAtoms) {
  Run(163, "C1 C2");
  Run(204);
  Run(213, "C2 N1");
  EXPECT_TRUE(Atom("C1")->flags2 & kLabelOff);
  EXPECT_FALSE(Atom("C2")->flags2 & kLabelOff);
  EXPECT_TRUE(Atom("N1")->flags2 & kLabelOff);
  Run(205);
  EXPECT_FALSE(Atom("C1")->flags2 & kLabelOff);

  EXPECT_EQ(Run(kPositionLabelCommand, "C1 0.1 -0.75"), Outcome::Changed);
  EXPECT_EQ(Atom("C1")->labelOffsetX, 0.1f);
  EXPECT_EQ(Atom("C1")->labelOffsetY, -0.5f);
  EXPECT_TRUE(Atom("C1")->flags2 & kLabelPlaced);
  for (const char* wrong : {"C1", "C1 0.1", "C1 a b", "Z9 0 0"}) {
    EXPECT_EQ(Run(kPositionLabelCommand, wrong), Outcome::Failed) << wrong;
  }
}

TEST_F(HandlerTest, DuplicatesAreListedAndSelected) {
  EXPECT_EQ(Run(185), Outcome::Done);
  EXPECT_EQ(LastText(), "No atom name duplications were found.");
  EXPECT_EQ(Captions(), "No Duplicates Found");
  Atom("O2")->name = "O1";
  Atom("C2")->name = "C1";
  Run(163, "N1");
  Run(185);
  EXPECT_NE(LastText().find("C1 O1"), std::string::npos);
  EXPECT_EQ(Selected(), "C1 C1 O1 O1");
}

}  // namespace
}  // namespace marvik
