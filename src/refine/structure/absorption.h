#pragma once

#include "refine/structure/structure.h"

namespace marvik {

// Of an atom for X-rays of a wavelength in Å, in barn: what the file says, else the photoelectric part 2·r·λ·f'' by the
// optical theorem and what is scattered: the integral of the Thomson cross section times f(s)² + S(s) over all
// directions, with the incoherent factor S = Z - Σ f²/Z and the Klein-Nishina reduction for it (International Tables C,
// 4.2.4 and 7.4.3).
double AbsorptionCrossSection(const Scatterer& scatterer, double wavelength);

// Linear, in 1/mm, of a cell of `volume` Å³ whose atoms have this cross section (barn) in all.
inline double AbsorptionCoefficient(double crossSection, double volume) {
  return 0.1 * crossSection / volume;
}

}  // namespace marvik
