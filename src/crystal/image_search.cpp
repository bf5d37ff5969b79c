#include "crystal/image_search.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "crystal/cell_metric.h"

namespace marvik {

namespace {

// Padding copies beyond this many are not stored, unless they are few for each image.
constexpr double kMostSites = 1e6;
constexpr double kFewCopies = 30;
// Coordinates beyond this many cells are taken for nonsense: their fraction has lost its digits.
constexpr double kFarthestCell = 1e8;

bool IsUsable(const Fractional& f) {
  return std::fabs(f.x) < kFarthestCell && std::fabs(f.y) < kFarthestCell && std::fabs(f.z) < kFarthestCell;
}

// Whole cells apart.
bool IsSamePlace(const Fractional& a, const Fractional& b) {
  constexpr double kTolerance = 0.01;  // of an edge
  const auto near = [](double d) { return std::fabs(d - std::round(d)) < kTolerance; };
  return near(a.x - b.x) && near(a.y - b.y) && near(a.z - b.z);
}

Fractional Shifted(const Fractional& f, const std::array<int32_t, 3>& t) {
  return {f.x + t[0], f.y + t[1], f.z + t[2]};
}

}  // namespace

ImageSearch::ImageSearch(std::span<const Fractional> atoms, std::vector<SymmetryOperator> operators,
                         const CellParameters& cell, double reach)
    : atoms_(atoms.begin(), atoms.end()), operators_(std::move(operators)) {
  BuildOrthogonalisation(cell, matrix_);
  lattice_ = LatticePoints(matrix_);
  if (operators_.empty()) operators_.emplace_back();
  reach = std::isfinite(reach) ? std::max(reach, 0.0) : 0.0;
  std::array<double, 3> pad{};  // fractional
  const auto reciprocal = MakeMetric(cell).reciprocalEdges;
  double copies = static_cast<double>(atoms_.size() * operators_.size());
  for (size_t i = 0; i < 3; ++i) {
    pad[i] = reach * reciprocal[i] + 1e-9;
    copies *= 1.0 + 2.0 * pad[i];
  }
  padded_ = copies < std::max(kMostSites, kFewCopies * static_cast<double>(atoms_.size() * operators_.size()));
  std::vector<Cartesian> points;
  for (uint32_t atom = 0; atom < atoms_.size(); ++atom) {
    size_t order = 0;
    for (uint32_t op = 0; op < operators_.size(); ++op) {
      const Fractional image = Image(atom, op);
      if (!IsUsable(image) || operators_[op].Determinant() == 0) continue;
      order += IsSamePlace(image, atoms_[atom]);
      std::array<int32_t, 3> low{}, high{};
      for (int i = 0; i < 3; ++i) {
        const auto k = static_cast<size_t>(i);
        const double margin = padded_ ? pad[k] : 0.0;
        low[k] = static_cast<int32_t>(std::ceil(-margin - image[i]));
        high[k] = static_cast<int32_t>(std::ceil(1.0 + margin - image[i])) - 1;
      }
      for (int32_t x = low[0]; x <= high[0]; ++x)
        for (int32_t y = low[1]; y <= high[1]; ++y)
          for (int32_t z = low[2]; z <= high[2]; ++z) {
            sites_.push_back({atom, op, {x, y, z}});
            points.push_back(matrix_ * Shifted(image, {x, y, z}));
          }
    }
    siteOrder_ = std::max(siteOrder_, order);
  }
  if (padded_) grid_.Build(points, std::clamp(reach, 1.0, 4.0));
}

Fractional ImageSearch::Image(uint32_t atom, uint32_t op) const {
  return operators_[op].Apply(atoms_[atom]);
}

void ImageSearch::Take(const Site& site, const std::array<int32_t, 3>& shift, const Cartesian& centre, double radius,
                       std::vector<AtomImage>& found) const {
  AtomImage image{site.atom, site.op, {site.t[0] + shift[0], site.t[1] + shift[1], site.t[2] + shift[2]}, {}, {}, 0.0};
  // From the atom itself again, so that the digits are those of a plain evaluation.
  image.fract = Shifted(Image(site.atom, site.op), image.t);
  image.position = matrix_ * image.fract;
  image.distance = Distance(image.position, centre);
  if (image.distance <= radius) found.push_back(image);
}

bool ImageSearch::FindNear(const Fractional& place, double radius, std::vector<AtomImage>& found, size_t most) const {
  found.clear();
  most = most > std::numeric_limits<size_t>::max() / siteOrder_ ? most : most * siteOrder_;
  if (!IsUsable(place) || !(radius >= 0.0)) return true;
  const Cartesian centre = matrix_ * place;
  std::array<int32_t, 3> home{};
  for (int i = 0; i < 3; ++i) home[static_cast<size_t>(i)] = static_cast<int32_t>(std::floor(place[i]));
  const Fractional inside{place.x - home[0], place.y - home[1], place.z - home[2]};
  if (padded_) {
    // A hair more than the radius: the wrapped copies differ from the images in the last digits.
    grid_.ForEachWithin(matrix_ * inside, radius + 1e-6, [&](uint32_t i, double) {
      if (found.size() <= most) Take(sites_[i], home, centre, radius, found);
    });
  } else {
    for (const Site& site : sites_) {
      if (found.size() > most) break;
      const Cartesian apart = matrix_ * Shifted(Image(site.atom, site.op), site.t) - matrix_ * inside;
      lattice_.ForEachWithin(apart, radius + 1e-6, [&](const std::array<int32_t, 3>& n) {
        Take(site, {home[0] + n[0], home[1] + n[1], home[2] + n[2]}, centre, radius, found);
        return found.size() <= most;
      });
    }
  }
  if (found.size() > most) {
    found.clear();
    return false;
  }
  std::sort(found.begin(), found.end(), [](const AtomImage& a, const AtomImage& b) {
    return std::tie(a.atom, a.op, a.t) < std::tie(b.atom, b.op, b.t);
  });
  return true;
}

}  // namespace marvik
