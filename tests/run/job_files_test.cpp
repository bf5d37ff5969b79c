#include "run/job_files.h"

#include <sys/stat.h>

#include "run_fixture.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

class JobFiles : public test::RunTest {
 protected:
  std::string base = folder + "job";
};

TEST_F(JobFiles, TheOldResultComesBackWhateverHappened) {
  Put("job.res", "old");
  const auto stamp = StampOf(base + ".res");
  const std::function<void()> harms[] = {[] {}, [&] { Put("job.res", ""); }, [&] { fs::remove(base + ".res"); },
                                         [&] { Put("job.res", "something else"); }};
  for (size_t i = 0; i < std::size(harms); ++i) {
    JobGuard guard(base);
    ASSERT_EQ(guard.KeepResult(), 0);
    EXPECT_FALSE(guard.ResultIsNew());
    harms[i]();
    EXPECT_EQ(guard.ResultIsNew(), i == 1 || i == 3);
    EXPECT_EQ(guard.OldResult(), "old");
    EXPECT_TRUE(guard.PutBack());
    EXPECT_EQ(Get("job.res"), "old") << i;
    EXPECT_EQ(StampOf(base + ".res"), stamp) << "with its time";
  }
  EXPECT_FALSE(fs::exists(base + ".res.old~"));
  // Where there was none, none stays.
  fs::remove(base + ".res");
  JobGuard guard(base);
  ASSERT_EQ(guard.KeepResult(), 0);
  Put("job.res", "new");
  EXPECT_TRUE(guard.ResultIsNew());
  EXPECT_TRUE(guard.PutBack());
  EXPECT_FALSE(fs::exists(base + ".res"));
}

TEST_F(JobFiles, WhatAKilledRunLeftIsKeptUntilItIsTaken) {
  Put("job.res", "half a result");
  Put("job.res.old~", "good");
  {
    JobGuard running(base);
    ASSERT_TRUE(running.Lock());
    EXPECT_FALSE(JobGuard(base).LeftResult()) << "it is that run's";
  }
  // The next run puts it aside.
  {
    JobGuard guard(base);
    ASSERT_EQ(guard.KeepResult(), 0);
    EXPECT_EQ(Get("job.res.old1"), "good");
    EXPECT_EQ(Get("job.res.old~"), "half a result");
  }
  EXPECT_FALSE(fs::exists(base + ".res.old~"));
  fs::rename(base + ".res.old1", base + ".res.old~");
  EXPECT_EQ(JobGuard(base).LeftResult(), "good");
  EXPECT_EQ(JobGuard(base).TakeLeftResult(), 0);
  EXPECT_EQ(Get("job.res"), "good");
  EXPECT_EQ(Get("job.res.bak"), "half a result");
  EXPECT_FALSE(fs::exists(base + ".res.old~"));
  Put("job.res.old~", "good");
  EXPECT_FALSE(JobGuard(base).LeftResult()) << "it is there already";
  EXPECT_FALSE(fs::exists(base + ".res.old~"));
}

TEST_F(JobFiles, FollowsLinksAndKnowsAFreshListing) {
  fs::create_directory(folder + "there");
  Put("there/real.res", "old");
  fs::create_symlink(folder + "there/real.res", base + ".res");
  Put("job.lst", "listing");
  JobGuard guard(base);
  ASSERT_EQ(guard.KeepResult(), 0);
  EXPECT_TRUE(guard.HasListing() && !guard.ListingIsNew());
  Put("job.lst", "listing 2");
  EXPECT_TRUE(guard.ListingIsNew());
  Put("job.res", "new");
  EXPECT_TRUE(guard.PutBack());
  EXPECT_TRUE(fs::is_symlink(base + ".res"));
  EXPECT_EQ(Get("there/real.res"), "old");
}

TEST_F(JobFiles, OneRunInAFolder) {
  fs::create_directory(folder + "there");
  JobGuard other(folder + "there/job");
  EXPECT_TRUE(other.Lock());
  {
    JobGuard first(base);
    JobGuard second(folder + "another");
    EXPECT_TRUE(first.Lock());
    EXPECT_FALSE(second.Lock());
  }
  EXPECT_TRUE(JobGuard(base).Lock());
}

TEST_F(JobFiles, StepsAreListedAndBounded) {
  const StepHistory history(base);
  EXPECT_TRUE(history.Steps().empty());
  for (int i = 0; i < 52; ++i) {
    ASSERT_EQ(
        history.Add("content " + std::to_string(i), i ? std::optional(0.1 / i) : std::nullopt, 40 + i, 1763716939 + i),
        0);
  }
  std::ofstream(history.Folder() + "note.txt") << "mine";
  const auto steps = history.Steps();
  ASSERT_EQ(steps.size(), StepHistory::kMostSteps);
  EXPECT_EQ(steps.front().number, 2);
  EXPECT_EQ(steps.back().number, 51);
  EXPECT_EQ(steps.back().time, 1763716939 + 51);
  EXPECT_EQ(steps.back().r1, 0.002);
  EXPECT_EQ(steps.back().atoms, 91);
  EXPECT_EQ(ReadWholeFile(steps.back().path).content, "content 51");
  EXPECT_EQ(fs::path(steps.front().path).filename(), "step-0002_20251121-092221_R1-0.0500_42-atoms.res");
  const StepHistory other(folder + "other");
  ASSERT_EQ(other.Add("", std::nullopt, 0, 0), 0);
  EXPECT_FALSE(other.Steps().at(0).r1);
  ASSERT_EQ(other.Add(std::string(70u << 20, 'x'), 0.05, 1, 951782400), 0) << "larger than the folder may be";
  ASSERT_EQ(other.Steps().size(), 1u) << "the latest stays";
  EXPECT_EQ(other.Steps().at(0).time, 951782400);
  EXPECT_EQ(fs::path(other.Steps().at(0).path).filename().string().substr(10, 15), "20000229-000000");
}

}  // namespace
}  // namespace marvik
