#include "base/late_library.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(LateLibrary, IsWholeWithEveryFunctionThatWasLookedFor) {
  double (*cosine)(double) = nullptr;
  LateLibrary mathematics({"libno-such-library.so.0", "libm.so.6"});
  mathematics.Find(cosine, "cos");
  ASSERT_TRUE(mathematics.IsWhole());
  EXPECT_EQ(cosine(0.0), 1.0);
  mathematics.Find(cosine, "no_such_function");
  EXPECT_FALSE(mathematics.IsWhole());
  EXPECT_FALSE(LateLibrary({"libno-such-library.so.0"}).IsWhole());
}

}  // namespace
}  // namespace marvik
