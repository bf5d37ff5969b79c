#include "draw/density/density_net.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "crystal/cell_metric.h"

namespace marvik {
namespace {

constexpr CellParameters kCell{9.0, 10.0, 11.0, 80.0, 95.0, 112.0};
constexpr double kWidth = 0.5;  // Å
const Fractional kMiddle{0.1, 0.9, 0.5};

// exp(-r²/2w²) around one place, in a triclinic cell.
class NetTest : public testing::Test {
 protected:
  NetTest() {
    EXPECT_TRUE(BuildOrthogonalisation(kCell, matrix));
    map.size = {48, 54, 60};
    for (size_t i = 0; i < 48; ++i)
      for (size_t j = 0; j < 54; ++j)
        for (size_t k = 0; k < 60; ++k) {
          Fractional d =
              Fractional{static_cast<double>(i) / 48.0, static_cast<double>(j) / 54.0, static_cast<double>(k) / 60.0} -
              kMiddle;
          for (int n = 0; n < 3; ++n) d[n] -= std::round(d[n]);
          const Cartesian r = matrix * d;
          map.values.push_back(static_cast<float>(std::exp(-Dot(r, r) / (2.0 * kWidth * kWidth))));
        }
  }
  static double RadiusOf(double level) { return kWidth * std::sqrt(-2.0 * std::log(level)); }

  OrthogonalisationMatrix matrix;
  DensityMap map;
};

TEST_F(NetTest, IsAClosedSurfaceOfTheLevelAroundAnyImage) {
  const double radius = RadiusOf(0.3);
  for (const Fractional& shift : {Fractional{0, 0, 0}, Fractional{2, -3, 1}}) {
    const Cartesian centre = matrix * (kMiddle + shift);
    DensityNet net;
    AddNet(map, matrix, std::array{centre}, 1.8, 0.3, NetTone::Plus, net);
    ASSERT_GT(net.lines.size(), 500u);
    std::map<std::array<long, 3>, int> ends;
    for (const NetLine& line : net.lines) {
      for (const Cartesian& end : {line.a, line.b}) {
        EXPECT_NEAR(Length(end - centre), radius, 0.02);
        ++ends[{std::lround(end.x * 1e5), std::lround(end.y * 1e5), std::lround(end.z * 1e5)}];
      }
    }
    for (const auto& [place, count] : ends) EXPECT_EQ(count % 2, 0) << "lines end nowhere";
  }
}

TEST_F(NetTest, KeepsToTheNeighbourhoodAndSaysWhatItCannotHold) {
  const Cartesian beside = matrix * kMiddle + Cartesian{0.8, 0.0, 0.0};
  DensityNet net;
  AddNet(map, matrix, std::array{beside}, 0.6, 0.3, NetTone::Plus, net);
  ASSERT_FALSE(net.lines.empty());
  for (const NetLine& line : net.lines) EXPECT_LE(Length(line.a - beside), 0.6 + 1e-6);
  DensityNet none;
  AddNet(map, matrix, std::array{beside}, 1.8, -0.3, NetTone::Minus, none);
  AddNet(map, matrix, {}, 1.8, 0.3, NetTone::Plus, none);
  EXPECT_TRUE(none.lines.empty());
  EXPECT_TRUE(none.whole);
  AddNet(map, matrix, std::array{beside, beside + Cartesian{300.0, 300.0, 300.0}}, 1.8, 0.3, NetTone::Plus, none);
  EXPECT_FALSE(none.whole);
}

TEST_F(NetTest, ContoursStandAtMultiplesOfTheStepAndSayWhich) {
  const Cartesian centre = matrix * kMiddle;
  const Cartesian x{1, 0, 0};
  const Cartesian y{0, 1, 0};
  const std::array places{centre - x, centre + x, centre + y, centre - y};
  const SectionPlane plane = SectionThrough(places, {0, 0, 1}, 0.5);
  EXPECT_NEAR(plane.width, 3.0, 1e-9);
  DensityNet net;
  EXPECT_NEAR(AddContours(map, matrix, plane, 0.0, false, net), 0.2, 1e-12) << "some eight levels up to one";
  std::set<std::string> named;
  for (const NetText& text : net.texts) {
    EXPECT_NEAR(Length(text.at - centre), RadiusOf(std::stod(text.text)), 0.03) << text.text;
    named.insert(text.text);
  }
  EXPECT_TRUE(named.contains("0.2") && named.contains("0.8")) << named.size();
  EXPECT_FALSE(named.contains("0"));
  EXPECT_EQ(AddContours(DensityMap{{2, 2, 2}, std::vector<float>(8, 0.0f)}, matrix, plane, 0.0, true, net), 0.0);
}

}  // namespace
}  // namespace marvik
