#include "crystal/lattice_rotations.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "crystal/symmetry.h"

namespace marvik {
namespace {

TEST(LatticeRotations, AreThoseOfTheLatticeAndNotOfTheCell) {
  const struct {
    CellParameters cell;
    int lattice;
    size_t rotations;
    bool fractions;
  } kCases[] = {
      {{7, 8, 9, 81, 95, 104}, 1, 1, false},
      {{7, 8, 9, 90, 103, 90}, 1, 2, false},
      {{7, 8, 9, 90, 90, 90}, 1, 4, false},
      {{9, 9, 12, 90, 90, 90}, 2, 8, false},
      {{10, 10, 13, 90, 90, 120}, 1, 12, false},
      {{10, 10, 13, 90, 90, 120}, 3, 6, false},
      {{9, 9, 9, 90, 90, 90}, 4, 24, false},
      {{7, 12.124, 9, 90, 90, 90}, 7, 12, true},              // hexagonal
      {{9, 9, 9 * std::sqrt(2.0), 90, 90, 90}, 2, 24, true},  // I of half the cell of F
      {{5, 11, 9.7, 90, 121.03, 90}, 1, 4, false},            // orthorhombic of twice the cell
      {{10, 10, 10, 90, 90, 0.01}, 4, 0, false},              // flat
  };
  for (const auto& c : kCases) {
    std::string problem;
    const auto group = MakeSpaceGroup(c.lattice, ListOperators(c.lattice, {}), problem);
    ASSERT_TRUE(group) << problem;
    const auto found = LatticeRotations(MakeMetric(c.cell), *group, 0.01);
    EXPECT_EQ(found.size(), c.rotations) << c.cell.a << " " << c.cell.b << " " << c.lattice;
    EXPECT_EQ(std::ranges::any_of(found, [](const auto& r) { return r[0] != std::round(r[0]); }), c.fractions);
  }
}

}  // namespace
}  // namespace marvik
