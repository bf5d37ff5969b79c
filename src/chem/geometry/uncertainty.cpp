#include "chem/geometry/uncertainty.h"

#include <algorithm>
#include <cmath>

#include "base/mat3.h"
#include "base/numbers.h"
#include "crystal/cell_metric.h"

namespace marvik {
namespace {

// Å: an operator that moves a place by no more leaves it where it is.
constexpr double kSamePlace = 0.02;

std::array<double, 6> Values(const CellParameters& cell) {
  return {cell.a, cell.b, cell.c, cell.alpha, cell.beta, cell.gamma};
}

double* ValueOf(CellParameters& cell, size_t i) {
  double* const values[] = {&cell.a, &cell.b, &cell.c, &cell.alpha, &cell.beta, &cell.gamma};
  return values[i];
}

// What is left of a shift when every operator that keeps a place in place has acted on it, but for a factor: the shifts
// that its site leaves free.
Mat3 FreeShifts(const Document& document, const Fractional& place) {
  Mat3 sum;
  bool any = false;
  for (const SymmetryOperator& op : document.symmetry) {
    Fractional moved = op.Apply(place) - place;
    for (int i = 0; i < 3; ++i) moved[i] -= std::round(moved[i]);
    if (Length(document.matrix * moved) > kSamePlace) continue;
    any = true;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) sum[i][j] += op.r[static_cast<size_t>(i)][static_cast<size_t>(j)];
  }
  return any ? sum : Mat3::Diagonal(1, 1, 1);
}

// Files of high symmetry often say of one edge alone how certain it is; those that the group makes equal are as
// certain.
void SpreadOverEqualEdges(const Document& document, std::array<double, 6>& sigmas) {
  const std::array<double, 6> values = Values(document.cell);
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3 && sigmas[i] > 0.0; ++j) {
      const auto mixes = [&](const SymmetryOperator& op) { return op.r[i][j] != 0 || op.r[j][i] != 0; };
      if (sigmas[j] == 0.0 && values[i] == values[j] && std::ranges::any_of(document.symmetry, mixes))
        sigmas[j] = sigmas[i];
    }
  }
}

// The correlations of the three coordinates for an error that is the same in all directions: the cosines of the
// reciprocal angles.
Mat3 DirectionlessCorrelation(const CellParameters& cell) {
  const double ca = std::cos(cell.alpha * kRadiansPerDegree), cb = std::cos(cell.beta * kRadiansPerDegree),
               cg = std::cos(cell.gamma * kRadiansPerDegree);
  const double sa = std::sin(cell.alpha * kRadiansPerDegree), sb = std::sin(cell.beta * kRadiansPerDegree),
               sg = std::sin(cell.gamma * kRadiansPerDegree);
  Mat3 r = Mat3::Diagonal(1, 1, 1);
  r[1][2] = r[2][1] = (cb * cg - ca) / (sb * sg);
  r[0][2] = r[2][0] = (ca * cg - cb) / (sa * sg);
  r[0][1] = r[1][0] = (ca * cb - cg) / (sa * sb);
  return r;
}

}  // namespace

std::string SymmetryText(int32_t symmetryCode) {
  if (symmetryCode == GeometrySite::kIdentityCode || symmetryCode < 1000) return {};
  return Printf("%d_%03d", symmetryCode / 1000, symmetryCode % 1000);
}

std::optional<double> TorsionAngle(const Cartesian& a, const Cartesian& b, const Cartesian& c, const Cartesian& d) {
  const Cartesian axis = Normalised(c - b);
  const Cartesian n1 = Cross(b - a, axis);
  const Cartesian n2 = Cross(axis, d - c);
  const double flat = 1e-6;
  if (!(Length(n1) > flat) || !(Length(n2) > flat)) return std::nullopt;
  const double angle = -std::atan2(Dot(Cross(n1, n2), axis), Dot(n1, n2)) * kDegreesPerRadian;
  return angle < -180.0 + 1e-9 ? 180.0 : angle;
}

std::optional<double> GeometryOf(std::span<const Cartesian> p) {
  if (p.size() == 2) return Distance(p[0], p[1]);
  if (p.size() == 3) return Angle(p[1], p[0], p[2]);
  if (p.size() == 4) return TorsionAngle(p[0], p[1], p[2], p[3]);
  return std::nullopt;
}

std::array<double, 6> CellSigmas(const std::string& zerrLine) {
  std::array<double, 6> sigmas{};
  std::string_view rest = zerrLine;
  std::vector<double> numbers;
  while (!rest.empty() && numbers.size() < 7) {
    double value = 0.0;
    const size_t used = ParseNumber(rest, value);
    if (used > 0) numbers.push_back(value);
    rest.remove_prefix(std::max<size_t>(used, 1));
  }
  // Six alone: the number of formula units is left out.
  const size_t first = numbers.size() == 6 ? 0 : 1;
  for (size_t i = 0; first + i < numbers.size() && i < 6; ++i) sigmas[i] = std::fabs(numbers[first + i]);
  return sigmas;
}

ListedUncertainties::ListedUncertainties(const Document& document, const std::array<double, 6>& cellSigmas,
                                         std::string basis)
    : document_(document), cell_(cellSigmas), basis_(std::move(basis)) {}

void ListedUncertainties::Add(const AtomRecord& atom, const AtomUncertainty& uncertainty) {
  const Mat3 free = FreeShifts(document_, atom.fract);
  const Mat3 alike = DirectionlessCorrelation(document_.cell);
  const auto& sigma = uncertainty.fract;
  bool any = false;
  for (int i = 0; i < 3; ++i) any = any || sigma[static_cast<size_t>(i)] > 0.0 || std::fabs(free[i][i]) > 1e-6;
  if (any && sigma == std::array<double, 3>{}) return;
  Mat3 scaled;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      scaled[i][j] = alike[i][j] * sigma[static_cast<size_t>(i)] * sigma[static_cast<size_t>(j)];
  const Mat3 tied = free * scaled * Transposed(free);
  Known known{uncertainty, {}};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const double size = std::sqrt(tied[i][i] * tied[j][j]);
      if (size > 0.0)
        known.block[static_cast<size_t>(3 * i + j)] =
            tied[i][j] / size * sigma[static_cast<size_t>(i)] * sigma[static_cast<size_t>(j)];
    }
  known_[atom.serial] = known;
}

const AtomUncertainty* ListedUncertainties::Of(const AtomRecord& atom) const {
  const auto found = known_.find(atom.serial);
  return found == known_.end() ? nullptr : &found->second.sigmas;
}

std::optional<std::vector<double>> ListedUncertainties::Coordinates(std::span<const AtomRecord* const> atoms) const {
  const size_t n = 3 * atoms.size();
  std::vector<double> all(n * n);
  for (size_t a = 0; a < atoms.size(); ++a) {
    const auto found = known_.find(atoms[a]->serial);
    if (found == known_.end()) return std::nullopt;
    for (size_t i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j) all[(3 * a + i) * n + 3 * a + j] = found->second.block[3 * i + j];
  }
  return all;
}

GeometryUncertainty::GeometryUncertainty(const Document& document, const UncertaintySource* source)
    : document_(document), source_(source) {
  if (!source) return;
  std::array<double, 6> sigmas = source->Cell();
  SpreadOverEqualEdges(document, sigmas);
  const std::array<double, 6> values = Values(document.cell);
  std::array<bool, 6> done{};
  for (size_t i = 0; i < 6; ++i) {
    if (done[i] || !(sigmas[i] > 0.0)) continue;
    CellParameters up = document.cell;
    CellParameters down = document.cell;
    for (size_t j = i; j < (i < 3 ? 3u : 6u); ++j) {
      if (values[j] != values[i] || sigmas[j] != sigmas[i]) continue;
      *ValueOf(up, j) += sigmas[j];
      *ValueOf(down, j) -= sigmas[j];
      done[j] = true;
    }
    Shifted shifted;
    if (BuildOrthogonalisation(up, shifted.up) && BuildOrthogonalisation(down, shifted.down))
      shiftedCells_.push_back(shifted);
  }
}

std::string GeometryUncertainty::Basis() const {
  return source_ ? source_->Basis() : "No s.u.: no file beside this one tells how certain its coordinates are.";
}

std::optional<double> GeometryUncertainty::Of(std::span<const GeometrySite> sites, const Quantity& quantity) const {
  if (!source_) return std::nullopt;
  std::vector<const AtomRecord*> atoms;
  for (const GeometrySite& site : sites) {
    if (site.atom->IsRiding()) return std::nullopt;
    if (std::find(atoms.begin(), atoms.end(), site.atom) == atoms.end()) atoms.push_back(site.atom);
  }
  const auto covariance = source_->Coordinates(atoms);
  if (!covariance) return std::nullopt;
  std::vector<Cartesian> places(sites.size());
  const auto valueWith = [&](const OrthogonalisationMatrix& matrix, const AtomRecord* moved, const Fractional& by) {
    for (size_t i = 0; i < sites.size(); ++i) {
      Fractional f = sites[i].fract;
      if (sites[i].atom == moved && moved) {
        const bool known = sites[i].op < document_.symmetry.size();
        f += known ? document_.symmetry[sites[i].op].Apply(by) - document_.symmetry[sites[i].op].Apply({}) : by;
      }
      places[i] = matrix * f;
    }
    return quantity(places);
  };
  // Slopes times standard uncertainties, over steps as large as these.
  const size_t n = 3 * atoms.size();
  std::vector<double> slopes(n);
  double variance = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const double sigma = std::sqrt(std::max(0.0, (*covariance)[i * n + i]));
    if (!(sigma > 0.0)) continue;
    Fractional by;
    by[static_cast<int>(i % 3)] = sigma;
    slopes[i] = (valueWith(document_.matrix, atoms[i / 3], by) - valueWith(document_.matrix, atoms[i / 3], -by)) /
                (2.0 * sigma);
  }
  for (size_t i = 0; i < n; ++i)
    for (size_t j = 0; j < n; ++j) variance += slopes[i] * slopes[j] * (*covariance)[i * n + j];
  for (const Shifted& cell : shiftedCells_)
    variance += std::pow((valueWith(cell.up, nullptr, {}) - valueWith(cell.down, nullptr, {})) / 2.0, 2);
  if (!std::isfinite(variance)) return std::nullopt;
  return std::sqrt(std::max(0.0, variance));
}

std::optional<double> GeometryUncertainty::OfGeometry(std::span<const GeometrySite> sites) const {
  std::optional<double> first;
  return Of(sites, [&first](std::span<const Cartesian> p) {
    const double value = GeometryOf(p).value_or(0.0);
    // Near 180° the sign of a torsion angle may turn over between two places.
    if (!first) first = value;
    return p.size() == 4 ? value - 360.0 * std::round((value - *first) / 360.0) : value;
  });
}

}  // namespace marvik
