#include "edit/symmetry_commands.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "chem/bonds/crystal_fragments.h"
#include "crystal/symmetry.h"
#include "model/placement.h"

namespace marvik {
namespace {

struct Place {
  const char* name;
  double x, y, z;
  int part = 0;
};

struct Structure {
  Document document;
  RecordingMessages messages;

  Structure(CellParameters cell, int latt, const std::vector<std::string>& symm, const std::vector<Place>& places) {
    document.cell = cell;
    EXPECT_TRUE(BuildOrthogonalisation(cell, document.matrix));
    document.symmetry = ListOperators(latt, symm);
    for (const Place& place : places) Add(place);
    Connect(document, messages);
  }
  AtomRecord* Add(const Place& place) {
    AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
    atom->name = place.name;
    atom->element = &document.elements[ElementTable::ElementFromLabel(place.name)];
    atom->fract = {place.x, place.y, place.z};
    atom->part = static_cast<int16_t>(place.part);
    FractionalToCartesian(document.matrix, *atom);
    document.atoms.LinkAtTail(atom);
    return atom;
  }
  AtomRecord* operator[](const char* name) { return document.atoms.FindAtom(name); }
  size_t Count() const { return document.atoms.LiveCount(); }
  size_t BondCount() const {
    size_t n = 0;
    for (const AtomRecord* atom : Atoms(document.atoms)) ForEachOwnBond(atom, [&](auto*, auto*) { ++n; });
    return n;
  }
  std::string Coordinates() const {
    std::string text;
    for (const AtomRecord* a : Atoms(document.atoms))
      text += a->name + Printf(" %.9f %.9f %.9f\n", a->fract.x, a->fract.y, a->fract.z);
    return text;
  }
};

const CellParameters kCell{8, 9, 10, 90, 95, 90};

// Half of a hexagon about the inversion centre at the origin.
const std::vector<Place> kHalfRing{{"C1", 0.12, 0.10, 0.0}, {"C2", 0.175, -0.05, 0.0}, {"C3", 0.06, -0.15, 0.0}};

TEST(Grow, CompletesAnInversionCentredHalfAndStops) {
  Structure s(kCell, 1, {}, kHalfRing);
  ASSERT_EQ(s.BondCount(), 2u);
  EXPECT_EQ(Grow(s.document, s.messages), 3u);
  EXPECT_EQ(s.BondCount(), 6u);
  EXPECT_EQ(Grow(s.document, s.messages), 0u);
  const AtomRecord* image = s.document.atoms.tail;
  EXPECT_EQ(image->generated, 1);
  EXPECT_EQ(image->symmetryCode, 2555);
  EXPECT_EQ(image->sourceSerial, s["C3"]->serial);
  EXPECT_EQ(Trim(s.document, s.messages), 3u);
  EXPECT_EQ(s.BondCount(), 2u);
}

TEST(Grow, ComponentsOfANegativePartDoNotBondToTheirImages) {
  // A group on an atom at the inversion centre: its image bonds to that, and to nothing of the group.
  Structure s(kCell, 1, {}, {{"N1", 0, 0, 0}, {"C1", 0.12, 0.10, 0.0, -1}, {"C2", 0.02, 0.13, 0.04, -1}});
  ASSERT_EQ(s.BondCount(), 3u);
  EXPECT_EQ(Grow(s.document, s.messages), 0u);
  Pack(s.document, {{-0.5, -0.5, -0.5}, {0.5, 0.5, 0.5}, false}, s.messages);
  ASSERT_EQ(s.Count(), 5u);
  EXPECT_EQ(s.BondCount(), 6u);
}

TEST(Grow, APolymerGrowsOneShellPerCommand) {
  // A chain along a with one atom per cell length of 2 Å.
  Structure s({2.0, 12, 12, 90, 90, 90}, -1, {}, {{"Fe1", 0.5, 0.5, 0.5}});
  EXPECT_EQ(Grow(s.document, s.messages), 2u);
  EXPECT_EQ(Grow(s.document, s.messages), 2u);
  EXPECT_EQ(s.BondCount(), 4u);
}

TEST(Grow, SaysWhereItEnds) {
  Structure s({2.0, 2.0, 12, 90, 90, 90}, -1, {}, {{"Fe1", 0.5, 0.5, 0.5}});
  EXPECT_EQ(Grow(s.document, s.messages, 2.0), 3u);
  ASSERT_EQ(s.messages.shown.size(), 1u);
  EXPECT_EQ(s.messages.shown[0].text, "GROW ended after 3 atoms; there would be more.");
}

TEST(Grow, AtomsOnSpecialPositionsAreNotDoubled) {
  // A linear C-Fe-C with iron on the centre: the image shares the iron.
  Structure s({10, 10, 10, 90, 90, 90}, 1, {}, {{"Fe1", 0, 0, 0}, {"C1", 0.19, 0, 0}, {"O1", 0.305, 0, 0}});
  EXPECT_EQ(Grow(s.document, s.messages), 2u);
  EXPECT_EQ(s.Count(), 5u);
  // A threefold axis turns the hydrogens of a methyl group on it onto each other.
  Structure methyl({8, 8, 9, 90, 90, 120}, -1, {"SYMM -y, x-y, z", "SYMM -x+y, -x, z"},
                   {{"C1", 0, 0, 0.5},
                    {"H1", 0, 0.11, 0.55},
                    {"H2", -0.11, -0.11, 0.55},
                    {"H3", 0.11, 0, 0.55},
                    {"O1", 0.15, 0, 0.42}});
  EXPECT_EQ(Grow(methyl.document, methyl.messages), 2u) << "two of oxygen";
}

TEST(Grow, PeaksNegativePartsAndFreePairsStayAway) {
  Structure peaks(kCell, 1, {}, {{"Q1", 0.05, 0.05, 0.0}, {"Q2", 0.1, 0.0, 0.05}});
  EXPECT_EQ(Grow(peaks.document, peaks.messages), 0u);
  std::vector<Place> disordered = kHalfRing;
  for (Place& p : disordered) p.part = -1;
  Structure negative(kCell, 1, {}, disordered);
  EXPECT_EQ(Grow(negative.document, negative.messages), 0u);
  Structure freed(kCell, 1, {}, {{"C1", 0.08, 0, 0}});
  EXPECT_EQ(Grow(freed.document, freed.messages), 1u);
  Trim(freed.document, freed.messages);
  freed.document.atoms.freePairs.Append(freed["C1"], freed["C1"]);
  EXPECT_EQ(Grow(freed.document, freed.messages), 0u);
  Structure parts(kCell, 1, {}, {{"C1", 0.3, 0.3, 0.3, 1}, {"C2", -0.12, -0.3, -0.3, 2}});
  EXPECT_EQ(Grow(parts.document, parts.messages), 0u);
  parts.document.instructions.kept.push_back({KeptPlace::Body, "BIND 1 2"});
  EXPECT_EQ(Grow(parts.document, parts.messages), 2u);
}

TEST(Grow, TurnsTheTensorWithTheOperatorAndGivesHydrogensTheirParent) {
  Structure s({8, 9, 10, 80, 95, 100}, 1, {"SYMM -X, 0.5+Y, 0.5-Z"}, kHalfRing);
  AtomRecord* c1 = s["C1"];
  c1->uCount = 6;
  c1->u = {0.02, 0.03, 0.05, 0.004, -0.006, 0.008};
  AtomRecord* h = s.Add({"H2", 0.29, -0.09, 0.0});
  Connect(s.document, s.messages);
  ASSERT_NE(s.document.atoms.FindBond(h, s["C2"]), nullptr);
  ASSERT_EQ(Grow(s.document, s.messages), 4u);
  const AtomRecord* image = c1->sourceSerial ? nullptr : s.document.atoms.head;
  for (const AtomRecord* a : Atoms(s.document.atoms))
    if (a->sourceSerial == c1->serial) image = a;
  const Mat3 was = CartesianTensor(*c1, s.document.cell, s.document.matrix);
  const Mat3 now = CartesianTensor(*image, s.document.cell, s.document.matrix);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(now[i][j], was[i][j], 1e-12) << "inversion leaves a tensor as it is";
  const AtomRecord* hydrogen = s.document.atoms.tail;
  ASSERT_TRUE(hydrogen->IsHydrogen());
  ASSERT_NE(hydrogen->parent, nullptr);
  EXPECT_EQ(hydrogen->parent->name, "C2");
  EXPECT_TRUE(hydrogen->parent->generated);
}

TEST(Pack, WholeMoleculesByCentroidIonsAndSpecialPositions) {
  Structure half(kCell, 1, {}, kHalfRing);
  const PackResult result = Pack(half.document, {}, half.messages);
  EXPECT_FALSE(result.refused);
  // The ring's centroid is the corner of the cell: eight rings of six atoms, three of which were there.
  EXPECT_EQ(half.Count(), 48u);
  EXPECT_EQ(result.added, 45u);
  EXPECT_EQ(half.BondCount(), 48u);
  EXPECT_EQ(Pack(half.document, {}, half.messages).added, 0u);
  // Rock salt, single atoms: 14 of the face-centred kind and 13 of the other with faces counted.
  Structure salt({5.64, 5.64, 5.64, 90, 90, 90}, 4, {}, {{"Na1", 0, 0, 0}, {"Cl1", 0.5, 0, 0}});
  Pack(salt.document, {{0, 0, 0}, {1, 1, 1}, false}, salt.messages);
  std::map<std::string, int> count;
  for (const AtomRecord* a : Atoms(salt.document.atoms)) ++count[a->name];
  EXPECT_EQ(count["Na1"], 14);
  EXPECT_EQ(count["Cl1"], 13);
}

TEST(Pack, RefusesReversedAndEndlessBoxesWithTheCount) {
  Structure s(kCell, 1, {}, kHalfRing);
  EXPECT_TRUE(Pack(s.document, {{0, 0, 0}, {1, -1, 1}, true}, s.messages).refused);
  const PackResult wide = Pack(s.document, {{0, 0, 0}, {1000, 1000, 1000}, true}, s.messages);
  EXPECT_TRUE(wide.refused);
  EXPECT_DOUBLE_EQ(wide.expected, 6e9);
  EXPECT_EQ(s.Count(), 3u);
}

TEST(Symmetry, RefusesMoreAtomsAtOnePlaceThanCanBe) {
  Structure s(kCell, 1, {}, std::vector<Place>(kMostBondingImages + 1, {"C1", 0.2, 0.2, 0.2}));
  EXPECT_EQ(Grow(s.document, s.messages), 0u);
  EXPECT_EQ(Pack(s.document, {}, s.messages).added, 0u);
  EXPECT_EQ(s.messages.shown.size(), 2u);
  EXPECT_EQ(FormMolecules(s.document, false, s.messages), 0u);
  EXPECT_EQ(s.messages.shown.size(), 2u) << "nobody asked for it";
}

TEST(FormMolecules, BringsTheSmallerToTheLargerOnceAndOnlyOnce) {
  // Two halves of one molecule: the second was refined as an image.
  Structure s(kCell, 1, {"SYMM -X, 0.5+Y, 0.5-Z"},
              {{"C1", 0.30, 0.30, 0.3}, {"C2", 0.45, 0.35, 0.3}, {"C3", 0.55, 0.25, 0.3}, {"O1", 0.30, -0.15, 0.3}});
  AtomRecord* o1 = s["O1"];
  const Fractional near{0.20, 0.20, 0.3};
  o1->fract = s.document.symmetry[2].Apply(near);
  o1->uCount = 6;
  o1->u = {0.02, 0.03, 0.05, 0.004, -0.006, 0.008};
  FractionalToCartesian(s.document.matrix, *o1);
  Connect(s.document, s.messages);
  ASSERT_EQ(s.document.atoms.FindBond(o1, s["C1"]), nullptr);
  EXPECT_EQ(FormMolecules(s.document, true, s.messages), 1u);
  EXPECT_NE(s.document.atoms.FindBond(o1, s["C1"]), nullptr);
  EXPECT_NEAR(o1->fract.x, near.x, 1e-9);
  EXPECT_NEAR(o1->u[3], -0.004, 1e-12);  // U23 changes sign under a twofold axis along b
  EXPECT_NEAR(o1->u[4], -0.006, 1e-12);
  const std::string once = s.Coordinates();
  EXPECT_EQ(FormMolecules(s.document, true, s.messages), 0u);
  EXPECT_EQ(s.Coordinates(), once);
}

TEST(FormMolecules, FixedCodesFollowAndTiedOnesStayPut) {
  for (const double code : {10.05, 21.0}) {
    Structure s(kCell, -1, {}, {{"C1", 0.95, 0.5, 0.5}, {"C2", 0.80, 0.55, 0.5}, {"O1", 0.05, 0.5, 0.5}});
    s["O1"]->codedValues[kCodedX] = code;
    EXPECT_EQ(FormMolecules(s.document, true, s.messages), code < 20 ? 1u : 0u);
    EXPECT_NEAR(s["O1"]->fract.x, code < 20 ? 1.05 : 0.05, 1e-9);
    EXPECT_NEAR(s["O1"]->codedValues[kCodedX], code < 20 ? 11.05 : 21.0, 1e-9);
  }
}

TEST(FormMolecules, LeavesWholeStructuresAndHalfMoleculesAlone) {
  Structure half(kCell, 1, {}, kHalfRing);
  const std::string before = half.Coordinates();
  EXPECT_EQ(FormMolecules(half.document, true, half.messages), 0u);
  EXPECT_EQ(half.Coordinates(), before);
  Grow(half.document, half.messages);
  EXPECT_EQ(FormMolecules(half.document, false, half.messages), 0u);
  EXPECT_EQ(half.Count(), 6u);
  FormMolecules(half.document, true, half.messages);
  EXPECT_EQ(half.Count(), 3u);
}

TEST(MoveNear, TakesTheNearestImageAndTheRiders) {
  Structure s(kCell, 1, {},
              {{"C1", 0.1, 0.1, 0.1}, {"O1", 0.95, 0.9, 0.95}, {"H1", 1.05, 0.9, 0.95}, {"N1", 0.5, 0.5, 0.5}});
  s["H1"]->parent = s["O1"];
  EXPECT_EQ(MoveNear(s.document, {s["O1"]}, *s["C1"], s.messages), 2u);
  EXPECT_NEAR(s["O1"]->fract.x, 0.05, 1e-12);  // by the inversion centre
  EXPECT_EQ(s.document.atoms.tail, s["H1"]);
  EXPECT_EQ(s.document.atoms.tail->prev, s["O1"]);
  EXPECT_EQ(MoveNear(s.document, {s["O1"]}, *s["C1"], s.messages), 0u);
}

TEST(MoveNear, AnOperatorThatMixesAxesMakesAnImage) {
  // A threefold axis along z: (x, y, z) to (-y, x-y, z).
  Structure s(kCell, -1, {"SYMM -y, x-y, z"}, {{"C1", -0.3, -0.1, 0.1}, {"O1", 0.2, 0.3, 0.1}});
  EXPECT_EQ(MoveNear(s.document, {s["O1"]}, *s["C1"], s.messages), 1u);
  EXPECT_NEAR(s["O1"]->fract.x, -0.3, 1e-12);
  EXPECT_NEAR(s["O1"]->fract.y, -0.1, 1e-12);
}

TEST(ConnectedFragments, HoldWholeMolecules) {
  Structure s(kCell, -1, {}, {{"C1", 0.1, 0.1, 0.1}, {"O9", 0.6, 0.6, 0.6}, {"C2", 0.25, 0.1, 0.1}});
  const auto found = ConnectedFragments(s.document, {s["C2"]});
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0]->name, "C1");
}

}  // namespace
}  // namespace marvik
