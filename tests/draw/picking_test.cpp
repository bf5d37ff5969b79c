#include "draw/view/picking.h"

#include <gtest/gtest.h>
#include <limits>

#include "support/structures.h"

namespace marvik {
namespace {

class Picking : public testing::Test {
 protected:
  AtomRecord* At(const char* name, int x, int y) {
    AtomRecord* atom = test::AddAtomAt(document, name, {});
    atom->screenX = static_cast<int16_t>(x);
    atom->screenY = static_cast<int16_t>(y);
    return atom;
  }
  BondRecord* Bond(AtomRecord* a, AtomRecord* b) {
    RecordingMessages messages;
    return document.atoms.PushBond(a, b, messages);
  }
  Document document;
};

TEST_F(Picking, AtomsWithinTenPixelsByTheCityBlock) {
  AtomRecord* a = At("C1", 100, 100);
  EXPECT_EQ(HitTestAtom(document.atoms, 109, 100), a);
  EXPECT_EQ(HitTestAtom(document.atoms, 110, 100), nullptr);
  EXPECT_EQ(HitTestAtom(document.atoms, 95, 104), a);
  EXPECT_EQ(HitTestAtom(document.atoms, 95, 105), nullptr);
  EXPECT_EQ(HitTestAtom(document.atoms, 119, 100, 2.0), a);
  EXPECT_EQ(HitTestAtom(document.atoms, 120, 100, 2.0), nullptr);
  AtomRecord* same = At("C2", 100, 100);
  EXPECT_EQ(HitTestAtom(document.atoms, 100, 100), a) << "the first of equals";
  AtomRecord* nearer = At("C3", 103, 100);
  EXPECT_EQ(HitTestAtom(document.atoms, 102, 100), nearer);
  a->Set(kHidden, true);
  EXPECT_EQ(HitTestAtom(document.atoms, 99, 100), same);
  EXPECT_EQ(HitTestAtom(document.atoms, std::numeric_limits<double>::quiet_NaN(), 100), nullptr);
}

TEST_F(Picking, DistanceToASegment) {
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {110, 10}, {60, 12}), 2.0);
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {110, 10}, {60, 15}), 5.0) << "a narrow box reaches 5 pixels further";
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {110, 10}, {60, 15.5}), 9999.0);
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {110, 10}, {9, 10}), 9999.0) << "and not along its length";
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {40, 50}, {40, 10}), 24.0);
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {16, 110}, {9.5, 60}), 9999.0) << "6 pixels are wide enough";
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {12, 10}, {11, 14}), 2.0) << "at most the segment's length";
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {10, 10}, {13, 13}), 0.0);
  EXPECT_DOUBLE_EQ(DistanceToSegment({-40, 3}, {-30, 3}, {0, 3}), 0.0) << "the box does not reach below 0";
  EXPECT_DOUBLE_EQ(DistanceToSegment({-40, 3}, {30, 3}, {-5, 3}), 9999.0);
  EXPECT_DOUBLE_EQ(DistanceToSegment({10, 10}, {110, 10}, {60, 19}, 2.0), 9.0);
}

TEST_F(Picking, NearestBondWithinThreePixels) {
  AtomRecord* a = At("C1", 100, 100);
  AtomRecord* b = At("C2", 101, 200);
  AtomRecord* c = At("C3", 200, 204);
  BondRecord* ab = Bond(a, b);
  BondRecord* bc = Bond(c, b);
  EXPECT_EQ(HitTestBond(document.atoms, 102.5, 150).bond, ab) << "2 pixels beside a nearly upright bond";
  EXPECT_EQ(HitTestBond(document.atoms, 104, 150).bond, nullptr);
  EXPECT_EQ(HitTestBond(document.atoms, 104, 150, 2.0).bond, ab);
  EXPECT_EQ(HitTestBond(document.atoms, 150, 203).bond, bc);
  EXPECT_EQ(HitTestBond(document.atoms, 150, 203).atom, c) << "its owner";
  EXPECT_EQ(HitTestBond(document.atoms, 101, 200).bond, ab);
  c->Set(kHidden, true);
  EXPECT_EQ(HitTestBond(document.atoms, 150, 203).bond, nullptr);
  a->Set(kHidden, true);
  c->Set(kHidden, false);
  EXPECT_EQ(HitTestBond(document.atoms, 150, 203).bond, bc);
  EXPECT_EQ(HitTestBond(document.atoms, 102, 150).bond, nullptr);
}

TEST_F(Picking, RectanglesByAnyTwoCorners) {
  AtomRecord* a = At("C1", 10, 10);
  AtomRecord* b = At("C2", 50, 60);
  At("C3", 51, 60);
  At("C4", 20, 20)->Set(kHidden, true);
  const std::vector<AtomRecord*> both{a, b};
  EXPECT_EQ(AtomsInRectangle(document.atoms, 10, 10, 50, 60), both);
  EXPECT_EQ(AtomsInRectangle(document.atoms, 50, 10, 10, 60), both);
  EXPECT_EQ(AtomsInRectangle(document.atoms, 50, 60, 10, 10), both);
  EXPECT_TRUE(AtomsInRectangle(document.atoms, 11, 10, 49, 60).empty());
}

}  // namespace
}  // namespace marvik
