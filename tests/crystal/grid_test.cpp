#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/fragments.h"
#include "crystal/neighbour_grid.h"

#include "support/structures.h"

namespace marvik {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<uint32_t> PlainSearch(const std::vector<Cartesian>& points, const Cartesian& centre, double radius) {
  std::vector<uint32_t> found;
  for (uint32_t i = 0; i < points.size(); ++i)
    if (IsFinite(points[i]) && IsFinite(centre) && Distance(points[i], centre) <= radius) found.push_back(i);
  return found;
}

std::vector<uint32_t> Within(const NeighbourGrid& grid, const Cartesian& centre, double radius) {
  std::vector<uint32_t> found;
  grid.ForEachWithin(centre, radius, [&](uint32_t index, double) { found.push_back(index); });
  std::sort(found.begin(), found.end());
  return found;
}

TEST(NeighbourGrid, FindsWhatALoopFinds) {
  std::mt19937 random(11);
  size_t total = 0;
  for (int run = 0; run < 400; ++run) {
    // From a dense box to points strewn along a line so far apart that the cells must be hashed.
    const double spread = std::pow(10.0, run % 9 - 2);
    std::uniform_real_distribution<double> place(-spread, spread);
    std::vector<Cartesian> points(random() % 200);
    for (Cartesian& p : points) {
      p = {place(random), place(random), run % 4 == 0 ? 0.0 : place(random)};
      if (random() % 30 == 0) p[static_cast<int>(random() % 3)] = random() % 2 ? 1e308 : std::nan("");
      if (random() % 10 == 0) p = {std::round(p.x), std::round(p.y), std::round(p.z)};
    }
    const NeighbourGrid grid(points, run % 5 == 0 ? 0.0 : std::pow(10.0, static_cast<int>(random() % 4) - 2));
    for (int k = 0; k < 20; ++k) {
      Cartesian centre{place(random), place(random), place(random)};
      if (!points.empty() && k % 2) centre = points[random() % points.size()];
      const double radii[] = {0.0, 1.0, 2.0, spread * 0.3, spread * 5, 1e300, kInfinity, -1.0, std::nan("")};
      const double radius = radii[random() % 9];
      const std::vector<uint32_t> found = Within(grid, centre, radius);
      ASSERT_EQ(found, PlainSearch(points, centre, radius)) << "run " << run << " radius " << radius;
      total += found.size();
    }
  }
  EXPECT_GT(total, 50'000u);
}

TEST(NeighbourGrid, MissesNothingAtTheEdgeOfARadius) {
  // Whole-number points against whole-number radii, shifted far from the origin: every neighbour lies on the edge.
  for (const double shift : {0.0, 0.1, 1e3 / 3, 1e9 / 3}) {
    std::vector<Cartesian> points;
    for (int i = 0; i < 8; ++i)
      for (int j = 0; j < 8; ++j)
        for (int k = 0; k < 3; ++k) points.push_back({i + shift, j - shift, k + 2 * shift});
    for (const double cell : {0.5, 1.0, 0.1, 3.0}) {
      const NeighbourGrid grid(points, cell);
      for (const Cartesian& centre : points) {
        ASSERT_EQ(Within(grid, centre, 1.0), PlainSearch(points, centre, 1.0)) << shift << ' ' << cell;
      }
    }
  }
}

TEST(ClosePairs, OfManyPointsAreThoseOfThePlainLoopInItsOrder) {
  constexpr uint32_t kEdge = 30;  // enough points for several threads
  std::vector<Cartesian> points;
  std::vector<IndexPair> expected;
  for (uint32_t i = 0; i < kEdge * kEdge * kEdge; ++i) {
    const uint32_t x = i % kEdge, y = i / kEdge % kEdge, z = i / (kEdge * kEdge);
    points.push_back({double(x), double(y), double(z)});
    if (x + 1 < kEdge) expected.push_back({i, i + 1});
    if (y + 1 < kEdge) expected.push_back({i, i + kEdge});
    if (z + 1 < kEdge) expected.push_back({i, i + kEdge * kEdge});
  }
  const std::vector<double> radii(points.size(), 0.5);
  EXPECT_EQ(ClosePairs(points, radii, 0.0, expected.size()), expected);
  EXPECT_FALSE(ClosePairs(points, radii, 0.0, expected.size() - 1));
  const std::vector<Cartesian> together(10);
  EXPECT_EQ(ClosePairs(together, std::vector<double>(10, 1.0), 0.0, 45)->size(), 45u);
  EXPECT_TRUE(ClosePairs({}, {}, 0.5, 0)->empty());
}

TEST(NumberMolecules, FollowsTheOrderOfTheList) {
  Document document;
  RecordingMessages messages;
  EXPECT_EQ(NumberMolecules(document), 0);
  // Two interleaved chains and a lone atom; each chain's bonds run both ways through the list.
  for (const int place : {5, 0, 3, 1, 4, 2}) {
    test::AddAtomAt(document, test::Numbered("C", place), {1.5 * place, 0, 0});
    test::AddAtomAt(document, test::Numbered("N", place), {1.4 * place, 50, 0});
    if (place == 3) test::AddAtomAt(document, "O9", {0, 0, 90});
  }
  Connect(document, messages);
  EXPECT_EQ(NumberMolecules(document), 3);
  for (const AtomRecord* atom : Atoms(document.atoms))
    EXPECT_EQ(atom->moleculeNumber, atom->name[0] == 'C' ? 1 : atom->name[0] == 'N' ? 2 : 3) << atom->name;

  Document chain;  // deep recursion would not survive this
  for (int i = 0; i < 200'000; ++i) test::AddAtomAt(chain, "C", {1.5 * (i % 2 ? i : 200'000 - i), 0, 0});
  Connect(chain, messages);
  EXPECT_EQ(NumberMolecules(chain), 1);
}

}  // namespace
}  // namespace marvik
