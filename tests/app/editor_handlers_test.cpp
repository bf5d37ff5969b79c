#include "app/bench_fixture.h"

namespace marvik::test {
namespace {

constexpr int kEditFile = 148;
constexpr int kListing = 166;

class EditorHandlers : public BenchTest {
 protected:
  EditorHandlers() { EXPECT_TRUE(Open()); }
  // An editor that replaces one stretch of the file by another.
  void EditorReplaces(const std::string& from, const std::string& to) {
    bench.hooks.runEditor = [=, this](const std::string& path, bool wait) {
      EXPECT_TRUE(wait);
      std::string text = folder.Get(FileNameOf(path));
      const size_t at = text.find(from);
      EXPECT_NE(at, std::string::npos) << text;
      if (at != std::string::npos) text.replace(at, from.size(), to);
      folder.Put(FileNameOf(path), text);
      return true;
    };
  }
};

TEST_F(EditorHandlers, WhatWasEditedIsReadAndCanBeUndone) {
  EditorReplaces("C2 ", "C7 ");
  Atom("C1")->fract.x = 0.12;  // goes into the file before it is edited
  EXPECT_EQ(Run(kEditFile), Outcome::Done);
  ASSERT_TRUE(Atom("C7"));
  EXPECT_NEAR(Atom("C1")->fract.x, 0.12, 1e-9);
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_TRUE(Atom("C2"));
  EXPECT_TRUE(bench.modified);
}

TEST_F(EditorHandlers, AFileThatWasSpoiledIsReportedAndTheStructureStays) {
  const std::string name = bench.document.CurrentFile;
  EditorReplaces("CELL 0.71073 10 10 10", "CELL 0.71073 0 10 10");
  EXPECT_EQ(Run(kEditFile), Outcome::Failed);
  EXPECT_EQ(messages.shown.back().caption, "Error: File Unreadable");
  EXPECT_TRUE(Atom("C2"));
  EXPECT_EQ(bench.document.CurrentFile, name);
  EXPECT_TRUE(bench.modified) << "the file holds something else";
}

TEST_F(EditorHandlers, AListingIsShownOnlyWhenThereIsOne) {
  std::string shown;
  bench.hooks.runEditor = [&](const std::string& path, bool wait) {
    EXPECT_FALSE(wait);
    shown = path;
    return true;
  };
  EXPECT_EQ(Run(kListing), Outcome::Failed);
  EXPECT_EQ(LastText(), "The listing file\n" + (folder / "small.lst") + "\ndoes not exist or could not be opened!");
  EXPECT_EQ(Captions(), "Error: File Not Found");
  folder.Put("small.lst", "listing\n");
  EXPECT_EQ(Run(kListing), Outcome::Done);
  EXPECT_EQ(shown, folder / "small.lst");
  EXPECT_EQ(Captions(), "");
  // A run that failed has written the instructions and no listing.
  folder.Put("small.ins", kSmallFile);
  std::filesystem::last_write_time(folder / "small.lst", std::filesystem::file_time_type::min());
  EXPECT_EQ(Run(kListing), Outcome::Done);
  EXPECT_EQ(Captions(), "View Listing");
  bench.hooks.runEditor = {};
  EXPECT_EQ(Run(kEditFile), Outcome::Failed);
}

}  // namespace
}  // namespace marvik::test
