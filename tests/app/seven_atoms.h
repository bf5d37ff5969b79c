#pragma once

#include <cmath>
#include <numbers>
#include <string>

#include "base/numbers.h"
#include "crystal/cell_metric.h"

namespace marvik::test {

inline constexpr double kPlaces[][3] = {{0.11, 0.21, 0.13}, {0.27, 0.31, 0.20}, {0.40, 0.17, 0.31}, {0.33, 0.43, 0.08},
                                        {0.17, 0.09, 0.35}, {0.06, 0.38, 0.30}, {0.46, 0.40, 0.44}};
inline constexpr char kHeader[] =
    "TITL seven atoms\nCELL 0.71073 6.1 7.3 8.2 94 101 98\nZERR 2 0.001 0.001 0.001 0 0 0\nLATT -1\nSFAC C\nUNIT 14\n"
    "HKLF 4\nEND\n";

// Intensities of seven carbon atoms and their opposites, as points that move.
inline std::string Reflections() {
  const Metric metric = MakeMetric({6.1, 7.3, 8.2, 94, 101, 98});
  std::string text;
  for (int h = -7; h <= 7; ++h)
    for (int k = -9; k <= 9; ++k)
      for (int l = 0; l <= 10; ++l) {
        const double s2 = metric.SinThetaSquared(h, k, l);
        if (s2 > 0.35 || s2 == 0.0) continue;
        double sum = 0.0;
        for (const auto& x : kPlaces) sum += 2.0 * std::cos(2.0 * std::numbers::pi * (h * x[0] + k * x[1] + l * x[2]));
        const double f = sum * 6.0 * std::exp(-4.0 * s2);
        text += Printf("%4d%4d%4d%8.2f%8.2f\n", h, k, l, f * f, 0.02 * f * f + 0.1);
      }
  return text;
}

}  // namespace marvik::test
