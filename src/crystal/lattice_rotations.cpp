#include "crystal/lattice_rotations.h"

#include <algorithm>
#include <cmath>

namespace marvik {
namespace {

constexpr size_t kMostRotations = 24;
constexpr size_t kMostImages = 60;  // of an axis, far more than the twelve nearest neighbours of any lattice

}  // namespace

std::vector<std::array<double, 9>> LatticeRotations(const Metric& metric,
                                                    const std::vector<std::array<int, 3>>& centring, double edges,
                                                    double angles) {
  const Mat3 g = Transposed(metric.orthogonal) * metric.orthogonal;
  const auto dot = [&](const Fractional& a, const Fractional& b) { return Dot(a, g * b); };
  const auto fits = [&](double found, size_t i, size_t j) {
    return std::fabs(found - g.m[i][j]) <= (i == j ? edges : angles) * std::sqrt(g.m[i][i] * g.m[j][j]);
  };
  const auto inLattice = [&](const Fractional& v) {
    return std::ranges::any_of(centring, [&](const std::array<int, 3>& centre) {
      bool whole = true;
      for (size_t k = 0; k < 3; ++k) {
        const double rest = v[static_cast<int>(k)] - static_cast<double>(centre[k]) / kTranslationParts;
        whole = whole && std::fabs(rest - std::round(rest)) < 1e-6;
      }
      return whole;
    });
  };
  std::array<std::vector<Fractional>, 3> images;
  for (const std::array<int, 3>& centre : centring) {
    for (int code = 0; code < 125; ++code) {
      const int n[] = {code % 5 - 2, code / 5 % 5 - 2, code / 25 - 2};
      Fractional v;
      for (int k = 0; k < 3; ++k) v[k] = n[k] + static_cast<double>(centre[static_cast<size_t>(k)]) / kTranslationParts;
      for (size_t axis = 0; axis < 3; ++axis)
        if (fits(dot(v, v), axis, axis)) images[axis].push_back(v);
    }
  }
  std::vector<std::array<double, 9>> found;
  for (const auto& list : images)
    if (list.size() > kMostImages) return found;
  for (const Fractional& a : images[0]) {
    for (const Fractional& b : images[1]) {
      if (!fits(dot(a, b), 0, 1)) continue;
      for (const Fractional& c : images[2]) {
        if (!fits(dot(a, c), 0, 2) || !fits(dot(b, c), 1, 2)) continue;
        const double determinant = Dot(a, Cross(b, c));
        if (std::fabs(determinant - 1.0) > 1e-6) continue;
        const bool keeps = std::ranges::all_of(centring, [&](const std::array<int, 3>& centre) {
          return inLattice((a * centre[0] + b * centre[1] + c * centre[2]) * (1.0 / kTranslationParts));
        });
        if (keeps && found.size() == kMostRotations) return {};
        if (keeps) found.push_back({a.x, b.x, c.x, a.y, b.y, c.y, a.z, b.z, c.z});
      }
    }
  }
  return found;
}

std::vector<std::array<double, 9>> LatticeRotations(const Metric& metric, const SpaceGroup& group, double tolerance) {
  return LatticeRotations(metric, group.centring, tolerance, tolerance);
}

}  // namespace marvik
