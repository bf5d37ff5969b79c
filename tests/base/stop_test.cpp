#include "base/stop.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(StopScope, HoldsWhileItLivesAndGivesBackTheOneBefore) {
  std::stop_source outer, inner;
  {
    const StopScope work(outer.get_token());
    {
      const StopScope part(inner.get_token());
      inner.request_stop();
      EXPECT_TRUE(StopWanted());
    }
    EXPECT_FALSE(StopWanted());
    outer.request_stop();
    EXPECT_TRUE(StopWanted());
  }
  EXPECT_FALSE(StopWanted());
}

}  // namespace
}  // namespace marvik
