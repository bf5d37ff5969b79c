#pragma once

#include <unordered_map>

#include "chem/geometry/uncertainty.h"
#include "refine/constraints/parameters.h"
#include "refine/factors/normal_matrix.h"
#include "refine/structure/structure.h"

namespace marvik {

// The uncertainties of a refinement, for reports on its structure: the full covariance matrix of the refined
// parameters, and the cell's own. What the constructor is given must outlive this.
class RefinedUncertainties : public UncertaintySource {
 public:
  RefinedUncertainties(const Structure& structure, const Parametrisation& parametrisation,
                       const NormalMatrix& covariance, const std::array<double, 6>& cellSigmas);

  const AtomUncertainty* Of(const AtomRecord& atom) const override;
  std::optional<std::vector<double>> Coordinates(std::span<const AtomRecord* const> atoms) const override;
  std::array<double, 6> Cell() const override { return cell_; }
  std::string Basis() const override { return "S.u. from the full covariance matrix of the refinement and the cell."; }

 private:
  double CovarianceOf(const Row& a, const Row& b) const;

  const Parametrisation& parametrisation_;
  const NormalMatrix& covariance_;
  std::array<double, 6> cell_;
  struct Known {
    int site = 0;
    AtomUncertainty sigmas;
  };
  std::unordered_map<uint32_t, Known> known_;  // by the serial of the atom
};

}  // namespace marvik
