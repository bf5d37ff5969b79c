#include "refine/map/fourier.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "refine/map/transform.h"

namespace marvik {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;
constexpr double kMostPoints = 1.0e8;  // twice 0.4 GB

size_t Wrap(long i, size_t n) {
  const long m = static_cast<long>(n);
  return static_cast<size_t>(((i % m) + m) % m);
}

bool Holds(const std::array<size_t, 3>& size, const Miller& h) {
  for (size_t i = 0; i < 3; ++i)
    if (2 * static_cast<size_t>(std::abs(h[i])) >= size[i]) return false;
  return true;
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

namespace {

// What the real density gives of a structure factor: where an operation turns h to -h, F(-h) = conj F(h) fixes the
// phase but for its sign, and anomalous dispersion moves F off that.
std::complex<double> WithoutDispersion(const SpaceGroup& group, const Miller& h, const std::complex<double>& f) {
  for (const SymmetryOperator& op : group.pointOperators)
    if (op.ApplyToIndices(h) == Miller{-h[0], -h[1], -h[2]})
      return 0.5 * (f + std::conj(f * std::polar(1.0, -kTurn * op.PhaseShift(h))));
  return f;
}

}  // namespace

DensityMap MakeMap(const Structure& structure, const Observations& observations, const Calculated& calculated,
                   MapKind kind, double step) {
  const double observed = kind == MapKind::TwiceObserved ? 2.0 : 1.0;
  const double subtracted = kind == MapKind::Observed ? 0.0 : 1.0;
  std::vector<MapCoefficient> terms;
  if (kind != MapKind::Difference) terms.push_back({{}, ElectronsPerCell(structure)});
  for (const auto& [key, mean] : MeanAmplitudes(structure, observations, calculated)) {
    const Miller& h = observations.indices[0][mean.first];
    const std::complex<double> f =
        WithoutDispersion(structure.group, h, {calculated.a[mean.first], calculated.b[mean.first]});
    if (std::abs(f) < 1e-9) continue;
    // What is weak against its σ says little about the density: the difference from Fc counts by Fc⁴/(Fc⁴ + 4σ²(Fo²)).
    const double difference = (mean.fo - mean.fc) * mean.trust / mean.count;
    const double amplitude = (observed * difference + (observed - subtracted) * mean.fc) / mean.count;
    terms.push_back({h, f / std::abs(f) * amplitude});
  }
  return Synthesise(structure.group, structure.metric.volume,
                    GridSize(structure.metric, structure.group, observations.indices[0], step), terms);
}

}  // namespace marvik
