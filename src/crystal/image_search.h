#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "crystal/crystal.h"
#include "crystal/lattice_points.h"
#include "crystal/neighbour_grid.h"

namespace marvik {

// The nklm number of an image: 1000·k + 100·(tx + 5) + 10·(ty + 5) + (tz + 5) with operator k counted from 1, so that
// 1555 is the atom itself.
constexpr int32_t SymmetryCodeOf(uint32_t op, const std::array<int32_t, 3>& t) {
  return static_cast<int32_t>(1000 * (op + 1)) + 100 * (t[0] + 5) + 10 * (t[1] + 5) + (t[2] + 5);
}

// One symmetry image: operator `op` of the list applied to atom `atom` of the span, then the lattice translation `t`.
struct AtomImage {
  uint32_t atom = 0;
  uint32_t op = 0;
  std::array<int32_t, 3> t{};
  Fractional fract;
  Cartesian position;     // Å
  double distance = 0.0;  // Å from the place that was asked for

  int32_t SymmetryCode() const { return SymmetryCodeOf(op, t); }
};

// Some 70 images stand within bonding distance of a heavy atom in a dense structure; disorder multiplies that. Who
// looks around every atom stops at so many, or the work would grow with the square of the atoms.
inline constexpr size_t kMostBondingImages = 1000;

// The infinite crystal around any place: finds the images of atoms near a point at a cost that does not grow with the
// number of atoms, operators or translations.
class ImageSearch {
 public:
  // `reach` in Å is the largest radius that will be asked for. Atoms with coordinates that are not finite are not
  // found, nor are images by an operator that none is. Without operators the identity alone is taken.
  ImageSearch(std::span<const Fractional> atoms, std::vector<SymmetryOperator> operators, const CellParameters& cell,
              double reach);
  ImageSearch(std::span<const Fractional> atoms, const SymmetryList& operators, const CellParameters& cell,
              double reach)
      : ImageSearch(atoms, std::vector<SymmetryOperator>(operators.begin(), operators.end()), cell, reach) {}

  // Every image within `radius` of `place`, ordered by atom, operator and tx, ty, tz, as nested plain loops meet them.
  // `found` is emptied first. False, and none is found, when there are more than `most` for each of the images that the
  // atom of the highest site symmetry has in one place.
  bool FindNear(const Fractional& place, double radius, std::vector<AtomImage>& found,
                size_t most = std::numeric_limits<size_t>::max()) const;

  // How many images a question passes over beside those that it finds: all of them in a cell that is small against the
  // reach, and else next to none.
  size_t Cost() const { return padded_ ? 1 : sites_.size(); }

 private:
  // An image brought into the cell at the origin, or a copy of one just outside it.
  struct Site {
    uint32_t atom;
    uint32_t op;
    std::array<int32_t, 3> t;
  };
  Fractional Image(uint32_t atom, uint32_t op) const;
  void Take(const Site& site, const std::array<int32_t, 3>& shift, const Cartesian& centre, double radius,
            std::vector<AtomImage>& found) const;

  std::vector<Fractional> atoms_;
  std::vector<SymmetryOperator> operators_;
  OrthogonalisationMatrix matrix_;
  LatticePoints lattice_{matrix_};
  std::vector<Site> sites_;
  NeighbourGrid grid_;
  size_t siteOrder_ = 1;  // the most images that one atom has in one place
  bool padded_ = true;    // false: the cell is so small against the reach that copies are enumerated when asked for
};

}  // namespace marvik
