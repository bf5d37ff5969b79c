#include "refine/output/geometry.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/geometry/report_numbers.h"
#include "chem/geometry/uncertainty.h"

namespace marvik {
namespace {

double ValueOf(const Metric& metric, const std::vector<Fractional>& x) {
  const auto vector = [&](size_t from, size_t to) { return metric.ToCartesian(x[to] - x[from]); };
  if (x.size() == 2) return Length(vector(0, 1));
  if (x.size() == 3) return Angle({}, vector(1, 0), vector(1, 2));
  // These axes are right-handed, those of the drawing frame are not.
  const auto place = [&](size_t i) {
    const Cartesian c = metric.ToCartesian(x[i]);
    return Cartesian{c.x, c.y, -c.z};
  };
  return TorsionAngle(place(0), place(1), place(2), place(3)).value_or(0.0);
}

double Difference(double a, double b, size_t atoms) {
  double d = a - b;
  if (atoms == 4) d -= 360.0 * std::round(d / 360.0);
  return d;
}

Fractional PlaceOfImage(const Structure& structure, const SiteImage& image, int site, int component, double step) {
  Fractional x = structure.sites[static_cast<size_t>(image.site)].x;
  if (image.site == site) x[component] += step;
  return image.moved ? image.operation.Apply(x) : x;
}

double* CellValue(CellParameters& cell, size_t i) {
  double* const values[] = {&cell.a, &cell.b, &cell.c, &cell.alpha, &cell.beta, &cell.gamma};
  return values[i];
}

}  // namespace

Geometry::Geometry(const Structure& structure, const Parametrisation& parametrisation, const NormalMatrix& covariance,
                   const std::array<double, 6>& cellSigmas)
    : structure_(structure), parametrisation_(parametrisation), covariance_(covariance) {
  std::array<bool, 6> done{};
  for (size_t i = 0; i < 6; ++i) {
    if (done[i] || cellSigmas[i] <= 0.0) continue;
    CellParameters cell = structure.metric.cell;
    const double value = *CellValue(cell, i);
    for (size_t j = i; j < (i < 3 ? 3U : 6U); ++j) {
      if (*CellValue(cell, j) != value || cellSigmas[j] != cellSigmas[i]) continue;
      *CellValue(cell, j) += cellSigmas[i];
      done[j] = true;
    }
    shifted_.push_back(MakeMetric(cell));
  }
}

double Geometry::VarianceOf(const Row& gradient) const {
  const size_t n = parametrisation_.Size();
  if (covariance_.Size() != n) return 0.0;
  double variance = 0.0;
  for (const Term& a : gradient) {
    for (const Term& b : gradient) {
      variance +=
          a.factor * b.factor * covariance_.At(static_cast<size_t>(a.parameter), static_cast<size_t>(b.parameter));
    }
  }
  return variance;
}

Measured Geometry::Measure(const std::vector<SiteImage>& images) const {
  const auto value = [&](const Metric& metric, int site, int component, double step) {
    std::vector<Fractional> x;
    for (const SiteImage& image : images) x.push_back(PlaceOfImage(structure_, image, site, component, step));
    return ValueOf(metric, x);
  };
  Measured m;
  m.value = value(structure_.metric, -1, 0, 0.0);
  Row gradient;
  std::vector<int> sites;
  for (const SiteImage& image : images) {
    if (std::find(sites.begin(), sites.end(), image.site) == sites.end()) sites.push_back(image.site);
  }
  constexpr double kStep = 1e-6;
  for (const int site : sites) {
    for (int k = 0; k < 3; ++k) {
      const Row& row = parametrisation_.RowOf(site, k);
      if (row.empty()) continue;
      const double slope = Difference(value(structure_.metric, site, k, kStep),
                                      value(structure_.metric, site, k, -kStep), images.size()) /
                           (2.0 * kStep);
      for (const Term& term : row) {
        const auto known = std::find_if(gradient.begin(), gradient.end(),
                                        [&](const Term& t) { return t.parameter == term.parameter; });
        if (known != gradient.end()) {
          known->factor += slope * term.factor;
        } else {
          gradient.push_back({term.parameter, slope * term.factor});
        }
      }
    }
  }
  // What rides has the same shift on both ends; differences leave rounding dust that is no uncertainty.
  double variance = VarianceOf(gradient);
  if (variance < 1e-12) variance = 0.0;
  const bool fixed = variance == 0.0;
  for (const Metric& metric : shifted_) {
    const double d = Difference(value(metric, -1, 0, 0.0), m.value, images.size());
    if (!fixed) variance += d * d;
  }
  m.su = std::sqrt(std::max(0.0, variance));
  return m;
}

Measured Geometry::Raw(int site, int raw) const {
  return {structure_.sites[static_cast<size_t>(site)].Raw(raw),
          std::sqrt(std::max(0.0, VarianceOf(parametrisation_.RowOf(site, raw))))};
}

Measured Geometry::Ueq(int site) const {
  const Site& s = structure_.sites[static_cast<size_t>(site)];
  const bool riding = IsRidingU(s.code[kRawU]) && !s.anisotropic;
  Row gradient;
  const std::array<double, 6> weights = structure_.metric.UeqWeights();
  for (int k = 0; k < (s.anisotropic ? 6 : 1); ++k) {
    for (const Term& term : parametrisation_.RowOf(site, kRawU + k)) {
      gradient.push_back({term.parameter, term.factor * (s.anisotropic ? weights[static_cast<size_t>(k)] : 1.0)});
    }
  }
  return {structure_.Ueq(s), riding ? 0.0 : std::sqrt(std::max(0.0, VarianceOf(gradient)))};
}

SiteImage ImageOf(const Structure& structure, const Neighbour& n) {
  SiteImage image;
  image.site = n.site;
  image.moved = !n.IsIdentity();
  image.operation = structure.group.all[static_cast<size_t>(n.operation)].Shifted(n.cell);
  return image;
}

std::string WithSu(const Measured& m, int digits) {
  constexpr int kMostDigits = 8;
  const bool known = m.su >= 0.5e-9 && std::isfinite(m.su);
  return WithUncertainty(m.value, m.su, known ? kMostDigits : digits);
}

std::string OperationNames::Suffix(const SiteImage& image) {
  if (!image.moved) return {};
  for (size_t i = 0; i < operations_.size(); ++i) {
    if (operations_[i] == image.operation) return Printf("_$%zu", i + 1);
  }
  operations_.push_back(image.operation);
  return Printf("_$%zu", operations_.size());
}

}  // namespace marvik
