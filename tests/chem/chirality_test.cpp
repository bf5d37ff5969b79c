#include "chem/chirality.h"

#include <array>
#include <cctype>
#include <cmath>
#include <map>
#include <numbers>

#include "chem_fixture.h"

namespace marvik::test {
namespace {

constexpr int kC = 1, kH = 2, kN = 3, kO = 4, kNa = 7, kCd = 8, kD = 9;
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
  // The stereocentres of a structure with their labels.
  std::string LabelsOf(const std::string& atoms) {
    document = {};
    Read(atoms);
    std::string text;
    for (const StereoCentre& centre : FindStereoCentres(document)) text += centre.atom->name + centre.label + " ";
    return text;
  }
  // A zigzag chain of CHOH between CH2OH; '+' is a hydroxyl towards the viewer.
  static std::string Chain(const std::string& faces) {
    std::string text = Line("O1", kO, 0, 0.44, 0);
    const size_t length = faces.size() + 2;
    for (size_t i = 1; i <= length + 1; ++i) {
      const double x = 1.25 * static_cast<double>(i), side = i % 2 == 1 ? -1.0 : 1.0;
      const std::string n = std::to_string(i);
      if (i == length + 1) return text + Line("O" + n, kO, x, 0.44 * side, 0);
      text += Line("C" + n, kC, x, 0.44 * side, 0);
      const bool inner = i > 1 && i < length, front = inner && faces[i - 2] == '+';
      const auto onFace = [&](const std::string& name, int sfac, double bond, double face) {
        text += Line(name + n, sfac, x, side * (0.44 + 0.58 * bond), face * 0.82 * bond);
      };
      onFace("HA", kH, 0.98, front ? -1.0 : 1.0);
      onFace(inner ? "O" : "HB", inner ? kO : kH, inner ? 1.43 : 0.98, front ? 1.0 : -1.0);
    }
    return text;
  }

  // A chair with hydroxyls that are axial, equatorial or not there, 'a' 'e' '.'.
  static std::string Chair(const std::string& places) {
    std::string text;
    for (size_t k = 0; k < 6; ++k) {
      const double angle = static_cast<double>(k) * std::numbers::pi / 3.0, up = k % 2 == 0 ? 1.0 : -1.0;
      const auto put = [&](const char* name, int sfac, bool axial, double bond) {
        const double out = 1.46 + (axial ? 0.0 : 0.94 * bond), z = up * (0.25 + (axial ? bond : -0.33 * bond));
        text += Line(name + std::to_string(k + 1), sfac, out * std::cos(angle), out * std::sin(angle), z);
      };
      put("C", kC, true, 0.0);
      const char place = places[k];
      put(place == 'a' ? "O" : "HA", place == 'a' ? kO : kH, true, place == 'a' ? 1.43 : 0.98);
      put(place == 'e' ? "O" : "HB", place == 'e' ? kO : kH, false, place == 'e' ? 1.43 : 0.98);
    }
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
  EXPECT_EQ(LabelsOf(aminoAcid(1, 2) + Put("H1", kH, 3, 0.98)), "C1S ");
  EXPECT_EQ(LabelsOf(aminoAcid(2, 1) + Put("H1", kH, 3, 0.98)), "C1R ");
  EXPECT_EQ(LabelsOf(aminoAcid(1, 2)), "C1S ") << "a hydrogen that is not in the list";
}

TEST_F(ChiralityTest, ADoubleBondCountsTwice) {
  // CHO stands before CH2OH.
  const std::string text = first + Put("O1", kO, 0, 1.43) + Put("C2", kC, 1, 1.52) + Put("C3", kC, 2, 1.52);
  const std::string aldehyde = Put("O2", kO, 0, -1.21, places["C2"]), alcohol = Put("O3", kO, 0, -1.43, places["C3"]);
  EXPECT_EQ(LabelsOf(text + aldehyde + alcohol), "C1S ");
  EXPECT_EQ(LabelsOf(text + Put("O2", kO, 0, -1.43, places["C2"]) + Put("O3", kO, 0, -1.21, places["C3"])), "C1R ");
}

// Two carbons across a ring are within the radii of a bond: a flat atom gets no fourth ligand from it.
TEST_F(ChiralityTest, AcrossARingIsNoBond) {
  EXPECT_EQ(LabelsOf(first + Line("N1", kN, 1.35, 0.1, 0) + Line("C2", kC, -0.75, 1.3, 0) +
                     Line("C3", kC, -0.5, -1.98, 0.2) + Line("O1", kO, -0.4, -1.3, -0.1)),
            "");
}

TEST_F(ChiralityTest, AMetalOnAFaceMakesNoCentre) {
  const std::string two = first + Put("N1", kN, 0, 1.47) + Put("C2", kC, 1, 1.40) + Put("H1", kH, 3, 0.98);
  EXPECT_EQ(LabelsOf(two + Put("CD1", kCd, 2, 2.3)), "C1S ");
  EXPECT_EQ(LabelsOf(two + Line("CD1", kCd, -0.3, -1.9, 1.2)), "") << "held by C2 as well";
  EXPECT_EQ(LabelsOf(two + Put("NA1", kNa, 2, 2.4)), "") << "an ion is no ligand";
}

TEST_F(ChiralityTest, MassesPartWhatNumbersDoNot) {
  const std::string two = first + Put("O1", kO, 0, 1.43) + Put("C2", kC, 1, 1.52);
  EXPECT_EQ(LabelsOf(two + Put("D1", kD, 2, 0.98) + Put("H1", kH, 3, 0.98)), "C1S ");
  EXPECT_EQ(LabelsOf(two + Put("C3", kC, 2, 1.52) + Put("H1", kH, 3, 0.98)), "") << "two methyl groups";
}

TEST_F(ChiralityTest, NamesOfPentitolsAndCyclohexanesComeOut) {
  EXPECT_EQ(LabelsOf(Chain("+++")), "C2R C3r C4S ") << "xylitol";
  EXPECT_EQ(LabelsOf(Chain("+-+")), "C2R C3s C4S ") << "ribitol";
  EXPECT_EQ(LabelsOf(Chain("+--")).find("C3"), std::string::npos) << "arabinitol";
  EXPECT_EQ(LabelsOf(Chair("e..e..")), "C1r C4r ") << "trans-cyclohexane-1,4-diol";
  EXPECT_EQ(LabelsOf(Chair("e..a..")), "C1s C4s ") << "cis";
  EXPECT_EQ(LabelsOf(Chair("e.e...")), "C1R C3S ") << "cis-1,3";
  EXPECT_EQ(LabelsOf(Chair("aeeeee")), "C1s C2R C3S C4r C5R C6S ") << "myo-inositol, (1R,2S,3r,4R,5S,6s)";
}

// The middle of a heptitol by what the labels of the others ask for.
TEST_F(ChiralityTest, LikePairsGoFirstAndThenR) {
  for (int bits = 0; bits < 32; ++bits) {
    std::string faces;
    for (int i = 0; i < 5; ++i) faces += (bits >> i) % 2 ? '+' : '-';
    document = {};
    Read(Chain(faces));
    std::map<std::string, const StereoCentre*> of;
    const auto centres = FindStereoCentres(document);
    for (const StereoCentre& c : centres) of[c.atom->name] = &c;
    const auto label = [&](const char* name) { return of.contains(name) ? of[name]->label : '-'; };
    ASSERT_EQ(of.size(), of.contains("C4") ? 5U : 4U);
    const bool like3 = label("C2") == label("C3"), like5 = label("C5") == label("C6");
    if (like3 == like5 && label("C3") == label("C5")) {
      EXPECT_EQ(label("C4"), '-') << faces;
      continue;
    }
    const bool threeFirst = like3 != like5 ? like3 : label("C3") == 'R';
    EXPECT_EQ(std::isupper(label("C4")) != 0, like3 != like5) << faces;
    EXPECT_EQ(of["C4"]->ranked[1]->name, threeFirst ? "C3" : "C5") << faces;
    // Seen with the hydrogen behind, O4, C3, C5 go clockwise where O4 is in front: C4 is an upper corner.
    const bool clockwise = (faces[2] == '+') != threeFirst;
    EXPECT_EQ(std::toupper(label("C4")), clockwise ? 'R' : 'S') << faces;
  }
}

TEST_F(ChiralityTest, ZGoesBeforeE) {
  const auto arm = [&](int corner, int turn, bool z, const std::string& n) {
    const double* c = kCorners[corner];
    const double* t = kCorners[turn];
    std::string text;
    for (int atom = 0; atom < 3; ++atom) {
      double at[3];
      for (size_t i = 0; i < 3; ++i)
        at[i] = (1.5 * c[i] - (atom > 0 ? 1.34 * t[i] : 0.0) +
                 (atom > 1 ? 1.5 * (z ? -c[i] - 2.0 / 3.0 * t[i] : c[i]) : 0.0)) /
                std::sqrt(3.0);
      text += Line("C" + n + std::to_string(atom), kC, at[0], at[1], at[2]);
    }
    return text;
  };
  for (const bool z : {false, true}) {
    const std::string arms = arm(1, 0, z, "2") + arm(2, 3, !z, "3");
    EXPECT_EQ(LabelsOf(first + Put("O1", kO, 0, 1.43) + arms + Put("H1", kH, 3, 0.98)), z ? "C1S " : "C1R ");
  }
}

}  // namespace
}  // namespace marvik::test
