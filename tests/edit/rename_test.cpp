#include <gtest/gtest.h>

#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/keywords.h"

namespace marvik::test {
namespace {

const std::string kHead = "TITL t\nCELL 0.7 10 10 10 90 90 90\nLATT -1\nSFAC C N\nUNIT 4 4\nFVAR 1\n";
const std::string kAtoms = "C1 1 .1 .2 .3 11 .05\nC2 1 .2 .2 .3\nN1 2 .3 .2 .3\nRESI 3 ALA\nC1 1 .4 .2 .3\n";

// The file after C1 outside of all residues has been called C77.
std::string Renamed(const std::string& text) {
  Document document;
  RecordingMessages messages;
  EXPECT_TRUE(ReadInstructionText(document, text, messages));
  ElementChooser elements(document, messages);
  RenameAtom(document, document.atoms.head, "C77", elements);
  std::string saved;
  EXPECT_TRUE(ComposeInstructionText(document, saved, messages));
  return saved;
}

}  // namespace

// What takes names is renamed in, what does not is left alone, before the atoms, among them and behind the last.
TEST(Rename, EveryInstructionOfTheTableKeepsItsMeaning) {
  for (int code = 0; code < kAllKeywords; ++code) {
    const auto keyword = static_cast<InstructionKeyword>(code);
    const KeywordRow& row = RowOf(keyword);
    using enum InstructionKeyword;
    const bool ends = keyword == kHklf || keyword == kEnd || keyword == kFrag || keyword == kFend;
    if (!IsInstruction(keyword) || ends || keyword == kCell || keyword == kResi || keyword == kSfac) continue;
    const std::string words = row.takes == Takes::LabelNames ? " C1 C1 C1_3 C2 ! C1" : " C1 C1_3 C2 ! C1";
    const std::string wanted = row.takes == Takes::LabelNames ? " C1 C77 C1_3 C2 ! C1"
                               : row.TakesNames()             ? " C77 C1_3 C2 ! C1"
                                                              : words;
    const std::string spelling(row.spelling);
    for (const bool among : {false, true}) {
      if (among && (keyword == kTitl || keyword == kUnit)) continue;
      const std::string line = spelling + words + "\n";
      const std::string before =
          kHead + (among ? "" : line) + kAtoms + (among ? "RESI 0\n" + line : "") + "HKLF 4\nEND\n";
      std::string after = before;
      const size_t at = after.find(line);
      after.replace(at, line.size(), spelling + wanted + "\n");
      const size_t atom = after.find("\nC1 1 .1") + 1;
      after.replace(atom, 2, "C77");
      EXPECT_EQ(Renamed(before), after) << spelling;
    }
  }
}

TEST(Rename, ResiduesRangesAndContinuedLines) {
  const auto check = [](const std::string& line, const std::string& wanted) {
    const std::string saved = Renamed(kHead + line + "\n" + kAtoms + "HKLF 4\nEND\n");
    EXPECT_NE(saved.find("\n" + wanted + "\n"), std::string::npos) << saved;
  };
  check("SADI_3 C1 C2 C1_0 C2", "SADI_3 C1 C2 C77_0 C2");
  check("SADI_ALA C1 C2", "SADI_ALA C1 C2");
  check("ISOR C1>C2 c1_$1 C11", "ISOR C77>C2 C77_$1 C11");
  check("DFIX 1.5 C2 =\n  C1", "DFIX 1.5 C2 =\n  C77");
  check("ANIS C1", "ANIS C77");
  // Within a residue its own atoms are meant where it has any of the name.
  const std::string inside = kHead + "C1 1 .1 .2 .3\nN1 2 .3 .2 .3\nRESI 3 ALA\nSADI C1 N1\nC1 1 .4 .2 .3\nEND\n";
  EXPECT_NE(Renamed(inside).find("\nSADI C1 N1\n"), std::string::npos);
  Document document;
  RecordingMessages messages;
  ASSERT_TRUE(ReadInstructionText(document, inside, messages));
  ElementChooser elements(document, messages);
  RenameAtom(document, document.atoms.head->next, "N5", elements);
  std::string saved;
  ASSERT_TRUE(ComposeInstructionText(document, saved, messages));
  EXPECT_NE(saved.find("\nSADI C1 N5\n"), std::string::npos) << saved;
}

TEST(Rename, ASameOfKilledAtomsMayBeTakenOut) {
  for (const bool takeOut : {false, true}) {
    const std::string text = kHead + kAtoms + "RESI 0\nSAME C1 C2\nC5 1 .1 .1 .1\nC6 1 .1 .1 .2\nEND\n";
    Document document;
    RecordingMessages messages;
    ASSERT_TRUE(ReadInstructionText(document, text, messages));
    messages.answers = {takeOut};
    document.atoms.KillAtom(document.atoms.FindAtom("C2"));
    TellOfLinesNaming(document, {"C2"}, messages);
    ASSERT_EQ(messages.asked.size(), 1u);
    EXPECT_NE(messages.asked[0].text.find("Couldn't find C2 in the atom list."), std::string::npos);
    std::string saved;
    EXPECT_TRUE(ComposeInstructionText(document, saved, messages));
    EXPECT_EQ(saved.find("SAME") == std::string::npos, takeOut) << saved;
  }
}

}  // namespace marvik::test
