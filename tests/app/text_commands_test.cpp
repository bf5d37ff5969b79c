#include "app/bench_fixture.h"
#include "app/structure_text.h"
#include "run/job_files.h"

namespace marvik::test {
namespace {

std::string With(std::string text, const std::string& before, const std::string& after) {
  const size_t at = text.find(before);
  EXPECT_NE(at, std::string::npos) << before;
  return at == std::string::npos ? text : text.replace(at, before.size(), after);
}

class TextCommands : public BenchTest {
 protected:
  TextCommands() {
    bench.hooks.showText = [this](const std::string& title, const std::string& text) {
      titles += title + "\n";
      shown = text;
    };
    bench.FmolAfterChanges = false;
  }

  std::string titles;
  std::string shown;
};

TEST(TextLines, LinesGiveWayAndAllOtherBytesStay) {
  struct Case {
    const char* text;
    size_t first, count;
    std::vector<std::string> lines;
    const char* result;
  };
  const Case cases[] = {
      {"a\nb\nc\n", 1, 1, {"x"}, "a\nx\nc\n"},
      {"a\nb\nc\n", 1, 2, {}, "a\n"},
      {"a\r\nb\nc", 0, 2, {"x", "y", "z"}, "x\r\ny\nz\r\nc"},
      {"a\nb", 1, 1, {"x"}, "a\nx"},
      {"a\nb", 1, 1, {}, "a"},
      {"a\nb\n", 2, 1, {"x"}, "a\nb\nx"},
      {"a\nb", 2, 0, {"x"}, "a\nb\nx"},
      {"a\nb\n", 0, 0, {"x", ""}, "x\n\na\nb\n"},
      {"a\rb\rc", 1, 1, {"x", "y"}, "a\rx\ry\rc"},
      {"", 0, 1, {"x", "y"}, "x\ny"},
      {"a\n", 0, 9, {}, ""},
      {"a\n", 7, 9, {"x"}, "a\n\nx"},
  };
  for (const Case& c : cases) EXPECT_EQ(TextLines(c.text).With(c.first, c.count, c.lines), c.result) << c.text;
}

TEST_F(TextCommands, AStepBackGivesTheBytesBack) {
  const std::string text =
      "REM\tfirst\nTITL t  \nCELL 0.7 10 10 10 90 90 90\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C H N\nUNIT 4 4 4\n\n"
      "DFIX 1.5 C1 C2 ! why\nHFIX 43 C2\nBIND C1 N1\nFVAR 0.02\nREM of C1\nC1   1 .1  .2 .3 11 0.05\nAFIX 43\n"
      "H1 2 .1 .29 .3 11 -1.2\nAFIX 0\nPART 1 21\n C2\t1 .2 .2 .3 11 0.05\nPART 0\nN1 3 .3 .2 .3 11 0.04 ! n\n\n"
      "HKLF 4\n \nREM last\nEND\nQ1 1 .5 .5 .5 11 0.05 1.5\n";
  ASSERT_TRUE(Open(text));
  const std::pair<int, const char*> edits[] = {
      {kRenameAtomCommand, "C1 C9"},
      {kEditAtomCommand, "C2 x=0.25"},
      {kKillSelectedCommand, ""},
      {kSortCommand, "N C H"},
      {kRestoreCommand, "*"},
      {kChangePartCommand, "part=2"},
      {203, ""},
      {kEditLinesCommand, "1 1 REM x"},
      {153, ""},
  };
  std::vector<std::string> texts{text};
  for (const auto& [id, argument] : edits) {
    RunCommand(bench, kSelectAtomsCommand, "=C2 H1");
    EXPECT_EQ(RunCommand(bench, id, argument), Outcome::Changed) << id;
    if (TextOfStructure(bench) != texts.back()) texts.push_back(TextOfStructure(bench));
  }
  EXPECT_GE(texts.size(), 8u);
  for (const int id : {kUndoCommand, kRedoCommand, kUndoCommand}) {
    size_t at = id == kUndoCommand ? texts.size() - 1 : 0;
    while (CommandEnabled(bench, id)) {
      RunCommand(bench, id);
      if (TextOfStructure(bench) == texts[at]) continue;  // what no file holds
      id == kUndoCommand ? --at : ++at;
      ASSERT_LT(at, texts.size());
      EXPECT_EQ(TextOfStructure(bench), texts[at]);
    }
    EXPECT_EQ(at, id == kUndoCommand ? 0u : texts.size() - 1);
  }
}

TEST_F(TextCommands, EditedLinesAreOneStepAndAtomsStayWhoTheyAre) {
  ASSERT_TRUE(Open());
  Run(kSelectAtomsCommand, "C2 O1");
  Atom("O2")->Set(kHidden, true);
  Atom("C1")->flags2 |= kLabelOff;
  BondRecord* bond = Bond("C1", "C2");
  ASSERT_TRUE(bond);
  bond->SetOrder(kDouble);
  const uint32_t serial = Atom("C2")->serial;
  // Lines 10 and 11 are C1 and C2.
  EXPECT_EQ(Run(kEditLinesCommand, "10 1 C1 1 0.11 0.10 0.10 11.0 0.05 ! moved"), Outcome::Changed);
  EXPECT_EQ(TextOfStructure(bench),
            With(kSmallFile, "C1 1 0.10 0.10 0.10 11.0 0.05", "C1 1 0.11 0.10 0.10 11.0 0.05 ! moved"));
  EXPECT_EQ(Atom("C2")->serial, serial);
  ASSERT_EQ(bench.document.atoms.selection.Size(), 2u);
  EXPECT_EQ(bench.document.atoms.selection[1], Atom("O1"));
  EXPECT_TRUE(Atom("O2")->Has(kHidden));
  EXPECT_TRUE(Atom("C1")->flags2 & kLabelOff);
  bond = Bond("C1", "C2");
  EXPECT_TRUE(bond && bond->Order() == kDouble);
  EXPECT_TRUE(bench.modified);
  EXPECT_EQ(Run(kEditLinesCommand, "11 1"), Outcome::Changed);
  EXPECT_FALSE(Atom("C2"));
  EXPECT_EQ(bench.history.Levels(), 2u);
  Run(kUndoCommand);
  Run(kUndoCommand);
  EXPECT_EQ(TextOfStructure(bench), kSmallFile);
  EXPECT_EQ(bench.document.CurrentFile, folder / "small.res");

  // What is no structure changes nothing.
  EXPECT_EQ(Run(kEditLinesCommand, "2 1 CELL 0.7 0 0 0 90 90 90"), Outcome::Failed);
  EXPECT_EQ(Run(kEditLinesCommand, "0 1 x"), Outcome::Failed);
  EXPECT_EQ(Run(kEditLinesCommand, "1 x"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: File Unreadable|Command Usage Error:|Command Usage Error:");
  EXPECT_EQ(TextOfStructure(bench), kSmallFile);
}

TEST_F(TextCommands, TheLinesOfAtomsAreFoundWhereverTheyStand) {
  const std::string text =
      "TITL t\nCELL 0.7 10 10 10 90 90 90\nSFAC C\nUNIT 4\nSADI C1 =\n  C2\nFVAR 1\nRESI 1 A\nC1 1 .1 .1 .1 11 0.01 =\n"
      " 0.01 0.01 0 0 0\nRESI 2 A\nC1 1 .2 .2 .2\nREM C1 1 0 0 0\nHKLF 4\nEND\nQ1 1 .5 .5 .5 11 0.05 1.0\n";
  ASSERT_TRUE(Open(text));
  const auto lines = FindAtomLines(TextLines(text), bench.document);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].first, 8u);
  EXPECT_EQ(lines[0].last, 9u);
  EXPECT_EQ(lines[0].serial, bench.document.atoms.head->serial);
  EXPECT_EQ(lines[1].first, 11u);
  EXPECT_EQ(lines[1].serial, bench.document.atoms.head->next->serial);
  EXPECT_EQ(lines[2].first, 15u);
}

TEST_F(TextCommands, ComparesFileStepsAndWhatIsThere) {
  ASSERT_TRUE(Open());
  Run(kCompareCommand, "old=disk new=current");
  EXPECT_EQ(shown, "The two say the same.\n");
  Run(kRenameAtomCommand, "C2 C7");
  Run(kCompareCommand, "old=disk");
  EXPECT_EQ(shown, "C2 is now C7\n");
  const std::string base = folder / "small";
  EXPECT_EQ(StepHistory(base).Add(kSmallFile, 0.05, 6, 1000), 0);
  EXPECT_EQ(StepHistory(base).Add(With(kSmallFile, "O1 4 0.43", "O1 4 0.44"), 0.04, 6, 2000), 0);
  Run(kCompareCommand, "old=0 new=1");
  EXPECT_EQ(shown, "O1 moved by 0.1000 \xC3\x85\n");
  EXPECT_EQ(titles,
            "small.res, the file -> small.res, as it is now\nsmall.res, the file -> small.res, as it is now\n"
            "step 0 -> step 1\n");
  shown.clear();
  Run(kCompareCommand, "old=7 new=1");
  Run(kCompareCommand, "new=" + (folder / "nowhere.res"));
  EXPECT_EQ(Captions(), "Error: File Not Found|Error: File Unreadable");
  EXPECT_EQ(shown, "");
}

TEST_F(TextCommands, WhatAnotherProgramWritesIsNoticed) {
  ASSERT_TRUE(Open());
  const auto touch = [this] {
    const auto path = std::filesystem::path(folder / "small.res");
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds(5));
  };
  EXPECT_FALSE(ChangedOnDisk(bench));
  touch();
  EXPECT_FALSE(ChangedOnDisk(bench)) << "it says the same";
  Run(kRenameAtomCommand, "C2 C7");
  touch();
  EXPECT_FALSE(ChangedOnDisk(bench)) << "what is unsaved here is no change there";
  Run(kSaveCommand);
  EXPECT_FALSE(ChangedOnDisk(bench));
  folder.Put("small.res", kSmallFile);
  touch();
  EXPECT_TRUE(ChangedOnDisk(bench)) << "somebody put the old one back";
  KeepDespiteDisk(bench);
  EXPECT_FALSE(ChangedOnDisk(bench));
  EXPECT_TRUE(bench.modified);

  // By renaming another file over it; to read it is one step of undo.
  std::filesystem::rename(folder.Put("other", With(kSmallFile, "O1 4 0.43", "O9 4 0.44")), folder / "small.res");
  EXPECT_TRUE(ChangedOnDisk(bench));
  Run(kReloadCommand);
  EXPECT_FALSE(ChangedOnDisk(bench));
  EXPECT_FALSE(bench.modified);
  EXPECT_TRUE(Atom("O9"));
  Run(kUndoCommand);
  EXPECT_TRUE(Atom("C7"));
  EXPECT_TRUE(bench.modified);
  folder.Put("small.res", "nonsense");
  EXPECT_EQ(Run(kReloadCommand), Outcome::Failed);
  EXPECT_TRUE(Atom("C7"));
  EXPECT_EQ(Captions(), "Error: File Unreadable");
}

TEST_F(TextCommands, OpeningMovesNothingAndTellsHowManyAtomsCouldBe) {
  // O1 is bonded to the image of C1 by the inversion only.
  const std::string text =
      "TITL t\nCELL 0.7 10 10 10 90 90 90\nLATT 1\nSFAC C O\nUNIT 2 2\nFVAR 1\nC1 1 .1 .1 .1\nC2 1 .25 .1 .1\n"
      "O1 2 -.1 -.1 -.22\nHKLF 4\nEND\n";
  bench.FmolAfterChanges = true;
  ASSERT_TRUE(Open(text));
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(AtomsApart(bench.document), 1u);
  EXPECT_EQ(TextOfStructure(bench), text);
  bench.RefreshAfterStructureChange(bench.FmolAfterChanges);
  EXPECT_EQ(AtomsApart(bench.document), 0u);
  ASSERT_TRUE(Open(text));
  EXPECT_EQ(Run(kFmolCommand), Outcome::Changed);
  EXPECT_EQ(TextOfStructure(bench), With(text, "O1 2 -.1 -.1 -.22", "O1 2 0.1 0.1 0.22"));
  EXPECT_EQ(AtomsApart(bench.document), 0u);
}

}  // namespace
}  // namespace marvik::test
