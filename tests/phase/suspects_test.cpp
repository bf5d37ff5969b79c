#include "phase/completion/suspects.h"

#include <gtest/gtest.h>

#include "base/numbers.h"

namespace marvik::phase {
namespace {

// A chain with 1.5 Å between its atoms, whose displacements are given.
std::vector<std::string> OfChain(const std::vector<double>& u) {
  std::string text = "TITL chain\nCELL 0.71073 30 10 10 90 90 90\nLATT -1\nSFAC C\nUNIT 9\nFVAR 1\n";
  for (size_t i = 0; i < u.size(); ++i)
    AppendPrintf(text, "C%zu 1 %.2f 0.5 0.5 11 %.4f\n", i + 1, 0.1 + 0.05 * i, u[i]);
  return Suspects(text + "HKLF 4\nEND\n");
}

TEST(Suspects, MoveOtherwiseThanTheirNeighbours) {
  using Names = std::vector<std::string>;
  EXPECT_EQ(OfChain({0.03, 0.03, 0.03, 0.03, 0.03}), Names{});
  EXPECT_EQ(OfChain({0.037, 0.03, 0.03, 0.03, 0.03, 0.0375}), Names{}) << "ends move more";
  EXPECT_EQ(OfChain({0.03, 0.03, 0.03, 0.03, 0.03, 0.0240}), Names{"C6"});
  EXPECT_EQ(OfChain({0.03, 0.03, 0.03, 0.03, 0.012, 0.03, 0.03, 0.03, 0.03}), (Names{"C5", "C4", "C6"}));
  EXPECT_EQ(OfChain({0.03, 0.03, 0.012, 0.03, 0.03}), (Names{"C3", "C2"})) << "two fifths, of what is a third";
  EXPECT_EQ(Suspects("no model"), Names{});
}

}  // namespace
}  // namespace marvik::phase
