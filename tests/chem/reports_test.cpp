#include <cmath>

#include "chem/bonds/crystal_fragments.h"
#include "chem/bonds/hybridization.h"
#include "chem/drawn_contacts.h"
#include "chem/environment.h"
#include "chem/geometry/atom_geometry.h"
#include "chem/geometry/mean_plane.h"
#include "chem/geometry/report_numbers.h"
#include "chem/geometry/structure_geometry.h"
#include "model/placement.h"

#include "chem_fixture.h"

namespace marvik::test {
namespace {

bool HasNoNan(const std::string& text) {
  return text.find("nan") == std::string::npos && text.find("inf") == std::string::npos &&
         text.find("-0.0000") == std::string::npos;
}

std::string ContactsIn(const Environment& found) {
  std::string list;
  for (const EnvironmentContact& c : found.contacts)
    list += c.image.atom->name + " " + std::to_string(c.image.symmetryCode) + " " + ContactWord(c.kind) + ";";
  return list;
}

}  // namespace

TEST_F(ChemTest, ThePlaneReportToTheCharacter) {
  // In the frame of a cubic cell X is a, Y is b and Z is minus c: the plane z = 12 Å and two atoms off it.
  Read(Line("C1", 1, 0, 0, 2) + Line("C2", 1, 1.5, 0, 2) + Line("Cl3", 6, 0, 1.7, 2) + Line("O4", 4, 0, 3, 2.5) +
       Line("H5", 2, 0, 5, 1.875));
  Select({"C1", "C2", "Cl3"});
  const AtomSet members = ReportedAtoms(document);
  const auto plain = FitMeanPlane(document, members, false);
  ASSERT_TRUE(plain);
  // The normal may point either way.
  const bool up = plain->normal.z > 0.0;
  EXPECT_EQ(MeanPlaneText(document, *plain, members, false),
            std::string("Equations of Mean Plane\r\n") +
                (up ? " 0.0000 * XO +0.0000 * YO +1.0000 * ZO = -12.0000\r\n"
                      " 0.0000 * x  +0.0000 * y  -20.0000 * z  = -12.0000\r\n"
                    : " 0.0000 * XO +0.0000 * YO -1.0000 * ZO = 12.0000\r\n"
                      " 0.0000 * x  +0.0000 * y  +20.0000 * z  = 12.0000\r\n") +
                "    Deviation\tWeight\tName\r\n"
                " +    0.0000\t1.00\tC1\r\n +    0.0000\t1.00\tC2\r\n +    0.0000\t1.00\tCl3\r\n" +
                (up ? "     -0.5000\t0.00\tO4\r\n      0.1250\t0.00\tH5\r\n"
                    : "      0.5000\t0.00\tO4\r\n     -0.1250\t0.00\tH5\r\n"));
  const std::string weighted = MeanPlaneText(document, *FitMeanPlane(document, members, true), members, true);
  EXPECT_NE(weighted.find("\t6.00\tC1\r\n"), std::string::npos);
  EXPECT_NE(weighted.find("\t17.00\tCl3\r\n"), std::string::npos);
}

TEST_F(ChemTest, PlanesTiltWithTheirAtomsAndTheWeights) {
  Read(Line("C1", 1, 2, 0, 0.3) + Line("C2", 1, -2, 0, 0.3) + Line("C3", 1, 0, 2, -0.3) + Line("Cl4", 6, 0, -2, -0.3));
  const AtomSet members = ReportedAtoms(document);
  ASSERT_EQ(members.size(), 4u);
  const auto deviation = [&](bool weighted) {
    return std::fabs(DeviationFrom(*FitMeanPlane(document, members, weighted), *Atom("Cl4")));
  };
  EXPECT_LT(deviation(true), 0.8 * deviation(false));
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 3, 0, 0) + Line("C3", 1, 0, 3, 0) + Line("C4", 1, 0, 2, 2));
  const auto flat = FitMeanPlane(document, {Atom("C1"), Atom("C2"), Atom("C3")}, false);
  const auto tilted = FitMeanPlane(document, {Atom("C1"), Atom("C2"), Atom("C4")}, false);
  EXPECT_NEAR(AngleBetween(*flat, tilted->normal), 45.0, 1e-6);
}

TEST_F(ChemTest, TheFractionalEquationPutsTheNormalThroughTheMatrix) {
  Read("C1 1 0.1 0.2 0.3 11 0.04\nC2 1 0.3 0.2 0.35 11 0.04\nC3 1 0.2 0.4 0.2 11 0.04\n",
       "CELL 0.7 9 7 8 90 111 90\nLATT -1\n");
  const auto plane = FitMeanPlane(document, ReportedAtoms(document), false);
  const auto& m = document.matrix.m;
  const Cartesian n = plane->normal;
  EXPECT_DOUBLE_EQ(plane->coefficients[0], m[0] * n.x);
  EXPECT_DOUBLE_EQ(plane->coefficients[2], -(m[3] * n.x + m[4] * n.y + m[5] * n.z));
  // What would agree with the Cartesian equation in this cell.
  EXPECT_GT(std::fabs(plane->coefficients[0] - (m[0] * n.x + m[1] * n.y - m[3] * n.z)), 0.01);
}

TEST_F(ChemTest, PlanesThatAreNotDeterminedAreSaidToBe) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.5, 0, 0) + Line("C3", 1, 3, 0, 0) + Line("C4", 1, 3, 0, 0));
  const auto check = [&](const std::vector<std::string>& names, bool determined) {
    document.atoms.selection.Clear();
    Select(names);
    const AtomSet members = ReportedAtoms(document);
    const auto plane = FitMeanPlane(document, members, false);
    ASSERT_TRUE(plane);
    EXPECT_EQ(plane->isDetermined, determined);
    EXPECT_NEAR(Length(plane->normal), 1.0, 1e-9);
    EXPECT_NEAR(plane->rmsDeviation, 0.0, 1e-9);
    EXPECT_TRUE(HasNoNan(MeanPlaneText(document, *plane, members, false)));
  };
  check({"C1"}, false);
  check({"C1", "C2"}, false);
  check({"C1", "C2", "C3"}, false);
  check({"C3", "C4"}, false);
  EXPECT_FALSE(FitMeanPlane(document, {}, false));
  Atom("C1")->position.x = std::nan("");
  EXPECT_FALSE(FitMeanPlane(document, {Atom("C1")}, false));
}

TEST_F(ChemTest, TheCentroidIsThatOfTheSelectionOrTheMolecule) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1, 0, 0) + Line("C3", 1, 0, 6, 0) + Line("C4", 1, 0, 7, -1));
  EXPECT_EQ(CentroidText(*ComputeCentroid(document, Atom("C3"))), "   0.500    0.825    0.475");
  EXPECT_EQ(CentroidText(*ComputeCentroid(document, Atom("C1"))), "   0.525    0.500    0.500");
  Select({"C1", "C3"});
  EXPECT_EQ(CentroidText(*ComputeCentroid(document, Atom("C1"))), "   0.500    0.650    0.500");
  document.atoms.DestroyAll();
  EXPECT_FALSE(ComputeCentroid(document, nullptr));
}

TEST_F(ChemTest, BondsAndAnglesFormALowerTriangle) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 1.5, 0, 0) + Line("N3", 3, 0, 1.4, 0) + Line("O4", 4, -1.3, 0, 0) +
       Line("C9", 1, 8, 8, 8));
  EXPECT_EQ(BondsAndAnglesText(document, *Atom("C9")), "Bonds and Angles for C9\r\n");
  EXPECT_EQ(BondsAndAnglesText(document, *Atom("C1")),
            "Bonds and Angles for C1\r\n"
            "  C2\t1.500\r\n"
            "  N3\t1.400\t 90.00\r\n"
            "  O4\t1.300\t180.00\t 90.00\r\n"
            "\t   C1\t    C2\t    N3\r\n");
  // Bonds that another atom stores are found too.
  EXPECT_EQ(BondsAndAnglesText(document, *Atom("O4")), "Bonds and Angles for O4\r\n  C1\t1.300\r\n\t   O4\r\n");
}

TEST_F(ChemTest, TheAtomTableToTheCharacter) {
  Read(Line("C1", 1, 0, 0, 0) + "Na12 7 -0.1 1.25 0.0004 11 0.01 0.02 0.06 0 0 0\nQ1 1 0.1 0.2 0.3 11 0.05 1.25\n");
  Atom("C1")->SetHybridization(kHybridSp2);
  Atom("Na12")->SetHybridization(kHybridS);
  Atom("Na12")->charge = 1;
  EXPECT_EQ(AtomInformationText(document, ReportedAtoms(document)),
            "LABEL  PEAK HEIGHT  TYPE       X          Y          Z        HYBRID   CHARGE   UEQ\r\n"
            "C1             ---  C       0.50000    0.50000    0.50000       sp2         0 0.04000\r\n"
            "Na12           ---  Na     -0.10000    1.25000    0.00040        s          1 0.03000\r\n"
            "Q1            1.25  Q       0.10000    0.20000    0.30000       sp3         0 0.05000\r\n");
}

TEST_F(ChemTest, RidingDisplacementsAreDecodedAndAnisotropicOnesFollowTheCell) {
  // U11 = U33 = 0.04 with U13 = U11 cos β* is a sphere in this cell; the mean of the diagonal would be the same for any
  // U13.
  const double c = -std::cos(120 * kRadiansPerDegree);
  Read(Printf("C1 1 0 0 0 11 0.04 0.04 0.04 0 %.6f 0\nH1 2 0.1 0 0 11 -1.2\nH2 2 0.2 0 0 11 -1.5\n", 0.04 * c) +
           "C2 1 .5 .5 .5 11 0.04 0.04 0.04 0 0 0\n",
       "CELL 0.71073 8 8 8 90 120 90\nLATT -1\n");
  EXPECT_NEAR(ListedUeq(document, *Atom("C1")), 0.04, 1e-6);
  EXPECT_NEAR(ListedUeq(document, *Atom("H1")), 0.048, 1e-6);
  EXPECT_NEAR(ListedUeq(document, *Atom("H2")), 0.060, 1e-6) << "not the hydrogen's before it";
  EXPECT_NEAR(ListedUeq(document, *Atom("C2")), 0.04 * (1 + 2 / 0.75) / 3, 1e-6);
  EXPECT_EQ(ListedU(document, *Atom("C1")).size(), 6u);
}

TEST(Torsion, HasTheSignOfTheConvention) {
  // In the program's frame, whose Z is mirrored.
  const Cartesian a{1, 0, 0}, b{0, 0, 0}, c{0, 0, -1};
  EXPECT_NEAR(*TorsionAngle(a, b, c, {1, 0, -1}), 0.0, 1e-9);
  EXPECT_NEAR(std::fabs(*TorsionAngle(a, b, c, {-1, 0, -1})), 180.0, 1e-9);
  // Seen along the crystal's z, x turns clockwise into y.
  EXPECT_NEAR(*TorsionAngle(a, b, c, {0, 1, -1}), 90.0, 1e-9);
  EXPECT_NEAR(*TorsionAngle(a, b, c, {0, -1, -1}), -90.0, 1e-9);
  EXPECT_FALSE(TorsionAngle({0, 0, 1}, b, c, {0, 1, -1}));
  EXPECT_FALSE(TorsionAngle(b, b, c, {0, 1, -1}));
}

TEST_F(ChemTest, GeometryGoesThroughSymmetryOnce) {
  // A right-handed turn of +60° about C2-C3, hydrogen peroxide through a centre, and a chain along a.
  Read(Line("C1", 1, 1.4, 0, 6) + Line("C2", 1, 0, 0, 6) + Line("C3", 1, 0, 0, 7.5) + Line("C4", 1, 0.7, 1.2124, 7.5) +
           Line("O1", 4, 9.5, 9.7, 9.6) + Line("H1", 2, 9.0, 9.0, 9.2),
       "CELL 0.71073 20 20 20 90 90 90\nLATT 1\n");
  const StructureBonds bonds(document);
  const GeometryUncertainty none(document, nullptr);
  const auto list = [](const std::vector<GeometryValue>& values) {
    std::string text;
    for (const GeometryValue& value : values) {
      for (const GeometrySite& site : value.sites) text += site.atom->name + SymmetryText(site.symmetryCode) + " ";
      text += Printf("%.1f;", value.value);
      EXPECT_FALSE(value.su);
    }
    return text;
  };
  EXPECT_EQ(list(BondsOf(document, bonds, none)), "C1 C2 1.4;C2 C3 1.5;C3 C4 1.4;O1 H1 0.9;O1 O12_777 1.4;");
  EXPECT_EQ(list(TorsionsOf(document, bonds, none)), "C1 C2 C3 C4 60.0;H1 O1 O12_777 H12_777 180.0;");
  EXPECT_EQ(list(AnglesOf(document, bonds, none)), "C1 C2 C3 90.0;C2 C3 C4 90.0;H1 O1 O12_777 157.6;");
  Select({"C4"});
  EXPECT_EQ(list(BondsOf(document, bonds, none)), "C3 C4 1.4;");
}

TEST_F(ChemTest, UncertaintiesComeFromCellAndCoordinates) {
  Read(Line("C1", 1, 0, 0, 0) + Line("C2", 1, 2, 0, 0) + Line("C3", 1, 0, 2, 0) + Line("H4", 2, -1, 0, 0));
  EXPECT_EQ(CellSigmas("ZERR 4.00 0.02 0.02 0.02 0 0 0")[2], 0.02);
  EXPECT_EQ(CellSigmas("ZERR 0.004 0.005 0.006 0.1 0.2 0.3")[2], 0.006) << "without Z";
  const auto su = [&](const GeometryUncertainty& u, const std::vector<GeometrySite>& sites) {
    return u.OfGeometry(sites);
  };
  const auto site = [&](const char* name) { return GeometrySite{Atom(name), 0, Atom(name)->fract}; };
  const auto source = [&](const std::array<double, 6>& cell, double first, double second) {
    ListedUncertainties listed(document, cell, "basis");
    listed.Add(*Atom("C1"), {{first, first, first}, {}, 0.0});
    listed.Add(*Atom("C2"), {{second, second, second}, {}, 0.0});
    listed.Add(*Atom("C3"), {});
    return listed;
  };
  // 0.006 and 0.008 Å along the bond, which is a tenth of an edge of 20.00(2) Å; the three edges err together.
  const ListedUncertainties withCell = source({0.02, 0.02, 0.02, 0, 0, 0}, 0.0003, 0.0004);
  EXPECT_NEAR(*su({document, &withCell}, {site("C1"), site("C2")}), std::hypot(0.01, 0.002), 1e-8);
  const ListedUncertainties listed = source({}, 0.0003, 0.0004);
  const GeometryUncertainty both(document, &listed);
  EXPECT_NEAR(*su(both, {site("C1"), site("C2")}), 0.01, 1e-8);
  // Between an atom and its own translated image there is none from its coordinates. Without a partner's there is none
  // at all, nor about a riding hydrogen.
  const GeometrySite moved{Atom("C1"), 0, Atom("C1")->fract + Fractional{1, 0, 0}, 1655};
  EXPECT_NEAR(*su(both, {site("C1"), moved}), 0.0, 1e-12);
  EXPECT_FALSE(su(both, {site("C1"), site("C3")}));
  EXPECT_FALSE(su({document, nullptr}, {site("C1"), site("C2")}));
  Atom("H4")->afix = 43;
  EXPECT_FALSE(su(both, {site("C1"), site("H4")}));
}

TEST_F(ChemTest, UncertaintiesMoveWithSymmetryAndSite) {
  // C1 on the twofold axis along b: only y is free. C2 on the diagonal mirror of a tetragonal cell: x and y move
  // together, so that a distance along x - y does not change.
  Read("C1 1 0 0.1 0.25 10.5 0.04\nC2 1 0.1 0.3 0.2 11 0.04\n",
       "CELL 0.71073 10 10 10 90 90 90\nLATT -1\nSYMM -X, Y, 0.5-Z\n");
  ListedUncertainties listed(document, {}, "");
  listed.Add(*Atom("C1"), {{0, 0.001, 0}, {}, 0.0});
  listed.Add(*Atom("C2"), {{0.001, 0.001, 0.001}, {}, 0.0});
  const GeometryUncertainty uncertainty(document, &listed);
  const GeometrySite c2{Atom("C2"), 0, Atom("C2")->fract};
  const GeometrySite image{Atom("C2"), 1, document.symmetry[1].Apply(Atom("C2")->fract), 2555};
  // The copy moves by -dx, +dy, -dz: the distance of (0.2, 0, -0.1) cell edges by twice dx and dz.
  EXPECT_NEAR(*uncertainty.OfGeometry(std::array{c2, image}), 2 * 10 * 0.001, 1e-6);
  const GeometrySite c1{Atom("C1"), 0, Atom("C1")->fract};
  EXPECT_TRUE(uncertainty.OfGeometry(std::array{c1, c2}));
  Read("C1 1 0.1 0.1 0.2 10.5 0.04\nC2 1 0.3 0.1 0.2 11 0.04\nC3 1 0 0 0 10.25 0.04\n",
       "CELL 0.71073 10 10 10 90 90 90\nLATT 1\nSYMM Y, X, Z\n");
  ListedUncertainties tied(document, {}, "");
  tied.Add(*Atom("C1"), {{0.001, 0.001, 0.001}, {}, 0.0});
  tied.Add(*Atom("C3"), {});
  const auto block = tied.Coordinates(std::array<const AtomRecord*, 1>{Atom("C1")});
  ASSERT_TRUE(block);
  EXPECT_NEAR((*block)[1], 1e-6, 1e-12) << "x and y as one";
  EXPECT_NEAR((*block)[2], 0.0, 1e-12);
  EXPECT_EQ(tied.Size(), 2u) << "an atom on a centre has no s.u. and is known";
  // The group makes a and b equal: what the file says of a alone counts for both, and not for c.
  ListedUncertainties edges(document, {0.02, 0, 0, 0, 0, 0}, "");
  edges.Add(*Atom("C3"), {});
  const GeometryUncertainty ofEdges(document, &edges);
  for (int k = 0; k < 3; ++k) {
    Fractional next;
    next[k] = 1.0;
    const std::array ends{GeometrySite{Atom("C3"), 0, {}}, GeometrySite{Atom("C3"), 0, next}};
    EXPECT_NEAR(*ofEdges.OfGeometry(ends), k == 2 ? 0.0 : 0.02, 1e-9) << k;
  }
}

TEST(WithUncertainty, FollowsTheRuleOfNineteen) {
  EXPECT_EQ(WithUncertainty(1.52346, 0.0031, 3), "1.523(3)");
  EXPECT_EQ(WithUncertainty(1.52346, 0.0019, 3), "1.5235(19)");
  EXPECT_EQ(WithUncertainty(1.52346, 0.00196, 3), "1.523(2)");
  EXPECT_EQ(WithUncertainty(109.47, 12.0, 2), "109(12)");
  EXPECT_EQ(WithUncertainty(1.5, 0.0000001, 3), "1.500");
  EXPECT_EQ(WithUncertainty(-0.00001, {}, 3), "0.000");
  EXPECT_EQ(WithUncertainty(std::nan(""), std::nan(""), 2), "0.00");
}

TEST_F(ChemTest, TheEnvironmentMarksBondsHydrogenBondsAndShortContacts) {
  // O-H...O to the image of O9 one cell further, a carbon in van der Waals contact, and one far away.
  Read(Line("O1", 4, 9.0, 0, 0) + Line("H1", 2, 9.82, 0, 0) + Line("C1", 1, 8.5, 1.3, 0) + Line("O9", 4, -8.2, 0.1, 0) +
       Line("C8", 1, 9, -3.0, 0) + Line("C7", 1, 9, 0, 3.9) + Line("C6", 1, 9, 0, -4.3));
  const GeometryUncertainty uncertainty(document, nullptr);
  const EnvironmentSearch search(document, 4.0, uncertainty);
  const Environment found = search.About(*Atom("O1"), 4.0);
  EXPECT_EQ(ContactsIn(found), "H1 1555 bond;C1 1555 bond;O9 1655 hydrogen bond;C8 1555 short contact;C7 1555 ;");
  ASSERT_EQ(found.hydrogenBonds.size(), 1u);
  const HydrogenBond& bond = found.hydrogenBonds[0];
  EXPECT_EQ(bond.donor.atom, Atom("O1"));
  EXPECT_EQ(bond.acceptor.symmetryCode, 1655);
  EXPECT_NEAR(bond.donorAcceptor.value, std::hypot(2.8, 0.1), 1e-6);
  EXPECT_GT(bond.angle.value, 175.0);
  // The same bond from its other end and from its middle.
  EXPECT_EQ(search.About(*Atom("O9"), 4.0).hydrogenBonds.size(), 1u);
  EXPECT_EQ(search.About(*Atom("H1"), 4.0).hydrogenBonds.size(), 1u);
  // Two bonds away is no short contact, however near.
  for (const EnvironmentContact& c : search.About(*Atom("C1"), 4.0).contacts) {
    if (c.image.atom == Atom("H1")) {
      EXPECT_EQ(c.kind, ContactKind::Plain);
    }
  }
  EXPECT_TRUE(search.About(*Atom("O1"), std::nan("")).contacts.empty());
  EXPECT_TRUE(search.About(*Atom("O1"), -1.0).contacts.empty());
}

TEST_F(ChemTest, ImagesOfANegativePartThatLieOnEachOtherMeetNothing) {
  // A methanol across the centre at the origin: the image there takes turns with it, those next door are neighbours.
  Read("PART -1 10.5\nO1 4 0.06 0 0 10.5 0.05\nC1 1 -0.08 0 0 10.5 0.05\n",
       "CELL 0.71073 10 3.1 10 90 90 90\nLATT 1\n");
  const GeometryUncertainty uncertainty(document, nullptr);
  EXPECT_EQ(ContactsIn(EnvironmentSearch(document, 3.3, uncertainty).About(*Atom("C1"), 3.3)),
            "O1 2555 ;O1 1555 bond;C1 2555 ;C1 1545 short contact;C1 1565 short contact;O1 2545 short contact;"
            "O1 2565 short contact;");
}

TEST_F(ChemTest, ContactsAreDrawnBetweenAtomsThatAreShown) {
  Read(Line("O1", 4, 9.0, 0, 0) + Line("H1", 2, 9.82, 0, 0) + Line("C1", 1, 8.5, 1.3, 0) + Line("O9", 4, -8.2, 0.1, 0) +
       Line("C8", 1, 9, -3.0, 0) + Line("H5", 2, 10.8, -0.6, 2.1));
  const auto list = [&](bool bonds, bool contacts) {
    std::string text;
    for (const DrawnContact& c : ContactsShown(document, bonds, contacts))
      text += c.from->name + (c.line == ContactLine::HydrogenBond ? "=" : "-") + c.to->name +
              (IsGenerated(*c.to) ? "' " : " ");
    return text;
  };
  EXPECT_EQ(list(true, true), "O1-C8 H1-H5 ");
  const CrystalFragments fragments(document);
  std::vector<AtomRecord*> added;
  ASSERT_TRUE(
      ImageMaker(document, fragments, messages).AddAtom(*fragments.IndexOf(Atom("O9")->serial), {0, {1, 0, 0}}, added));
  EXPECT_EQ(list(true, true), "O1-C8 H1=O9' H1-H5 H5-O9' ");
  EXPECT_EQ(list(true, false), "H1=O9' ");
  EXPECT_EQ(list(false, true), "O1-C8 H1-H5 H5-O9' ");
  Atom("H1")->Set(kHidden, true);
  EXPECT_EQ(list(true, false), "O1=O9' ");
  added[0]->Set(kHidden, true);
  EXPECT_EQ(list(true, false), "");
}

}  // namespace marvik::test
