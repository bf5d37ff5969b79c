#include "files/res/damage.h"

#include <gtest/gtest.h>

#include "files/res/reader.h"

namespace marvik {
namespace {

FileDamage Of(const std::string& text) {
  Document document;
  RecordingMessages messages;
  EXPECT_TRUE(ReadInstructionText(document, text, messages));
  return DamageOf(document);
}

constexpr char kHead[] = "TITL x\nCELL 0.71 5 6 7 90 95 90\nZERR 4 0 0 0 0 0 0\nLATT 1\nSYMM -X, 0.5+Y, -Z ! screw\r\n";
constexpr char kAtoms[] = "SFAC C O\nUNIT 4 4\nREM 1 2 3 4 5\nFVAR 1\nC1 1 0.1 0.2 0.3 11 0.01 0.02 =\n 0.03 0 0 0\n";

TEST(Damage, WholeFilesHaveNone) {
  for (const char* end : {"HKLF 4\nEND\nC9 1 2 3 4\n", "END\n", "hklf 4", "+rest.ins\n", "  12 13 14 notes\nEND\n"})
    EXPECT_TRUE(Of(std::string(kHead) + kAtoms + end).Sentences().empty()) << end;
}

TEST(Damage, IsNamedByLine) {
  const FileDamage damage = Of(std::string(kHead) + "SYMM hello\n" + kAtoms +
                               "0.4O63 2 0.1 0.2 0.4 11 0.05\nC2 1 0.1 0.x2 0.3 11 0.05\nC3 1 0.5 0.5\n");
  EXPECT_TRUE(damage.isCutOff);
  EXPECT_EQ(damage.operators, std::vector<std::string>{"SYMM (line 6)"});
  EXPECT_EQ(damage.nameless, std::vector<std::string>{"0.4O63 (line 13)"});
  EXPECT_EQ(damage.noAtoms, (std::vector<std::string>{"C2 (line 14)", "C3 (line 15)"}));
  EXPECT_EQ(damage.Sentences().size(), 4u);
}

TEST(Damage, WideTextIsNamed) {
  std::string wide;
  for (const char c : std::string(kHead)) (wide += c) += '\0';
  EXPECT_NE(EncodingFault(wide), "");
  EXPECT_NE(EncodingFault("\xff\xfeT"), "");
  EXPECT_EQ(EncodingFault(kHead), "");
  EXPECT_EQ(EncodingFault(std::string(3, '\0')), "") << "a disk's empty block is another fault";
}

}  // namespace
}  // namespace marvik
