#include "crystal/image_search.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "crystal/symmetry.h"
#include "model/placement.h"

namespace marvik {
namespace {

struct Crystal {
  CellParameters cell;
  OrthogonalisationMatrix matrix;
  SymmetryList operators;
  std::vector<Fractional> atoms;
};

Crystal MakeCrystal(CellParameters cell, int latt, const std::vector<std::string>& symm, int atoms, unsigned seed) {
  Crystal c{cell, {}, ListOperators(latt, symm), {}};
  EXPECT_TRUE(BuildOrthogonalisation(cell, c.matrix));
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> anywhere(-1.5, 2.5);
  for (int i = 0; i < atoms; ++i) c.atoms.push_back({anywhere(random), anywhere(random), anywhere(random)});
  return c;
}

std::vector<AtomImage> PlainLoops(const Crystal& c, const Fractional& place, double radius, int range) {
  std::vector<AtomImage> found;
  const Cartesian centre = c.matrix * place;
  for (uint32_t a = 0; a < c.atoms.size(); ++a)
    for (uint32_t o = 0; o < c.operators.size(); ++o)
      for (int x = -range; x <= range; ++x)
        for (int y = -range; y <= range; ++y)
          for (int z = -range; z <= range; ++z) {
            Fractional f = c.operators[o].Apply(c.atoms[a]);
            f += {double(x), double(y), double(z)};
            const Cartesian p = c.matrix * f;
            if (Distance(p, centre) <= radius) found.push_back({a, o, {x, y, z}, f, p, Distance(p, centre)});
          }
  return found;
}

void ExpectSame(const Crystal& c, double reach, double radius, int range) {
  const ImageSearch search(c.atoms, c.operators, c.cell, reach);
  std::vector<AtomImage> found;
  for (const Fractional& place : c.atoms) {
    search.FindNear(place, radius, found);
    const auto expected = PlainLoops(c, place, radius, range);
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(found[i].atom, expected[i].atom);
      EXPECT_EQ(found[i].SymmetryCode(), expected[i].SymmetryCode());
      EXPECT_EQ(found[i].position, expected[i].position);
    }
  }
}

TEST(ImageSearch, FindsWhatPlainLoopsFind) {
  ExpectSame(MakeCrystal({8, 9, 11, 90, 104, 90}, 1, {"SYMM -X, 0.5+Y, 0.5-Z"}, 20, 1), 3.0, 3.0, 6);
  ExpectSame(MakeCrystal({6, 7, 8, 75, 115, 60}, -1, {}, 15, 2), 2.5, 2.2, 7);
  ExpectSame(MakeCrystal({7, 7, 12, 90, 90, 120}, 3, {"SYMM -Y, X-Y, Z", "SYMM -X+Y, -X, Z"}, 6, 3), 2.0, 2.0, 7);
}

TEST(ImageSearch, ReachesFartherThanTheCell) {
  const Crystal c = MakeCrystal({3, 3.5, 4, 90, 100, 90}, 1, {}, 3, 4);
  ExpectSame(c, 7.0, 7.0, 9);
  // Padding for such a reach would fill the memory.
  const ImageSearch unpadded(c.atoms, c.operators, c.cell, 1e4);
  std::vector<AtomImage> found;
  for (const Fractional& place : c.atoms) {
    unpadded.FindNear(place, 7.0, found);
    EXPECT_EQ(found.size(), PlainLoops(c, place, 7.0, 9).size());
  }
}

// One lattice in a cell whose angle is nearly none and in one of a right angle.
TEST(ImageSearch, AnObliqueCellHasTheImagesOfAnUprightOne) {
  const double gamma = 0.3, shear = 2.0 * 40.0 * std::sin(gamma / 2.0 * kRadiansPerDegree);
  const CellParameters oblique{40, 40, 40, 90, 90, gamma}, upright{40, shear, 40, 90, 90, 90 + gamma / 2};
  const std::vector<Fractional> origin{{0, 0, 0}};
  std::vector<AtomImage> found, expected;
  for (const double radius : {0.1, 3.0, 70.0}) {
    EXPECT_TRUE(ImageSearch(origin, SymmetryList(), oblique, 1e4).FindNear(origin[0], radius, found));
    EXPECT_TRUE(ImageSearch(origin, SymmetryList(), upright, 1e2).FindNear(origin[0], radius, expected));
    EXPECT_EQ(found.size(), expected.size()) << radius;
    EXPECT_GE(found.size(), 2 * size_t(radius / shear) + 1) << radius;
    EXPECT_EQ(found.empty() ? 0.0 : found.front().distance, found.back().distance) << "a lattice has a centre";
  }
}

// Thousands of images within reach: the answer is no before they are all enumerated.
TEST(ImageSearch, StopsAtTheMostThatIsAskedFor) {
  const std::vector<Fractional> origin{{0, 0, 0}};
  const CellParameters oblique{0.2, 0.2, 0.2, 60.1, 60, 119.9};
  std::vector<AtomImage> found;
  const ImageSearch search(origin, SymmetryList(), oblique, 1e4);
  EXPECT_FALSE(search.FindNear(origin[0], 80.0, found, 1000));
  EXPECT_TRUE(found.empty());
  // Along the edges of this cell thousands of millions of cells would be passed for nothing.
  const Crystal flat = MakeCrystal({10, 10, 10, 0.01, 0.01, 0.01}, 4, {"SYMM -X, -Y, Z"}, 30, 7);
  const ImageSearch thin(flat.atoms, flat.operators, flat.cell, 4.0);
  for (const Fractional& place : flat.atoms) {
    for (double radius = 4.0; radius > 0.005; radius *= 0.5) thin.FindNear(place, radius, found, 1000);
    EXPECT_TRUE(thin.FindNear(place, 0.001, found, 1000));
    EXPECT_GE(found.size(), 1u) << "the atom itself";
  }
}

TEST(ImageSearch, NonsenseCoordinatesAreNotFound) {
  Crystal c = MakeCrystal({10, 10, 10, 90, 90, 90}, 1, {}, 2, 5);
  c.atoms.push_back({std::numeric_limits<double>::quiet_NaN(), 0, 0});
  c.atoms.push_back({1e308, 0, 0});
  c.atoms.push_back({0, -1e9, 0});
  c.atoms.push_back({0, 0, 1e9});
  const ImageSearch search(c.atoms, c.operators, c.cell, 20.0);
  std::vector<AtomImage> found;
  search.FindNear(c.atoms[2], 5.0, found);
  EXPECT_TRUE(found.empty());
  search.FindNear(c.atoms[0], 20.0, found);
  for (const AtomImage& image : found) EXPECT_LT(image.atom, 2u);
  EXPECT_FALSE(found.empty());
}

// Eight operations leave the origin of Pmmm where it is.
TEST(ImageSearch, CountsImagesThatFallOnOneAnotherOnce) {
  std::vector<AtomImage> found;
  const SymmetryList mirrors = ListOperators(1, {"SYMM -X,-Y,Z", "SYMM -X,Y,-Z", "SYMM X,-Y,-Z"});
  const std::vector<Fractional> origin{{0, 0, 0}};
  const ImageSearch special(origin, mirrors, {5, 6, 7, 90, 90, 90}, 5.5);
  ASSERT_TRUE(special.FindNear({0, 0, 0}, 5.5, found, 3)) << "itself and one along a either way";
  EXPECT_EQ(found.size(), 3 * mirrors.size());
  EXPECT_FALSE(special.FindNear({0, 0, 0}, 5.5, found, 2));
}

}  // namespace
}  // namespace marvik
