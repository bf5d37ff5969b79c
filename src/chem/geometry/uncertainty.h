#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/document.h"

namespace marvik {

// An atom or a symmetry image of one.
struct GeometrySite {
  const AtomRecord* atom = nullptr;
  uint32_t op = 0;
  Fractional fract;                      // of the image
  int32_t symmetryCode = kIdentityCode;  // as in NeighbourImage

  static constexpr int32_t kIdentityCode = 1555;
  bool IsIdentity() const { return symmetryCode == kIdentityCode; }
};

// "3_655": operator and translation as CIFs write them, "" for an atom where it is.
std::string SymmetryText(int32_t symmetryCode);

// Degrees, -180 to 180, about the middle bond, of places in the program's frame, whose Z is mirrored: 0 looking along
// the bond means eclipsed, positive is clockwise from front to back (IUPAC). Nothing when three of the places lie in
// line.
std::optional<double> TorsionAngle(const Cartesian& a, const Cartesian& b, const Cartesian& c, const Cartesian& d);

// Standard uncertainties of what an atom is given by; 0 for what is fixed.
struct AtomUncertainty {
  std::array<double, 3> fract{};
  std::array<double, 6> u{};  // Å², as AtomRecord::u
  double occupancy = 0.0;     // of the site, symmetry not counted
};

// What the uncertainties of a structure rest on: a refinement, or the file that tells of one.
class UncertaintySource {
 public:
  virtual ~UncertaintySource() = default;
  // Null for an atom that it does not know.
  virtual const AtomUncertainty* Of(const AtomRecord& atom) const = 0;
  // Covariances of the fractional coordinates of some atoms, none of them twice: 3n x 3n numbers. Nothing when it does
  // not know all of them.
  virtual std::optional<std::vector<double>> Coordinates(std::span<const AtomRecord* const> atoms) const = 0;
  // Standard uncertainties of a b c (Å) and α β γ (degrees).
  virtual std::array<double, 6> Cell() const = 0;
  // A sentence for the user.
  virtual std::string Basis() const = 0;
};

// Standard uncertainties of the cell from a ZERR line; zeros without one.
std::array<double, 6> CellSigmas(const std::string& zerrLine);

// Atoms with a standard uncertainty for each value, as a CIF or a listing gives them. Coordinates of different atoms
// count as independent; those of one atom as having the same error in every direction, which correlates them in oblique
// axes, within what the symmetry of its site leaves free.
class ListedUncertainties : public UncertaintySource {
 public:
  ListedUncertainties(const Document& document, const std::array<double, 6>& cellSigmas, std::string basis);
  // An atom of which no coordinate has an uncertainty stays unknown, unless its site leaves none free.
  void Add(const AtomRecord& atom, const AtomUncertainty& uncertainty);
  size_t Size() const { return known_.size(); }

  const AtomUncertainty* Of(const AtomRecord& atom) const override;
  std::optional<std::vector<double>> Coordinates(std::span<const AtomRecord* const> atoms) const override;
  std::array<double, 6> Cell() const override { return cell_; }
  std::string Basis() const override { return basis_; }

 private:
  struct Known {
    AtomUncertainty sigmas;
    std::array<double, 9> block{};
  };
  const Document& document_;
  std::array<double, 6> cell_;
  std::string basis_;
  std::unordered_map<uint32_t, Known> known_;  // by serial
};

// Propagates them to what is computed from places of atoms; symmetry images move with their atom. Edges or angles of
// the cell that are equal and equally uncertain err together.
class GeometryUncertainty {
 public:
  // Without a source nothing has an uncertainty. It and the document must outlive this.
  GeometryUncertainty(const Document& document, const UncertaintySource* source);

  using Quantity = std::function<double(std::span<const Cartesian>)>;
  // Nothing when that of one of the atoms is not known, nor where a hydrogen rides: its geometry is not refined.
  std::optional<double> Of(std::span<const GeometrySite> sites, const Quantity& quantity) const;
  // Of the distance of two sites, the angle at the middle one of three, the torsion angle of four.
  std::optional<double> OfGeometry(std::span<const GeometrySite> sites) const;

  const UncertaintySource* Source() const { return source_; }
  // A sentence on what the uncertainties rest on.
  std::string Basis() const;

 private:
  const Document& document_;
  const UncertaintySource* source_;
  // The matrices of the cell with one parameter, or several that are equal, raised and lowered by its uncertainty.
  struct Shifted {
    OrthogonalisationMatrix up, down;
  };
  std::vector<Shifted> shiftedCells_;
};

// The distance in Å of two sites, the angle in degrees at the middle one of three, the torsion angle of four; nothing
// where it is not determined.
std::optional<double> GeometryOf(std::span<const Cartesian> places);

}  // namespace marvik
