#pragma once

#include <array>
#include <complex>
#include <map>
#include <span>
#include <vector>

#include "crystal/density_map.h"
#include "refine/solve/least_squares.h"
#include "refine/structure/structure.h"

namespace marvik {

// One of each set of equivalents; Friedel opposites are conjugates of each other.
struct MapCoefficient {
  Miller h{};
  std::complex<double> f;  // electrons per cell
};
// Points along the edges for these indices and their equivalents: steps of at most `step` Å, sizes with the factors 2,
// 3 and 5, 10⁸ points at most.
inline constexpr double kMapStep = 0.22;  // Å
std::array<size_t, 3> GridSize(const Metric& metric, const SpaceGroup& group, std::span<const Miller> indices,
                               double step = kMapStep);
// The density, 1/V Σ F(h) exp(-2πi hx) over all equivalents of the coefficients; indices that the grid cannot hold are
// left out.
DensityMap Synthesise(const SpaceGroup& group, double volume, const std::array<size_t, 3>& size,
                      std::span<const MapCoefficient> coefficients);
// The reverse: F(h) = V/n Σ ρ(x) exp(2πi hx), for each of the indices that the grid holds, 0 for others.
std::vector<std::complex<double>> Analyse(const DensityMap& map, double volume, std::span<const Miller> indices);

// Fo of every unique reflection (Friedel opposites are one), on the absolute scale and as far as the first component
// goes: what twin components and extinction add to Fo² is taken off in proportion to the calculated intensities.
struct MeanAmplitude {
  double fo = 0.0;     // sums over `count` observations
  double sigma = 0.0;  // of Fo
  double fc = 0.0;
  double trust = 0.0;  // Fc⁴/(Fc⁴ + 4σ²(Fo²)), which gives the levels of published maps
  int count = 0;
  size_t first = 0;  // observation that gives indices and phase
};
std::map<Miller, MeanAmplitude> MeanAmplitudes(const Structure& structure, const Observations& observations,
                                               const Calculated& calculated);

// Density from Fo - Fc, Fo or 2 Fo - Fc, the latter two with F(000), and the calculated phases, Fo - Fc weighted. Each
// observation stands for all its equivalents.
DensityMap MakeMap(const Structure& structure, const Observations& observations, const Calculated& calculated,
                   MapKind kind = MapKind::Difference, double step = kMapStep);

struct Peak {
  Fractional x;
  double height = 0.0;        // e/Å³
  double siteFraction = 1.0;  // 1 over the order of the site symmetry
  int nearest = -1;           // site
  double distance = 0.0;      // Å to it
};

// Where the maximum of a map lies: by parabolas through the grid point and its neighbours, up to 0.15 Å and 10 % off,
// or between the points, where it is the same on every grid that holds the reflections.
enum class PeakPlaces : uint8_t { Parabola, Between };
// The highest maxima that are not equivalent by symmetry, each moved to the image nearest to an atom; with `holes` the
// deepest minima.
std::vector<Peak> FindPeaks(const Structure& structure, const DensityMap& map, size_t count, bool holes,
                            PeakPlaces places = PeakPlaces::Between);

}  // namespace marvik
