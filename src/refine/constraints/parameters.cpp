#include "refine/constraints/parameters.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "crystal/site_symmetry.h"

namespace marvik {
namespace {

constexpr const char* kRawNames[kRawPerSite] = {"x", "y", "z", "sof", "U11", "U22", "U33", "U23", "U13", "U12"};

void AddTerm(Row& row, int parameter, double factor) {
  if (factor == 0.0) return;
  for (Term& term : row) {
    if (term.parameter == parameter) {
      term.factor += factor;
      return;
    }
  }
  row.push_back({parameter, factor});
}

bool Contains(const std::vector<std::vector<int>>& sets, int site, bool behindFirst) {
  for (const auto& set : sets) {
    for (size_t i = behindFirst ? 1 : 0; i < set.size(); ++i) {
      if (set[i] == site) return true;
    }
  }
  return false;
}

}  // namespace

int RidingUSource(const Structure& structure, int site) {
  for (int i = site - 1; i >= 0; --i) {
    if (!IsRidingU(structure.sites[static_cast<size_t>(i)].code[kRawU])) return i;
  }
  return -1;
}

int Parametrisation::Add(ParameterKind kind, int site, int component, int index, std::string name) {
  parameters.push_back({kind, site, component, index, std::move(name)});
  return static_cast<int>(parameters.size()) - 1;
}

int Parametrisation::FreeVariableParameter(int variable) {
  const auto at = static_cast<size_t>(variable - 2);
  if (variables_[at] < 0) {
    variables_[at] = Add(ParameterKind::FreeVariable, -1, 0, variable - 2, Printf("FVAR %d", variable));
  }
  return variables_[at];
}

// Whether the file's code says how this raw parameter depends on others.
bool Parametrisation::CodeRow(const Structure& structure, int site, int raw, Row& row) {
  const double code = structure.sites[static_cast<size_t>(site)].code[static_cast<size_t>(raw)];
  if (code == 0.0) return false;
  if (raw == kRawU && IsRidingU(code)) return true;
  const CodedParts d = SplitCodedValue(code);
  if (d.variable == 0) return false;
  if (d.variable > 1) AddTerm(row, FreeVariableParameter(d.variable), d.factor);
  return true;
}

void Parametrisation::BuildPosition(Structure& structure, int site, const std::vector<SymmetryOperator>& operations) {
  Site& s = structure.sites[static_cast<size_t>(site)];
  std::array<bool, 3> coded{};
  Row* row = &rows[static_cast<size_t>(site * kRawPerSite)];
  for (int k = 0; k < 3; ++k) coded[static_cast<size_t>(k)] = CodeRow(structure, site, k, row[k]);
  if (operations.size() > 1) {
    const Fractional exact = ProjectOnSite(operations, s.x);
    for (int k = 0; k < 3; ++k) {
      if (!coded[static_cast<size_t>(k)]) s.x[k] = exact[k];
    }
  }
  const AllowedShifts<3> allowed = AllowedPositions(operations, coded);
  std::array<int, 3> own{-1, -1, -1};
  for (int k = 0; k < 3; ++k) {
    if (coded[static_cast<size_t>(k)]) continue;
    for (const auto& term : allowed.rows[static_cast<size_t>(k)]) {
      int& parameter = own[static_cast<size_t>(term.component)];
      if (parameter < 0) {
        parameter = Add(ParameterKind::Coordinate, site, term.component, 0,
                        std::string(kRawNames[term.component]) + " " + s.label);
      }
      AddTerm(row[k], parameter, term.factor);
    }
  }
}

void Parametrisation::BuildDisplacement(Structure& structure, int site,
                                        const std::vector<SymmetryOperator>& operations) {
  Site& s = structure.sites[static_cast<size_t>(site)];
  Row* row = &rows[static_cast<size_t>(site * kRawPerSite + kRawU)];
  if (!s.anisotropic) {
    if (CodeRow(structure, site, kRawU, row[0])) return;
    AddTerm(row[0], Add(ParameterKind::Displacement, site, 0, 0, "U " + s.label), 1.0);
    return;
  }
  std::array<bool, 6> coded{};
  for (int k = 0; k < 6; ++k) coded[static_cast<size_t>(k)] = CodeRow(structure, site, kRawU + k, row[k]);
  if (operations.size() > 1) {
    const std::array<double, 6> exact = ProjectDisplacement(structure.metric, operations, s.u);
    for (size_t k = 0; k < 6; ++k) {
      if (!coded[k]) s.u[k] = exact[k];
    }
  }
  const AllowedShifts<6> allowed = AllowedDisplacements(structure.metric, operations, coded);
  std::array<int, 6> own{-1, -1, -1, -1, -1, -1};
  for (int k = 0; k < 6; ++k) {
    if (coded[static_cast<size_t>(k)]) continue;
    for (const auto& term : allowed.rows[static_cast<size_t>(k)]) {
      int& parameter = own[static_cast<size_t>(term.component)];
      if (parameter < 0) {
        parameter = Add(ParameterKind::Displacement, site, term.component, 0,
                        std::string(kRawNames[kRawU + term.component]) + " " + s.label);
      }
      AddTerm(row[k], parameter, term.factor);
    }
  }
}

void Parametrisation::BuildSite(Structure& structure, int site, const ParameterOptions& options,
                                std::vector<std::string>& notes) {
  Site& s = structure.sites[static_cast<size_t>(site)];
  const int n = s.afix % 10;
  const bool rigidFollower = std::any_of(rigid_.begin(), rigid_.end(), [&](const RigidGroup& g) {
    return std::find(g.members.begin() + 1, g.members.end(), site) != g.members.end();
  });
  std::vector<SymmetryOperator> operations{SymmetryOperator{}};
  if (s.part >= 0 && !IsRidingCode(s.afix)) {
    const auto found = SiteOperations(structure.group.all, structure.metric, s.x, options.specialTolerance);
    if (!found.empty()) operations = found;
    if (operations.size() > 1 && s.code[kRawOccupancy] == 0.0) {
      notes.push_back("the occupancy of " + s.label + " on a special position is refined");
    }
  }
  if (n == 1 && s.afix > 0) return;
  const bool movesAlone = !IsRidingCode(s.afix) && !rigidFollower && !Contains(options.sameCoordinates, site, true);
  if (movesAlone) BuildPosition(structure, site, operations);
  if (n == 2 && s.afix > 0) return;
  Row& occupancy = rows[static_cast<size_t>(site * kRawPerSite + kRawOccupancy)];
  if (!CodeRow(structure, site, kRawOccupancy, occupancy)) {
    AddTerm(occupancy, Add(ParameterKind::Occupancy, site, 0, 0, "sof " + s.label), 1.0);
  }
  if (!Contains(options.sameDisplacements, site, true)) BuildDisplacement(structure, site, operations);
}

void Parametrisation::CopyRows(const std::vector<std::vector<int>>& sets, Structure& structure, int first, int count) {
  for (const auto& set : sets) {
    for (size_t i = 1; i < set.size(); ++i) {
      Site& from = structure.sites[static_cast<size_t>(set[0])];
      Site& to = structure.sites[static_cast<size_t>(set[i])];
      if (first == kRawU) to.anisotropic = from.anisotropic;
      for (int k = first; k < first + count; ++k) {
        rows[static_cast<size_t>(set[i] * kRawPerSite + k)] = rows[static_cast<size_t>(set[0] * kRawPerSite + k)];
        to.SetRaw(k, from.Raw(k));
      }
    }
  }
}

void Parametrisation::Build(Structure& structure, const ParameterOptions& options,
                            const std::vector<HydrogenGroup>& hydrogens, std::vector<RigidGroup>& rigid,
                            std::vector<std::string>& notes) {
  hydrogens_ = hydrogens;
  rigid_ = rigid;
  parameters.clear();
  rows.assign(structure.sites.size() * kRawPerSite, {});
  variables_.assign(structure.freeVariables.size(), -1);
  Add(ParameterKind::Scale, -1, 0, 0, "scale");
  if (options.extinction) Add(ParameterKind::Extinction, -1, 0, 0, "EXTI");
  if (options.solvent) {
    Add(ParameterKind::SolventScale, -1, 0, 0, "SWAT g");
    Add(ParameterKind::SolventU, -1, 0, 0, "SWAT U");
  }
  for (size_t i = 0; i < structure.batchFractions.size(); ++i) {
    Add(ParameterKind::BatchFraction, -1, 0, static_cast<int>(i), Printf("BASF %zu", i + 1));
  }
  scaleRows = {};
  if (options.anisotropicScale) {
    const auto allowed = AllowedDisplacements(structure.metric, structure.group.pointOperators, {});
    std::array<int, 6> own{-1, -1, -1, -1, -1, -1};
    for (size_t k = 0; k < 6; ++k) {
      for (const auto& term : allowed.rows[k]) {
        int& parameter = own[static_cast<size_t>(term.component)];
        if (parameter < 0)
          parameter = Add(ParameterKind::AnisotropicScale, -1, term.component, 0,
                          std::string("scale ") + kRawNames[kRawU + term.component]);
        AddTerm(scaleRows[k], parameter, term.factor);
      }
    }
  }
  for (const int variable : options.restrainedVariables) {
    const bool there = variable > 1 && static_cast<size_t>(variable - 2) < structure.freeVariables.size();
    if (there) FreeVariableParameter(variable);
  }
  for (size_t i = 0; i < structure.sites.size(); ++i) BuildSite(structure, static_cast<int>(i), options, notes);
  CopyRows(options.sameCoordinates, structure, 0, 3);
  CopyRows(options.sameDisplacements, structure, kRawU, 6);
  rotations_.clear();
  scalings_.clear();
  for (size_t i = 0; i < rigid_.size(); ++i) {
    const std::string& name = structure.sites[static_cast<size_t>(rigid_[i].members[0])].label;
    rotations_.push_back(static_cast<int>(parameters.size()));
    for (int k = 0; k < 3; ++k) {
      Add(ParameterKind::GroupRotation, rigid_[i].members[0], k, static_cast<int>(i),
          Printf("rot%d %s", k + 1, name.c_str()));
    }
    scalings_.push_back(
        rigid_[i].n == 9 ? Add(ParameterKind::GroupScale, rigid_[i].members[0], 0, static_cast<int>(i), "size " + name)
                         : -1);
  }
  torsions_.clear();
  stretches_.clear();
  for (size_t i = 0; i < hydrogens_.size(); ++i) {
    const HydrogenGroup& g = hydrogens_[i];
    const std::string& name = structure.sites[static_cast<size_t>(g.hydrogens[0])].label;
    const bool turns = g.Rotates() && !g.around.empty();
    torsions_.push_back(turns ? Add(ParameterKind::Torsion, g.carrier, 0, static_cast<int>(i), "tors " + name) : -1);
    stretches_.push_back(g.Stretches() ? Add(ParameterKind::Stretch, g.carrier, 0, static_cast<int>(i), "dist " + name)
                                       : -1);
  }
  for (const HydrogenGroup& g : hydrogens_) IdealiseHydrogens(structure, g);
  WriteGroupRows(structure);
  WriteRidingU(structure);
  Apply(std::vector<double>(parameters.size(), 0.0), structure);
}

void Parametrisation::Refresh(const Structure& structure) {
  WriteGroupRows(structure);
}

void Parametrisation::WriteGroupRows(const Structure& structure) {
  const Metric& metric = structure.metric;
  const auto place = [&](int site) { return metric.ToCartesian(structure.sites[static_cast<size_t>(site)].x); };
  const auto addVector = [&](int site, int parameter, const Cartesian& v) {
    const Fractional f = metric.ToFractional(v);
    for (int k = 0; k < 3; ++k) AddTerm(rows[static_cast<size_t>(site * kRawPerSite + k)], parameter, f[k]);
  };
  const auto follow = [&](int site, int leader) {
    for (int k = 0; k < 3; ++k) {
      rows[static_cast<size_t>(site * kRawPerSite + k)] = rows[static_cast<size_t>(leader * kRawPerSite + k)];
    }
  };
  for (size_t i = 0; i < rigid_.size(); ++i) {
    const RigidGroup& g = rigid_[i];
    for (size_t j = 1; j < g.members.size(); ++j) {
      follow(g.members[j], g.members[0]);
      const Cartesian arm = place(g.members[j]) - place(g.members[0]);
      for (int k = 0; k < 3; ++k) {
        Cartesian axis;
        axis[k] = 1.0;
        addVector(g.members[j], rotations_[i] + k, Cross(axis, arm));
      }
      if (scalings_[i] >= 0) addVector(g.members[j], scalings_[i], arm);
    }
  }
  for (size_t i = 0; i < hydrogens_.size(); ++i) {
    const HydrogenGroup& g = hydrogens_[i];
    for (const int h : g.hydrogens) {
      follow(h, g.carrier);
      const Cartesian arm = place(h) - place(g.carrier);
      if (torsions_[i] >= 0) {
        const Cartesian back = metric.ToCartesian(ImagePosition(structure, g.around[0]));
        addVector(h, torsions_[i], Cross(Normalised(place(g.carrier) - back), arm));
      }
      if (stretches_[i] >= 0) addVector(h, stretches_[i], Normalised(arm));
    }
  }
}

void Parametrisation::WriteRidingU(const Structure& structure) {
  const std::array<double, 6> weights = structure.metric.UeqWeights();
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (site.anisotropic || !IsRidingU(site.code[kRawU])) continue;
    const int source = RidingUSource(structure, static_cast<int>(i));
    if (source < 0) continue;
    Row& row = rows[i * kRawPerSite + kRawU];
    row.clear();
    const Site& leader = structure.sites[static_cast<size_t>(source)];
    for (int k = 0; k < (leader.anisotropic ? 6 : 1); ++k) {
      const double w = leader.anisotropic ? weights[static_cast<size_t>(k)] : 1.0;
      for (const Term& term : RowOf(source, kRawU + k))
        AddTerm(row, term.parameter, -site.code[kRawU] * w * term.factor);
    }
  }
}

void Parametrisation::Apply(const std::vector<double>& shifts, Structure& structure) const {
  for (size_t p = 0; p < parameters.size(); ++p) {
    const double shift = shifts[p];
    const auto index = static_cast<size_t>(parameters[p].index);
    switch (parameters[p].kind) {
      case ParameterKind::Scale:
        structure.scale += shift;
        break;
      case ParameterKind::Extinction:
        structure.extinction = std::max(0.0, structure.extinction + shift);
        break;
      case ParameterKind::SolventScale:
        structure.solventScale += shift;
        break;
      case ParameterKind::SolventU:
        structure.solventU += shift;
        break;
      case ParameterKind::BatchFraction:
        structure.batchFractions[index] += shift;
        break;
      case ParameterKind::FreeVariable:
        structure.freeVariables[index] += shift;
        break;
      default:
        break;
    }
  }
  for (size_t k = 0; k < 6; ++k)
    for (const Term& term : scaleRows[k])
      structure.anisotropicScale[k] += term.factor * shifts[static_cast<size_t>(term.parameter)];
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    Site& site = structure.sites[i];
    for (int k = 0; k < kRawPerSite; ++k) {
      double delta = 0.0;
      for (const Term& term : RowOf(static_cast<int>(i), k))
        delta += term.factor * shifts[static_cast<size_t>(term.parameter)];
      if (delta != 0.0) site.SetRaw(k, site.Raw(k) + delta);
    }
  }
  ApplyFreeVariables(structure);
  for (const RigidGroup& g : rigid_) RestoreShape(structure, g);
  for (const HydrogenGroup& g : hydrogens_) IdealiseHydrogens(structure, g);
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    Site& site = structure.sites[i];
    if (site.anisotropic || !IsRidingU(site.code[kRawU])) continue;
    const int source = RidingUSource(structure, static_cast<int>(i));
    if (source >= 0) site.u[0] = -site.code[kRawU] * structure.Ueq(structure.sites[static_cast<size_t>(source)]);
  }
}

double Parametrisation::Value(const Structure& structure, size_t parameter) const {
  const Parameter& p = parameters[parameter];
  const auto index = static_cast<size_t>(p.index);
  switch (p.kind) {
    case ParameterKind::Scale:
      return structure.scale;
    case ParameterKind::Extinction:
      return structure.extinction;
    case ParameterKind::SolventScale:
      return structure.solventScale;
    case ParameterKind::SolventU:
      return structure.solventU;
    case ParameterKind::BatchFraction:
      return structure.batchFractions[index];
    case ParameterKind::AnisotropicScale:
      return structure.anisotropicScale[static_cast<size_t>(p.component)];
    case ParameterKind::FreeVariable:
      return structure.freeVariables[index];
    case ParameterKind::Coordinate:
      return structure.sites[static_cast<size_t>(p.site)].x[p.component];
    case ParameterKind::Occupancy:
      return structure.sites[static_cast<size_t>(p.site)].occupancy;
    case ParameterKind::Displacement:
      return structure.sites[static_cast<size_t>(p.site)].u[static_cast<size_t>(p.component)];
    default:
      return 0.0;  // turns and sizes of groups have no value of their own
  }
}

}  // namespace marvik
