#include "app/bench_fixture.h"
#include "app/open_save.h"
#include "app/reports.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::NamesOf;

class HandlerTest : public BenchTest {
 protected:
  HandlerTest() { EXPECT_TRUE(OpenFile(bench, folder.Put("small.res", test::kSmallFile))); }
  std::string Selected() {
    std::string list;
    for (const AtomRecord* atom : bench.document.atoms.selection) list += atom->name + " ";
    return list;
  }
};

TEST_F(HandlerTest, SelectingByNameAddsAndTheDialogReplaces) {
  Run(163, "O1");
  Run(163, "C*");
  EXPECT_EQ(Selected(), "O1 C1 C2 ");
  Run(144, "$H O1");
  EXPECT_EQ(Selected(), "O1 H1 ");
  EXPECT_EQ(Run(163, "Z9"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Atoms Selected");
  EXPECT_EQ(Selected(), "O1 H1 ");
  bench.PickAtom(Atom("O1"));
  Run(127);
  EXPECT_EQ(Selected(), "H1 ");
  Run(127);
  EXPECT_EQ(Selected(), "H1 O1 ");
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
  const std::pair<int, int> orders[] = {{189, 0}, {190, 1}, {191, 2}, {235, 3}, {236, 4}};
  for (const auto& [id, order] : orders) {
    EXPECT_EQ(Run(id), Outcome::Changed);
    EXPECT_EQ(Bond("C1", "C2")->Order(), order);
    EXPECT_EQ(Bond("O1", "N1")->Order(), order);
    EXPECT_EQ(Bond("C2", "N1")->Order(), 0);
  }
  for (int style : {0, 2, 1}) {
    Run(224 + style);
    EXPECT_EQ(Bond("C1", "C2")->Style(), style);
  }
  const std::pair<int, float> widths[] = {{219, 0.025f}, {218, 0.2f}, {217, 0.1f}};
  for (const auto& [id, width] : widths) {
    Run(id);
    EXPECT_EQ(Bond("C1", "C2")->width, width);
  }
  // A picked bond that is not selected stands alone; one that is stands for all.
  bench.PickBond(Bond("C2", "N1"));
  Run(218);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_EQ(Bond("C1", "C2")->width, 0.1f);
  bench.PickBond(Bond("C1", "C2"));
  Run(219);
  EXPECT_EQ(Bond("N1", "O1")->width, 0.025f);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_FALSE(bench.modified) << "no file holds the looks of a bond";
  Run(186, "C2 C1");
  EXPECT_EQ(bench.document.atoms.selectedBonds, std::vector{Bond("N1", "O1")});
}

TEST_F(HandlerTest, BondInformation) {
  bench.PickBond(Bond("C1", "C2"));
  Run(235);
  Run(134);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].caption, "Bond");
  const bool ownedByFirst = Bond("C1", "C2")->owner == Atom("C1");
  EXPECT_EQ(messages.shown[0].text, std::string(ownedByFirst ? "C1  C2" : "C2  C1") + "     1.500\n order: Aromatic");
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
  EXPECT_EQ(Selected(), "N1 ");
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
  EXPECT_EQ(Selected(), "C1 C1 O1 O1 ");
}

TEST_F(HandlerTest, ReportsTellOfTheSelection) {
  const auto report = [&](ReportKind kind, ReportFormat format) { return *BatchReport(bench, kind, format); };
  const std::string all = report(ReportKind::Atoms, ReportFormat::Text);
  EXPECT_EQ(all.substr(0, all.find("\tu1")), "name\telement\tx\ty\tz\toccupancy\tueq\tpart\tresidue");
  EXPECT_NE(all.find("\nC1\tC\t0.100000\t0.100000\t0.100000\t1.00000\t0.05000\t0\t0\t0.05000"), std::string::npos);
  Run(163, "O1");
  const std::string bond = report(ReportKind::Bonds, ReportFormat::Json);
  EXPECT_NE(
      bond.find("\"bonds\": [\n    {\"atoms\":[\"N1\",\"O1\"],\"symmetry\":[\"\",\"\"],\"value\":1.264911,\"su\":null,"
                "\"order\":\"Single\"}\n  ]\n}\n"),
      std::string::npos)
      << bond;
  EXPECT_EQ(report(ReportKind::Bonds, ReportFormat::Csv),
            "atom1,atom2,symmetry1,symmetry2,value,su,order\nN1,O1,,,1.264911,,Single\n");
  Atom("O1")->name = "O\"\xe9\x01";
  Atom("N1")->fract.x = std::numeric_limits<double>::quiet_NaN();
  Run(163, "N1");
  const std::string json = report(ReportKind::Atoms, ReportFormat::Json);
  EXPECT_NE(json.find("\"name\":\"O\\\"\u00e9\\u0001\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"x\":null"), std::string::npos);
}

}  // namespace
}  // namespace marvik
