#include "app/autosave.h"

#include "app/bench_fixture.h"

namespace marvik {
namespace {

class AutosaveTest : public test::BenchTest {
 protected:
  test::WithVariable package{kPackageVariable, folder / ""};
  std::string file = folder.Put("small.res", test::kSmallFile);
  Autosave autosave{bench};
};

TEST_F(AutosaveTest, WhatAProcessLeavesIsOfferedAndRestored) {
  ASSERT_TRUE(OpenFile(bench, file));
  test::InAnotherProcess([&] {
    Run(kKillSelectedCommand);
    Run(kSelectAtomsCommand, "C*");
    Run(kKillSelectedCommand);
    autosave.Keep();
  });
  ASSERT_EQ(Autosave::Left().size(), 1u);
  EXPECT_EQ(Autosave::Left(folder / "other.res").size(), 0u);
  const auto left = Autosave::Left(file);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_NEAR(static_cast<double>(left[0].time), static_cast<double>(std::time(nullptr)), 20.0);
  const auto read = std::exchange(bench.document.stamp, {});
  ASSERT_TRUE(autosave.Restore(left[0]));
  EXPECT_EQ(bench.document.stamp, read) << "what another program writes now is noticed";
  EXPECT_FALSE(Atom("C1"));
  EXPECT_TRUE(Atom("O1"));
  EXPECT_TRUE(bench.modified);
  EXPECT_EQ(bench.document.CurrentFile, file);
  EXPECT_TRUE(Autosave::Left().empty()) << "it is this process's own now";
  EXPECT_EQ(folder.Get("small.res"), test::kSmallFile);
  EXPECT_TRUE(SaveCurrentFile(bench));
  EXPECT_EQ(folder.Get("small.res.bak"), test::kSmallFile);
  EXPECT_FALSE(std::filesystem::is_empty(folder / "autosave"));
  autosave.Keep();
  EXPECT_TRUE(std::filesystem::is_empty(folder / "autosave")) << "nothing is unsaved";
}

TEST_F(AutosaveTest, AModelThatIsBeingFoundIsNobodysWork) {
  ASSERT_TRUE(OpenFile(bench, file));
  bench.SetModified(true);
  bench.refining = true;
  autosave.Keep();
  EXPECT_FALSE(folder.Has("autosave"));
  bench.refining = false;
  autosave.Keep();
  EXPECT_TRUE(folder.Has("autosave"));
}

TEST_F(AutosaveTest, FollowsEditsAndGoesWithThem) {
  autosave.Keep();
  EXPECT_FALSE(folder.Has("autosave"));
  ASSERT_TRUE(OpenFile(bench, file));
  const auto text = [&] {
    for (const auto& entry : std::filesystem::directory_iterator(folder / "autosave"))
      return ReadWholeFile(entry.path().string()).content;
    return std::string();
  };
  Run("kill-peaks");
  autosave.Keep();
  EXPECT_NE(text().find("O2"), std::string::npos);
  EXPECT_EQ(text().find("Q1"), std::string::npos);
  Run(kSelectAtomsCommand, "O2");
  Run(kKillSelectedCommand);
  autosave.Keep();
  EXPECT_EQ(text().find("O2"), std::string::npos);
  Run(kUndoCommand);
  autosave.Keep();
  EXPECT_NE(text().find("O2"), std::string::npos);
  EXPECT_TRUE(Autosave::Left().empty()) << "this process lives";
  autosave.Remove();
  EXPECT_TRUE(std::filesystem::is_empty(folder / "autosave"));
}

TEST_F(AutosaveTest, RubbishIsNotOffered) {
  std::filesystem::create_directory(folder / "autosave");
  for (const char* rubbish : {"", "marvik autosave 1\n", "x\n1 2 3 4\n", "x\n1 2 3\n4\n", "x\n1 2 3 4\n-1\n\n\n",
                              "x\n1 2 3 4\n9\n/a\n\n", "x\n1 2 3 4\n1e300\n"}) {
    folder.Put("autosave/a.autosave", "marvik autosave 1\n" + std::string(rubbish));
    EXPECT_TRUE(Autosave::Left().empty()) << rubbish;
  }
  EXPECT_FALSE(autosave.Restore({folder / "autosave/a.autosave", "", 0}));
  EXPECT_EQ(Captions(), "Error: File Unreadable");
}

}  // namespace
}  // namespace marvik
