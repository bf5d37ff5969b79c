#include "chem/uncertainty.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "model/placement.h"

namespace marvik {
namespace {

bool Rides(const AtomRecord& atom) {
  return atom.IsHydrogen() && atom.afix != 0;
}

}  // namespace

std::optional<double> TorsionAngle(const Cartesian& a, const Cartesian& b, const Cartesian& c, const Cartesian& d) {
  const Cartesian axis = Normalised(c - b);
  const Cartesian n1 = Cross(b - a, axis);
  const Cartesian n2 = Cross(axis, d - c);
  const double flat = 1e-6;
  if (!(Length(n1) > flat) || !(Length(n2) > flat)) return std::nullopt;
  return std::atan2(Dot(Cross(n1, n2), axis), Dot(n1, n2)) * kDegreesPerRadian;
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
  // Six alone come from a translated CIF, which leaves the number of formula units out.
  const size_t first = numbers.size() == 6 ? 0 : 1;
  for (size_t i = 0; first + i < numbers.size() && i < 6; ++i) sigmas[i] = std::fabs(numbers[first + i]);
  return sigmas;
}

GeometryUncertainty::GeometryUncertainty(const Document& document, const CoordinateSigmas& sigmas)
    : document_(document), sigmas_(sigmas), cellSigmas_(CellSigmas(document.instructions.zerrLine)) {
  for (size_t i = 0; i < 6; ++i) {
    if (!(cellSigmas_[i] > 0.0)) continue;
    Shifted shifted;
    CellParameters up = document.cell;
    CellParameters down = document.cell;
    const std::array<double CellParameters::*, 6> fields{&CellParameters::a,    &CellParameters::b,
                                                         &CellParameters::c,    &CellParameters::alpha,
                                                         &CellParameters::beta, &CellParameters::gamma};
    up.*fields[i] += cellSigmas_[i];
    down.*fields[i] -= cellSigmas_[i];
    if (BuildOrthogonalisation(up, shifted.up) && BuildOrthogonalisation(down, shifted.down))
      shiftedCells_.push_back(shifted);
  }
  for (const AtomRecord* atom : Atoms(document.atoms)) bySerial_[atom->serial] = atom;
  const bool cell = !shiftedCells_.empty();
  const bool coordinates = !sigmas.bySerial.empty();
  if (coordinates)
    basis_ = "S.u. from the coordinates in " + sigmas.source + (cell ? " and the cell (ZERR)" : "") +
             "; correlations are not known and not included.";
  else if (cell)
    basis_ = "S.u. from the cell (ZERR) alone, as no coordinate s.u. are known: lower bounds.";
  else
    basis_ = "No s.u.: neither the cell nor the coordinates have uncertainties.";
}

GeometrySite GeometryUncertainty::SiteOf(const AtomRecord& atom) const {
  if (atom.generated != 0 && atom.symmetryCode >= 1000) {
    const auto source = bySerial_.find(atom.sourceSerial);
    const auto op = static_cast<uint32_t>(atom.symmetryCode / 1000 - 1);
    if (source != bySerial_.end() && op < document_.symmetry.size()) return {source->second, op, atom.fract};
  }
  return {&atom, 0, atom.fract};
}

std::optional<double> GeometryUncertainty::Of(std::span<const GeometrySite> sites, const Quantity& quantity) const {
  for (const GeometrySite& site : sites)
    if (Rides(*site.atom)) return std::nullopt;
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
  double variance = 0.0;
  bool isKnown = false;
  const auto add = [&](double up, double down) {
    variance += std::pow((up - down) / 2.0, 2);
    isKnown = true;
  };
  for (const Shifted& cell : shiftedCells_) add(valueWith(cell.up, nullptr, {}), valueWith(cell.down, nullptr, {}));
  std::vector<const AtomRecord*> done;
  for (const GeometrySite& site : sites) {
    const auto sigma = sigmas_.bySerial.find(site.atom->serial);
    if (sigma == sigmas_.bySerial.end() || std::find(done.begin(), done.end(), site.atom) != done.end()) continue;
    done.push_back(site.atom);
    for (int i = 0; i < 3; ++i) {
      Fractional by;
      by[i] = sigma->second[static_cast<size_t>(i)];
      if (by[i] > 0.0) add(valueWith(document_.matrix, site.atom, by), valueWith(document_.matrix, site.atom, -by));
    }
  }
  // With coordinates known for some atoms but not for these, the cell alone would look like the whole truth.
  if (!sigmas_.bySerial.empty() && done.empty()) return std::nullopt;
  if (!isKnown || !std::isfinite(variance)) return std::nullopt;
  return std::sqrt(variance);
}

std::optional<double> GeometryUncertainty::OfDistance(const GeometrySite& a, const GeometrySite& b) const {
  const std::array sites{a, b};
  return Of(sites, [](std::span<const Cartesian> p) { return Distance(p[0], p[1]); });
}

std::optional<double> GeometryUncertainty::OfAngle(const GeometrySite& centre, const GeometrySite& b,
                                                   const GeometrySite& c) const {
  const std::array sites{centre, b, c};
  return Of(sites, [](std::span<const Cartesian> p) { return Angle(p[0], p[1], p[2]); });
}

std::optional<double> GeometryUncertainty::OfTorsion(std::span<const GeometrySite> four) const {
  std::optional<double> first;
  return Of(four, [&first](std::span<const Cartesian> p) {
    const double torsion = TorsionAngle(p[0], p[1], p[2], p[3]).value_or(0.0);
    // Near 180° the sign may turn over between two places.
    if (!first) first = torsion;
    return torsion - 360.0 * std::round((torsion - *first) / 360.0);
  });
}

}  // namespace marvik
