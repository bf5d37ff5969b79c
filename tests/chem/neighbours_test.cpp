#include "chem/bonds/neighbours.h"

#include <algorithm>
#include <random>
#include <set>

#include "base/numbers.h"
#include "chem/geometry/structure_geometry.h"
#include "crystal/symmetry.h"
#include "model/placement.h"

#include "chem_fixture.h"

namespace marvik::test {

namespace {

struct PlainNeighbour {
  const AtomRecord* atom;
  int code;
  Cartesian position;
};

// Every atom, operator and translation one inside the other, the list growing at its front.
std::vector<PlainNeighbour> PlainLoops(const Document& document, const AtomRecord& atom, double tolerance) {
  std::vector<PlainNeighbour> found;
  for (const AtomRecord* b = document.atoms.head; b; b = b->next)
    for (size_t k = 0; k < document.symmetry.size(); ++k)
      for (double tx = -1.0; tx < 2.5; tx += 1.0)
        for (double ty = -1.0; ty < 2.5; ty += 1.0)
          for (double tz = -1.0; tz < 2.5; tz += 1.0) {
            Fractional f = document.symmetry[k].Apply(b->fract);
            f += {tx, ty, tz};
            const Cartesian p = document.matrix * f;
            const double d = Distance(p, atom.position);
            if (d > atom.element->bondRadius + b->element->bondRadius + tolerance || d < 0.05) continue;
            if (std::any_of(found.begin(), found.end(),
                            [&](const PlainNeighbour& kept) { return Distance(kept.position, p) <= 0.05; }))
              continue;
            const auto digit = [](double t) { return static_cast<int>(t) + 5; };
            const int code = 1000 * static_cast<int>(k + 1) + 100 * digit(tx) + 10 * digit(ty) + digit(tz);
            found.insert(found.begin(), {b, code, p});
          }
  return found;
}

size_t ExpectPlainLists(const Document& document, double tolerance) {
  const NeighbourSearch search(document, tolerance);
  size_t total = 0;
  for (const AtomRecord* atom = document.atoms.head; atom; atom = atom->next) {
    const auto expected = PlainLoops(document, *atom, tolerance);
    const auto found = search.FindNeighbours(*atom, tolerance);
    EXPECT_EQ(found.size(), expected.size()) << atom->name;
    for (size_t i = 0; i < std::min(found.size(), expected.size()); ++i) {
      EXPECT_EQ(found[i].atom, expected[i].atom) << atom->name;
      EXPECT_EQ(found[i].symmetryCode, expected[i].code) << atom->name;
      EXPECT_LT(Distance(found[i].position, expected[i].position), 1e-9) << atom->name;
    }
    total += found.size();
  }
  return total;
}

template <class Images>
std::string NamesIn(const Images& images) {
  std::string list;
  for (const NeighbourImage& b : images) list += b.atom->name + " ";
  return list;
}

}  // namespace

TEST_F(ChemTest, GridListsAreThePlainLoopsInRandomCrystals) {
  const std::vector<std::string> heads{
      "CELL 0.7 6.1 7.3 8.2 81 97 104\nLATT 1\n", "CELL 0.7 9 7 8 90 111 90\nLATT 7\nSYMM -X,Y,0.5-Z\n",
      "CELL 0.7 3.1 3.2 11 90 90 90\nLATT -1\nSYMM -X,-Y,0.5+Z\n",  // an edge below the reach
      "CELL 0.7 8 8 8 90 90 90\nLATT -4\nSYMM -X,-Y,Z\nSYMM -X,Y,-Z\n"};
  std::mt19937 random(7);
  std::uniform_real_distribution<double> anywhere(-1.2, 2.2);
  for (const std::string& head : heads) {
    std::string lines = "C0 1 0 0 0 11 0.04\nNa0 7 0.5 0.5 0.5 11 0.04\n";
    for (int i = 1; i <= 14; ++i)
      lines += Printf("%s%d %d %.5f %.5f %.5f 11 0.04\n", i % 3 ? "C" : "Na", i, i % 3 ? 1 : 7, anywhere(random),
                      anywhere(random), anywhere(random));
    Read(lines, head);
    EXPECT_GT(ExpectPlainLists(document, 0.5), 50u) << head;
    ExpectPlainLists(document, 1.4);
  }
}

TEST_F(ChemTest, TranslationsRunFromMinusOneToTwo) {
  Read("C1 1 0.0 0 0 11 0.04\nC2 1 1.93 0 0 11 0.04\nC3 1 -1.93 0.5 0 11 0.04\nC4 1 0.0 0.5 0 11 0.04\n");
  const NeighbourSearch search(document, 0.5);
  // C2 has to come down by two cells, which is out of range; C3 has to go up by two, which is not.
  EXPECT_TRUE(search.FindNeighbours(*Atom("C1"), 0.5).empty());
  const auto found = search.FindNeighbours(*Atom("C4"), 0.5);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].symmetryCode, 1755);
  // Nor is there a bound on what stands around an atom.
  EXPECT_EQ(search.FindWithin(*Atom("C1"), 1.5).size(), 1u);
}

TEST_F(ChemTest, LimitsOfDistance) {
  // Both bond radii of carbon and the tolerance make 2.04 Å; at 0.05 Å an atom is the atom itself or one already kept.
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 2.0399, 0, 0) + Line("C3", 1, 0, 2.0401, 0) + Line("C4", 1, 0, 0, 0.049) +
       Line("C5", 1, 0, 0, 1.5) + Line("C6", 1, 0, 0.04, 1.5) + Line("C7", 1, 0, 0.06, 1.5));
  const NeighbourSearch search(document, 0.5);
  EXPECT_EQ(NamesIn(search.FindNeighbours(*Atom("C1"), 0.5)), "C7 C5 C2 ");
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

}  // namespace marvik::test
