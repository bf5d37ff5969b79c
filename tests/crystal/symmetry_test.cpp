#include "crystal/symmetry.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

#include "model/document.h"

namespace marvik {
namespace {

using Rows = std::array<std::array<double, 4>, 3>;

Rows Parsed(std::string_view text) {
  RecordingMessages messages;
  SymmetryOperator op;
  op.rows[1][1] = 9;
  ParseSymmetryText(text, op, messages);
  EXPECT_EQ(op.name.View(), text);
  EXPECT_TRUE(messages.shown.empty());
  return op.rows;
}

TEST(ParseSymmetryText, ReadsRowsAndTranslations) {
  const struct {
    const char* text;
    Rows rows;
  } cases[] = {
      {"SYMM -X+1/2, Y+1/2, -Z", {{{-1, 0, 0, 0.5}, {0, 1, 0, 0.5}, {0, 0, -1, 0}}}},
      {"symm -x+1/2, y+1/2, -z", {{{-1, 0, 0, 0.5}, {0, 1, 0, 0.5}, {0, 0, -1, 0}}}},
      {"SYMM 0.5-X, -Y, 1/2+Z", {{{-1, 0, 0, 0.5}, {0, -1, 0, 0}, {0, 0, 1, 0.5}}}},
      {"SYMM - X + Y ,   1/3 + Y ,  0.50000 - Z", {{{-1, 1, 0, 0}, {0, 1, 0, 1.0 / 3}, {0, 0, -1, 0.5}}}},
      {"-Y,X-Y,2/3+Z", {{{0, -1, 0, 0}, {1, -1, 0, 0}, {0, 0, 1, 2.0 / 3}}}},
      {"X-1/4, -0.25+Y, -7/4+z", {{{1, 0, 0, 0.75}, {0, 1, 0, 0.75}, {0, 0, 1, 0.25}}}},
      {"X+1, Y+3/2, Z+2.25", {{{1, 0, 0, 1}, {0, 1, 0, 1.5}, {0, 0, 1, 2.25}}}},
      {"X+.5, -.25+Y, Z+11/12", {{{1, 0, 0, 0.5}, {0, 1, 0, 0.75}, {0, 0, 1, 11.0 / 12}}}},
      {"X,Y", {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 0}}}},
      {"X, 1/0+Y, Z, 1/2+X", {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}}},
      {"", {}},
      {"SYMM", {}},
      {"+,/,1/", {{{}, {}, {0, 0, 0, 1}}}},
  };
  for (const auto& c : cases) {
    const Rows rows = Parsed(c.text);
    for (size_t i = 0; i < 3; ++i)
      for (size_t j = 0; j < 4; ++j)
        EXPECT_NEAR(rows[i][j], c.rows[i][j], 1e-15) << c.text << " row " << i << " column " << j;
  }
}

TEST(ParseSymmetryText, SurvivesAnything) {
  RecordingMessages messages;
  for (const std::string& text :
       {std::string("SYMM -99999999999999999999999/3,-1e300,Z"), std::string("\0\xff\xfe,\x80-\x81/2", 9),
        std::string(3000, '-'), std::string(3000, '/'), "X-" + std::string(400, '9') + ",Y,Z"}) {
    SymmetryOperator op;
    ParseSymmetryText(text, op, messages);
    for (const auto& row : op.rows) {
      EXPECT_GE(row[3], 0.0) << text;
      EXPECT_TRUE(std::isfinite(row[3])) << text;
    }
  }
  EXPECT_TRUE(messages.shown.empty());
  SymmetryList list;
  AddSymmetryOperator(list, "SYMM X,Y,Z" + std::string(40000, ' '), 7, kSymmLineOperator, messages);
  EXPECT_TRUE(list.empty());
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text, "Requested length is out of range.");
}

// "P+0.5,0.5,0" or "-P+..." for each operator made from -Y,X-Y,Z+1/4 under a lattice code.
std::string Expanded(int latticeCode) {
  RecordingMessages messages;
  SymmetryList list;
  AddSymmetryOperator(list, "SYMM -Y,X-Y,Z+1/4", latticeCode, kSymmLineOperator, messages);
  std::string text;
  for (const SymmetryOperator& op : list) {
    const double sign = op.rows[2][2];
    EXPECT_EQ(op.rows[0], (std::array<double, 4>{0, -sign, 0, op.rows[0][3]}));
    EXPECT_EQ(op.originFlag, &op == &list[0] ? kSymmLineOperator : 0);
    const bool parsed = &op == &list[0];
    EXPECT_EQ(op.name.View(), parsed ? "SYMM -Y,X-Y,Z+1/4" : sign < 0 ? "Added Center" : "Added Translation");
    const auto tenths = [](double t) { return std::to_string(static_cast<int>(std::lround(t * 12))); };
    text += std::string(sign < 0 ? " -" : " +") + tenths(op.rows[0][3]) + "," + tenths(op.rows[1][3]) + "," +
            tenths(op.rows[2][3]);
  }
  return text;
}

TEST(AddSymmetryOperator, ExpandsByTheLatticeCodeInOrder) {
  // Translations in twelfths of an edge.
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

TEST(AddSymmetryOperator, KeepsSumsUnreducedAndExact) {
  RecordingMessages messages;
  SymmetryList list;
  AddSymmetryOperator(list, "SYMM X,Y,Z", 4, kImpliedOperator, messages);
  AddSymmetryOperator(list, "SYMM -X,1/2+Y,-Z", 4, kSymmLineOperator, messages);
  ASSERT_EQ(list.size(), 16u);
  EXPECT_EQ(list[9].rows[1][3], 1.0);  // 1/2 + 1/2
  SymmetryList thirds;
  AddSymmetryOperator(thirds, "X,Y,Z", -3, kImpliedOperator, messages);
  EXPECT_EQ(thirds[1].rows[0][3], 0.6666666666666666);
  EXPECT_EQ(thirds[1].rows[1][3], 0.3333333333333333);
  AddCentredCopy(thirds, thirds[1], messages);
  EXPECT_EQ(thirds[3].rows[0], (std::array<double, 4>{-1, 0, 0, 0.6666666666666666}));
  EXPECT_FALSE(std::signbit(thirds[3].rows[0][1])) << "no negative zeros";
  const Fractional image = thirds[3].Apply({0.1, 0.2, 0.3});
  EXPECT_NEAR(image.x, 0.6666666666666666 - 0.1, 1e-15);
}

}  // namespace
}  // namespace marvik
