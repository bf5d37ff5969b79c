#include "chem/hydrogens/hydrogens.h"

#include <cmath>
#include <set>

#include "base/numbers.h"
#include "chem/hydrogens/hfix.h"
#include "files/res/writer.h"
#include "model/placement.h"

#include "chem_fixture.h"

namespace marvik::test {

class HydrogensTest : public ChemTest {
 protected:
  // Ethanol without hydrogens, the oxygen's acceptor being a carbonyl oxygen beyond.
  void ReadEthanol(const std::string& more = "") {
    Read(Line("C1", 1, -1.25, -0.85, 0) + Line("C2", 1, 0, 0, 0) + Line("O1", 4, 1.17, -0.82, 0) + more);
  }
  // A structure with the hydrogens that belong to it.
  void Hydrogenate(const std::string& atoms) {
    document = {};
    Read(atoms);
    EXPECT_TRUE(CalculateHydrogens(document, messages));
  }
  std::vector<AtomRecord*> HydrogensOn(const std::string& carrier) const {
    std::vector<AtomRecord*> list;
    for (AtomRecord* atom : Atoms(document.atoms))
      if (atom->parent == Atom(carrier)) list.push_back(atom);
    return list;
  }
  std::string Entries() const {
    std::string list;
    for (const HfixEntry& entry : document.atoms.hfix) list += entry.text + ";";
    return list;
  }
  double AngleAt(const std::string& centre, const AtomRecord* a, const AtomRecord* b) const {
    return marvik::Angle(Atom(centre)->position, a->position, b->position);
  }
};

TEST_F(HydrogensTest, EthanolGetsItsSixHydrogens) {
  ReadEthanol();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(NamesOf(document.atoms), "C1 H1A H1B H1C C2 H2A H2B O1 H1");
  EXPECT_EQ(Entries(), "HFIX 137   C1;HFIX 23   C2;HFIX 147   O1;");
  EXPECT_EQ(FaultsOf(document.atoms), "");
  const struct {
    const char* carrier;
    int afix;
    double uiso, length;
  } groups[] = {{"C1", 137, -1.5, 0.96}, {"C2", 23, -1.2, 0.97}, {"O1", 147, -1.5, 0.82}};
  for (const auto& g : groups)
    for (const AtomRecord* h : HydrogensOn(g.carrier)) {
      EXPECT_TRUE(h->IsHydrogen());
      EXPECT_EQ(h->afix, g.afix) << h->name;
      EXPECT_EQ(h->u[0], g.uiso) << h->name;
      EXPECT_NEAR(Distance(*h, *Atom(g.carrier)), g.length, 1e-9) << h->name;
      const BondRecord* bond = document.atoms.FindBond(h, Atom(g.carrier));
      ASSERT_NE(bond, nullptr);
      EXPECT_FLOAT_EQ(bond->width, 0.1f);
    }
  // Tetrahedral and staggered: one hydrogen of the methyl group is anti to O1, the hydroxyl hydrogen to C1.
  const auto methyl = HydrogensOn("C1");
  for (const AtomRecord* h : methyl) EXPECT_NEAR(AngleAt("C1", h, Atom("C2")), 109.47, 0.01);
  EXPECT_NEAR(AngleAt("C1", methyl[0], methyl[1]), 109.47, 0.01);
  EXPECT_NEAR(Distance(*methyl[0], *Atom("O1")), 3.3, 0.15);
  EXPECT_NEAR(AngleAt("O1", HydrogensOn("O1")[0], Atom("C2")), 109.47, 0.01);
  // H-C-H of the methylene group goes by the angle of its bonds, which it straddles.
  const auto methylene = HydrogensOn("C2");
  const double cosine = std::cos(AngleAt("C2", Atom("C1"), Atom("O1")) * kRadiansPerDegree);
  EXPECT_NEAR(AngleAt("C2", methylene[0], methylene[1]), 110.9 + 8.0 * cosine, 1e-6);
  EXPECT_NEAR(AngleAt("C2", methylene[0], Atom("C1")), AngleAt("C2", methylene[1], Atom("O1")), 1e-6);
  EXPECT_EQ(Said(),
            "Notes Concerning Refinement:|After the next refinement it may be desirable to\n"
            "delete the hydrogen from some oxygens and replace\nit with a hydrogen-bonded hydrogen (HFIX 83).\n\n"
            "(See MARVIK Manual.)\n");
}

TEST_F(HydrogensTest, AnotherRunAddsNothingAndFollowsTheCarriers) {
  ReadEthanol();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  Connect(document, messages);
  const std::string names = NamesOf(document.atoms);
  const std::string entries = Entries();
  const Cartesian place = Atom("H1A")->position;
  Said();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(NamesOf(document.atoms), names);
  EXPECT_EQ(Entries(), entries);
  EXPECT_LT(Distance(Atom("H1A")->position, place), 1e-9);
  EXPECT_EQ(Said(), "");
  for (AtomRecord* atom : Atoms(document.atoms)) atom->fract.x += 0.01;
  document.RecomputePositions();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_NEAR(Atom("H1A")->position.x, place.x + 0.2, 1e-9);
  // A carrier that needs none any more loses them, and its entry with them.
  Atom("C1")->element = &document.elements[9];
  Atom("C1")->name = "F1";
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(NamesOf(document.atoms), "F1 C2 H2A H2B O1 H1");
}

TEST_F(HydrogensTest, TheFileHasTheEntryOrTheHydrogensNeverBoth) {
  ReadEthanol();
  document.atoms.hfix.push_back({nullptr, "HFIX 43 C9", 3});
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(Entries(), "HFIX 137   C1;HFIX 23   C2;HFIX 147   O1;HFIX 43 C9;");
  std::string text;
  ASSERT_TRUE(ComposeInstructionText(document, text, messages));
  EXPECT_NE(text.find("HFIX 137   C1\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("\nH1A"), std::string::npos);
  document.atoms.KillAtom(Atom("O1"));
  EXPECT_EQ(Entries(), "HFIX 137   C1;HFIX 23   C2;HFIX 43 C9;");
}

TEST_F(HydrogensTest, HydrogensThatAreThereCount) {
  // A methylene carbon with one hydrogen needs one more; a methyl carbon with two needs one.
  ReadEthanol(Line("H9", 2, -0.05, 0.63, 0.78));
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  ASSERT_EQ(HydrogensOn("C2").size(), 1u);
  EXPECT_EQ(HydrogensOn("C2")[0]->afix, 13);
  EXPECT_GT(Distance(*HydrogensOn("C2")[0], *Atom("H9")), 1.4);
  // With a code by hand the hydrogen that is there takes its place in the group.
  Select({"C2"});
  ASSERT_TRUE(ApplyHfixOption(document, 23, messages));
  ASSERT_EQ(HydrogensOn("C2").size(), 1u);
  EXPECT_LT(HydrogensOn("C2")[0]->position.z, -0.5);
}

TEST_F(HydrogensTest, PlanarAndLinearGroups) {
  // C3 in a chain of double bonds, C4 terminal, C5 an alkyne's end; N1 an amide nitrogen with one neighbour.
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.34, 0, 0) + Line("C3", 1, 2.05, 1.21, 0) +
       Line("C4", 1, 3.39, 1.21, 0) + Line("C5", 1, 0, 8, 0) + Line("C6", 1, 1.17, 8, 0) + Line("C7", 1, 2.55, 8, 0) +
       Line("O7", 4, 3.15, 9.05, 0) + Line("N7", 3, 3.2, 6.874, 0));
  document.instructions.tempLine = "TEMP  -173.150";
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(Entries(), "HFIX 93   C1;HFIX 43   C2;HFIX 43   C3;HFIX 93   C4;HFIX 163   C5;HFIX 93   N7;");
  for (const AtomRecord* h : HydrogensOn("C1")) {
    EXPECT_NEAR(AngleAt("C1", h, Atom("C2")), 120.0, 1e-6);
    EXPECT_NEAR(h->position.z, Atom("C1")->position.z, 1e-9);
  }
  EXPECT_NEAR(AngleAt("C1", HydrogensOn("C1")[0], HydrogensOn("C1")[1]), 120.0, 1e-6);
  const AtomRecord* h2 = HydrogensOn("C2")[0];
  EXPECT_NEAR(AngleAt("C2", h2, Atom("C1")), AngleAt("C2", h2, Atom("C3")), 1e-6);
  EXPECT_NEAR(Distance(*h2, *Atom("C2")), 0.95, 1e-9);
  EXPECT_NEAR(AngleAt("C5", HydrogensOn("C5")[0], Atom("C6")), 180.0, 1e-4);
  EXPECT_NEAR(Distance(*HydrogensOn("N7")[0], *Atom("N7")), 0.88, 1e-9);
}

TEST_F(HydrogensTest, AHydroxylGroupTurnsToTheNearestAcceptor) {
  // O9 is an image by the centre of symmetry; O8 is nearer but behind the oxygen's own bond.
  const std::string head = "CELL 0.71073 20 20 20 90 90 90\nLATT 1\n";
  const auto at = [](const char* name, double x, double y, double z) {
    return Printf("%s %d %.5f %.5f %.5f 11 0.04\n", name, name[0] == 'C' ? 1 : 4, x / 20, y / 20, z / 20);
  };
  const std::string ethanol = at("C1", 3.75, 4.15, 5) + at("C2", 5, 5, 5) + at("O1", 6.17, 4.18, 5);
  Read(ethanol + at("O9", -8.0, -4.6, -6.9) + at("O8", 3.7, 5.1, 6.5), head);
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  const Cartesian acceptor = document.matrix * Fractional{0.4, 0.23, 0.345};
  const AtomRecord* h = HydrogensOn("O1")[0];
  EXPECT_LT(marvik::Angle(Atom("O1")->position, h->position, acceptor), 20.0);
  EXPECT_NEAR(AngleAt("O1", h, Atom("C2")), 109.47, 0.01);

  // Of two hydroxyl groups facing each other only one gives its hydrogen to the other.
  Hydrogenate(ethanol + at("O2", 8.2, 5.6, 6.2) + at("C3", 9.5, 5.0, 6.2) + at("C4", 10.7, 4.1, 6.2));
  EXPECT_LT(AngleAt("O1", HydrogensOn("O1")[0], Atom("O2")), 30.0);
  EXPECT_GT(Distance(*HydrogensOn("O2")[0], *HydrogensOn("O1")[0]), 1.5);
}

TEST_F(HydrogensTest, GroupsThatCannotBeBuiltAreNamedAndTheOthersBuilt) {
  // Methanol has nothing beyond the bond on either side; the amine has.
  Hydrogenate(Line("C1", 1, 0, 0, 0) + Line("O1", 4, 1.42, 0, 0) + Line("C2", 1, 0, 8, 0) + Line("C3", 1, 1.5, 8, 0) +
              Line("N3", 3, 2.0, 9.4, 0));
  EXPECT_EQ(Said(),
            "Unable to Calculate Some Hydrogens:|Not enough information to correctly determine\n"
            "hydrogen position(s) for the following atom(s): \nC1, O1\n"
            "Notes Concerning Refinement:|After the next refinement it may be necessary\n"
            "to delete a hydrogen from some nitrogen atoms.\n\n(See MARVIK Manual.)\n");
  EXPECT_EQ(HydrogensOn("C2").size(), 3u);
  EXPECT_EQ(HydrogensOn("N3").size(), 3u);
  EXPECT_EQ(Entries().find("  C1;"), std::string::npos) << "what is named has no entry";
  // Both notes together.
  Hydrogenate(Line("N1", 3, -1.25, -0.85, 0) + Line("C2", 1, 0, 0, 0) + Line("O1", 4, 1.17, -0.82, 0));
  EXPECT_NE(Said().find("some nitrogen atoms.\n\nAlso, after the next refinement it may be desirable to\n"),
            std::string::npos);
}

TEST_F(HydrogensTest, SurroundingsWithoutADirectionAreRefused) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.5, 0, 0) + Line("C3", 1, -1.5, 0, 0) + Line("C4", 1, 0, 8, 0));
  for (const int code : {23, 43, 13, 137, 93, 163, 83, 99})
    EXPECT_FALSE(HydrogenBuilder(document, messages).Place(code, Atom("C1")));
  for (const int code : {23, 43, 13, 137, 147, 163, 53, 203})
    EXPECT_FALSE(HydrogenBuilder(document, messages).Place(code, Atom("C4")));
  EXPECT_EQ(document.atoms.LiveCount(), 4u);
  // Where everything beyond lies in line any torsion will do.
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.46, 0, 0) + Line("N2", 3, 2.6, 0, 0));
  ASSERT_TRUE(HydrogenBuilder(document, messages).Place(137, Atom("C1")));
  for (const AtomRecord* h : HydrogensOn("C1")) EXPECT_NEAR(AngleAt("C1", h, Atom("C2")), 109.47, 0.01);
}

TEST_F(HydrogensTest, AlternativesSeeOnlyThemselvesAndWhatHasNoPart) {
  // A disordered ethyl group; its alternatives are less than 0.9 Å apart.
  Hydrogenate(Line("O1", 4, -1.2, -0.75, 0) + Line("C1", 1, 0, 0, 0) + "PART 1 21\n" + Line("C2", 1, 1.25, -0.85, 0) +
              "PART 2 -21\n" + Line("C3", 1, 1.25, -0.6, 0.8) + "PART 0\n");
  EXPECT_EQ(HydrogensOn("C1").size(), 2u);
  ASSERT_EQ(HydrogensOn("C2").size(), 3u);
  ASSERT_EQ(HydrogensOn("C3").size(), 3u);
  for (const AtomRecord* h : HydrogensOn("C3")) {
    EXPECT_EQ(h->part, 2);
    EXPECT_EQ(h->partHasOccupancy, 1);
    EXPECT_FLOAT_EQ(h->partOccupancy, -21.0f);
    EXPECT_EQ(h->occupancy, Atom("C3")->occupancy);
  }
}

TEST_F(HydrogensTest, LabelsComeFromTheParentAndAreNeverTaken) {
  const auto chain = [](const std::string& first, const std::string& second, const std::string& more) {
    return Line(first, 1, -1.25, -0.85, 0) + Line(second, 1, 0, 0, 0) + Line("O9", 4, 1.17, -0.82, 0) + more;
  };
  Hydrogenate(chain("C12", "C13", Line("H12B", 2, 8, 8, 8) + Line("h13a", 2, 8, 8, 6)));
  EXPECT_EQ(NamesOf(document.atoms), "C12 H12A H12C H12D C13 H13B H13C O9 H9 H12B h13a");
  // Nothing longer than four characters, and no label twice.
  Hydrogenate(chain("C123", "C1A2", ""));
  std::set<std::string> names;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    EXPECT_LE(atom->name.size(), 4u);
    EXPECT_TRUE(names.insert(atom->name).second) << atom->name;
  }
  EXPECT_EQ(names.size(), 9u);
  // A single hydrogen keeps the number alone; the same label may stand in another residue.
  Hydrogenate("RESI 1 ABC\n" + chain("C1", "C2", "") + "RESI 2 ABC\n" + Line("C1", 1, 0, 8, 0) +
              Line("C3", 1, 1.5, 8, 0) + Line("O3", 4, 2.0, 9.4, 0));
  EXPECT_EQ(NamesOf(document.atoms), "C1 H1A H1B H1C C2 H2A H2B O9 H9 C1 H1A H1B H1C C3 H3A H3B O3 H3");
  EXPECT_NE(Entries().find("HFIX_2 137   C1;"), std::string::npos) << Entries();
}

TEST_F(HydrogensTest, CarbonWithoutRoomGetsNone) {
  const auto count = [&](const std::string& atoms, const char* carrier) {
    Hydrogenate(atoms);
    EXPECT_EQ(Entries().find(std::string("  ") + carrier + ";") != std::string::npos, !HydrogensOn(carrier).empty());
    return HydrogensOn(carrier).size();
  };
  const std::string trigonal = Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.2, 0.7, 0) + Line("C3", 1, -1.2, 0.7, 0);
  EXPECT_EQ(count(trigonal, "C1"), 1u);
  EXPECT_EQ(count(trigonal + Line("Cl4", 6, 0, -1.74, 0), "C1"), 0u);
  // Cadmium is a neighbour but does not count for the class: a hydrogen between the two carbon bonds without an entry.
  Hydrogenate(trigonal + Line("Cd1", 8, 0, 0, 2.2));
  EXPECT_EQ(Entries().find("  C1;"), std::string::npos) << Entries();
  ASSERT_EQ(HydrogensOn("C1").size(), 1u);
  EXPECT_EQ(HydrogensOn("C1")[0]->afix, 43);
  EXPECT_EQ(count(trigonal + Line("Cd4", 8, 0, -2.1, 0), "C1"), 0u) << "in line, where the hydrogen would be";
  // A nitrile whose mean bond is that of a trigonal atom.
  EXPECT_EQ(count(Line("C1", 1, 0, 0, 0) + Line("N2", 3, 1.16, 0, 0) + Line("C3", 1, -1.48, 0.05, 0), "C1"), 0u);
  // A corner of a ball: three bonds of 1.43 Å, 0.3 Å out of their plane; a real CH has longer ones.
  const auto corner = [&](double r, double up) {
    return Line("C1", 1, 0, 0, up) + Line("C2", 1, r, 0, 0) + Line("C3", 1, -r / 2, 0.866 * r, 0) +
           Line("C4", 1, -r / 2, -0.866 * r, 0);
  };
  EXPECT_EQ(count(corner(1.398, 0.3), "C1"), 0u);
  EXPECT_EQ(count(corner(1.44, 0.5), "C1"), 1u);
}

TEST_F(HydrogensTest, AlternativesOnOneVariableCountOnePartAtATime) {
  // C1 carries C2 in part 1, C3 in part 2 at 109° to it, and C4: a methylene group, not a tertiary atom.
  const auto disordered = [&](const char* second) {
    return Line("C1", 1, 0, 0, 0) + Line("C4", 1, 0, 0, 1.53) + "PART 1 21\n" + Line("C2", 1, 1.44, 0, -0.5) +
           Printf("PART 2 %s\n", second) + Line("C3", 1, -0.72, 1.25, -0.5) + "PART 0\n";
  };
  Hydrogenate(disordered("-21"));
  EXPECT_NE(Entries().find("HFIX 23   C1;"), std::string::npos) << Entries();
  // Two groups that are disordered each for itself are both there.
  Hydrogenate(disordered("31"));
  EXPECT_NE(Entries().find("HFIX 13   C1;"), std::string::npos) << Entries();
}

TEST_F(HydrogensTest, NitrogenAndWaterGoByTheirHydrogenBonds) {
  // An amide and a pyridine nitrogen, each with an oxygen in line that has no hydrogen itself.
  const std::string ring = Line("C1", 1, 1.16, 0.66, 0) + Line("N1", 3, 0, 0, 0);
  const std::string acceptor = Line("C7", 1, 0, -4.1, 0) + Line("O7", 4, 0, -2.9, 0);
  Hydrogenate(ring + Line("C2", 1, -1.25, 0.72, 0) + Line("O2", 4, 1.16, 1.89, 0) + acceptor);
  ASSERT_EQ(HydrogensOn("N1").size(), 1u);
  EXPECT_NE(Entries().find("HFIX 43   N1;"), std::string::npos);
  EXPECT_LT(Distance(*HydrogensOn("N1")[0], *Atom("O7")), 2.1);
  Hydrogenate(Line("C1", 1, 1.14, 0.7, 0) + Line("N1", 3, 0, 0, 0) + Line("C2", 1, -1.14, 0.7, 0) + acceptor);
  EXPECT_TRUE(HydrogensOn("N1").empty()) << "117° and 1.34 Å are those of pyridine";
  Hydrogenate(Line("O1", 4, 0, 0, 0) + acceptor + Line("Cl1", 6, 3.0, 1.0, 0));
  ASSERT_EQ(HydrogensOn("O1").size(), 2u);
  EXPECT_EQ(HydrogensOn("O1")[0]->afix, 3);
  EXPECT_NEAR(AngleAt("O1", HydrogensOn("O1")[0], HydrogensOn("O1")[1]), 104.5, 1e-6);
  const size_t before = document.atoms.LiveCount();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(document.atoms.LiveCount(), before) << "another run moves them";
}

TEST_F(HydrogensTest, TheDialogsRules) {
  ReadEthanol(Line("H9", 2, -8, 0, 0) + Line("H8", 2, -8, 3, 0));
  EXPECT_FALSE(ApplyHfixOption(document, 43, messages));
  EXPECT_EQ(Said(), "Error: No Atoms Selected|You must have at least one atom selected!\n");
  Select({"H9", "C1"});
  EXPECT_FALSE(ApplyHfixOption(document, kFixExisting, messages));
  EXPECT_EQ(Said(),
            "Error: Non-Hydrogen(s) Selected|You may only alter the AFIXs of hydrogen atoms with this option!\n");
  EXPECT_EQ(Atom("H9")->afix, 0);
  document.atoms.selection.Clear();
  Select({"H9", "H8"});
  EXPECT_TRUE(ApplyHfixOption(document, kFixExisting, messages));
  EXPECT_EQ(Atom("H9")->afix, 3);
  EXPECT_EQ(Atom("H8")->afix, 3);

  document.atoms.selection.Clear();
  Select({"C1"});
  EXPECT_TRUE(ApplyHfixOption(document, 137, messages));
  EXPECT_TRUE(ApplyHfixOption(document, 137, messages));
  EXPECT_EQ(Entries(), "HFIX 137   C1;");
  EXPECT_EQ(HydrogensOn("C1").size(), 3u);
  // Another code replaces entry and hydrogens.
  EXPECT_TRUE(ApplyHfixOption(document, 163, messages));
  EXPECT_EQ(Entries(), "HFIX 163   C1;");
  EXPECT_EQ(HydrogensOn("C1").size(), 1u);
  // One that does not fit is entered all the same; the refinement may know better.
  Said();
  EXPECT_TRUE(ApplyHfixOption(document, 13, messages));
  EXPECT_EQ(Entries(), "HFIX 13   C1;");
  EXPECT_EQ(HydrogensOn("C1").size(), 0u);
  EXPECT_NE(Said().find("Unable to Calculate Some Hydrogens:|"), std::string::npos);

  // An atom marked as carrying none is left out until it gets a code by hand.
  EXPECT_TRUE(ApplyHfixOption(document, kNoHydrogensHere, messages));
  EXPECT_EQ(Entries(), "");
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(Entries(), "HFIX 23   C2;HFIX 147   O1;");
  EXPECT_TRUE(ApplyHfixOption(document, 137, messages));
  EXPECT_EQ(HydrogensOn("C1").size(), 3u);
  EXPECT_EQ(FaultsOf(document.atoms), "");
}

TEST_F(HydrogensTest, FixingAPlacedHydrogenKeepsItsGroupInTheFile) {
  ReadEthanol();
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  Select({"H2A"});
  ASSERT_TRUE(ApplyHfixOption(document, kFixExisting, messages));
  EXPECT_EQ(Entries(), "HFIX 137   C1;HFIX 147   O1;");
  std::string text;
  ASSERT_TRUE(ComposeInstructionText(document, text, messages));
  EXPECT_NE(text.find("\nAFIX 3\nH2A"), std::string::npos) << text;
  EXPECT_NE(text.find("\nAFIX 23\nH2B"), std::string::npos) << text;
  ASSERT_TRUE(CalculateHydrogens(document, messages));
  EXPECT_EQ(HydrogensOn("C2").size(), 2u);
}

TEST(HfixOption, IsNamedByTheTextsOfScripts) {
  EXPECT_EQ(ParseHfixOption("43"), 43);
  EXPECT_EQ(ParseHfixOption(" hfix 137 "), 137);
  EXPECT_EQ(ParseHfixOption("AFIX 3"), kFixExisting);
  EXPECT_EQ(ParseHfixOption("3"), kFixExisting);
  EXPECT_EQ(ParseHfixOption("none"), kNoHydrogensHere);
  for (const char* wrong : {"", "33", "43.5", "HFIX 3", "AFIX 43", "C1", "HFIX", "nan"})
    EXPECT_EQ(ParseHfixOption(wrong), std::nullopt) << wrong;
}

}  // namespace marvik::test
