#include "base/parallel.h"

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

namespace marvik {
namespace {

TEST(Parallel, EveryIndexIsWorkedOnceByAThreadBelowTheirNumber) {
  for (const size_t threads : {0, 1, 3, 9}) {
    std::vector<std::atomic<int>> times(7);
    std::atomic<size_t> highest{0};
    ForEachInParallel(threads, times.size(), [&](size_t index, size_t thread) {
      ++times[index];
      if (thread >= highest) highest = thread;
    });
    for (const auto& count : times) EXPECT_EQ(count, 1);
    EXPECT_LT(highest, std::max<size_t>(threads, 1));
  }
  EXPECT_EQ(ThreadCount(3), 3u);
  EXPECT_GE(ThreadCount(0), 1u);
}

TEST(Parallel, WhatIsThrownComesToTheCallerAndEndsTheRest) {
  std::atomic<int> begun{0};
  const auto work = [&](size_t index, size_t) {
    ++begun;
    if (index == 5) throw std::runtime_error("five");
  };
  EXPECT_THROW(ForEachInParallel(3, 1'000'000, work), std::runtime_error);
  EXPECT_LT(begun, 1'000'000);
}

}  // namespace
}  // namespace marvik
