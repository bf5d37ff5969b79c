#include "crystal/space_group.h"

#include <algorithm>
#include <gemmi/symmetry.hpp>
#include <gtest/gtest.h>
#include <set>

#include "crystal/symmetry.h"

namespace marvik {
namespace {

constexpr CellParameters kHexagonal{10, 10, 14, 90, 90, 120};
constexpr CellParameters kRhombohedral{9, 9, 9, 81, 81, 81};

std::set<std::string> Triplets(const gemmi::GroupOps& group) {
  std::set<std::string> triplets;
  for (const gemmi::Op& op : group) triplets.insert(op.triplet());
  return triplets;
}

std::set<std::string> Triplets(const std::vector<SymmetryOperator>& operators) {
  std::set<std::string> triplets;
  for (const SymmetryOperator& op : operators) triplets.insert(gemmi::parse_triplet(OperatorText(op)).wrap().triplet());
  return triplets;
}

// The group of SYMM lines in a primitive lattice, as a translated CIF has them.
std::optional<SpaceGroup> Listed(const std::vector<SymmetryOperator>& operators) {
  std::vector<std::string> texts;
  for (const SymmetryOperator& op : operators) texts.push_back(OperatorText(op));
  std::string problem;
  return MakeSpaceGroup(-1, ListOperators(-1, texts), problem);
}

TEST(SpaceGroups, EveryTabulatedSettingIsFoundAgainFromItsOperators) {
  for (const gemmi::SpaceGroup& known : gemmi::spacegroup_tables::main) {
    const auto operators = OperatorsOfHallSymbol(known.hall);
    ASSERT_EQ(Triplets(operators), Triplets(known.operations())) << known.hall;
    EXPECT_EQ(operators.front(), SymmetryOperator());
    const auto group = Listed(operators);
    ASSERT_TRUE(group) << known.hall;
    EXPECT_EQ(group->all.size(), operators.size()) << known.hall;
    EXPECT_EQ(group->hasInversion, known.is_centrosymmetric()) << known.hall;
    const gemmi::SpaceGroup* again = gemmi::find_spacegroup_by_name(group->symbol);
    ASSERT_NE(again, nullptr) << known.hall << " " << group->symbol;
    EXPECT_EQ(again->number, known.number) << known.hall;
    const auto ops = known.operations();
    for (const Miller& h : {Miller{1, 0, 0}, Miller{0, 3, 0}, Miller{0, 0, 2}, Miller{1, 1, 0}, Miller{2, 1, 1}}) {
      EXPECT_EQ(group->IsAbsent(h), ops.is_systematically_absent(h)) << known.hall << h[0] << h[1] << h[2];
    }
  }
}

TEST(SpaceGroups, NamesAreReadInEverySpelling) {
  for (const gemmi::SpaceGroup& known : gemmi::spacegroup_tables::main) {
    if (known.ext == '1' || known.ext == '2') {
      EXPECT_TRUE(OperatorsOfName(known.hm, kHexagonal).empty()) << "two origins";
    }
    const bool rhombohedral = known.ext == 'R';
    const auto expected = Triplets(known.operations());
    EXPECT_EQ(Triplets(OperatorsOfName(known.xhm(), kHexagonal)), expected) << known.xhm();
    if (known.ext == '1' || known.ext == '2') continue;
    EXPECT_EQ(Triplets(OperatorsOfName(known.hm, rhombohedral ? kRhombohedral : kHexagonal)), expected) << known.hm;
  }
  const char* const spellings[][2] = {
      {"P21/c", "-P 2ybc"},    {"P_21/C", "-P 2ybc"},      {"P 1 21/n 1", "-P 2yn"}, {"p-1", "-P 1"},
      {"Pnma", "-P 2ac 2n"},   {"C m c a", "-C 2bc 2"},    {"F m 3 m", "-F 4 2 3"},  {"Pa3", "-P 2ac 2ab 3"},
      {"Ia3d", "-I 4bd 2c 3"}, {"P 1 21/c 1 ", "-P_2ybc"}, {"R -3 m H", "-R 3 2\""}};
  for (const auto& [name, hall] : spellings) {
    const auto operators = OperatorsOfName(name, kHexagonal);
    EXPECT_FALSE(operators.empty()) << name;
    EXPECT_EQ(Triplets(operators), Triplets(OperatorsOfHallSymbol(hall))) << name;
  }
}

TEST(SpaceGroups, HallSymbolsMayMoveTheOrigin) {
  // P 21 21 21 with its origin on the axis along x (International Tables B, 1.4).
  EXPECT_EQ(Triplets(OperatorsOfHallSymbol("P 2ac 2ab (0 3 0)")),
            (std::set<std::string>{"x,y,z", "-x+1/2,-y+1/2,z+1/2", "x+1/2,-y,-z", "-x,y+1/2,-z+1/2"}));
  EXPECT_EQ(Triplets(OperatorsOfHallSymbol("-P 2 (0 0 -12)")), Triplets(OperatorsOfHallSymbol("-P 2")));
}

TEST(SpaceGroups, NonsenseIsNoSymbol) {
  for (const char* bad :
       {"", "P", "-", "14", "P 5", "P 7", "X 2", "P -", "P 2q", "PP 2", "P 2'1", "P 4x 6z", "P 2 3'1"})
    EXPECT_TRUE(OperatorsOfHallSymbol(bad).empty()) << bad;
  for (const char* bad : {"P 2 (1 2)", "P 2 2 3*1", "( 0 0 0)", "P 2 (0 0 0", "P 2 (0 0 0 0)", "P 2 3 4 6 2 2",
                          "P 2 (x/24,y/24,z/24)", "P 2 (99999999999 0 1)"})
    EXPECT_TRUE(OperatorsOfHallSymbol(bad).empty()) << bad;
  for (const char* bad : {"", "14", "P", "?", "P 21/q", ":", "P:", "3", "m3m", "\xff\xff"}) {
    EXPECT_TRUE(OperatorsOfName(bad, kHexagonal).empty()) << bad;
  }
}

}  // namespace
}  // namespace marvik
