#include "language/tokenizer.h"

#include <gtest/gtest.h>

#include "base/words.h"
#include "language/keywords.h"
#include "language/line_source.h"

namespace marvik::test {

namespace {

using Strings = std::vector<std::string>;
using enum InstructionKeyword;

// The logical lines of a text, as their code or as they are kept.
Strings Codes(const std::string& text) {
  LineSource source(text);
  SourceLine line;
  Strings codes;
  while (source.Next(line)) codes.emplace_back(line.code);
  return codes;
}

Strings KeptTexts(const std::string& text) {
  LineSource source(text);
  SourceLine line;
  Strings kept;
  while (source.Next(line)) kept.push_back(source.KeptText(line));
  return kept;
}

}  // namespace

TEST(Keywords, TheFirstFourCharactersDecide) {
  for (int code = 0; code < kKeywordCount; ++code) {
    const auto keyword = static_cast<InstructionKeyword>(code);
    const std::string lower = LowerCase(SpellingOf(keyword));
    EXPECT_EQ(KeywordOf(lower), keyword);
    EXPECT_EQ(HeadOf(lower).keyword, keyword) << lower;
  }
  EXPECT_EQ(KeywordOf("cell 0.71073 10"), kCell);
  EXPECT_EQ(KeywordOf("CELL0.71073 10"), kCell);
  EXPECT_EQ(KeywordOf("Rem x"), kRem);
  EXPECT_EQ(KeywordOf("REM"), kAtomLine);
  EXPECT_EQ(KeywordOf("REM\r"), kRem);
  EXPECT_EQ(KeywordOf("    C1 1 0.1 0.2 0.3"), kBlank);
  EXPECT_EQ(KeywordOf("  C1 1 0.1 0.2 0.3"), kAtomLine);
  EXPECT_EQ(KeywordOf(" CELL"), kAtomLine);
  EXPECT_EQ(KeywordOf(""), kAtomLine);
}

TEST(Keywords, TheReaderAlsoKnowsShortLinesResiduesAndLaterKeywords) {
  EXPECT_EQ(HeadOf("END").keyword, kEnd);
  EXPECT_EQ(HeadOf("REM\tx").keyword, kRem);
  EXPECT_EQ(HeadOf("SADI_CF3 C1 C2").keyword, kSadi);
  EXPECT_EQ(HeadOf("SADI_CF3 C1 C2").residue, "_CF3");
  EXPECT_EQ(HeadOf("SADI_CF3 C1 C2").arguments, " C1 C2");
  EXPECT_EQ(HeadOf("CELL0.7 1").arguments, "0.7 1");
  for (const char* later : {"ABIN", "ansc", "ANSR", "BEDE", "LONE", "NEUT", "PRIG", "RIGU", "TWST", "WIGL", "XNPD"})
    EXPECT_TRUE(IsInstruction(HeadOf(later).keyword)) << later;
  EXPECT_EQ(KeywordOf("RIGU C1"), kAtomLine) << "which the fixed table does not have";
  EXPECT_FALSE(IsInstruction(HeadOf("ABCD 1").keyword));
  EXPECT_EQ(HeadOf("+file").keyword, kInclude);
  for (int code = 0; code < kAllKeywords; ++code)
    EXPECT_EQ(static_cast<int>(RowOf(static_cast<InstructionKeyword>(code)).keyword), code);
}

TEST(LineSource, WhatIsContinuedAndWhatIsNot) {
  EXPECT_EQ(Codes("TITL R1 = 0.04\nREM a = b\nCELL 1\n"), (Strings{"TITL R1 = 0.04", "REM a = b", "CELL 1"}));
  EXPECT_EQ(Codes("C1 1 0.1 = garbage\n 0.2 =\n0.3\nC2"), (Strings{"C1 1 0.1   0.2  0.3", "C2"}));
  EXPECT_EQ(Codes("SADI 0.02 =!note\nC1 C2 ! a = b\nC3"), (Strings{"SADI 0.02  C1 C2 ", "C3"}));
  EXPECT_EQ(Codes("+a=b\nprose with a = b in it\n    note =\n====\nwR2 = 0.1\nC1 =\n1"),
            (Strings{"+a=b", "prose with a = b in it", "    note =", "====", "wR2 = 0.1", "C1  1"}));
  EXPECT_EQ(Codes("RIGU C1 =\n\nC2 1"), (Strings{"RIGU C1  ", "C2 1"}));
}

TEST(LineSource, LineEndsMarksAndBytes) {
  const Strings two{"A 1", "B 2"};
  for (const char* text :
       {"A 1\nB 2", "A 1\r\nB 2\r\n", "A 1\rB 2\r", "\n\nA 1\n \t\r\nB 2\n\x1A", "\xEF\xBB\xBF\nA 1\nB 2"})
    EXPECT_EQ(Codes(text), two) << text;
  EXPECT_EQ(LineSource("a\r\nb\r\nc\n").LineEnd(), "\r\n");
  EXPECT_EQ(LineSource("a\rb").LineEnd(), "\r");
  EXPECT_EQ(LineSource("a").LineEnd(), "\n");
  EXPECT_EQ(KeptTexts("SADI  \xE9\t=\r\n  C1 ! x\r\n"), (Strings{"SADI  \xE9\t=\n  C1 ! x"}));
  EXPECT_EQ(KeptTexts("SADI =\rC1\r"), (Strings{"SADI =\nC1"}));
  EXPECT_EQ(KeptTexts(std::string("A\0B 1\n", 6)), (Strings{std::string("A\0B 1", 5)}));
  // A mark at the very end must not take the line that is written next.
  EXPECT_EQ(KeptTexts("SADI C1 ="), (Strings{"SADI C1 =\n"}));
}

TEST(LineSource, WhatStandsBehindAContinuationMarkIsTold) {
  LineSource source("SADI 0.02 C1 C2 = C3 ! one\n C4 C5 =C6\n C7\nFLAT C1 > C6\n");
  SourceLine line;
  ASSERT_TRUE(source.Next(line));
  EXPECT_EQ(line.lost, "C3 C6");
  ASSERT_TRUE(source.Next(line));
  EXPECT_EQ(line.lost, "");
}

}  // namespace marvik::test
