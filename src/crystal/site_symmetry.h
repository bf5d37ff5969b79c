#pragma once

#include <array>
#include <span>
#include <vector>

#include "crystal/cell_metric.h"
#include "crystal/crystal.h"

namespace marvik {

// Which shifts of a site's parameters its site symmetry allows: component i = Σ over `terms` factor·component j, j
// independent. An independent component has itself alone, a fixed one nothing.
template <int N>
struct AllowedShifts {
  struct Term {
    int component;
    double factor;
  };
  std::array<std::vector<Term>, N> rows;
};

// The operations of a group, each with its lattice translation, that bring the position back to within `tolerance` Å.
std::vector<SymmetryOperator> SiteOperations(std::span<const SymmetryOperator> group, const Metric& metric,
                                             const Fractional& x, double tolerance);

// The position moved onto the symmetry element.
Fractional ProjectOnSite(const std::vector<SymmetryOperator>& operations, const Fractional& x);

// x' = R x + t: shifts are left alone by every R. Components that are `fixed` for other reasons do not move, and what
// depends on them does not either; the others keep their freedom.
AllowedShifts<3> AllowedPositions(const std::vector<SymmetryOperator>& operations, const std::array<bool, 3>& fixed);

// U in file order. The tensor in the form β_ij = U_ij a*_i a*_j transforms as R β Rᵀ (Peterse & Palm, Acta Cryst. 20
// (1966) 147).
AllowedShifts<6> AllowedDisplacements(const Metric& metric, const std::vector<SymmetryOperator>& operations,
                                      const std::array<bool, 6>& fixed);
std::array<double, 6> ProjectDisplacement(const Metric& metric, const std::vector<SymmetryOperator>& operations,
                                          const std::array<double, 6>& u);

}  // namespace marvik
