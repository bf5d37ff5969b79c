#include "crystal/symmetry.h"

#include <gtest/gtest.h>
#include <string>

#include "crystal/cell_metric.h"
#include "crystal/space_group.h"

namespace marvik {
namespace {

// In the one way of writing it, empty for what is no operator.
std::string Spelled(std::string_view text) {
  const auto op = ParseOperator(text);
  return op ? OperatorText(*op, ",") : std::string();
}

TEST(ParseOperator, ReadsEverySpelling) {
  const char* const cases[][2] = {
      {"-X+1/2, Y+1/2, -Z", "-x+1/2,y+1/2,-z"},
      {"0.5-X, -Y, 1/2+Z", "-x+1/2,-y,z+1/2"},
      {" - X + Y ,   1/3 + Y ,\t0.50000 - Z\r\n", "-x+y,y+1/3,-z+1/2"},
      {"-y,x-y,2/3+z", "-y,x-y,z+2/3"},
      {"X+1, Y+3/2, Z-2.25", "x+1,y+3/2,z-9/4"},
      {"X+.5, -.25+Y, Z+11/12", "x+1/2,y-1/4,z+11/12"},
      {"-x+2/3  y-1/3 z", "-x+2/3,y-1/3,z"},
      {"2*x-y,x,z+1/5", "2*x-y,x,z+1/5"},
      {"x,y,z,1/2+x", "x,y,z"},
      // What two and three digits leave of twelfths and eighths, and tenths, which are none of them.
      {"0.33+x,y+0.667,z-0.17", "x+1/3,y+2/3,z-1/6"},
      {"0.125+x,y+0.88,z+0.0417", "x+1/8,y+7/8,z+1/24"},
      {"0.2+x,y+0.3,z+0.1", "x+1/5,y+3/10,z+1/10"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(Spelled(text), expected) << text;
}

TEST(ParseOperator, RefusesWhatIsNone) {
  for (const char* text : {"", "X,Y", "x,y,w", "x,x,z", "x,y,0", "x,y,-", "2x,y,z", "xy,y,z", "+,/,1/", "x,y,z+",
                           "x,--y,z", "1/2x,y,z", "x,y,z1/2", "x,y,z+1/", "x,y,z+1/7", "x,y,z+0.27", "x,y,z+0.5.0",
                           "X, 1/0+Y, Z", "-99999999999999999999999/3,-1e300,Z"})
    EXPECT_EQ(Spelled(text), "") << text;
  const std::string bad[] = {std::string("\0\xff\xfe,\x80-\x81/2", 9), std::string(3000, '-'), std::string(3000, '/'),
                             "X-" + std::string(400, '9') + ",Y,Z"};
  for (const std::string& text : bad) EXPECT_EQ(Spelled(text), "") << text;
}

// "P+0,0,30" or "-P+..." for each operator made from -Y,X-Y,Z+1/4 under a lattice code.
std::string Expanded(int latticeCode) {
  SymmetryList list;
  AddSymmetryOperator(list, " symm -Y,X-Y,Z+1/4", latticeCode, kSymmLineOperator);
  std::string text;
  for (const ListedOperator& op : list) {
    const int sign = op.r[2][2];
    EXPECT_EQ(op.r[0], (std::array<int, 3>{0, -sign, 0}));
    const bool parsed = &op == &list[0];
    EXPECT_EQ(op.originFlag, parsed ? kSymmLineOperator : 0);
    EXPECT_EQ(op.name, parsed ? " symm -Y,X-Y,Z+1/4" : sign < 0 ? "Added Center" : "Added Translation");
    const auto twelfths = [&](size_t i) { return std::to_string(op.t[i] / (kTranslationParts / 12)); };
    text += std::string(sign < 0 ? " -" : " +") + twelfths(0) + "," + twelfths(1) + "," + twelfths(2);
  }
  return text;
}

TEST(AddSymmetryOperator, ExpandsByTheLatticeCodeInOrder) {
  EXPECT_EQ(Expanded(-1), " +0,0,3");
  EXPECT_EQ(Expanded(-2), " +0,0,3 +6,6,9");
  EXPECT_EQ(Expanded(-3), " +0,0,3 +8,4,7 +4,8,11");
  EXPECT_EQ(Expanded(-4), " +0,0,3 +0,6,9 +6,0,9 +6,6,3");
  EXPECT_EQ(Expanded(-5), " +0,0,3 +0,6,9");
  EXPECT_EQ(Expanded(-6), " +0,0,3 +6,0,9");
  EXPECT_EQ(Expanded(-7), " +0,0,3 +6,6,3");
  EXPECT_EQ(Expanded(1), " +0,0,3 -0,0,3");
  EXPECT_EQ(Expanded(2), " +0,0,3 +6,6,9 -0,0,3 -6,6,9");
  EXPECT_EQ(Expanded(3), " +0,0,3 +8,4,7 +4,8,11 -0,0,3 -8,4,7 -4,8,11");
  EXPECT_EQ(Expanded(4), " +0,0,3 +0,6,9 +6,0,9 +6,6,3 -6,6,3 -0,0,3 -0,6,9 -6,0,9");
  EXPECT_EQ(Expanded(5), " +0,0,3 +0,6,9 -0,0,3 -0,6,9");
  EXPECT_EQ(Expanded(6), " +0,0,3 +6,0,9 -0,0,3 -6,0,9");
  EXPECT_EQ(Expanded(7), " +0,0,3 +6,6,3 -0,0,3 -6,6,3");
  for (const int none : {0, 8, -8, std::numeric_limits<int>::min()}) EXPECT_EQ(Expanded(none), " +0,0,3") << none;
}

TEST(AddSymmetryOperator, RaisesNegativeTranslationsAndLeavesSumsAlone) {
  const SymmetryList list = ListOperators(4, {"-X,1/2+Y,-7/4-Z"});
  ASSERT_EQ(list.size(), 16u);
  EXPECT_EQ(OperatorText(list[8]), "-x, y+1/2, -z+1/4");
  EXPECT_EQ(OperatorText(list[9]), "-x, y+1, -z+3/4");
  EXPECT_EQ(ListOperators(-3, {})[1].Apply({}).x, 2.0 / 3.0);
}

SpaceGroup GroupOf(int lattice, const std::vector<std::string>& texts) {
  std::string problem;
  return MakeSpaceGroup(lattice, ListOperators(lattice, texts), problem).value();
}

TEST(SpaceGroup, IsWhatTheListStandsForHoweverItIsWritten) {
  const SpaceGroup whole = GroupOf(7, {"-X,Y,1/2-Z"});
  // The same C2/c, all of it in SYMM lines, one of them twice.
  const std::vector<std::string> lines = {"-X,Y,1/2-Z",        "-X,-Y,-Z",          "X,-Y,1/2+Z",
                                          "1/2+X,1/2+Y,Z",     "1/2-X,1/2+Y,1/2-Z", "1/2-X,1/2-Y,-Z",
                                          "1/2+X,1/2-Y,1/2+Z", "1/2+X,-1/2-Y,1/2+Z"};
  for (const SpaceGroup& group : {whole, GroupOf(-1, lines)}) {
    EXPECT_EQ(group.symbol, "C 1 2/c 1");
    EXPECT_EQ(group.all.size(), 8u);
    EXPECT_EQ(group.centring.size(), 2u);
    EXPECT_EQ(group.primitive.size(), 2u);
    EXPECT_TRUE(group.IsAbsent({1, 2, 0}));
    EXPECT_TRUE(group.IsAbsent({2, 0, 1}));
    EXPECT_FALSE(group.IsAbsent({2, 0, 2}));
  }
  EXPECT_EQ(GroupOf(-1, {"x+1/5,y,z"}).centring.size(), 5u) << "a superstructure";
  std::string problem;
  EXPECT_FALSE(MakeSpaceGroup(-1, ListOperators(-1, {"x+y,y,z"}), problem)) << "a shear has no end";
}

TEST(SpaceGroup, PolarDirectionsAreThoseThatNoOperationTurns) {
  const auto count = [](int lattice, const std::vector<std::string>& texts) {
    return GroupOf(lattice, texts).PolarDirections().size();
  };
  EXPECT_EQ(count(-1, {}), 3u);
  EXPECT_EQ(count(1, {}), 0u);
  EXPECT_EQ(count(-1, {"x,-y,z+1/2"}), 2u);
  EXPECT_EQ(count(-1, {"-x,y+1/2,-z"}), 1u);
  EXPECT_EQ(count(-1, {"-x,-y,z", "-x,y,-z"}), 0u);
  EXPECT_EQ(count(-1, {"z,x,y"}), 1u);
  const auto along = GroupOf(-1, {"z,x,y"}).PolarDirections()[0];
  EXPECT_NEAR(along[0] - along[1], 0.0, 1e-12);
  EXPECT_NEAR(along[1] - along[2], 0.0, 1e-12);
  const auto b = GroupOf(-1, {"-x,y+1/2,-z"}).PolarDirections()[0];
  EXPECT_TRUE(b[0] == 0.0 && b[1] != 0.0 && b[2] == 0.0);
}

TEST(SpaceGroup, EquivalentReflectionsHaveOneRepresentative) {
  const SpaceGroup group = GroupOf(-3, {"-y,x-y,z", "-x+y,-x,z", "y,x,-z"});
  for (const Miller& h : {Miller{1, 2, 3}, Miller{-4, 1, 0}, Miller{0, 0, -6}}) {
    for (const bool friedel : {false, true}) {
      const Miller one = group.Representative(h, friedel);
      for (const SymmetryOperator& op : group.pointOperators)
        EXPECT_EQ(group.Representative(op.ApplyToIndices(h), friedel), one);
      const Miller opposite = group.Representative({-h[0], -h[1], -h[2]}, friedel);
      EXPECT_EQ(opposite == one, friedel || h[2] == -6) << h[0] << friedel << "; 00l turns over";
    }
  }
}

TEST(FitsCell, OperatorsKeepLengthsAndAngles) {
  const auto fits = [](const char* text, const CellParameters& cell, double tolerance = 0.01) {
    return FitsCell(ParseOperator(text).value(), MakeMetric(cell), tolerance);
  };
  EXPECT_TRUE(fits("-y,x-y,z+1/3", {7, 7, 9, 90, 90, 120}));
  EXPECT_FALSE(fits("-y,x-y,z", {7, 7, 9, 90, 90, 118}));
  EXPECT_FALSE(fits("-y,x,z", {7, 7.3, 9, 90, 90, 90}));
  EXPECT_TRUE(fits("-y,x,z", {7, 7.3, 9, 90, 90, 90}, 0.1));
  EXPECT_FALSE(fits("-x,y,-z", {7, 8, 9, 90, 100, 95}));
  EXPECT_TRUE(fits("-x,-y,-z", {7, 8, 9, 80, 100, 95}));
}

}  // namespace
}  // namespace marvik
