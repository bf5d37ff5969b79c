#include <algorithm>
#include <gtest/gtest.h>

#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/line_columns.h"
#include "language/line_source.h"

namespace marvik::test {
namespace {

std::string Fixed(double value, int width, int decimals) {
  std::string text = "|";
  AppendFixed(text, value, width, decimals);
  return text;
}

std::string Exact(double value, int width, int decimals) {
  std::string text;
  AppendFixedExact(text, value, width, decimals);
  return text;
}

TEST(ComposedLine, BreaksBeforeAPieceThatWouldNotFit) {
  ComposedLine line("SADI 0.02");
  for (int i = 100; i < 130; ++i) line.Add(" C" + std::to_string(i));
  size_t longest = 0, lines = 0, words = 0;
  for (std::string_view rest = line.Text(); !rest.empty(); ++lines) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    longest = std::max(longest, end);
    words += static_cast<size_t>(std::count(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(end), 'C'));
    if (lines > 0) {
      EXPECT_TRUE(rest.starts_with("    C")) << rest;
    }
    EXPECT_EQ(rest.substr(0, end).ends_with(" ="), end < rest.size());
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  // 13 pieces of 5 behind 9 characters and the mark: one more would make 81.
  EXPECT_NE(line.Text().find(" C112 =\n    C113"), std::string::npos);
  EXPECT_EQ(words, 30u);
  EXPECT_EQ(lines, 3u);
  EXPECT_LE(longest, kLongestLine);
  EXPECT_GT(longest, kLongestLine - 6);
  ComposedLine single("HEAD", "  ");
  single.Break();
  single.Add(std::string(100, 'x'));
  EXPECT_EQ(single.Text(), "HEAD =\n  " + std::string(100, 'x')) << "never broken";
}

TEST(ComposedLine, NumbersAreFixedUntilTheyAreTooLarge) {
  EXPECT_EQ(Fixed(-1.5, 8, 3), "|  -1.500");
  EXPECT_EQ(Fixed(123456.0, 3, 1), "|123456.0");
  EXPECT_EQ(Fixed(1e15, 0, 1), "|1.000000000e+15");
  EXPECT_EQ(Fixed(-2e20, 18, 1), "|  -2.000000000e+20");
  EXPECT_EQ(Fixed(0.25, 0, 0), "|0");
  EXPECT_EQ(Exact(0.25, 8, 5), " 0.25000");
  EXPECT_EQ(Exact(0.123456789, 8, 5), "0.123456789");
  EXPECT_EQ(Exact(1e-7, 6, 2), " 1e-07");
}

std::optional<std::string> Columns(std::string_view line, const std::vector<std::string_view>& words) {
  return InColumns(line, words);
}

TEST(LineColumns, NumbersEndAndWordsBeginWhereTheOldOnesDid) {
  EXPECT_EQ(Columns("C1   1  0.1000  0.20 ! note", {"C1", "1", "0.1234", "-10.5"}), "C1   1  0.1234 -10.50 ! note");
  EXPECT_EQ(Columns("C1  1  0.1000", {"O12", "3", "0.1"}), "O12 3  0.1000") << "0.1 is said already";
  EXPECT_EQ(Columns("C1  1  0.10", {"c1", "1", "0.123456"}), "C1  1 0.123456")
      << "letters in either case; no digit lost";
  EXPECT_EQ(Columns("C1  1  0.10000", {"C1", "1", "0.123456"}), "C1  1  0.12346");
  EXPECT_EQ(Columns("C1\t1\t0.10", {"C1", "2", "0.20"}), "C1\t2\t0.20");
  EXPECT_EQ(Columns("C1 1 =\r\n   0.10  0.20\r\n", {"C1", "1", "0.15", "0.25"}), "C1 1 =\r\n   0.15  0.25\r\n");
  EXPECT_EQ(Columns("C1 1 =\n   0.10  0.20", {"C1", "1", "100.15", "0.25"}), "C1 1 =\n   100.15 0.25");
  EXPECT_EQ(Columns("PLAN 20", {"PLAN", "20", "0.5"}), "PLAN 20 0.5");
  EXPECT_EQ(Columns("SIZE 1e-1", {"SIZE", "0.2"}), "SIZE  0.2");
  EXPECT_FALSE(Columns("PLAN 20 1", {"PLAN", "20"}));
  EXPECT_FALSE(Columns("! nothing", {"PLAN"}));
  const std::string full = "SADI " + std::string(73, 'x');
  EXPECT_EQ(Columns(full, {"SADI", std::string(74, 'y')}), "SADI " + std::string(74, 'y'));
  EXPECT_FALSE(Columns(full, {"SADI", std::string(75, 'y')}));
  EXPECT_TRUE(Columns(full + "   ! " + std::string(40, 'n'), {"SADI", std::string(74, 'y')})) << "notes may be longer";
  EXPECT_EQ(WordsInFile("A =b c= ! d = e\n f =\n\tg,h"),
            (std::vector<std::string_view>{"A", "=b", "c", "f", "g", "h"}));
}

TEST(LineSource, AFragmentIsOneLineUpToItsEnd) {
  LineSource source("FRAG 17\nC1 1 0 0 0\nFEND\nC2\nFRAG 18\nC1 1 0 0 0\nEND\nFEND\n");
  SourceLine line;
  ASSERT_TRUE(source.Next(line));
  ASSERT_TRUE(source.TakeFragment(line));
  EXPECT_EQ(source.KeptText(line), "FRAG 17\nC1 1 0 0 0\nFEND");
  ASSERT_TRUE(source.Next(line));
  EXPECT_EQ(line.code, "C2");
  ASSERT_TRUE(source.Next(line));
  EXPECT_FALSE(source.TakeFragment(line)) << "one without an end before END is none";
  ASSERT_TRUE(source.Next(line));
  EXPECT_EQ(line.code, "C1 1 0 0 0");
}

TEST(Instructions, AreTakenApartOnce) {
  const Instruction sadi = ParseInstruction("sadi_cf3 0.02 C1 F1>F3 -1 =\n C2 ! note");
  EXPECT_EQ(sadi.name, "SADI");
  EXPECT_EQ(sadi.residue, "CF3");
  EXPECT_EQ(sadi.numbers, (std::vector<double>{0.02, -1}));
  EXPECT_EQ(sadi.words, (std::vector<std::string>{"C1", "F1", ">", "F3", "C2"}));
  EXPECT_EQ(sadi.all.size(), 7u);
  EXPECT_EQ(ParseInstruction("").name, "");
  EXPECT_EQ(ParseInstruction("C1A 1 0.1 0.2").all, (std::vector<std::string>{"1", "0.1", "0.2"}));
  EXPECT_EQ(ParseInstruction("+sub/a.ins").all, (std::vector<std::string>{"sub/a.ins"}));
  EXPECT_EQ(ParseInstruction("CON 3").name, "CON");
  EXPECT_EQ(WholeNumber(-2.5), -3);
  EXPECT_EQ(WholeNumber(1e9), 1000000);
  EXPECT_EQ(WholeNumber(-1e9), -1000000);
  Document document;
  EXPECT_FALSE(TemperatureOf(document));
  document.instructions.tempLine = "TEMP -173.15";
  EXPECT_EQ(TemperatureOf(document), -173.15);
}

// The texts that act, "Z" behind those before an atom with its name and the residue that they stand in.
TEST(Instructions, ActFromWhereTheyStand) {
  Document document;
  document.residues = {{"ALA", 3, "", "", ""}};
  Instructions& in = document.instructions;
  in.kept = {{KeptPlace::UnderTitle, "DFIX 1 A B", -1},
             {KeptPlace::Body, "DFIX 2 A B", -1},
             {KeptPlace::AfterHklf, "DFIX 3 A B", -1},
             {KeptPlace::Fragment, "FRAG 17", -1},
             {KeptPlace::AfterEnd, "DFIX 4 A B", -1}};
  document.settings.BondLine = "BOND $H";
  RecordingMessages messages;
  AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
  atom->name = "C1";
  atom->MutableExtras().linesBefore = {{KeptPlace::BeforeAtom, "SAME A > B", -1},
                                       {KeptPlace::BeforeAtom, "RESI 3 ALA", -1},
                                       {KeptPlace::BeforeAtom, "ANIS 3", -1}};
  atom->residue = 0;
  document.atoms.LinkAtTail(atom);
  document.atoms.trailingLines = {{KeptPlace::BeforeAtom, "REM x", -1}, {KeptPlace::BeforeAtom, "ANIS", -1}};
  std::string seen;
  ForEachInstructionText(document, [&](const InstructionText& text) {
    seen += text.text + "/" + (text.before ? text.before->name : "") + "/" + std::to_string(text.residue) + "\n";
  });
  EXPECT_EQ(seen, "DFIX 2 A B//-1\nBOND $H//-1\nSAME A > B/C1/-1\nRESI 3 ALA/C1/0\nANIS 3/C1/0\nREM x//0\nANIS//0\n");
  std::string names;
  for (const Instruction& i : InstructionsOf(document)) names += i.name + (i.before ? "*" : "") + " ";
  EXPECT_EQ(names, "DFIX SAME* RESI* ANIS* ANIS ");
  ReplaceInstructions(document, InstructionKeyword::kDfix, {"DFIX 5 A B", "DFIX 6 A B"});
  ReplaceInstructions(document, InstructionKeyword::kAnis, {});
  names.clear();
  for (const Instruction& i : InstructionsOf(document)) names += i.text + ";";
  EXPECT_EQ(names, "DFIX 5 A B;DFIX 6 A B;SAME A > B;RESI 3 ALA;");
  EXPECT_EQ(in.kept[2].text, "DFIX 3 A B") << "what does not act stays";
  EXPECT_EQ(TextInFile(document, "PLAN"), "");
}

}  // namespace
}  // namespace marvik::test
