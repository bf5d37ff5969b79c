#include "files/cif/cif_space_group.h"

#include <gtest/gtest.h>

#include "files/cif/cif_translation.h"

#if __has_include(<gemmi/symmetry.hpp>)

#include <algorithm>
#include <gemmi/symmetry.hpp>
#include <set>

namespace marvik::test {
namespace {

std::set<std::string> TripletsOf(const gemmi::GroupOps& group) {
  std::set<std::string> triplets;
  for (const gemmi::Op& op : group) triplets.insert(op.triplet());
  return triplets;
}

std::set<std::string> OwnTriplets(const std::string& hall) {
  std::set<std::string> triplets;
  for (const std::string& text : OperatorsOfHallSymbol(hall))
    triplets.insert(gemmi::parse_triplet(text).wrap().triplet());
  return triplets;
}

TEST(SpaceGroups, EveryTabulatedHallSymbolGivesItsGroup) {
  size_t same = 0;
  for (const gemmi::SpaceGroup& group : gemmi::spacegroup_tables::main) {
    // Symbols with a change of axes behind them are not taken.
    const std::string hall = group.hall;
    const auto own = OwnTriplets(hall);
    if (hall.find(',') != std::string::npos || hall.find('(') != std::string::npos) {
      EXPECT_TRUE(own.empty() || own == TripletsOf(group.operations())) << hall;
      continue;
    }
    EXPECT_EQ(own, TripletsOf(group.operations())) << hall;
    ++same;
  }
  EXPECT_GT(same, 480u);
}

TEST(SpaceGroups, KnownNamesAreTheGroupsOfThatName) {
  size_t known = 0;
  for (const gemmi::SpaceGroup& group : gemmi::spacegroup_tables::main) {
    if (group.ext != 0 && group.ext != 'H') continue;
    for (const std::string& name : {std::string(group.hm), group.short_name()}) {
      const std::string hall = HallSymbolOf(name);
      if (hall.empty()) continue;
      EXPECT_EQ(OwnTriplets(hall), TripletsOf(group.operations())) << name << " " << hall << " " << group.hall;
      ++known;
    }
  }
  EXPECT_GT(known, 280u);
  EXPECT_EQ(HallSymbolOf("P_21/C"), "-P 2ybc");
  EXPECT_EQ(HallSymbolOf("F d -3 m"), "") << "two origins";
}

TEST(SpaceGroups, NonsenseIsNoSymbol) {
  for (const char* bad : {"", "P", "-", "P 5", "P 2q", "X 2", "P 7", "PP 2", "P 2 (1 2)", "P 2 (0 0 0", "P -",
                          "P 2 3 4 6 2 2", "P 4 6x 3y", "P 2 (99999999999 0 1)"}) {
    for (const std::string& text : OperatorsOfHallSymbol(bad)) EXPECT_FALSE(text.empty()) << bad;
  }
  EXPECT_TRUE(OperatorsOfHallSymbol("P 5").empty());
}

}  // namespace
}  // namespace marvik::test

#else

TEST(SpaceGroups, EveryTabulatedHallSymbolGivesItsGroup) {
  GTEST_SKIP() << "gemmi-dev is not installed";
}

#endif
