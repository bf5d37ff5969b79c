#include "chem/bonds/hybridization.h"

#include <cmath>
#include <limits>

#include "chem_fixture.h"

namespace marvik::test {
namespace {

// An atom at the origin and its neighbours, and what becomes of it.
struct Case {
  const char* what;
  const char* atom;
  int sfac;
  struct Neighbour {
    const char* name;
    int sfac;
    double x, y, z;
  };
  std::vector<Neighbour> neighbours;
  int hybridization, hydrogens, charge;
};

}  // namespace

TEST_F(ChemTest, RulesByElementAndNumberOfNeighbours) {
  // The radii are C 0.77, N 0.70, O 0.66, H 0.22, S 1.03, Cl 0.99 Å; δ is the distance less their sum.
  const auto pyramid = [](double height) {
    const double y = 1.45 * std::sqrt(3.0) / 2.0;
    return std::vector<Case::Neighbour>{
        {"C2", 1, 1.45, 0, height}, {"C3", 1, -0.725, y, height}, {"C4", 1, -0.725, -y, height}};
  };
  const std::vector<Case> cases{
      {"methyl", "C1", 1, {{"C2", 1, 1.53, 0, 0}}, 3, 3, 0},
      {"terminal at δ just above -0.14", "C1", 1, {{"C2", 1, 1.4001, 0, 0}}, 3, 3, 0},
      {"terminal at δ just below -0.14", "C1", 1, {{"C2", 1, 1.3999, 0, 0}}, 2, 2, 0},
      {"terminal at δ just above -0.26", "C1", 1, {{"C2", 1, 1.2801, 0, 0}}, 2, 2, 0},
      {"terminal at δ just below -0.26", "C1", 1, {{"C2", 1, 1.2799, 0, 0}}, 1, 1, 0},
      {"nitrile nitrogen", "N1", 3, {{"C2", 1, 1.14, 0, 0}}, 1, 0, 0},
      {"amine nitrogen: three all the same", "N1", 3, {{"C2", 1, 1.47, 0, 0}}, 3, 3, 0},
      {"carbonyl oxygen", "O1", 4, {{"C2", 1, 1.21, 0, 0}}, 2, 0, 0},
      {"hydroxyl oxygen: three all the same", "O1", 4, {{"C2", 1, 1.43, 0, 0}}, 3, 3, 0},
      {"methylene", "C1", 1, {{"C2", 1, 1.53, 0, 0}, {"C3", 1, -0.5, 1.44, 0}}, 3, 2, 0},
      {"mean δ just above -0.05", "C1", 1, {{"C2", 1, 1.4901, 0, 0}, {"C3", 1, 0, 1.4901, 0}}, 3, 2, 0},
      {"mean δ just below -0.05", "C1", 1, {{"C2", 1, 1.4899, 0, 0}, {"C3", 1, 0, 1.4899, 0}}, 2, 1, 0},
      {"mean δ just above -0.26", "C1", 1, {{"C2", 1, 1.2801, 0, 0}, {"C3", 1, 0, 1.2801, 0}}, 2, 1, 0},
      {"mean δ just below -0.26", "C1", 1, {{"C2", 1, 1.2799, 0, 0}, {"C3", 1, -1.2799, 0, 0}}, 1, 0, 0},
      {"pyridine nitrogen", "N1", 3, {{"C2", 1, 1.34, 0, 0}, {"C3", 1, -0.67, 1.16, 0}}, 2, 0, 0},
      {"ether oxygen", "O1", 4, {{"C2", 1, 1.43, 0, 0}, {"C3", 1, -0.5, 1.34, 0}}, 3, 2, 0},
      {"short-bonded oxygen: less than none", "O1", 4, {{"C2", 1, 1.34, 0, 0}, {"C3", 1, -0.6, 1.2, 0}}, 2, -1, 0},
      {"0.05 Å out of plane", "C1", 1, pyramid(0.05), 2, 0, 0},
      {"0.5 Å out of plane", "C1", 1, pyramid(0.5), 3, 1, 0},
      {"three in a row", "C1", 1, {{"C2", 1, 1.5, 0, 0}, {"C3", 1, -1.5, 0, 0}, {"C4", 1, 0.2, 0, 0}}, 2, 0, 0},
      {"alone", "C1", 1, {}, 3, 0, 0},
      {"boron counts as four-valent", "B1", 1, {{"C2", 1, 1.41, 0, 0}}, 2, 2, 0},
      {"cadmium is no neighbour", "C1", 1, {{"C2", 1, 1.53, 0, 0}, {"Cd1", 8, 0, 2.1, 0}}, 3, 3, 0},
      {"deuterium is hydrogen", "C1", 1, {{"C2", 1, 1.53, 0, 0}, {"D1", 9, -0.36, 1.03, 0}}, 3, 2, 0},
      {"hydrogen", "H1", 2, {{"C2", 1, 0.95, 0, 0}}, 0, 1, 0},
      {"bonded chlorine", "Cl1", 6, {{"C2", 1, 1.74, 0, 0}}, 0, 0, 0},
      {"chloride", "Cl1", 6, {}, 0, 1, 0},
      {"sodium", "Na1", 7, {{"O2", 4, 2.3, 0, 0}}, 0, 0, 1},
      {"sulphur with long bonds", "S1", 5, {{"C2", 1, 1.96, 0, 0}}, 5, 0, 0},
      {"sulphur with usual bonds", "S1", 5, {{"C2", 1, 1.80, 0, 0}}, 4, 0, 0},
      {"sulphur with short bonds", "S1", 5, {{"O2", 4, 1.45, 0, 0}}, 3, 0, 0},
      {"cadmium", "Cd1", 8, {{"O2", 4, 2.3, 0, 0}}, 5, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string lines = Line(c.atom, c.sfac, 0, 0, 0);
    for (const auto& b : c.neighbours) lines += Line(b.name, b.sfac, b.x, b.y, b.z);
    Read(lines);
    AtomRecord* atom = document.atoms.head;
    // Six decimals in a cell of 20 Å move a distance by 1e-5 at most, a tenth of what the cases leave.
    if (c.atom[0] == 'B') atom->element = &document.elements[5];
    ASSERT_TRUE(HybridizeAll(document, messages));
    EXPECT_EQ(atom->Hybridization(), c.hybridization);
    EXPECT_EQ(atom->hydrogenCount, c.hydrogens);
    EXPECT_EQ(atom->charge, c.charge);
  }
}

TEST_F(ChemTest, APeakRefusesTheWholeStructure) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.2, 0, 0) + Line("Q1", 1, 5, 0, 0));
  EXPECT_FALSE(HybridizeAll(document, messages));
  EXPECT_EQ(Said(),
            "Error: Q-Peaks Present|It is not possible for Marvik to determine hybridization\n"
            "while Q-Peaks are still present in the structure.\n");
  EXPECT_EQ(Atom("C1")->Hybridization(), kHybridSp3);
}

TEST_F(ChemTest, HiddenAndGeneratedAtomsKeepTheirClassButCountAsNeighbours) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.2, 0, 0) + Line("C3", 1, -1.45, 0, 0));
  Atom("C2")->Set(kHidden, true);
  Atom("C3")->generated = 1;
  ASSERT_TRUE(HybridizeAll(document, messages));
  EXPECT_EQ(Atom("C1")->Hybridization(), kHybridSp2);
  EXPECT_EQ(Atom("C2")->Hybridization(), kHybridSp3);
  EXPECT_EQ(Atom("C3")->Hybridization(), kHybridSp3);
}

TEST_F(ChemTest, WhatAFreeLinePartsIsNoNeighbour) {
  Read(Line("N1", 3, 0, 0, 0) + Line("C2", 1, 1.28, 0, 0) + Line("N3", 3, 1.7, 1.33, 0) + Line("C4", 1, 0.2, 2.03, 0) +
       Line("C5", 1, -0.6, 1.2, 0));
  document.atoms.freePairs.Append(Atom("C2"), Atom("C5"));
  document.atoms.freePairs.Append(Atom("C4"), Atom("C2"));
  ASSERT_TRUE(HybridizeAll(document, messages));
  EXPECT_EQ(Atom("C2")->Hybridization(), kHybridSp2);
  EXPECT_EQ(Atom("C2")->hydrogenCount, 1);
}

TEST(PlaneDeviation, IsSignedAndFiniteForAnyThreePlaces) {
  const Cartesian a{1, 0, 0}, b{0, 1, 0}, c{-1, -1, 0};
  EXPECT_NEAR(std::fabs(PlaneDeviation({0.3, 0.2, 0.7}, a, b, c)), 0.7, 1e-12);
  EXPECT_NEAR(PlaneDeviation({0, 0, 0.7}, a, b, c), -PlaneDeviation({0, 0, -0.7}, a, b, c), 1e-12);
  EXPECT_TRUE(std::isfinite(PlaneDeviation({0, 0, 1}, a, a, a)));
  EXPECT_NEAR(PlaneDeviation({5, 0, 0}, {0, 0, 0}, {1, 0, 0}, {2, 0, 0}), 0.0, 1e-12);
}

}  // namespace marvik::test
