#include <algorithm>
#include <cmath>
#include <gemmi/symmetry.hpp>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"
#include "crystal/lattice_rotations.h"
#include "crystal/space_group.h"
#include "crystal/symmetry.h"
#include "files/cif/cif_symmetry.h"

namespace marvik::cif {

namespace {

using gemmi::CrystalSystem;

std::optional<gemmi::GroupOps> OpsOf(const std::vector<std::string>& texts) {
  try {
    std::vector<gemmi::Op> ops;
    for (const std::string& text : texts) {
      const auto op = ParseOperator(text);
      if (!op) continue;
      std::string plain = OperatorText(*op);
      std::erase(plain, ' ');
      ops.push_back(gemmi::parse_triplet(plain).wrap());
    }
    if (ops.empty()) return {};
    return gemmi::split_centering_vectors(ops);
  } catch (const std::exception&) {
    return {};
  }
}

bool SameOperators(const gemmi::GroupOps& a, const gemmi::GroupOps& b) {
  if (a.order() != b.order()) return false;
  const auto sorted = [](const gemmi::GroupOps& g) {
    std::vector<gemmi::Op> all;
    for (const gemmi::Op& op : g) all.push_back(gemmi::Op(op).wrap());
    std::ranges::sort(all, [](const gemmi::Op& x, const gemmi::Op& y) { return x.triplet() < y.triplet(); });
    return all;
  };
  return sorted(a) == sorted(b);
}

const gemmi::SpaceGroup* GroupOf(const CifModel& m) {
  const auto ops = OpsOf(m.operatorTexts);
  return ops ? gemmi::find_spacegroup_by_ops(*ops) : nullptr;
}

// Whether an edge or angle is free, by the crystal system of the operators; rhombohedral axes have equal ones.
CrystalSystem SystemOf(const CifModel& m, const gemmi::SpaceGroup* group) {
  if (group) return group->crystal_system();
  const std::string word = LowerCase(m.Item("_space_group_crystal_system", "_symmetry_cell_setting"));
  constexpr const char* kWords[] = {"triclinic", "monoclinic", "orthorhombic", "tetragonal",
                                    "trigonal",  "hexagonal",  "cubic"};
  for (size_t i = 0; i < std::size(kWords); ++i) {
    if (word == kWords[i])
      return static_cast<CrystalSystem>(static_cast<int>(CrystalSystem::Triclinic) + static_cast<int>(i));
  }
  return CrystalSystem::Triclinic;
}

bool Alike(const Measured& a, const Measured& b) {
  return std::fabs(a.value - b.value) <= std::max({3.0 * a.su, 3.0 * b.su, 1.5e-4 * a.value});
}

bool Right(const Measured& angle, double value = 90.0) {
  return std::fabs(angle.value - value) < 0.015;
}

// The constraints of the system, by the unique axis that the angles show.
bool Fits(const CifModel& m, CrystalSystem system, bool rhombohedral) {
  const auto& c = m.cell;
  const bool right = Right(c[3]) && Right(c[4]) && Right(c[5]);
  switch (system) {
    case CrystalSystem::Monoclinic:
      return Right(c[3]) + Right(c[4]) + Right(c[5]) >= 2;
    case CrystalSystem::Orthorhombic:
      return right;
    case CrystalSystem::Tetragonal:
      return right && (Alike(c[0], c[1]) || Alike(c[1], c[2]) || Alike(c[0], c[2]));
    case CrystalSystem::Trigonal:
    case CrystalSystem::Hexagonal:
      if (rhombohedral) return Alike(c[0], c[1]) && Alike(c[1], c[2]) && std::fabs(c[3].value - c[4].value) < 0.1;
      return Alike(c[0], c[1]) && Right(c[3]) && Right(c[4]) && Right(c[5], 120.0);
    case CrystalSystem::Cubic:
      return right && Alike(c[0], c[1]) && Alike(c[1], c[2]);
    default:
      return true;
  }
}

void System(CifChecker& c, CrystalSystem system, const gemmi::SpaceGroup* group) {
  const CifModel& m = c.model;
  constexpr const char* kRules[] = {
      "", "cell-monoclinic", "cell-orthorhombic", "cell-tetragonal", "cell-trigonal", "cell-hexagonal", "cell-cubic"};
  const auto place = static_cast<size_t>(system) - static_cast<size_t>(CrystalSystem::Triclinic);
  const bool rhombohedral = group && group->ext == 'R';
  const std::string cell = Printf("%.4f %.4f %.4f %.3f %.3f %.3f.", m.cell[0].value, m.cell[1].value, m.cell[2].value,
                                  m.cell[3].value, m.cell[4].value, m.cell[5].value);
  if (!Fits(m, system, rhombohedral)) c.Found(kRules[place], cell);
  const auto& v = m.cell;
  const bool exact = v[0].value == v[1].value || v[1].value == v[2].value || v[0].value == v[2].value;
  const bool free = system == CrystalSystem::Triclinic || system == CrystalSystem::Monoclinic ||
                    system == CrystalSystem::Orthorhombic;
  const bool rightTriclinic =
      system == CrystalSystem::Triclinic && (v[3].value == 90.0 || v[4].value == 90.0 || v[5].value == 90.0);
  const bool rightMonoclinic = system == CrystalSystem::Monoclinic && Right(v[3]) && Right(v[4]) && Right(v[5]);
  if ((free && exact) || rightTriclinic || rightMonoclinic) c.Found("cell-higher", cell);
  if (system == CrystalSystem::Triclinic && !rhombohedral) {
    // Niggli: no face diagonal is shorter than an edge.
    const auto& g = m.metric.direct;
    const double tolerance = 0.001 * g[2];
    const bool reduced = 2 * std::fabs(g[5]) <= std::min(g[0], g[1]) + tolerance &&
                         2 * std::fabs(g[4]) <= std::min(g[0], g[2]) + tolerance &&
                         2 * std::fabs(g[3]) <= std::min(g[1], g[2]) + tolerance;
    if (!reduced) c.Found("cell-not-reduced", cell);
    if (v[0].value > v[1].value * 1.0001 || v[1].value > v[2].value * 1.0001) c.Found("edge-order", cell);
  }
  if (system == CrystalSystem::Monoclinic && std::min({v[3].value, v[4].value, v[5].value}) < 89.9)
    c.Found("beta-acute", cell);
}

void Uncertainties(CifChecker& c, CrystalSystem system, bool rhombohedral) {
  const CifModel& m = c.model;
  constexpr const char* kNames[] = {"a", "b", "c", "alpha", "beta", "gamma"};
  bool anySu = false;
  int zeros = 0;
  for (size_t i = 0; i < 6; ++i) {
    const Measured& v = m.cell[i];
    anySu = anySu || v.HasSu();
    if (i < 3 && v.decimals >= 2 &&
        std::fabs(v.value * std::pow(10.0, v.decimals - 1) - std::round(v.value * std::pow(10.0, v.decimals - 1))) <
            1e-6)
      ++zeros;
    const bool fixed = i >= 3 && !(system == CrystalSystem::Triclinic || rhombohedral ||
                                   (system == CrystalSystem::Monoclinic && !Right(v)));
    if (i < 3 && !v.HasSu()) c.Found("cell-edge-no-su", std::string(kNames[i]) + ".");
    if (i < 3) c.Test("cell-edge-su-large", v.su / v.value, Printf("%s: %.4f of it.", kNames[i], v.su / v.value));
    if (i >= 3 && !fixed && !v.HasSu()) c.Found("cell-angle-no-su", std::string(kNames[i]) + ".");
    if (i >= 3 && fixed && v.HasSu()) c.Found("cell-angle-fixed-su", std::string(kNames[i]) + ".");
    if (i >= 3) c.Test("cell-angle-su-large", v.su, Printf("%s: %.3f\xC2\xB0.", kNames[i], v.su));
  }
  const bool lower = system == CrystalSystem::Triclinic || system == CrystalSystem::Monoclinic ||
                     system == CrystalSystem::Orthorhombic;
  if (lower && m.cell[0].HasSu() && m.cell[0].su == m.cell[1].su && m.cell[1].su == m.cell[2].su)
    c.Found("cell-edge-su-alike", "");
  if (system == CrystalSystem::Triclinic && m.cell[3].HasSu() && m.cell[3].su == m.cell[4].su &&
      m.cell[4].su == m.cell[5].su)
    c.Found("cell-angle-su-alike", "");
  if (zeros == 3) c.Found("cell-zeros", "");

  // Rounding of the cell carries over to the volume.
  double rounding = 0.5 * std::pow(10.0, -m.volume.decimals);
  double variance = 0.0;
  double constrained = 0.0;
  const double v = m.metric.volume;
  const auto& p = m.parameters;
  const double cosines[] = {std::cos(p.alpha * kRadiansPerDegree), std::cos(p.beta * kRadiansPerDegree),
                            std::cos(p.gamma * kRadiansPerDegree)};
  const double edges = p.a * p.b * p.c;
  for (size_t i = 0; i < 3; ++i) {
    rounding += v * 0.5 * std::pow(10.0, -m.cell[i].decimals) / m.cell[i].value;
    variance += std::pow(v * m.cell[i].su / m.cell[i].value, 2);
    constrained += v * m.cell[i].su / m.cell[i].value;
    const double sine = std::sqrt(1.0 - cosines[i] * cosines[i]);
    const double slope =
        edges * edges / v * sine * (cosines[i] - cosines[(i + 1) % 3] * cosines[(i + 2) % 3]) * kRadiansPerDegree;
    variance += std::pow(slope * m.cell[i + 3].su, 2);
    rounding += std::fabs(slope) * 0.5 * std::pow(10.0, -std::max(m.cell[i + 3].decimals, 1));
  }
  if (!m.volume.Given()) return;
  c.Test("cell-volume", std::max(0.0, std::fabs(m.volume.value - v) - rounding),
         Printf("%.2f given, %.2f calculated.", m.volume.value, v));
  if (!m.volume.HasSu()) {
    if (anySu) c.Found("volume-no-su", "");
    return;
  }
  const double unit = std::pow(10.0, -m.volume.decimals);
  const double low = std::sqrt(variance) / unit;
  const double high = lower ? low : constrained / unit;
  const double off = m.volume.digits < low    ? low - m.volume.digits
                     : m.volume.digits > high ? m.volume.digits - high
                                              : 0.0;
  c.Test("volume-su", off, Printf("%d given, %.1f calculated, in the last digit.", m.volume.digits, low));
}

void Conditions(CifChecker& c) {
  const CifModel& m = c.model;
  const Measured cell = m.Number("_cell_measurement_temperature");
  const Measured data = m.Number("_diffrn_ambient_temperature", "_diffrn_ambient_temp");
  if (cell.Given()) c.Test("cell-cold", cell.value, Printf("%g K.", cell.value));
  if (cell.Given() && data.Given())
    c.Test("temperature-differs", std::fabs(cell.value - data.value), Printf("%g and %g K.", cell.value, data.value));
  if (data.value == 293.0 || cell.value == 293.0) c.Found("temperature-default", "");
  const Measured low = m.Number("_cell_measurement_theta_min");
  const Measured high = m.Number("_cell_measurement_theta_max");
  if (low.Given() && high.Given() && low.value >= high.value && high.value > 0.0)
    c.Found("cell-theta", Printf("%g and %g\xC2\xB0.", low.value, high.value));
  const Measured melting = m.Number("_chemical_melting_point");
  if (melting.Given() && data.Given() && melting.value < data.value)
    c.Found("melting-point", Printf("%g and %g K.", melting.value, data.value));
}

}  // namespace

void CheckCell(CifChecker& c) {
  const gemmi::SpaceGroup* group = GroupOf(c.model);
  const CrystalSystem system = SystemOf(c.model, group);
  System(c, system, group);
  Uncertainties(c, system, group && group->ext == 'R');
  Conditions(c);
  const CifValue given = c.model.Item("_space_group_crystal_system", "_symmetry_cell_setting");
  std::string word = LowerCase(given);
  if (word.empty()) return;
  constexpr const char* kWords[] = {"triclinic", "monoclinic", "orthorhombic", "tetragonal",
                                    "trigonal",  "hexagonal",  "cubic",        "rhombohedral"};
  if (std::ranges::find(kWords, word) == std::end(kWords)) {
    c.Found("system-word", word + ".", {}, given.data());
  } else if (group) {
    const bool three = system == CrystalSystem::Trigonal && (word == "rhombohedral" || word == "hexagonal");
    if (word != gemmi::crystal_system_str(system) && !three)
      c.Found("system-group", word + " and " + group->hm + ".", {}, given.data());
  }
}

namespace {

// Thirds that have too few digits for the special position that they mean.
void Thirds(CifChecker& c) {
  for (const CifSite& site : c.model.sites) {
    for (const Measured& x : site.x) {
      if (x.HasSu() || x.decimals < 2 || x.decimals > 3) continue;
      const double fraction = x.value - std::floor(x.value);
      const double unit = std::pow(10.0, -x.decimals);
      if (std::fabs(fraction - 1.0 / 3) < 0.7 * unit || std::fabs(fraction - 2.0 / 3) < 0.7 * unit) {
        if (!site.Hydrogen())
          c.Found("third-digits", Printf("%s: %.*f.", site.label.c_str(), x.decimals, x.value), {site.label}, site.at);
        break;
      }
    }
  }
}

// Operations of the lattice, proper and improper, whose elements are whole.
std::vector<std::array<std::array<int, 3>, 3>> LatticeOperations(const CifModel& model) {
  constexpr double kTolerance = 0.01;
  std::vector<std::array<std::array<int, 3>, 3>> found;
  for (const std::array<double, 9>& rotation : LatticeRotations(model.metric, *model.group, kTolerance)) {
    if (std::ranges::any_of(rotation, [](double v) { return v != std::round(v); })) continue;
    for (const int sign : {1, -1}) {
      auto& r = found.emplace_back();
      for (size_t i = 0; i < 9; ++i) r[i / 3][i % 3] = sign * static_cast<int>(rotation[i]);
    }
  }
  return found;
}

// Looks for operations that the atoms have and the group lacks.
class ExtraSymmetry {
 public:
  explicit ExtraSymmetry(CifChecker& checker) : c_(checker), m_(checker.model) {
    for (size_t i = 0; i < m_.sites.size(); ++i) {
      if (!m_.sites[i].Hydrogen() && m_.sites[i].Full()) atoms_.push_back(i);
    }
  }

  void Search() {
    constexpr size_t kFewest = 6;
    constexpr size_t kMost = 400;
    constexpr size_t kMostCandidates = 50000;
    if (atoms_.size() < kFewest || atoms_.size() > kMost || !m_.group || m_.operators.size() > 24) return;
    Fill();
    const auto rotations = LatticeOperations(m_);
    if (rotations.size() * images_.size() > kMostCandidates) return;
    for (const auto& r : rotations) {
      SymmetryOperator op;
      op.r = r;
      const bool known = std::ranges::any_of(m_.group->pointOperators, [&](const auto& p) { return p.r == r; });
      const bool identity = op.r == SymmetryOperator{}.r;
      const bool inversion =
          r[0][0] == -1 && r[1][1] == -1 && r[2][2] == -1 && r[0][1] == 0 && r[0][2] == 0 && r[1][2] == 0;
      if (known && !identity) continue;
      const auto [percent, t] = Best(op, identity);
      const char* rule = identity ? "extra-translation" : inversion ? "extra-centre" : "extra-axis";
      if (percent < best_[rule]) continue;
      best_[rule] = percent;
      for (size_t k = 0; k < 3; ++k) op.t[k] = RoundHalfAway(t[k] * kTranslationParts);
      text_[rule] = Printf("%.0f %% of the atoms, by %s.", percent, OperatorText(op).c_str());
    }
    for (const auto& [rule, percent] : best_) c_.Test(rule, percent, text_[rule]);
  }

 private:
  // C, N and O count as one element, so that a wrong one does not hide symmetry.
  static int Kind(int row) { return row >= 6 && row <= 8 ? 6 : row; }

  void Fill() {
    std::vector<Fractional> places;
    for (const size_t i : atoms_) {
      for (const SymmetryOperator& op : m_.operators) {
        Fractional x = op.Apply(m_.sites[i].fract);
        for (int k = 0; k < 3; ++k) x[k] -= std::floor(x[k]);
        images_.push_back(x);
        kinds_.push_back(Kind(m_.sites[i].row));
      }
    }
    for (size_t n = 0; n < images_.size(); ++n) {
      buckets_[BucketOf(images_[n])].push_back(n);
    }
    // The kind with the fewest atoms gives the fewest candidates.
    std::map<int, size_t> counts;
    for (const size_t i : atoms_) ++counts[Kind(m_.sites[i].row)];
    const auto rarest = std::ranges::min_element(counts, {}, [](const auto& e) { return e.second; });
    seed_ = *std::ranges::find_if(atoms_, [&](size_t i) { return Kind(m_.sites[i].row) == rarest->first; });
  }

  static constexpr int kGrid = 24;
  int BucketOf(const Fractional& x) const {
    const auto at = [](double v) { return std::min(static_cast<int>((v - std::floor(v)) * kGrid), kGrid - 1); };
    return (at(x.x) * kGrid + at(x.y)) * kGrid + at(x.z);
  }

  bool IsThere(const Fractional& x, int kind) const {
    constexpr double kTolerance = 0.25;  // Å
    std::array<int, 3> reach{};
    std::array<int, 3> base{};
    for (int k = 0; k < 3; ++k) {
      reach[static_cast<size_t>(k)] =
          1 + static_cast<int>(kGrid * kTolerance * m_.metric.reciprocalEdges[static_cast<size_t>(k)]);
      base[static_cast<size_t>(k)] = static_cast<int>(std::floor((x[k] - std::floor(x[k])) * kGrid));
    }

    for (int i = -reach[0]; i <= reach[0]; ++i) {
      for (int j = -reach[1]; j <= reach[1]; ++j) {
        for (int k = -reach[2]; k <= reach[2]; ++k) {
          const auto wrap = [](int v) { return ((v % kGrid) + kGrid) % kGrid; };
          const auto at = buckets_.find((wrap(base[0] + i) * kGrid + wrap(base[1] + j)) * kGrid + wrap(base[2] + k));
          if (at == buckets_.end()) continue;
          for (const size_t n : at->second) {
            if (kinds_[n] != kind) continue;
            Fractional d = images_[n] - x;
            for (int q = 0; q < 3; ++q) d[q] -= std::round(d[q]);
            if (m_.metric.DistanceSquared(d, {}) < kTolerance * kTolerance) return true;
          }
        }
      }
    }
    return false;
  }

  // The largest share of atoms that an operation with this rotation brings onto others, and its translation.
  std::pair<double, std::array<double, 3>> Best(SymmetryOperator op, bool identity) const {
    constexpr double kLeast = 0.9;
    double best = 0.0;
    std::array<double, 3> translation{};
    op.t = {};
    const Fractional from = op.Apply(m_.sites[seed_].fract);
    const int kind = Kind(m_.sites[seed_].row);
    const auto allowed = static_cast<size_t>((1.0 - kLeast) * static_cast<double>(atoms_.size()));
    for (size_t n = 0; n < images_.size(); ++n) {
      if (kinds_[n] != kind) continue;
      const Fractional shift = images_[n] - from;
      if (identity && IsLattice(shift)) continue;
      size_t missed = 0;
      for (const size_t i : atoms_) {
        missed += !IsThere(op.Apply(m_.sites[i].fract) + shift, Kind(m_.sites[i].row));
        if (missed > allowed) break;
      }
      if (missed > allowed) continue;
      const double percent = 100.0 * static_cast<double>(atoms_.size() - missed) / static_cast<double>(atoms_.size());
      if (percent <= best) continue;
      best = percent;
      for (int k = 0; k < 3; ++k) translation[static_cast<size_t>(k)] = shift[k] - std::floor(shift[k] + 1e-3);
    }
    return {best, translation};
  }

  bool IsLattice(const Fractional& shift) const {
    return std::ranges::any_of(m_.group->centring, [&](const std::array<int, 3>& t) {
      constexpr double kParts = kTranslationParts;
      Fractional d{shift.x - t[0] / kParts, shift.y - t[1] / kParts, shift.z - t[2] / kParts};
      for (int k = 0; k < 3; ++k) d[k] -= std::round(d[k]);
      return m_.metric.DistanceSquared(d, {}) < 0.25;
    });
  }

  CifChecker& c_;
  const CifModel& m_;
  std::vector<size_t> atoms_;
  std::vector<Fractional> images_;
  std::vector<int> kinds_;
  std::unordered_map<int, std::vector<size_t>> buckets_;
  size_t seed_ = 0;
  std::map<std::string, double> best_;
  std::map<std::string, std::string> text_;
};

}  // namespace

namespace {

// Older names of cubic groups lack the bar: "F d 3 m".
const gemmi::SpaceGroup* GroupNamed(std::string name, const CifModel& m) {
  std::ranges::replace(name, '_', ' ');
  const gemmi::SpaceGroup* group = gemmi::find_spacegroup_by_name(name, m.parameters.alpha, m.parameters.gamma);
  const size_t three = name.rfind('3');
  if (group || three == name.npos) return group;
  return gemmi::find_spacegroup_by_name(name.insert(three, "-"), m.parameters.alpha, m.parameters.gamma);
}

}  // namespace

void CheckSymmetry(CifChecker& c) {
  const CifModel& m = c.model;
  const CifColumn list = m.Column("_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz");
  const std::string name(CifSpaceGroupName(m.block));
  const gemmi::SpaceGroup* byName = name.empty() ? nullptr : GroupNamed(name, m);
  if (!name.empty() && !byName && OperatorsOfName(name, m.parameters).empty()) c.Found("symbol-unknown", name + ".");
  if (list.Rows() == 0) {
    c.Found("no-operators", name.empty() ? "" : name + " alone is given.");
    return;
  }
  if (m.malformedOperators > 0)
    c.Found("operator-malformed", Printf("%zu of them.", m.malformedOperators), {}, list[0].data());
  if (m.doubledOperators > 0)
    c.Found("operator-doubled", Printf("%zu of them.", m.doubledOperators), {}, list[0].data());
  if (!m.group) c.Found("operators-no-group", Printf("%zu operators.", m.operators.size()), {}, list[0].data());
  const auto ops = OpsOf(m.operatorTexts);
  const gemmi::SpaceGroup* byOps = ops ? gemmi::find_spacegroup_by_ops(*ops) : nullptr;
  if (byName && ops) {
    // A name may leave origin and axes open: the number is what counts.
    const bool same = byOps ? byOps->number == byName->number : SameOperators(*ops, byName->operations());
    const bool order = ops->order() == byName->operations().order();
    if (byOps ? !same : !order)
      c.Found("symbol-operators", name + (byOps ? std::string(" and ") + byOps->hm + "." : "."));
  }
  const Measured number = m.Number("_space_group_it_number", "_symmetry_int_tables_number");
  const gemmi::SpaceGroup* group = byOps ? byOps : byName;
  if (number.Given() && byName && static_cast<int>(number.value) != byName->number)
    c.Found("symbol-number", Printf("%s and %.0f.", name.c_str(), number.value));
  if (byOps && !byOps->is_reference_setting()) c.Found("setting", std::string(byOps->hm) + ".");
  const std::string hall(m.Item("_space_group_name_hall", "_symmetry_space_group_name_hall"));
  if (!hall.empty()) {
    std::vector<std::string> texts;
    for (const SymmetryOperator& op : OperatorsOfHallSymbol(hall)) texts.push_back(OperatorText(op));
    const auto hallOps = OpsOf(texts);
    if (texts.empty()) {
      c.Found("hall-unknown", hall + ".");
    } else if (hallOps && ops && !SameOperators(*hallOps, *ops)) {
      c.Found("hall-operators", hall + ".");
    }
  }
  if (group && group->crystal_system() >= gemmi::CrystalSystem::Trigonal) Thirds(c);
  ExtraSymmetry(c).Search();
}

}  // namespace marvik::cif
