#include "refine/map/fourier.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "refine/map/transform.h"

namespace marvik {
namespace {

constexpr double kTurn = 6.283185307179586;
constexpr double kMostPoints = 1.0e8;  // twice 0.4 GB

size_t Wrap(long i, size_t n) {
  const long m = static_cast<long>(n);
  return static_cast<size_t>(((i % m) + m) % m);
}

// Vertex of the parabola through three equidistant values: offset in steps, within ±1/2.
double Vertex(double a, double b, double c) {
  const double curvature = a - 2.0 * b + c;
  if (curvature >= 0.0) return 0.0;
  return std::clamp(0.5 * (a - c) / curvature, -0.5, 0.5);
}

bool Holds(const std::array<size_t, 3>& size, const Miller& h) {
  for (size_t i = 0; i < 3; ++i)
    if (2 * static_cast<size_t>(std::abs(h[i])) >= size[i]) return false;
  return true;
}

struct Maximum {
  Fractional x;
  double height;
};

std::vector<Maximum> LocalMaxima(const DensityMap& map, double sign) {
  std::vector<Maximum> found;
  const auto [n1, n2, n3] = map.size;
  const double least = 1.5 * map.sigma;
  for (long i = 0; i < static_cast<long>(n1); ++i) {
    for (long j = 0; j < static_cast<long>(n2); ++j) {
      for (long k = 0; k < static_cast<long>(n3); ++k) {
        const double v = sign * map.At(i, j, k);
        if (v < least) continue;
        bool top = true;
        for (int n = 0; n < 27 && top; ++n) {
          if (n == 13) continue;
          const double other = sign * map.At(i + n / 9 - 1, j + n / 3 % 3 - 1, k + n % 3 - 1);
          top = n < 13 ? other < v : other <= v;
        }
        if (!top) continue;
        const double x0 = sign * map.At(i - 1, j, k), x1 = sign * map.At(i + 1, j, k);
        const double y0 = sign * map.At(i, j - 1, k), y1 = sign * map.At(i, j + 1, k);
        const double z0 = sign * map.At(i, j, k - 1), z1 = sign * map.At(i, j, k + 1);
        const double dx = Vertex(x0, v, x1), dy = Vertex(y0, v, y1), dz = Vertex(z0, v, z1);
        const double height = v - 0.25 * ((x0 - x1) * dx + (y0 - y1) * dy + (z0 - z1) * dz);
        found.push_back({{(static_cast<double>(i) + dx) / static_cast<double>(n1),
                          (static_cast<double>(j) + dy) / static_cast<double>(n2),
                          (static_cast<double>(k) + dz) / static_cast<double>(n3)},
                         height});
      }
    }
  }
  std::sort(found.begin(), found.end(), [](const Maximum& a, const Maximum& b) { return a.height > b.height; });
  return found;
}

double NearestImage(const Metric& metric, const Fractional& image, const Fractional& target, Fractional& moved) {
  double best = 1e30;
  Fractional d = image - target;
  for (int i = 0; i < 3; ++i) d[i] -= std::round(d[i]);
  for (int n = 0; n < 27; ++n) {
    const Fractional t{d.x + n / 9 - 1, d.y + n / 3 % 3 - 1, d.z + n % 3 - 1};
    const double d2 = metric.DistanceSquared(t, {});
    if (d2 < best) best = d2, moved = target + t;
  }
  return std::sqrt(best);
}

void PlaceNearAtoms(const Structure& structure, Peak& peak) {
  double best = 1e30;
  Fractional place = peak.x;
  int equal = 0;
  for (const SymmetryOperator& op : structure.group.all) {
    const Fractional image = op.Apply(peak.x);
    Fractional moved;
    if (NearestImage(structure.metric, image, peak.x, moved) < 0.3) ++equal;
    for (size_t i = 0; i < structure.sites.size(); ++i) {
      const double d = NearestImage(structure.metric, image, structure.sites[i].x, moved);
      if (d < best - 1e-6) {
        best = d;
        place = moved;
        peak.nearest = static_cast<int>(i);
      }
    }
  }
  peak.x = place;
  peak.distance = best;
  peak.siteFraction = 1.0 / std::max(1, equal);
}

double ElectronsPerCell(const Structure& structure) {
  double sum = 0.0;
  for (const Site& site : structure.sites) {
    sum += site.occupancy * structure.scatterers[static_cast<size_t>(site.scatterer)].electrons;
  }
  return sum * static_cast<double>(structure.group.all.size());
}

}  // namespace

std::map<Miller, MeanAmplitude> MeanAmplitudes(const Structure& structure, const Observations& observations,
                                               const Calculated& calculated) {
  std::map<Miller, MeanAmplitude> means;
  for (size_t i = 0; i < observations.Size(); ++i) {
    const double fc = std::hypot(calculated.a[i], calculated.b[i]);
    if (fc < 1e-6 || calculated.fc2[i] < 1e-9) continue;
    MeanAmplitude& mean = means[structure.group.Representative(observations.indices[0][i], true)];
    if (mean.count++ == 0) mean.first = i;
    const double share = fc * fc / calculated.fc2[i];
    const double fo = std::sqrt(std::max(0.0, calculated.fo2[i]) * share);
    const double sigma = calculated.sigma[i] * share;
    const double square = fc * fc * fc * fc;
    mean.trust += square / (square + 4.0 * sigma * sigma);
    mean.fo += fo;
    mean.sigma += sigma / std::max(2.0 * fo, std::sqrt(sigma));
    mean.fc += fc;
  }
  return means;
}

std::array<size_t, 3> GridSize(const Metric& metric, const SpaceGroup& group, std::span<const Miller> indices,
                               double step) {
  const double edges[3] = {metric.cell.a, metric.cell.b, metric.cell.c};
  std::array<int, 3> largest{1, 1, 1};
  for (const Miller& h : indices) {
    for (const SymmetryOperator& op : group.pointOperators) {
      const Miller image = op.ApplyToIndices(h);
      for (size_t i = 0; i < 3; ++i) largest[i] = std::max(largest[i], std::abs(image[i]));
    }
  }
  std::array<size_t, 3> size{};
  double points = 1.0;
  for (size_t i = 0; i < 3; ++i) {
    size[i] = FriendlySize(std::max(static_cast<size_t>(edges[i] / step) + 1, static_cast<size_t>(2 * largest[i] + 2)));
    points *= static_cast<double>(size[i]);
  }
  // Reflections that a coarser grid cannot hold are left out of it.
  const double coarser = std::cbrt(std::min(1.0, kMostPoints / points));
  for (size_t& n : size) n = FriendlySize(std::max<size_t>(8, static_cast<size_t>(coarser * static_cast<double>(n))));
  return size;
}

DensityMap Synthesise(const SpaceGroup& group, double volume, const std::array<size_t, 3>& size,
                      std::span<const MapCoefficient> terms) {
  DensityMap map;
  map.size = size;
  const auto [n1, n2, n3] = size;
  const size_t half = n3 / 2 + 1;
  std::vector<std::complex<float>> coefficients(n1 * n2 * half);
  for (const MapCoefficient& term : terms) {
    for (const SymmetryOperator& op : group.pointOperators) {
      // F(hR) = F(h)·exp(-2πi h·t).
      const Miller m = op.ApplyToIndices(term.h);
      if (!Holds(size, m)) continue;
      const double shift = -kTurn * op.PhaseShift(term.h);
      const std::complex<double> c = term.f / volume * std::polar(1.0, shift);
      for (const int sign : {1, -1}) {
        const long l = sign * m[2];
        if (l < 0) continue;
        // The synthesis has exp(-2πi hx), the transform exp(+2πi hx): the same real map from conjugate coefficients.
        coefficients[(Wrap(sign * m[0], n1) * n2 + Wrap(sign * m[1], n2)) * half + static_cast<size_t>(l)] =
            std::complex<float>(sign > 0 ? std::conj(c) : c);
      }
    }
  }
  map.values.resize(n1 * n2 * n3);
  TransformToReal(map.size, coefficients.data(), map.values.data());
  double sum = 0.0;
  double square = 0.0;
  for (const float v : map.values)
    sum += static_cast<double>(v), square += static_cast<double>(v) * static_cast<double>(v);
  const auto n = static_cast<double>(map.values.size());
  map.sigma = std::sqrt(std::max(0.0, square / n - (sum / n) * (sum / n)));
  return map;
}

std::vector<std::complex<double>> Analyse(const DensityMap& map, double volume, std::span<const Miller> indices) {
  const auto [n1, n2, n3] = map.size;
  const size_t half = n3 / 2 + 1;
  std::vector<std::complex<float>> transform(n1 * n2 * half);
  const float scale = static_cast<float>(volume / static_cast<double>(map.values.size()));
  TransformToCoefficients(map.size, map.values.data(), transform.data());
  std::vector<std::complex<double>> out(indices.size());
  for (size_t i = 0; i < indices.size(); ++i) {
    const Miller& h = indices[i];
    if (!Holds(map.size, h)) continue;
    const int sign = h[2] < 0 ? -1 : 1;
    const std::complex<float> f =
        scale *
        transform[(Wrap(sign * h[0], n1) * n2 + Wrap(sign * h[1], n2)) * half + static_cast<size_t>(sign * h[2])];
    out[i] = sign > 0 ? std::conj(f) : f;
  }
  return out;
}

DensityMap MakeMap(const Structure& structure, const Observations& observations, const Calculated& calculated,
                   MapKind kind, double step) {
  const double observed = kind == MapKind::TwiceObserved ? 2.0 : 1.0;
  const double subtracted = kind == MapKind::Observed ? 0.0 : 1.0;
  std::vector<MapCoefficient> terms;
  if (kind != MapKind::Difference) terms.push_back({{}, ElectronsPerCell(structure)});
  for (const auto& [key, mean] : MeanAmplitudes(structure, observations, calculated)) {
    const std::complex<double> f(calculated.a[mean.first], calculated.b[mean.first]);
    // What is weak against its σ says little about the density: the difference from Fc counts by Fc⁴/(Fc⁴ + 4σ²(Fo²)).
    const double difference = (mean.fo - mean.fc) * mean.trust / mean.count;
    const double amplitude = (observed * difference + (observed - subtracted) * mean.fc) / mean.count;
    terms.push_back({observations.indices[0][mean.first], f / std::abs(f) * amplitude});
  }
  return Synthesise(structure.group, structure.metric.volume,
                    GridSize(structure.metric, structure.group, observations.indices[0], step), terms);
}

std::vector<Peak> FindPeaks(const Structure& structure, const DensityMap& map, size_t count, bool holes) {
  std::vector<Peak> peaks;
  for (const Maximum& m : LocalMaxima(map, holes ? -1.0 : 1.0)) {
    if (peaks.size() >= count) break;
    const bool known = std::any_of(peaks.begin(), peaks.end(), [&](const Peak& p) {
      return std::any_of(structure.group.all.begin(), structure.group.all.end(), [&](const SymmetryOperator& op) {
        Fractional moved;
        return NearestImage(structure.metric, op.Apply(m.x), p.x, moved) < 0.35;
      });
    });
    if (known) continue;
    Peak peak;
    peak.x = m.x;
    peak.height = holes ? -m.height : m.height;
    PlaceNearAtoms(structure, peak);
    peaks.push_back(peak);
  }
  return peaks;
}

}  // namespace marvik
