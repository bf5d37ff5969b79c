#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "refine/map/fourier.h"

namespace marvik {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;

// Vertex of the parabola through three equidistant values: offset in steps, within ±1/2.
double Vertex(double a, double b, double c) {
  const double curvature = a - 2.0 * b + c;
  if (curvature >= 0.0) return 0.0;
  return std::clamp(0.5 * (a - c) / curvature, -0.5, 0.5);
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

// Å; what is surely farther than `reach` is not worked out.
double NearestImage(const Metric& metric, const Fractional& image, const Fractional& target, Fractional& moved,
                    double reach) {
  double best = 1e30;
  Fractional d = image - target;
  for (int i = 0; i < 3; ++i) {
    d[i] -= std::round(d[i]);
    // No image is nearer to the lattice plane through the target.
    if (d[i] * d[i] > reach * reach * metric.reciprocal[static_cast<size_t>(i)]) return best;
  }
  for (int n = 0; n < 27; ++n) {
    const Fractional t{d.x + n / 9 - 1, d.y + n / 3 % 3 - 1, d.z + n % 3 - 1};
    const double d2 = metric.DistanceSquared(t, {});
    if (d2 < best) best = d2, moved = target + t;
  }
  return std::sqrt(best);
}

// Where images of the peak fall on it, in their middle: the special position.
void PlaceOnSite(const Structure& structure, Peak& peak) {
  Fractional moved, offset;
  int count = 0;
  for (const SymmetryOperator& op : structure.group.all)
    if (NearestImage(structure.metric, op.Apply(peak.x), peak.x, moved, 0.3) < 0.3) offset += moved - peak.x, ++count;
  if (count > 1) peak.x += offset / count;
}

void PlaceNearAtoms(const Structure& structure, Peak& peak) {
  double best = 1e30;
  Fractional place = peak.x;
  int equal = 0;
  for (const SymmetryOperator& op : structure.group.all) {
    const Fractional image = op.Apply(peak.x);
    Fractional moved;
    if (NearestImage(structure.metric, image, peak.x, moved, 0.3) < 0.3) ++equal;
    for (size_t i = 0; i < structure.sites.size(); ++i) {
      const double d = NearestImage(structure.metric, image, structure.sites[i].x, moved, best);
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

// Between its points a map of reflections is what these give with a sinc for each point; a window (exponential of a
// semicircle) ends that after so many points, which costs some 0.2 % of a peak's height in maps of this step.
constexpr int kReach = 5;
constexpr double kWindow = 5.5;

double Share(double x) {
  const double along = x / kReach;
  if (std::fabs(along) >= 1.0) return 0.0;
  const double phase = 0.5 * kTurn * x;
  const double sinc = std::fabs(phase) < 1e-9 ? 1.0 : std::sin(phase) / phase;
  return sinc * std::exp(kWindow * (std::sqrt(1.0 - along * along) - 1.0));
}

// What the points from -kReach + 1 to kReach count, and the first two derivatives by the place.
struct Shares {
  std::array<std::array<double, 3>, 2 * kReach> of;
  explicit Shares(double place) {
    constexpr double kStep = 1e-3;
    for (int i = 0; i < 2 * kReach; ++i) {
      const double x = place - (i - kReach + 1);
      const double before = Share(x - kStep), here = Share(x), behind = Share(x + kStep);
      of[static_cast<size_t>(i)] = {here, (behind - before) / (2.0 * kStep),
                                    (behind - 2.0 * here + before) / (kStep * kStep)};
    }
  }
};

struct Expansion {
  double value = 0.0;
  Eigen::Vector3d slope = Eigen::Vector3d::Zero();
  Eigen::Matrix3d curvature = Eigen::Matrix3d::Zero();
};

// The map about a place in steps of its grid.
Expansion Expand(const DensityMap& map, const Eigen::Vector3d& place, double sign) {
  std::array<long, 3> first;
  for (int i = 0; i < 3; ++i) first[static_cast<size_t>(i)] = static_cast<long>(std::floor(place[i])) - kReach + 1;
  const auto shares = [&](int i) { return Shares(place[i] - std::floor(place[i])); };
  const Shares u = shares(0), v = shares(1), w = shares(2);
  Expansion e;
  for (long i = 0; i < 2 * kReach; ++i) {
    std::array<std::array<double, 3>, 3> plane{};  // by the derivatives along the second and the third edge
    for (long j = 0; j < 2 * kReach; ++j) {
      std::array<double, 3> row{};
      for (long k = 0; k < 2 * kReach; ++k) {
        const double value = sign * map.At(first[0] + i, first[1] + j, first[2] + k);
        for (size_t n = 0; n < 3; ++n) row[n] += value * w.of[static_cast<size_t>(k)][n];
      }
      for (size_t m = 0; m < 3; ++m)
        for (size_t n = 0; m + n < 3; ++n) plane[m][n] += row[n] * v.of[static_cast<size_t>(j)][m];
    }
    const auto& s = u.of[static_cast<size_t>(i)];
    e.value += s[0] * plane[0][0];
    e.slope += Eigen::Vector3d(s[1] * plane[0][0], s[0] * plane[1][0], s[0] * plane[0][1]);
    const double xy = s[1] * plane[1][0], xz = s[1] * plane[0][1], yz = s[0] * plane[1][1];
    e.curvature +=
        Eigen::Matrix3d{{s[2] * plane[0][0], xy, xz}, {xy, s[0] * plane[2][0], yz}, {xz, yz, s[0] * plane[0][2]}};
  }
  return e;
}

// Uphill from a maximum among the points to that of the map between them.
Maximum Summit(const DensityMap& map, const Maximum& among, double sign) {
  constexpr int kSteps = 60;
  constexpr double kFar = 1.5;  // steps of the grid: that is another peak
  Eigen::Vector3d start;
  for (int i = 0; i < 3; ++i) start[i] = among.x[i] * static_cast<double>(map.size[static_cast<size_t>(i)]);
  Eigen::Vector3d at = start;
  Expansion here = Expand(map, at, sign);
  double longest = 0.5;
  for (int n = 0; n < kSteps; ++n) {
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(here.curvature);
    const Eigen::Vector3d bend = axes.eigenvalues().cwiseAbs().cwiseMax(1e-6 * std::fabs(here.value));
    Eigen::Vector3d step = axes.eigenvectors() * (axes.eigenvectors().transpose() * here.slope).cwiseQuotient(bend);
    step *= std::min(1.0, longest / std::max(step.norm(), 1e-12));
    if (step.norm() < 1e-3) break;
    if ((at + step - start).cwiseAbs().maxCoeff() > kFar) return among;
    const Expansion there = Expand(map, at + step, sign);
    if (there.value < here.value) {
      longest = 0.4 * step.norm();
      continue;
    }
    at += step;
    here = there;
  }
  Maximum summit{{}, here.value};
  for (int i = 0; i < 3; ++i) summit.x[i] = at[i] / static_cast<double>(map.size[static_cast<size_t>(i)]);
  return summit;
}

}  // namespace

std::vector<Peak> FindPeaks(const Structure& structure, const DensityMap& map, size_t count, bool holes,
                            PeakPlaces places) {
  constexpr double kMayRise = 0.8;  // so much lower a maximum among the points may be the higher one between them
  constexpr double kSame = 0.4, kNearlySame = 0.25, kSameOnGrid = 0.35;  // Å
  const double sign = holes ? -1.0 : 1.0;
  const bool between = places == PeakPlaces::Between;
  std::vector<Peak> peaks;
  const auto isKnown = [&](const Fractional& x, double reach) {
    return std::ranges::any_of(peaks, [&](const Peak& p) {
      return std::ranges::any_of(structure.group.all, [&](const SymmetryOperator& op) {
        Fractional moved;
        return NearestImage(structure.metric, op.Apply(x), p.x, moved, reach) < reach;
      });
    });
  };
  const auto higher = [](const Peak& a, const Peak& b) { return std::fabs(a.height) > std::fabs(b.height); };
  for (Maximum m : LocalMaxima(map, sign)) {
    if (peaks.size() >= count && (!between || m.height < kMayRise * std::fabs(peaks[count - 1].height))) break;
    // The parabolas of equivalent maxima end at places of their own.
    if (isKnown(m.x, between ? kNearlySame : kSameOnGrid)) continue;
    if (between) {
      m = Summit(map, m, sign);
      if (isKnown(m.x, kSame)) continue;
    }
    Peak peak;
    peak.x = m.x;
    peak.height = sign * m.height;
    peaks.insert(std::ranges::upper_bound(peaks, peak, higher), peak);
  }
  if (peaks.size() > count) peaks.resize(count);
  for (Peak& peak : peaks) {
    if (between) PlaceOnSite(structure, peak);
    PlaceNearAtoms(structure, peak);
  }
  return peaks;
}

}  // namespace marvik
