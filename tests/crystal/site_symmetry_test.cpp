#include "crystal/site_symmetry.h"

#include <cmath>
#include <gtest/gtest.h>

#include "crystal/space_group.h"
#include "crystal/symmetry.h"

namespace marvik {
namespace {

std::vector<SymmetryOperator> Operations(int lattice, const std::vector<std::string>& texts) {
  std::string problem;
  return MakeSpaceGroup(lattice, ListOperators(lattice, texts), problem).value().all;
}

TEST(SiteSymmetry, LeavesWhatTheElementAllows) {
  // On the threefold axis of R-3: z alone; U11 = U22 = 2 U12, U13 = U23 = 0.
  const Metric hexagonal = MakeMetric({10.6, 10.6, 13.7, 90, 90, 120});
  const Fractional near{1e-3, 2.0 - 1e-3, 0.3};
  auto operations = SiteOperations(Operations(3, {"-y, x-y, z", "-x+y, -x, z"}), hexagonal, near, 0.2);
  ASSERT_EQ(operations.size(), 3u);
  const Fractional on = ProjectOnSite(operations, near);
  EXPECT_NEAR(std::fabs(on.x) + std::fabs(on.y - 2.0), 0.0, 1e-12);
  EXPECT_DOUBLE_EQ(on.z, 0.3);
  const auto position = AllowedPositions(operations, {});
  EXPECT_TRUE(position.rows[0].empty());
  EXPECT_TRUE(position.rows[1].empty());
  EXPECT_EQ(position.rows[2].size(), 1u);
  const auto u = ProjectDisplacement(hexagonal, operations, {0.02, 0.03, 0.05, 0.004, 0.001, 0.002});
  EXPECT_NEAR(u[0], u[1], 1e-12);
  EXPECT_NEAR(u[5], u[0] / 2, 1e-12);
  EXPECT_NEAR(u[3], 0.0, 1e-12);
  const auto allowed = AllowedDisplacements(hexagonal, operations, {});
  EXPECT_EQ(allowed.rows[0][0].component, 0);
  EXPECT_EQ(allowed.rows[1][0].component, 0);
  EXPECT_NEAR(allowed.rows[5][0].factor, 0.5, 1e-12);
  EXPECT_TRUE(allowed.rows[4].empty());

  // On the diagonal x, x, z of Fm-3m one fixed coordinate fixes its partner and not the third.
  const Metric cubic = MakeMetric({11.2, 11.2, 11.2, 90, 90, 90});
  const auto group = Operations(4, {"-x, -y, z", "-x, y, -z", "z, x, y", "y, x, -z"});
  operations = SiteOperations(group, cubic, {0.13, 0.13, 0.31}, 0.1);
  EXPECT_EQ(operations.size(), 2u);
  EXPECT_EQ(SiteOperations(group, cubic, {0.5, 1.5, -3.0}, 0.1).size(), 48u);
  EXPECT_EQ(AllowedPositions(operations, {}).rows[1][0].component, 0);
  const auto held = AllowedPositions(operations, {true, false, false});
  EXPECT_TRUE(held.rows[0].empty());
  EXPECT_TRUE(held.rows[1].empty());
  EXPECT_EQ(held.rows[2].size(), 1u);
}

}  // namespace
}  // namespace marvik
