#include "crystal/density_map.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace marvik {
namespace {

// Values of a function of the three grid indices.
template <class Function>
DensityMap Sampled(const std::array<size_t, 3>& size, Function function) {
  DensityMap map;
  map.size = size;
  for (size_t i = 0; i < size[0]; ++i)
    for (size_t j = 0; j < size[1]; ++j)
      for (size_t k = 0; k < size[2]; ++k)
        map.values.push_back(
            static_cast<float>(function(static_cast<double>(i), static_cast<double>(j), static_cast<double>(k))));
  return map;
}

TEST(DensityMap, IsExactForWhatItsDegreeHolds) {
  const auto bilinear = [](double x, double y, double z) { return 1.0 + 2.0 * x - 3.0 * y + 0.5 * z + x * y * z; };
  const auto quadratic = [](double x, double y, double z) {
    return 2.0 + x * x - 3.0 * x + (y * y + y) * 0.5 - z * z * 0.25 + x * y;
  };
  const std::array<size_t, 3> size{8, 10, 12};
  const DensityMap linear = Sampled(size, bilinear), smooth = Sampled(size, quadratic);
  for (const auto& [x, y, z] : {std::array{2.0, 3.0, 4.0}, {2.25, 3.5, 4.125}, {4.9, 1.1, 8.7}, {1.5, 7.75, 2.5}}) {
    const Fractional at{x / 8, y / 10, z / 12};
    EXPECT_NEAR(linear.Interpolate(at), bilinear(x, y, z), 1e-4);
    EXPECT_NEAR(smooth.InterpolateSmoothly(at), quadratic(x, y, z), 1e-4);
  }
}

TEST(DensityMap, GoesOnOverTheEdgesOfTheCell) {
  const DensityMap wave = Sampled({24, 24, 24}, [](double x, double y, double z) {
    return std::cos(std::numbers::pi * x / 12) + 0.5 * std::sin(std::numbers::pi * y / 12) -
           0.25 * std::cos(std::numbers::pi * z / 6);
  });
  EXPECT_EQ(wave.At(-1, 24, 49), wave.At(23, 0, 1));
  for (const double u : {-2.01, -0.49, 0.013, 0.99, 3.76}) {
    const Fractional at{u, 0.3 - u, 2 * u};
    const double exact = std::cos(2 * std::numbers::pi * at.x) + 0.5 * std::sin(2 * std::numbers::pi * at.y) -
                         0.25 * std::cos(4 * std::numbers::pi * at.z);
    EXPECT_NEAR(wave.Interpolate(at), exact, 0.02);
    EXPECT_NEAR(wave.InterpolateSmoothly(at), exact, 0.003) << "closer than along straight lines";
    EXPECT_NEAR(wave.InterpolateSmoothly(at), wave.InterpolateSmoothly({at.x + 5, at.y - 7, at.z + 1}), 1e-6);
  }
}

}  // namespace
}  // namespace marvik
