#pragma once

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/document.h"

namespace marvik {

// Standard uncertainties of fractional coordinates by the atoms' serial numbers, and where they come from.
struct CoordinateSigmas {
  std::unordered_map<uint32_t, std::array<double, 3>> bySerial;
  std::string source;  // a file name, "" when there are none
};

// An atom or a symmetry image of one.
struct GeometrySite {
  const AtomRecord* atom = nullptr;
  uint32_t op = 0;
  Fractional fract;  // of the image
};

// Degrees, -180 to 180, about the middle bond; 0 looking along it means eclipsed, positive is clockwise from front to
// back. Nothing when three of the places lie in line.
std::optional<double> TorsionAngle(const Cartesian& a, const Cartesian& b, const Cartesian& c, const Cartesian& d);

// Standard uncertainties of the cell, from a ZERR line: a b c in Å, three angles in degrees; zeros without one.
std::array<double, 6> CellSigmas(const std::string& zerrLine);

// Propagates the uncertainties of cell and coordinates to what is computed from places of atoms. Coordinates of
// different atoms and the cell parameters count as independent of each other; symmetry images move with their atom.
class GeometryUncertainty {
 public:
  GeometryUncertainty(const Document& document, const CoordinateSigmas& sigmas);

  using Quantity = std::function<double(std::span<const Cartesian>)>;
  // Nothing when no uncertainty is known, or where a hydrogen rides: its geometry is not refined.
  std::optional<double> Of(std::span<const GeometrySite> sites, const Quantity& quantity) const;
  std::optional<double> OfDistance(const GeometrySite& a, const GeometrySite& b) const;
  std::optional<double> OfAngle(const GeometrySite& centre, const GeometrySite& b, const GeometrySite& c) const;
  std::optional<double> OfTorsion(std::span<const GeometrySite> four) const;

  // A sentence on what the uncertainties rest on.
  const std::string& Basis() const { return basis_; }
  // The site of a live atom; a generated one stands for the image of its source.
  GeometrySite SiteOf(const AtomRecord& atom) const;

 private:
  const Document& document_;
  const CoordinateSigmas& sigmas_;
  std::array<double, 6> cellSigmas_{};
  // The matrices of the cell with one parameter raised and lowered by its uncertainty; none where that is 0.
  struct Shifted {
    OrthogonalisationMatrix up, down;
  };
  std::vector<Shifted> shiftedCells_;
  std::unordered_map<uint32_t, const AtomRecord*> bySerial_;
  std::string basis_;
};

}  // namespace marvik
