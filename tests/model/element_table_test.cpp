#include "model/element_table.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "base/files.h"

#include "support/test_files.h"

namespace marvik {
namespace {

TEST(ElementTable, IsCompleteAndTellsElementsApart) {
  const ElementTable table;
  std::map<std::tuple<ElementColour, int>, int> looks;
  for (int row = 1; row < kUnknownRow; ++row) {
    const ElementInfo& e = table[row];
    EXPECT_EQ(e.atomicNumber, row);
    EXPECT_EQ(e.searchRadius, e.bondRadius + 0.5) << e.symbol;
    EXPECT_TRUE(e.bondRadius > 0.2 && e.bondRadius < 2.7) << e.symbol;
    EXPECT_EQ(ElementTable::ElementFromLabel(std::string(e.Symbol()) + "1"), row);
    ++looks[{e.colour, e.texture}];
    // Weights rise with the number but for the known inversions.
    const std::set<int> inverted{19, 28, 53, 91, 93, 95, kDeuteriumRow};
    EXPECT_TRUE(inverted.contains(row) || row == 1 || e.atomicWeight >= table[row - 1].atomicWeight) << e.symbol;
  }
  EXPECT_EQ((looks[{PackColour(0, 180, 0), 0}]), 71) << "of the plain look";
  // Oxygen and iron share a look, sodium and deuterium another; every other one is its element's own.
  EXPECT_EQ(looks.size(), 1u + 33u - 2u);
}

TEST(ElementFromLabel, TakesUpToTwoLetters) {
  const struct {
    const char* label;
    int row;
  } cases[] = {{"C1", 6},   {"CL1", 17}, {"Cl1", 17}, {"cl1", 17}, {"CA", 20},   {"CA1", 20},       {"Q12", 105},
               {"X1", 105}, {"D", 104},  {"D1", 104}, {"Dy2", 66}, {"H1A", 1},   {"HO1", 67},       {"C", 6},
               {"C'", 6},   {"C_2", 6},  {"", 105},   {"1C", 105}, {" C1", 105}, {"\xc3\xa4", 105}, {"LR1", 105},
               {"lw", 103}, {"Qq", 105}, {"OW", 105}, {"W1", 74},  {"C\xe9", 6}};
  for (const auto& c : cases) EXPECT_EQ(ElementTable::ElementFromLabel(c.label), c.row) << c.label;
}

class ElementFile : public testing::Test {
 protected:
  void TearDown() override { unsetenv(kPackageVariable); }
  bool Read(ElementTable& table, const std::string& content) {
    EXPECT_EQ(WriteFileAtomically(path_ + "sfac.tab", content), 0);
    return ReadElementFile(table, path_ + "sfac.tab");
  }
  const test::ScratchFolder folder_;
  const std::string& path_ = folder_.path;
};

TEST_F(ElementFile, IsWrittenLineByLineAndReadBack) {
  ElementTable table;
  table[6].bondRadius = 0.801234;
  table[6].drawRadius = 0.31;
  table[6].colour = PackColour(1, 22, 255);
  table[17].texture = 5;
  ASSERT_TRUE(WriteElementFile(table, path_ + "sfac.tab"));
  const std::string text = ReadWholeFile(path_ + "sfac.tab").content;
  EXPECT_EQ(text.substr(0, text.find('\n') + 1), "1 H  br 0.220000 ar 0.120000 color 255 255 255  texture 0 \n");
  EXPECT_NE(text.find("\n6 C  br 0.801234 ar 0.310000 color 1 22 255  texture 1 \n7 N "), std::string::npos);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 105);

  ElementTable again;
  ASSERT_TRUE(ReadElementFile(again, path_ + "sfac.tab"));
  for (int row = 1; row < kElementRows; ++row) {
    EXPECT_NEAR(again[row].bondRadius, table[row].bondRadius, 1e-12);
    EXPECT_NEAR(again[row].drawRadius, table[row].drawRadius, 1e-12);
    EXPECT_EQ(again[row].colour, table[row].colour);
    EXPECT_EQ(again[row].texture, table[row].texture);
  }
  EXPECT_EQ(again[6].searchRadius, 0.77 + 0.5) << "not recomputed";
}

TEST_F(ElementFile, TakesWhatScansAndNothingElse) {
  ElementTable table;
  ASSERT_TRUE(Read(table,
                   "# 6 C br 9 ar 9 color 1 2 3 texture 1\n"
                   "0 X br 9 ar 9 color 1 2 3 texture 1\n106 X br 9 ar 9 color 1 2 3 texture 1\n"
                   "-6 X br 9 ar 9 color 1 2 3 texture 1\nsix C br 9 ar 9 color 1 2 3 texture 1\n\n"
                   "99999999999 C br 9 ar 9 color 1 2 3 texture 1\n"
                   "  7 anything x 0.71 y 0,22 z 4 5 6 t 2\r\n"
                   "8 O br 0.5\n"
                   "9 F br 0.6 ar word color 7 x 8 texture 3\n"
                   "16 S br 1.1 ar 0.4 color 300 -1 5 texture 99\n" +
                       std::string(5000, ' ') + "5 B br 9 ar 9 color 1 2 3 texture 1\n" +
                       "17 Cl br 0.9 ar 0.35 color 9 8 7 texture 4"));
  const ElementTable defaults;
  for (const int row : {0, 5, 6, 105}) {
    EXPECT_EQ(table[row].bondRadius, defaults[row].bondRadius) << row;
    EXPECT_EQ(table[row].colour, defaults[row].colour) << row;
  }
  const struct {
    int row;
    double bondRadius, drawRadius;
    ElementColour colour;
    int texture;
  } kTaken[] = {{7, 0.71, 0.0, PackColour(4, 5, 6), 2},  // a comma ends the number
                {8, 0.5, defaults[8].drawRadius, defaults[8].colour, defaults[8].texture},
                {9, 0.6, 0.0, PackColour(7, 255, 100), 5},
                {16, 1.1, 0.4, PackColour(44, 255, 5), 3},  // there is no texture 99
                {17, 0.9, 0.35, PackColour(9, 8, 7), 4}};   // the last line has no end
  for (const auto& e : kTaken) {
    EXPECT_EQ(table[e.row].bondRadius, e.bondRadius) << e.row;
    EXPECT_EQ(table[e.row].drawRadius, e.drawRadius) << e.row;
    EXPECT_EQ(table[e.row].colour, e.colour) << e.row;
    EXPECT_EQ(table[e.row].texture, e.texture) << e.row;
  }
}

TEST_F(ElementFile, IsFoundThroughTheVariableAsItStands) {
  ElementTable table;
  unsetenv(kPackageVariable);
  EXPECT_FALSE(ElementFilePath());
  InitElementTable(table, true);
  setenv(kPackageVariable, (path_ + "prefix_").c_str(), 1);
  EXPECT_EQ(ElementFilePath(), path_ + "prefix_sfac.tab");
  table[6].bondRadius = 5;
  InitElementTable(table, true);
  EXPECT_EQ(table[6].bondRadius, 0.77) << "a missing file leaves the defaults";
  ASSERT_EQ(WriteFileAtomically(path_ + "prefix_sfac.tab", "6 C br 0.8 ar 0.2 color 1 2 3 texture 1"), 0);
  InitElementTable(table, false);
  EXPECT_EQ(table[6].bondRadius, 0.77);
  InitElementTable(table, true);
  EXPECT_EQ(table[6].bondRadius, 0.8);
  EXPECT_FALSE(ReadElementFile(table, path_));
  EXPECT_FALSE(WriteElementFile(table, path_));
  EXPECT_FALSE(WriteElementFile(table, path_ + "no/such"));
}

}  // namespace
}  // namespace marvik
