#include "refine/structure/absorption.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace marvik {

double AbsorptionCrossSection(const Scatterer& s, double wavelength) {
  if (s.crossSection > 0.0) return s.crossSection;
  constexpr double kRadius = 2.8179403e-5;            // Å, of the electron
  constexpr double kBarn = 1e8;                       // in an Å²
  const double energy = 12.398 / wavelength / 511.0;  // of the photon, in electron masses
  double scattered = 0.0;
  constexpr int kSteps = 60;
  for (int i = 0; i < kSteps; ++i) {
    const double cosine = -1.0 + (2.0 * i + 1.0) / kSteps;
    const double stol2 = (1.0 - cosine) / 2.0 / (wavelength * wavelength);
    double f = s.c;
    for (size_t k = 0; k < 4; ++k) f += s.a[k] * std::exp(-s.b[k] * stol2);
    f = std::max(f, 0.0);
    const double compton = 1.0 / std::pow(1.0 + energy * (1.0 - cosine), 2);
    const double incoherent = std::max(0.0, s.electrons - f * f / s.electrons) * compton;
    scattered += (1.0 + cosine * cosine) / 2.0 * (f * f + incoherent) * 2.0 / kSteps;
  }
  return kBarn * (2.0 * kRadius * wavelength * std::max(s.fDoublePrime, 0.0) +
                  2.0 * std::numbers::pi * kRadius * kRadius * scattered);
}

}  // namespace marvik
