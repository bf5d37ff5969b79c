#include "app/open_save.h"

#include "app/bench_fixture.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::kSmallFile;
using test::WithVariable;

TEST_F(BenchTest, AFailedReadLeavesEverythingAsItWas) {
  ASSERT_TRUE(Open());
  EXPECT_FALSE(OpenFile(bench, folder / "missing.res"));
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].caption, "Error: File Unreadable");
  EXPECT_EQ(messages.shown[0].text, "This file is either missing, empty or corrupt:\n" + (folder / "missing.res"));
  EXPECT_TRUE(Atom("C1"));
  EXPECT_EQ(bench.document.CurrentFile, folder / "small.res");
  for (const char* bad : {"", "no instruction file\n", "TITL x\nCELL 0.7 0 10 10 90 90 90\n"}) {
    EXPECT_FALSE(OpenFile(bench, folder.Put("bad.res", bad))) << bad;
    EXPECT_EQ(bench.Title(), "small.res");
  }
  EXPECT_TRUE(Bond("C1", "C2"));
  EXPECT_FALSE(OpenFile(bench, folder / ""));
  EXPECT_EQ(folder.Get("small.res"), kSmallFile);
}

TEST_F(BenchTest, UndoToTheSavedStateIsNoChange) {
  ASSERT_TRUE(Open());
  const auto rename = [&](const char* text) { ASSERT_EQ(Run(kRenameAtomCommand, text), Outcome::Changed); };
  rename("C1 C8");
  EXPECT_TRUE(bench.modified);
  Run(kUndoCommand);
  EXPECT_FALSE(bench.modified);
  Run(kRedoCommand);
  EXPECT_TRUE(bench.modified);
  ASSERT_EQ(Run(kSaveCommand), Outcome::Done);
  // What only the view shows is no change, forth and back.
  ASSERT_EQ(Run(kSelectAtomsCommand, "C2"), Outcome::Done);
  ASSERT_EQ(Run(243), Outcome::Changed);
  EXPECT_FALSE(bench.modified);
  for (const int id : {kUndoCommand, kRedoCommand, kUndoCommand}) {
    ASSERT_EQ(Run(id), Outcome::Changed);
    EXPECT_FALSE(bench.modified) << id;
  }
  Run(kUndoCommand);
  EXPECT_TRUE(bench.modified) << "before what was saved";
  ASSERT_TRUE(Open());
  EXPECT_EQ(bench.history.UndoName() + bench.history.RedoName(), "");
}

constexpr char kSmallCif[] =
    "data_x\n_cell_length_a 9\n_cell_length_b 9\n_cell_length_c 9\nloop_ _symmetry_equiv_pos_as_xyz x,y,z -x,-y,-z\n"
    "loop_ _atom_site_label _atom_site_fract_x _atom_site_fract_y _atom_site_fract_z C1 .1 .1 .1 O1 .2 .1 .1\n";

TEST_F(BenchTest, ACifThatCannotBeTranslatedChangesNothing) {
  ASSERT_TRUE(Open());
  for (const bool window : {false, true}) {
    bench.keepsRecentFiles = window;
    EXPECT_FALSE(OpenFile(bench, folder.Put("x.CIF", "data_x\n")));
    EXPECT_FALSE(OpenFile(bench, folder / "missing.cif"));
    ASSERT_EQ(messages.shown.size(), 2u);
    EXPECT_EQ(messages.shown[1].text, "Couldn't translate the .cif file to the .res format.");
    EXPECT_EQ(Captions(), "Translation Error:|Translation Error:");
  }
  EXPECT_FALSE(folder.Has("x_cif.res"));
  EXPECT_EQ(bench.Title(), "small.res");
  EXPECT_TRUE(bench.document.atoms.head);
  const std::string atoms = kSmallCif + std::string(kSmallCif).find("loop_ _atom");
  const std::pair<std::string, const char*> kReasons[] = {
      {"nothing\n", "It has no data block, so it is no CIF."},
      {"data_x\n", "It has no atom sites with fractional coordinates."},
      {"data_x\ndata_y\n", "None of its 2 data blocks has atom sites with fractional coordinates."},
      {"data_x\n" + atoms, "data_x has no _cell_length_a."},
      {"data_x _cell_length_a a\n" + atoms, "data_x has no number for _cell_length_a: \"a\"."},
      {"data_x _cell_length_a 9 _cell_length_b 0 _cell_length_c 9 " + atoms,
       "The cell of data_x is impossible: 9 0 9 90 90 90."},
  };
  for (const auto& [text, reason] : kReasons) {
    messages.shown.clear();
    EXPECT_FALSE(OpenFile(bench, folder.Put("r.cif", text)));
    ASSERT_FALSE(messages.shown.empty());
    EXPECT_TRUE(messages.shown[0].text.ends_with(std::string(".\n") + reason)) << messages.shown[0].text;
  }
}

TEST_F(BenchTest, ACifOpensAsItsTranslation) {
  const std::string cif = folder.Put("x.Cif", kSmallCif);
  ASSERT_TRUE(OpenFile(bench, cif));
  EXPECT_EQ(bench.document.CurrentFile, folder / "x_cif.res");
  EXPECT_TRUE(Atom("O1"));
  EXPECT_EQ(test::BondsOf(bench.document.atoms), "C1-O1");
  EXPECT_FALSE(folder.Has("x_cif.res")) << "without a window nothing is left behind";

  const WithVariable package(kPackageVariable, folder / "");
  bench.keepsRecentFiles = true;
  ASSERT_TRUE(Run(100, cif) == Outcome::Done);
  EXPECT_EQ(bench.Title(), "x_cif.res");
  EXPECT_EQ(folder.Get("marvikrf.ini"), (folder / "x_cif.res") + "\n\n\n\n");
  const std::string translation = folder.Get("x_cif.res");
  ASSERT_TRUE(translation.starts_with("TITL  x ")) << translation;
  folder.Put("x_cif.res", kSmallFile);
  messages.answers = {false, true};
  EXPECT_FALSE(OpenFile(bench, cif));
  EXPECT_EQ(folder.Get("x_cif.res"), kSmallFile);
  EXPECT_TRUE(OpenFile(bench, cif));
  EXPECT_EQ(folder.Get("x_cif.res"), translation);
  EXPECT_EQ(folder.Get("x_cif.res.bak"), kSmallFile);
  EXPECT_EQ(Captions(), "");
}

// In standard layout what goes is shown, each by what it is.
TEST_F(BenchTest, SecondInstructionsAreNoRemarks) {
  std::string text = kSmallFile;
  text.insert(text.find("REM first"), "L.S. 7 ! more\nPLAN 5\nPLAN 9\n");
  ASSERT_TRUE(Open(text, "small.res"));
  bench.saveLayout = FileLayout::Standard;
  ASSERT_TRUE(SaveCurrentFile(bench));
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(
      messages.shown[0].text,
      "Remarks and comments are not kept. These will not be in small.res:\nREM first remark\n\nOf instructions that "
      "are given twice the last one holds. These will not be in small.res:\nL.S. 4\nPLAN 5");
}

TEST_F(BenchTest, SavingKeepsWhatOthersWroteOnce) {
  const std::string path = folder.Put("small.res", kSmallFile);
  ASSERT_TRUE(OpenFile(bench, path));
  Run(203);
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(folder.Get("small.res.bak"), kSmallFile);
  EXPECT_EQ(folder.Get("small.res").find("\nQ1"), std::string::npos);
  Run(130, "H1");
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_EQ(folder.Get("small.res.bak"), kSmallFile) << "the first backup is the one to keep";
  EXPECT_EQ(folder.Get("small.res").find("\nH1"), std::string::npos);
}

TEST_F(BenchTest, LostRemarksAreShownOnceAndFirst) {
  const std::string path = folder.Put("small.res", std::string(kSmallFile) + "REM\n");
  ASSERT_TRUE(OpenFile(bench, path));
  EXPECT_EQ(Run(102, folder / "same.res"), Outcome::Done);
  EXPECT_EQ(folder.Get("same.res"), folder.Get("small.res"));
  EXPECT_EQ(Captions(), "");
  bench.saveLayout = FileLayout::Standard;
  ASSERT_TRUE(OpenFile(bench, path));
  EXPECT_EQ(Run(102, folder / "sub/none.res"), Outcome::Failed);
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_EQ(messages.shown[0].caption, "Remarks Not Kept");
  EXPECT_EQ(messages.shown[0].icon, MessageIcon::Information);
  EXPECT_NE(messages.shown[0].text.find("REM first remark"), std::string::npos);
  EXPECT_EQ(messages.shown[1].caption, "Error: File I/O");
  EXPECT_EQ(bench.Title(), "small.res");
  messages.shown.clear();
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_EQ(Run(102, folder / "other.ins"), Outcome::Done);
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_EQ(Captions(), "");
}

TEST_F(BenchTest, AFileChangedOnDiskIsAskedAbout) {
  const std::string path = folder.Put("small.res", kSmallFile);
  ASSERT_TRUE(OpenFile(bench, path));
  ASSERT_EQ(Run(101), Outcome::Done);
  EXPECT_TRUE(messages.asked.empty());
  const std::string foreign = std::string(kSmallFile) + "REM by somebody else\n";
  folder.Put("small.res", foreign);
  messages.answers = {false, true};
  EXPECT_EQ(Run(101), Outcome::Failed);
  EXPECT_EQ(folder.Get("small.res"), foreign);
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_EQ(folder.Get("small.res.bak"), foreign) << "not this program's content, so it is kept";
  ASSERT_EQ(messages.asked.size(), 2u);
  EXPECT_EQ(messages.asked[0].caption, "File Changed on Disk");

  std::filesystem::remove(path);
  EXPECT_EQ(Run(101), Outcome::Done);
  EXPECT_TRUE(folder.Has("small.res"));
  EXPECT_EQ(messages.asked.size(), 2u) << "nothing there to overwrite";
}

TEST_F(BenchTest, SaveWithoutAFileWritesNoname) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder / "");
  EXPECT_EQ(Run(101), Outcome::Done);
  std::filesystem::current_path(before);
  EXPECT_TRUE(folder.Has("noname.ins"));
  EXPECT_EQ(bench.Title(), "noname.ins");
}

TEST_F(BenchTest, SaveAsAndSaveAllMakeTheNameCurrent) {
  ASSERT_TRUE(Open());
  EXPECT_EQ(bench.Title(), "small.res");
  EXPECT_EQ(Run(230, folder / "all.ins"), Outcome::Done);
  EXPECT_FALSE(bench.SaveAllPending);
  EXPECT_EQ(bench.Title(), "all.ins");
  EXPECT_EQ(Run(102, folder / "no_extension"), Outcome::Done);
  EXPECT_EQ(bench.Title(), "no_extension");
  bench.hooks.askArgument = [](int) { return std::nullopt; };
  EXPECT_EQ(Run(102), Outcome::Cancelled);
}

}  // namespace
}  // namespace marvik
