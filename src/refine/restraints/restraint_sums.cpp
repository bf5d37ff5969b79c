#include <algorithm>
#include <cmath>

#include "refine/restraints/restraints.h"

namespace marvik {
namespace {

void AddTo(Row& row, int parameter, double factor) {
  for (Term& term : row) {
    if (term.parameter == parameter) {
      term.factor += factor;
      return;
    }
  }
  row.push_back({parameter, factor});
}

// Whether any atom is held along a direction by a fixed coordinate, so that the origin cannot float.
bool IsHeld(const Structure& structure, const Parametrisation& parametrisation,
            const std::array<double, 3>& direction) {
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (site.afix % 10 == 1) return true;
    for (int k = 0; k < 3; ++k) {
      const bool fixed = parametrisation.RowOf(static_cast<int>(i), k).empty();
      if (std::fabs(direction[static_cast<size_t>(k)]) > 1e-6 && fixed) return true;
    }
  }
  return false;
}

}  // namespace

std::vector<ParameterEquation> MakeEquations(const Structure& structure, const Parametrisation& parametrisation,
                                             const RestraintList& restraints, RestraintSums& sums) {
  std::vector<const Restraint*> all;
  for (const auto& restraint : restraints) all.push_back(restraint.get());
  return MakeEquations(structure, parametrisation, all, sums);
}

std::vector<ParameterEquation> MakeEquations(const Structure& structure, const Parametrisation& parametrisation,
                                             std::span<const Restraint* const> restraints, RestraintSums& sums) {
  std::vector<RestraintEquation> raw;
  for (const Restraint* restraint : restraints) restraint->Evaluate(structure, raw);
  std::vector<ParameterEquation> equations;
  for (const RestraintEquation& equation : raw) {
    ParameterEquation e;
    e.deviation = equation.Deviation();
    e.weight = equation.share * sums.scale / (equation.sigma * equation.sigma);
    for (const auto& slope : equation.slopes) {
      for (const Term& term : parametrisation.RowOf(slope.site, slope.raw))
        AddTo(e.slopes, term.parameter, slope.value * term.factor);
    }
    for (const auto& [variable, slope] : equation.variables) {
      for (size_t p = 0; p < parametrisation.Size(); ++p) {
        const Parameter& parameter = parametrisation.parameters[p];
        if (parameter.kind == ParameterKind::FreeVariable && parameter.index == variable)
          AddTo(e.slopes, static_cast<int>(p), slope);
      }
    }
    sums.sum += equation.inFull * e.deviation * e.deviation / (equation.sigma * equation.sigma);
    sums.restraints += equation.counted;
    if (!e.slopes.empty()) equations.push_back(std::move(e));
  }
  return equations;
}

void AddOriginEquations(const Structure& structure, const Parametrisation& parametrisation, double strength,
                        std::vector<ParameterEquation>& equations) {
  for (const auto& direction : structure.group.PolarDirections()) {
    if (IsHeld(structure, parametrisation, direction)) continue;
    ParameterEquation e;
    double total = 0.0;
    for (size_t i = 0; i < structure.sites.size(); ++i) {
      const Site& site = structure.sites[i];
      const double z = structure.scatterers[static_cast<size_t>(site.scatterer)].electrons;
      const double w = z * z * std::fabs(site.occupancy);
      total += w;
      for (int k = 0; k < 3; ++k) {
        const double d = direction[static_cast<size_t>(k)];
        if (d == 0.0) continue;
        for (const Term& term : parametrisation.RowOf(static_cast<int>(i), k))
          AddTo(e.slopes, term.parameter, w * d * term.factor);
      }
    }
    if (e.slopes.empty() || total == 0.0) continue;
    for (Term& term : e.slopes) term.factor /= total;
    e.weight = strength;
    equations.push_back(std::move(e));
  }
}

void AddScaleEquations(const Structure& structure, const Parametrisation& parametrisation, RestraintSums& sums,
                       std::vector<ParameterEquation>& equations) {
  const double weight = std::pow(std::max(1e-6, structure.anisotropicScaleSigma), -2);
  for (size_t p = 0; p < parametrisation.Size(); ++p) {
    if (parametrisation.parameters[p].kind != ParameterKind::AnisotropicScale) continue;
    const double value = parametrisation.Value(structure, p);
    equations.push_back({{{static_cast<int>(p), 1.0}}, -value, sums.scale * weight});
    sums.sum += weight * value * value;
    sums.restraints += 1.0;
  }
}

void AddEquations(const std::vector<ParameterEquation>& equations, NormalSystem& system) {
  for (const ParameterEquation& e : equations) {
    for (const Term& a : e.slopes) {
      system.gradient[static_cast<size_t>(a.parameter)] += e.weight * a.factor * e.deviation;
      for (const Term& b : e.slopes) {
        if (b.parameter < a.parameter) continue;
        system.matrix.At(static_cast<size_t>(a.parameter), static_cast<size_t>(b.parameter)) +=
            e.weight * a.factor * b.factor;
      }
    }
  }
}

}  // namespace marvik
