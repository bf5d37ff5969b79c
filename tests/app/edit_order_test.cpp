#include "base/numbers.h"
#include "edit/edit_label.h"
#include "edit/edit_part.h"
#include "edit/edit_riding.h"
#include "edit/edit_sort.h"

#include "bench_fixture.h"
#include "support/structures.h"

namespace marvik::test {
namespace {

constexpr char kHead[] =
    "TITL order\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C H N O\nUNIT 4 4 1 1\n";

class EditOrder : public BenchTest {
 protected:
  EditOrder() { bench.FmolAfterChanges = false; }
  void Load(const std::string& body, const std::string& lines = "") {
    ASSERT_TRUE(Open(kHead + lines + "FVAR 1.0 0.6\n" + body + "HKLF 4\nEND\n", "order.res"));
  }
  std::string Names() const { return NamesOf(bench.document.atoms); }
  std::string Sorted(const char* elements, const std::string& body, const std::string& lines = "") {
    Load(body, lines);
    Run(115, elements);
    EXPECT_EQ(FaultsOf(bench.document.atoms), "");
    return Names();
  }
};

TEST_F(EditOrder, SortsByElementAndNumberWithRidersBehindTheirParent) {
  const std::string body =
      "O1 4 0.1 0.1 0.1 11 0.05\nC10 1 0.2 0.1 0.1 11 0.05\nQ2 1 0.9 0.9 0.9 11 0.05 1.0\nC2 1 0.3 0.1 0.1 11 0.05\n"
      "AFIX 43\nH2 2 0.3 0.2 0.1 11 -1.2\nAFIX 0\nC2A 1 0.4 0.1 0.1 11 0.05\nN1 3 0.5 0.1 0.1 11 0.05\n"
      "Q1 1 0.9 0.9 0.8 11 0.05 2.0\nH9 2 0.5 0.2 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C N O", body), "C2 H2 C2A C10 N1 O1 H9 Q1 Q2");
  EXPECT_EQ(Sorted("H o", body), "H9 O1 C2 H2 C2A C10 N1 Q1 Q2");
  EXPECT_EQ(Run(115, "H O"), Outcome::Done) << "sorted already";
  EXPECT_EQ(Run(115, "C Xx"), Outcome::Failed);
  EXPECT_EQ(LastText(), "Element order: \"Xx\" is not the symbol of an element.");
}

TEST_F(EditOrder, GroupsStayWhole) {
  const std::string part =
      "N9 3 0.1 0.1 0.1 11 0.05\nPART 1 21\nC5B 1 0.2 0.1 0.1 11 0.05\nC4B 1 0.3 0.1 0.1 11 0.05\nPART 0\n"
      "C6 1 0.4 0.1 0.1 11 0.05\nC1 1 0.5 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C N", part), "C1 C4B C5B C6 N9");
  const std::string rigid =
      "N1 3 0.1 0.1 0.1 11 0.05\nAFIX 66\nC9 1 0.2 0.1 0.1 11 0.05\nAFIX 65\nC3 1 0.3 0.1 0.1 11 0.05\nAFIX 43\n"
      "H3 2 0.3 0.2 0.1 11 -1.2\nAFIX 65\nC5 1 0.4 0.1 0.1 11 0.05\nAFIX 0\nC2 1 0.5 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C N", rigid), "C2 C9 C3 H3 C5 N1");
  EXPECT_NE(Saved().find("AFIX 66\nC9"), std::string::npos);
  const std::string residues =
      "RESI 2 ALA\nN1 3 0.1 0.1 0.1 11 0.05\nC1 1 0.2 0.1 0.1 11 0.05\nRESI 1 GLY\nO1 4 0.3 0.1 0.1 11 0.05\nRESI 0\n"
      "O7 4 0.4 0.1 0.1 11 0.05\nC7 1 0.5 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C N O", residues), "C7 O7 C1 N1 O1") << "residues in their order, each sorted";
  const std::string methyl =
      "C3 1 0.1 0.1 0.1 11 0.05\nAFIX 137\nPART 1\nH3A 2 0.1 0.2 0.1 21 -1.5\nPART 2\nH3D 2 0.1 0.0 0.1 -21 -1.5\n"
      "PART 0\nAFIX 0\nC1 1 0.4 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C", methyl), "C1 C3 H3A H3D");
}

TEST_F(EditOrder, LinesThatActFromTheirPlaceKeepTheirAtoms) {
  const std::string moved =
      "N1 3 0.1 0.1 0.1 11 0.05\nC9 1 0.2 0.1 0.1 11 0.05\nMOVE 1 1 1\nO1 4 0.3 0.1 0.1 11 0.05\n"
      "C1 1 0.4 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C N O", moved), "C9 N1 C1 O1");
  EXPECT_NE(Saved().find("MOVE 1 1 1\nC1"), std::string::npos) << Saved();
  const std::string same =
      "O1 4 0.1 0.1 0.1 11 0.05\nC1 1 0.2 0.1 0.1 11 0.05\nSAME O1 C1\nO2 4 0.3 0.1 0.1 11 0.05\n"
      "C2 1 0.4 0.1 0.1 11 0.05\nC0 1 0.5 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C O", same), "C0 C1 O1 O2 C2");
  const std::string asText =
      "C3 1 0.1 0.1 0.1 11 0.05\nSAME C3 > C3\nO2 4 0.3 0.1 0.1 11 0.05\nC2 1 0.4 0.1 0.1 11 0.05\n";
  EXPECT_EQ(Sorted("C O", asText), "C3 O2 C2");
}

TEST_F(EditOrder, RangesThatSpanOtherAtomsAfterwardsAreShown) {
  const std::string body = "C1 1 0.1 0.1 0.1 11 0.05\nO1 4 0.3 0.1 0.1 11 0.05\nC2 1 0.4 0.1 0.1 11 0.05\n";
  Sorted("C O", body, "SIMU C1 > C2\nDELU C1 > C1\n");
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text, "These lines name a range of atoms that is now another one:\nSIMU C1 > C2");
}

constexpr char kChain[] =
    "C7 1 0.10 0.10 0.10 11 0.05\nAFIX 137\nH7A 2 0.10 0.20 0.10 11 -1.5\nH7B 2 0.04 0.04 0.10 11 -1.5\nAFIX 0\n"
    "C3 1 0.25 0.10 0.10 11 0.05\nAFIX 43\nH3 2 0.25 0.20 0.10 11 -1.2\nAFIX 0\nN1 3 0.39 0.10 0.10 11 0.05\n"
    "H1 2 0.39 0.19 0.10 11 0.05\nO1 4 0.80 0.80 0.80 11 0.05\nQ1 1 0.5 0.5 0.5 11 0.05 1.0\n";

TEST_F(EditOrder, GroupLabelsGoInTheOrderOfSelection) {
  Load(kChain, "DFIX 1.5 C7 C3\n");
  for (const char* name : {"C3", "C7", "N1"}) Run(kSelectByNameCommand, name);
  EXPECT_EQ(Run(183, "first=7"), Outcome::Changed);
  EXPECT_EQ(Names(), "C8 H8A H8B C7 H7 N9 H9 O1 Q1") << "names exchanged, hydrogens with their parents";
  EXPECT_NE(folder.Get("order.res").find("DFIX 1.5 C7 C3"), std::string::npos);
  EXPECT_TRUE(SaveFileAs(bench, folder / "saved.ins"));
  EXPECT_NE(folder.Get("saved.ins").find("DFIX 1.5 C8 C7"), std::string::npos);
  Run(184);
  for (const char* name : {"N9", "Q1"}) Run(kSelectByNameCommand, name);
  EXPECT_EQ(Run(183, "first=1 prefix=C suffix=A"), Outcome::Changed);
  EXPECT_EQ(Names(), "C8 H8A H8B C7 H7 C1A H1A O1 C2A") << "the peak is an atom now";
  EXPECT_EQ(Atom("C2A")->element->Symbol(), "C");
}

TEST_F(EditOrder, GroupLabelsNeverMakeDuplicates) {
  Load(kChain);
  Run(kSelectByNameCommand, "N1 O1");
  EXPECT_EQ(Run(183, "first=2 prefix=C"), Outcome::Failed);
  EXPECT_EQ(LastText(), "First number: another atom is called C3 already. All names are free from 4 on.");
  for (const char* bad : {"prefix=C", "first=x", "first=-1", "first=1e308", "first=1,5", "first=1 prefix=9",
                          "first=1 suffix=2", "first=999 prefix=CC", "first=1 step=2"})
    EXPECT_EQ(Run(183, bad), Outcome::Failed) << bad;
  // H21 is taken by a hydrogen that is not renamed.
  Run(kRenameAtomCommand, "H3 H21");
  EXPECT_EQ(Run(183, "first=21"), Outcome::Changed);
  EXPECT_EQ(Names(), "C7 H7A H7B C3 H21 N21 H21A O22 Q1");
  Run(185);
  EXPECT_EQ(LastText(), "No atom name duplications were found.");
}

TEST_F(EditOrder, PartAndFreeVariables) {
  Load(kChain);
  Run(kSelectByNameCommand, "C7");
  EXPECT_EQ(Run(167, "part=1 fvar=2"), Outcome::Changed);
  EXPECT_EQ(Atom("C7")->occupancy, 21.0);
  EXPECT_EQ(Atom("H7A")->occupancy, 21.0) << "riders follow";
  EXPECT_EQ(Atom("H7A")->part, 1);
  EXPECT_EQ(Run(167, "C3 part=2 fvar=-2 value=0.7"), Outcome::Changed);
  EXPECT_EQ(Atom("C3")->occupancy, -21.0);
  EXPECT_FLOAT_EQ(bench.document.instructions.freeVariables.at(0), 0.7f);
  EXPECT_FALSE(Bond("C7", "C3")) << "alternatives do not bond";
  EXPECT_EQ(Run(167, "O1 fvar=3 occupancy=0.5"), Outcome::Changed);
  EXPECT_EQ(Atom("O1")->occupancy, 30.5);
  EXPECT_EQ(bench.document.instructions.freeVariables, (std::vector<float>{0.7f, 0.5f}));
  EXPECT_NE(Saved().find("FVAR 1.0 0.7 0.500000\nPART 1\nC7"), std::string::npos) << Saved();
  EXPECT_EQ(Run(167, "C3 C7 part=0 fvar=1 occupancy=1"), Outcome::Changed);
  EXPECT_EQ(Atom("H3")->occupancy, 11.0);
  EXPECT_TRUE(Bond("C7", "C3"));
  EXPECT_EQ(Captions(), "");
  for (const char* bad : {"fvar=9", "fvar=-1", "occupancy=-1", "occupancy=7", "value=1", "fvar=2 value=1e9", ""})
    EXPECT_EQ(Run(167, std::string("O1 ") + bad), Outcome::Failed) << bad;
  EXPECT_EQ(Atom("O1")->occupancy, 30.5);
}

TEST_F(EditOrder, OccupancyCodesGoThereAndBack) {
  for (const double coded : {1.0, 0.25, 11.0, 10.5, 21.0, -21.0, 30.5, -30.25}) {
    Load(Printf("C1 1 0.1 0.1 0.1 %g 0.05\n", coded));
    const PartChange state = PartOf(bench.document, {Atom("C1")});
    EXPECT_NEAR(CodedOccupancy(*state.fvar, *state.occupancy), coded, 1e-9);
  }
}

TEST_F(EditOrder, HiddenPartsLoseBondsAndSelection) {
  Load("C1 1 0.1 0.1 0.1 11 0.05\nPART 1\nC2 1 0.25 0.1 0.1 21 0.05\nPART -2\nC3 1 0.25 0.15 0.1 -21 0.05\nPART 0\n");
  EXPECT_EQ(PartsInFile(bench.document), (std::vector<int>{-2, 0, 1}));
  Run(kSelectByNameCommand, "C*");
  EXPECT_EQ(Run(168, "1 -2"), Outcome::Changed);
  EXPECT_EQ(BondsOf(bench.document.atoms), "");
  EXPECT_EQ(bench.document.atoms.selection.Size(), 1u);
  EXPECT_FALSE(bench.modified) << "no file holds that";
  EXPECT_EQ(Run(168, "1"), Outcome::Changed);
  EXPECT_EQ(BondsOf(bench.document.atoms), "C1-C3");
  EXPECT_EQ(Run(168, "5"), Outcome::Failed);
  EXPECT_EQ(LastText(), "PART: no atom is in PART 5.");
  EXPECT_EQ(Run(168, "x"), Outcome::Failed);
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_EQ(Run(168, "none"), Outcome::Changed);
  EXPECT_EQ(BondsOf(bench.document.atoms), "C1-C3 C1-C2");
}

TEST_F(EditOrder, RestoredAtomsGoBackToTheirPlacesAndParents) {
  Load(kChain);
  const std::string before = Saved();
  EXPECT_EQ(Run(193, "C3"), Outcome::Failed);
  Run(kSelectByNameCommand, "C7 H7B C3 O1");
  Run(kKillSelectedCommand);
  EXPECT_EQ(Names(), "N1 H1 Q1") << "what rides goes, too";
  Run(kUndoCommand);
  EXPECT_EQ(Saved(), before);
  bench.document.atoms.KillAtoms({Atom("C7"), Atom("H7B"), Atom("C3"), Atom("H3"), Atom("O1")});
  EXPECT_EQ(Run(193, "C9"), Outcome::Failed);
  EXPECT_EQ(LastText(), "Couldn't find C9 among the killed atoms.");
  messages.shown.clear();
  EXPECT_EQ(Run(193, "C? O1"), Outcome::Changed);
  EXPECT_EQ(Atom("H7A")->parent, Atom("C7")) << "the hydrogen that stayed rides again";
  EXPECT_EQ(Run(193, "H*"), Outcome::Changed);
  EXPECT_EQ(Atom("H3")->parent, Atom("C3"));
  EXPECT_EQ(Names(), "C7 H7A H7B C3 H3 N1 H1 O1 Q1");
  EXPECT_EQ(Saved(), before);
  EXPECT_EQ(FaultsOf(bench.document.atoms), "");
  EXPECT_EQ(Captions(), "");
}

TEST_F(EditOrder, HydrogensWithoutAParentStayKilled) {
  Load(kChain);
  Run(kSelectByNameCommand, "C7 H7A H7B C3 H3");
  Atom("H3")->flags2 |= kProgramHydrogen;
  Run(kKillSelectedCommand);
  messages.shown.clear();
  EXPECT_EQ(Run(193, "H7A O9"), Outcome::Failed);
  EXPECT_EQ(Run(193, "H*"), Outcome::Failed);
  ASSERT_EQ(messages.shown.size(), 3u);
  EXPECT_EQ(messages.shown[1].text, "Warning: Unable to reconnect HFIXed Hydrogens");
  EXPECT_EQ(messages.shown[2].text,
            "Some AFIXed hydrogens could not be undeleted -- as\n"
            "no nearby carbon, nitrogen, or oxygen atoms were found.");
  EXPECT_EQ(Names(), "N1 H1 O1 Q1");
  EXPECT_EQ(Run(193, "*"), Outcome::Changed) << "they come back with their parents";
  EXPECT_EQ(Names(), "C7 H7A H7B C3 H3 N1 H1 O1 Q1");
}

TEST_F(EditOrder, SameGroups) {
  Load(
      "O1 4 0.1 0.1 0.1 11 0.05\nC1 1 0.2 0.1 0.1 11 0.05\nH1 2 0.2 0.2 0.1 11 0.05\nO2 4 0.5 0.5 0.1 11 0.05\n"
      "C2 1 0.6 0.5 0.1 11 0.05\nH2 2 0.6 0.6 0.1 11 0.05\nN1 3 0.9 0.9 0.9 11 0.05\n");
  ExpectRefused(239, "O2", "at least one atom");
  Run(kSelectByNameCommand, "C1 O1 H1");
  for (const char* bad : {"C2", "N1", "O1"}) EXPECT_EQ(Run(239, bad), Outcome::Failed) << bad;
  ExpectRefused(239, "H2", "The SAME command can't be applied to Hydrogen atoms.");
  bench.PickAtom(Atom("H2"));
  ExpectRefused(239, "", "The SAME command can't be applied to Hydrogen atoms.");
  bench.ClearPick();
  EXPECT_EQ(Run(239, "O2"), Outcome::Changed);
  EXPECT_NE(Saved().find("SAME O1 C1\nO2 "), std::string::npos) << Saved();
}

TEST_F(EditOrder, CustomBondWidths) {
  Load(kChain);
  EXPECT_EQ(Run(220, "0.15"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Bonds Selected");
  EXPECT_EQ(Run(220, "0.15 C7 C3"), Outcome::Changed);
  EXPECT_FLOAT_EQ(Bond("C7", "C3")->width, 0.15f);
  bench.document.atoms.selectedBonds = {Bond("C3", "N1")};
  EXPECT_EQ(Run(220, "0.3"), Outcome::Changed);
  EXPECT_FLOAT_EQ(bench.document.atoms.selectedBonds[0]->width, 0.3f);
  for (const char* bad : {"0", "-0.1", "5"}) ExpectRefused(220, bad, "Bond width:");
}

}  // namespace
}  // namespace marvik::test
