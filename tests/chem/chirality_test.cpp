#include "chem/chirality.h"

#include <array>
#include <cmath>
#include <map>

#include "chem_fixture.h"

namespace marvik::test {
namespace {

constexpr int kC = 1, kH = 2, kN = 3, kO = 4, kCl = 6, kD = 9;
// Corners of a tetrahedron: seen with the fourth behind, the first three go counterclockwise.
constexpr double kCorners[4][3] = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};

class ChiralityTest : public ChemTest {
 protected:
  // An atom `length` Å from a place in the direction of a corner, or away from it.
  std::string Put(const char* name, int sfac, int corner, double length, const std::array<double, 3>& from = {}) {
    auto& place = places[name];
    for (size_t i = 0; i < 3; ++i) place[i] = from[i] + length * kCorners[corner][i] / std::sqrt(3.0);
    return Line(name, sfac, place[0], place[1], place[2]);
  }
  std::string Labels() {
    std::string text;
    for (const StereoCentre& centre : FindStereoCentres(document)) text += centre.atom->name + centre.label + " ";
    return text;
  }
  std::map<std::string, std::array<double, 3>> places;
  const std::string first = Line("C1", kC, 0, 0, 0);
};

TEST_F(ChiralityTest, LigandsRankByNumbersSphereBySphere) {
  const auto aminoAcid = [&](int carboxyl, int methyl) {
    std::string text = first + Put("N1", kN, 0, 1.47) + Put("C3", kC, methyl, 1.53) + Put("C2", kC, carboxyl, 1.53);
    const int out = carboxyl == 1 ? 2 : 1;
    text += Put("O1", kO, 0, -1.25, places["C2"]) + Put("O2", kO, out, -1.25, places["C2"]);
    return text;
  };
  Read(aminoAcid(1, 2) + Put("H1", kH, 3, 0.98));
  EXPECT_EQ(Labels(), "C1S ");
  document = {};
  Read(aminoAcid(2, 1) + Put("H1", kH, 3, 0.98));
  EXPECT_EQ(Labels(), "C1R ");
  document = {};
  Read(aminoAcid(1, 2));
  EXPECT_EQ(Labels(), "C1S ") << "a hydrogen that is not in the list";
}

TEST_F(ChiralityTest, ADoubleBondCountsTwice) {
  // CHO stands before CH2OH.
  const std::string text = first + Put("O1", kO, 0, 1.43) + Put("C2", kC, 1, 1.52) + Put("C3", kC, 2, 1.52);
  const std::string aldehyde = Put("O2", kO, 0, -1.21, places["C2"]), alcohol = Put("O3", kO, 0, -1.43, places["C3"]);
  Read(text + aldehyde + alcohol);
  EXPECT_EQ(Labels(), "C1S ");
  document = {};
  Read(text + Put("O2", kO, 0, -1.43, places["C2"]) + Put("O3", kO, 0, -1.21, places["C3"]));
  EXPECT_EQ(Labels(), "C1R ");
}

// Two carbons across a ring are within the radii of a bond: a flat atom gets no fourth ligand from it.
TEST_F(ChiralityTest, AcrossARingIsNoBond) {
  Read(first + Line("N1", kN, 1.35, 0.1, 0) + Line("C2", kC, -0.75, 1.3, 0) + Line("C3", kC, -0.5, -1.98, 0.2) +
       Line("O1", kO, -0.4, -1.3, -0.1));
  EXPECT_EQ(Labels(), "");
}

TEST_F(ChiralityTest, MassesPartWhatNumbersDoNotAndTheRestIsNotSaid) {
  const std::string two = first + Put("O1", kO, 0, 1.43) + Put("C2", kC, 1, 1.52);
  Read(two + Put("D1", kD, 2, 0.98) + Put("H1", kH, 3, 0.98));
  EXPECT_EQ(Labels(), "C1S ");
  document = {};
  Read(two + Put("C3", kC, 2, 1.52) + Put("H1", kH, 3, 0.98));
  EXPECT_EQ(Labels(), "") << "two methyl groups";
  document = {};
  // Two ligands of one constitution that are centres themselves.
  const std::string three = two + Put("C3", kC, 2, 1.52) + Put("H1", kH, 3, 0.98);
  Read(three + Put("CL1", kCl, 0, -1.75, places["C2"]) + Put("N1", kN, 2, -1.47, places["C2"]) +
       Put("CL2", kCl, 3, -1.75, places["C3"]) + Put("N2", kN, 0, -1.47, places["C3"]));
  const auto centres = FindStereoCentres(document);
  ASSERT_EQ(centres.size(), 3U);
  EXPECT_EQ(centres[0].label, '?');
  EXPECT_EQ(centres[0].ranked[0]->name, "O1");
  EXPECT_NE(centres[1].label, '?');
  EXPECT_EQ(ChiralitySentence(centres).find("C1"), std::string::npos);
}

}  // namespace
}  // namespace marvik::test
