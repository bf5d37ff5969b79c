#include "model/coded_values.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(CodedValues, StandForWhatTheFreeVariablesSay) {
  const std::vector<float> variables{0.75f, 0.25f};  // FVAR 2 and 3
  const std::pair<double, double> kCases[] = {
      {0.3, 0.3},    {4.9, 4.9},   {-1.2, -1.2},   {10.5, 0.5},  {-10.25, -0.25}, {21.0, 0.75}, {-21.0, 0.25},
      {20.5, 0.375}, {31.0, 0.25}, {-30.5, 0.375}, {41.0, 41.0}, {-41.0, -41.0},  {2e6, 2e6}};
  for (const auto& [coded, value] : kCases) EXPECT_NEAR(DecodedValue(coded, variables), value, 1e-12) << coded;
  EXPECT_EQ(DecodedValue(21.0, {}), 21.0) << "a variable that is not there";
}

}  // namespace
}  // namespace marvik
