#include "chem/bonds/neighbours.h"

#include <set>

#include "chem/bonds/van_der_waals.h"
#include "chem/geometry/structure_geometry.h"

#include "chem_fixture.h"

namespace marvik::test {

namespace {

template <class Images>
std::string NamesIn(const Images& images) {
  std::string list;
  for (const NeighbourImage& b : images) list += b.atom->name + " ";
  return list;
}

}  // namespace

TEST_F(ChemTest, TranslationsRunFromMinusOneToTwo) {
  Read(
      "C1 1 0.0 0 0 11 0.04\nC2 1 1.93 0 0 11 0.04\nC3 1 -1.93 0.5 0 11 0.04\nC4 1 0.0 0.5 0 11 0.04\n"
      "C5 1 -2.93 0 0 11 0.04\n");
  const NeighbourSearch search(document, 0.5);
  // C2 has to come down by two cells and C5 to go up by three, which is out of range; C3 has to go up by two.
  EXPECT_TRUE(search.FindNeighbours(*Atom("C1"), 0.5).empty());
  const auto found = search.FindNeighbours(*Atom("C4"), 0.5);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].symmetryCode, 1755);
  // Nor is there a bound on what stands around an atom.
  EXPECT_EQ(search.FindWithin(*Atom("C1"), 1.5).size(), 2u);
}

TEST_F(ChemTest, LimitsOfDistance) {
  // Both bond radii of carbon and the tolerance make 2.04 Å; at 0.05 Å an atom is the atom itself or one already kept.
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 2.0399, 0, 0) + Line("C3", 1, 0, 2.0401, 0) + Line("C4", 1, 0, 0, 0.049) +
       Line("C5", 1, 0, 0, 1.5) + Line("C6", 1, 0, 0.04, 1.5) + Line("C7", 1, 0, 0.06, 1.5) +
       Line("Na8", 7, 0, -(0.77 + document.elements[11].bondRadius + 0.4999), 0));
  const NeighbourSearch search(document, 0.5);
  EXPECT_EQ(NamesIn(search.FindNeighbours(*Atom("C1"), 0.5)), "Na8 C7 C5 C2 ");
}

TEST_F(ChemTest, OneAlternativeOfADisorderedStructureIsSeen) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.5, 0, 0) + "PART 1\n" + Line("C3", 1, -0.5, 1.4, 0) +
       Line("C4", 1, -1.6, 1.4, 1.0) + "PART 2\n" + Line("C5", 1, -0.5, 1.2, 0.8) + "PART 4\n" +
       Line("C6", 1, -0.5, -1.4, 0) + "PART 0\n");
  const NeighbourSearch search(document, 0.5);
  const auto names = [&](const char* name) { return NamesIn(search.FindBonded(*Atom(name))); };
  EXPECT_EQ(search.FindNeighbours(*Atom("C3"), 0.5).size(), 3u);
  EXPECT_EQ(names("C3"), "C4 C1 ");
  EXPECT_EQ(names("C5"), "C1 ");
  // C5 is the other place of C3; C6 belongs to another group.
  EXPECT_EQ(names("C1"), "C6 C3 C2 ");
}

TEST_F(ChemTest, BindAndFreeHoldWhereverBondsAreMade) {
  Read(
      "BIND 1 2\nBIND C1 C5\nFREE C1 C2\nPART 1\nC1 1 0.07 0.3 0 11 0.04\nPART 2\nC2 1 0.07 0.3 0.14 11 0.04\n"
      "C3 1 0.07 0.44 0 11 0.04\nC4 1 -0.07 -0.17 0 11 0.04\nPART 3\nC5 1 0.07 0.3 -0.3 11 0.04\nPART 0\n",
      "CELL 0.7 10 10 10 90 90 90\nLATT 1\n");
  using Names = std::set<std::string>;
  const auto bonds = [&] {
    Names drawn, chemistry, crystal;
    ForEachOwnBond(Atom("C1"), [&](const AtomRecord* partner, const BondRecord*) { drawn.insert(partner->name); });
    for (const NeighbourImage& b : NeighbourSearch(document, 0.5).FindBonded(*Atom("C1")))
      chemistry.insert(b.atom->name);
    for (const GeometrySite& b : StructureBonds(document).NeighboursOf(*Atom("C1"))) crystal.insert(b.atom->name);
    return std::vector{drawn, chemistry, crystal};
  };
  EXPECT_EQ(bonds(), (std::vector{Names{"C3", "C5"}, Names{"C3", "C4", "C5"}, Names{"C3", "C4", "C5"}}));
  EXPECT_TRUE(FreeAtoms(document, Atom("C1"), Atom("C3"), messages)) << "what BIND m n joins bonds by itself";
  EXPECT_EQ(bonds(), (std::vector{Names{"C5"}, Names{"C4", "C5"}, Names{"C4", "C5"}}));
}

TEST_F(ChemTest, NegativePartsSeeNoImages) {
  const std::string head = "CELL 0.7 20 20 20 90 90 90\nLATT 1\n";
  Read("C1 1 0.03 0 0 11 0.04\nPART -1\nC2 1 0.03 0.05 0 11 0.04\nPART 0\n", head);
  const NeighbourSearch search(document, 0.5);
  EXPECT_EQ(search.FindNeighbours(*Atom("C1"), 0.5).size(), 3u);
  EXPECT_EQ(search.FindBonded(*Atom("C1")).size(), 2u);
  EXPECT_EQ(search.FindNeighbours(*Atom("C2"), 0.5).size(), 2u);
  EXPECT_EQ(search.FindBonded(*Atom("C2")).size(), 1u);
}

TEST_F(ChemTest, ImagesAtOnePlaceStandOnce) {
  // The chlorine lies on the centre of symmetry; a generated copy of the carbon's image stands in the list too.
  Read("C1 1 0.09 0 0 11 0.04\nCl1 6 0 0 0 10.5 0.04\nC2 1 -0.09 0 0 11 0.04\n",
       "CELL 0.7 20 20 20 90 90 90\nLATT 1\n");
  Atom("C2")->generated = 1;
  Atom("C2")->sourceSerial = Atom("C1")->serial;
  const NeighbourSearch search(document, 3.0);
  const auto found = search.FindWithin(*Atom("Cl1"), 3.0);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[1].symmetryCode, 2555);
}

TEST_F(ChemTest, ContactsReachBeyondTheBondRadiusOfWhatHasNoVanDerWaalsRadius) {
  EXPECT_NEAR(ContactRadius(89, 1.9), 2.7, 1e-12);
}

}  // namespace marvik::test
