#include "refine/output/refined_uncertainties.h"

#include <algorithm>
#include <cmath>

namespace marvik {

RefinedUncertainties::RefinedUncertainties(const Structure& structure, const Parametrisation& parametrisation,
                                           const NormalMatrix& covariance, const std::array<double, 6>& cellSigmas)
    : parametrisation_(parametrisation), covariance_(covariance), cell_(cellSigmas) {
  const size_t n = parametrisation.Size();
  if (covariance.Size() != n) return;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (!site.atom) continue;
    Known known{static_cast<int>(i), {}};
    const auto sigma = [&](int raw) {
      const Row& row = parametrisation.RowOf(known.site, raw);
      return std::sqrt(std::max(0.0, CovarianceOf(row, row)));
    };
    for (int k = 0; k < 3; ++k) known.sigmas.fract[static_cast<size_t>(k)] = sigma(kRawX + k);
    for (int k = 0; k < (site.anisotropic ? 6 : 1); ++k) known.sigmas.u[static_cast<size_t>(k)] = sigma(kRawU + k);
    known.sigmas.occupancy = sigma(kRawOccupancy);
    known_[site.atom->serial] = known;
  }
}

double RefinedUncertainties::CovarianceOf(const Row& a, const Row& b) const {
  double sum = 0.0;
  for (const Term& s : a)
    for (const Term& t : b)
      sum += s.factor * t.factor * covariance_.At(static_cast<size_t>(s.parameter), static_cast<size_t>(t.parameter));
  return sum;
}

const AtomUncertainty* RefinedUncertainties::Of(const AtomRecord& atom) const {
  const auto found = known_.find(atom.serial);
  return found == known_.end() ? nullptr : &found->second.sigmas;
}

std::optional<std::vector<double>> RefinedUncertainties::Coordinates(std::span<const AtomRecord* const> atoms) const {
  std::vector<const Row*> rows;
  for (const AtomRecord* atom : atoms) {
    const auto found = known_.find(atom->serial);
    if (found == known_.end()) return std::nullopt;
    for (int k = 0; k < 3; ++k) rows.push_back(&parametrisation_.RowOf(found->second.site, kRawX + k));
  }
  std::vector<double> block;
  for (const Row* a : rows)
    for (const Row* b : rows) block.push_back(CovarianceOf(*a, *b));
  return block;
}

}  // namespace marvik
