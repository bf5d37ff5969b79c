#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"

namespace marvik::cif {

namespace {

struct Limit {
  const char* rule;
  const char* item;
  const char* older;
};
constexpr Limit kLimits[] = {
    {"r1", "_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs"},
    {"wr2", "_refine_ls_wr_factor_ref", "_refine_ls_wr_factor_all"},
    {"goodness-low", "_refine_ls_goodness_of_fit_ref", "_refine_ls_goodness_of_fit_all"},
    {"goodness-high", "_refine_ls_goodness_of_fit_ref", "_refine_ls_goodness_of_fit_all"},
    {"restraints", "_refine_ls_number_restraints", ""},
};

void Parameters(CifChecker& c) {
  const CifModel& m = c.model;
  const Measured data = m.Number("_refine_ls_number_reflns");
  const Measured parameters = m.Number("_refine_ls_number_parameters");
  if (!data.Given() || !(parameters.value > 0.0)) return;
  double unique = data.value;
  const std::string text = Printf("%.0f data, %.0f parameters.", data.value, parameters.value);
  if (data.value < parameters.value) c.Found("data-fewer", text);
  if (m.Centrosymmetric() || !m.group) {
    c.Test("parameters-centro", unique / parameters.value, text);
  } else if (m.heaviest < 18) {
    const double s = m.SinThetaMax();
    const size_t expected = s > 0.0 && m.cellGiven ? ExpectedReflections(m, s) : 0;
    if (expected > 0) unique = std::min(unique, static_cast<double>(expected));
    c.Test("parameters-light", unique / parameters.value, text);
  } else {
    c.Test("parameters-heavy", unique / parameters.value, text);
  }
}

void Weights(CifChecker& c) {
  const CifModel& m = c.model;
  const CifValue scheme = m.Item("_refine_ls_weighting_scheme");
  const std::string word = LowerCase(scheme);
  if (!word.empty() && !word.starts_with("sigma") && !word.starts_with("calc") && !word.starts_with("w") &&
      !word.starts_with("\\w")) {
    c.Found("weighting-word", std::string(scheme) + ".", {}, scheme.data());
  }
  std::string details(m.Item("_refine_ls_weighting_details"));
  if (details.empty()) details = scheme;
  if (!details.starts_with("calc") && !details.starts_with("w")) return;
  std::erase_if(details, [](char ch) { return ch == ' ' || ch == '\n' || ch == '\r'; });
  const size_t a = details.find("+(");
  const size_t p = details.find("P)^2^+");
  double first = 0.0;
  double second = 0.0;
  if (a == details.npos || p == details.npos || ParseNumber(details.substr(a + 2), first) == 0) {
    if (details.size() > 8 && !details.ends_with("P=(Fo^2^+2Fc^2^)/3")) c.Found("weighting-form", "");
    return;
  }
  ParseNumber(details.substr(p + 6), second);
  const std::string text = Printf("a %.4f, b %.4f.", first, second);
  c.Test("weight-a", first, text);
  c.Test("weight-b", second, text);
  if (first == 0.1 && second == 0.0) c.Found("weight-default", text);
}

void Words(CifChecker& c) {
  const CifModel& m = c.model;
  const std::string coefficient = Squeezed(m.Item("_refine_ls_structure_factor_coef"));
  if (!coefficient.empty() && coefficient != "f" && coefficient != "fsqd" && coefficient != "inet")
    c.Found("coefficient-word", coefficient + ".");
  const std::string treatment = LowerCase(m.Item("_refine_ls_hydrogen_treatment"));
  constexpr const char* kWords[] = {"refall",       "refxyz",          "refu",          "noref",
                                    "undef",        "constr",          "none",          "mixed",
                                    "hetero",       "heteroxyz",       "heterou",       "heteronoref",
                                    "hetero-mixed", "heteroxyz-mixed", "heterou-mixed", "heteronoref-mixed"};
  if (treatment.empty()) return;
  if (std::ranges::find(kWords, treatment) == std::end(kWords)) {
    c.Found("hydrogen-word", treatment + ".");
    return;
  }
  int calculated = 0;
  int refined = 0;
  int all = 0;
  for (const CifSite& site : m.sites) {
    if (!site.Hydrogen()) continue;
    ++all;
    const bool moved = site.x[0].HasSu() || site.x[1].HasSu() || site.x[2].HasSu();
    refined += moved;
    calculated += !moved;
  }
  const std::string text = Printf("%s; %d of %d hydrogens have refined coordinates.", treatment.c_str(), refined, all);
  if (all > 0 && treatment == "none") c.Found("hydrogen-none", text);
  const bool wrong = (treatment == "constr" && refined > 0 && calculated == 0) ||
                     ((treatment == "refall" || treatment == "refxyz") && refined == 0) ||
                     ((treatment == "noref") && refined == all);
  if (all > 0 && wrong) c.Found("hydrogen-treatment", text);
}

void Flags(CifChecker& c) {
  std::vector<std::string> restrained;
  std::vector<std::string> displacement;
  for (const CifSite& site : c.model.sites) {
    if (site.refinementFlags.find('D') != std::string::npos) restrained.push_back(site.label);
    if (!site.Hydrogen() && site.refinementFlags.find('U') != std::string::npos) displacement.push_back(site.label);
  }
  c.Test("flag-restrained", static_cast<double>(restrained.size()), Printf("%zu.", restrained.size()), restrained);
  c.Test("flag-u", static_cast<double>(displacement.size()), Printf("%zu.", displacement.size()), displacement);
}

void Density(CifChecker& c) {
  const CifModel& m = c.model;
  const Measured peak = m.Number("_refine_diff_density_max");
  const Measured hole = m.Number("_refine_diff_density_min");
  const double unit = 0.1 * std::max(m.heaviest, 1);
  const bool heavy = m.heaviest > 0 && m.xray;
  if (peak.value < 0.0) c.Found("density-max-negative", Printf("%g.", peak.value));
  if (hole.value > 0.0) c.Found("density-min-positive", Printf("%g.", hole.value));
  const std::string text = Printf("%.2f and %.2f e/\xC3\x85\xC2\xB3, heaviest element %s.", peak.value, hole.value,
                                  SymbolOf(m.heaviest).c_str());
  if (heavy && peak.Given()) c.Test("density-max", peak.value / unit, text);
  if (heavy && hole.Given()) c.Test("density-min", -hole.value / unit, text);
  if (peak.value > 0.0 && hole.value < 0.0) {
    const double skew = std::max(peak.value / -hole.value, -hole.value / peak.value);
    c.Test("density-skew", std::max(peak.value, -hole.value) > 0.5 ? skew : 0.0, text);
  }
  const bool large = heavy && std::max(peak.value, -hole.value) > 0.75 * unit;
  std::string told;
  for (const std::string_view field : m.block.textFields) told += LowerCase(field);
  told += LowerCase(m.Item("_refine_special_details"));
  if (large && !Contains(told, {"residual", "density", "\\a from", "peak"})) c.Found("density-nearest", text);
}

void AbsoluteStructure(CifChecker& c) {
  const CifModel& m = c.model;
  const Measured x = m.Number("_refine_ls_abs_structure_flack");
  const std::string text = Printf("%.3f, uncertainty %.3f.", x.value, x.su);
  if (m.group && m.Centrosymmetric()) {
    if (x.Given()) c.Found("flack-centro", text);
    return;
  }
  if (!m.group || m.operators.empty()) return;
  bool rotations = true;
  for (const SymmetryOperator& op : m.operators) {
    rotations = rotations && op.Determinant() > 0;
  }
  if (rotations) c.Found("chiral-group", "");
  if (rotations && m.Missing("_chemical_absolute_configuration")) c.Found("configuration-code", "");
  if (!x.Given()) {
    if (m.heaviest > 14 && m.xray && m.Missing("_refine_ls_abs_structure_rogers")) c.Found("flack-missing", "");
    return;
  }
  c.Test("flack-inverted", x.value, text);
  if (x.value <= 0.7) c.Test("flack-between", x.value, text);
  c.Test("flack-low", x.value, text);
  if (!x.HasSu()) {
    c.Found("flack-no-su", text);
  } else {
    c.Test("flack-su", x.su, text);
    if (std::fabs(x.value) > 3.0 * x.su && std::fabs(x.value) > 0.05) c.Found("flack-zero", text);
    if (x.value == 0.0) c.Found("flack-exact", text);
  }
  if (m.Missing("_refine_ls_abs_structure_details")) c.Found("flack-details", text);
}

}  // namespace

void CheckRefinement(CifChecker& c) {
  const CifModel& m = c.model;
  for (const Limit& limit : kLimits) {
    const Measured value = m.Number(limit.item, limit.older);
    if (value.Given())
      c.Test(limit.rule, value.value, Printf("%g.", value.value), {}, m.Item(limit.item, limit.older).data());
  }
  const Measured shift = m.Number("_refine_ls_shift/su_max", "_refine_ls_shift/esd_max");
  if (shift.Given()) c.Test("shift", std::fabs(shift.value), Printf("%g.", shift.value));
  const Measured extinction = m.Number("_refine_ls_extinction_coef");
  if (extinction.Given() && extinction.value != 0.0) {
    c.Found("extinction-refined", "");
    if (extinction.HasSu())
      c.Test("extinction-weak", extinction.su / std::fabs(extinction.value),
             Printf("%g(%d).", extinction.value, extinction.digits));
  }
  Parameters(c);
  Weights(c);
  Words(c);
  Flags(c);
  Density(c);
  AbsoluteStructure(c);
  std::string told;
  for (const std::string_view field : m.block.textFields) told += LowerCase(field.substr(0, 4000));
  if (m.Column("_twin_individual_id").loop || Contains(told, {"\nbasf", "\ntwin "})) c.Found("twin", "");
}

namespace {

// Tensors and how sites belong together.
class Displacements {
 public:
  explicit Displacements(CifChecker& checker) : c_(checker), m_(checker.model) {
    std::map<int, int> sizes;
    for (const CifSite& site : m_.sites) sizes[site.residue] += !site.Hydrogen();
    int largest = 0;
    for (const auto& [residue, size] : sizes) largest = std::max(largest, size);
    for (const CifSite& site : m_.sites) main_.push_back(2 * sizes[site.residue] >= largest);
    for (const CifSite& site : m_.sites) {
      std::array<double, 6> u{};
      for (size_t i = 0; i < 6 && site.hasUij; ++i) u[i] = site.uij[i].value;
      tensors_.push_back(site.hasUij ? m_.metric.CartesianU(u) : Mat3{});
    }
  }

  void Check() {
    Isotropic();
    for (size_t i = 0; i < m_.sites.size(); ++i) Tensor(i);
    Ranges();
    for (size_t i = 0; i < m_.sites.size(); ++i) Neighbours(i);
    MeanTensors();
  }

 private:
  void Isotropic();
  void Tensor(size_t i);
  void Ranges();
  void Neighbours(size_t i);
  void RigidBond(size_t i, const Link& link);
  void MeanTensors();
  double Ueq(size_t i) const { return m_.sites[i].u.value; }

  CifChecker& c_;
  const CifModel& m_;
  std::vector<bool> main_;
  std::vector<Mat3> tensors_;
};

void Displacements::Isotropic() {
  std::vector<std::string> isotropic;
  std::vector<std::string> disordered;
  size_t heavy = 0;
  for (const CifSite& site : m_.sites) {
    if (site.Hydrogen()) continue;
    ++heavy;
    if (!site.hasUij) (site.Full() ? isotropic : disordered).push_back(site.label);
    if (site.u.value <= 0.0 && !site.hasUij)
      c_.Found("u-negative", Printf("%s: %.4f.", site.label.c_str(), site.u.value), {site.label}, site.at);
  }
  if (isotropic.size() + disordered.size() == heavy) {
    // B and beta are tensors too, and a list without any U says nothing of what was refined.
    const bool given = std::ranges::any_of(m_.sites, [](const CifSite& site) { return site.u.Given(); });
    const bool other = m_.Column("_atom_site_aniso_b_11", "_atom_site_aniso_beta_11").loop;
    const bool refined =
        !m_.Missing("_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs") || !m_.Missing("_refine_ls_r_factor_all");
    if (heavy > 0 && given && refined && !other) c_.Found("no-anisotropic", "");
    return;
  }
  c_.Test("isotropic", static_cast<double>(isotropic.size()), Printf("%zu.", isotropic.size()), isotropic);
  c_.Test("isotropic-disorder", static_cast<double>(disordered.size()), Printf("%zu.", disordered.size()), disordered);
}

void Displacements::Tensor(size_t i) {
  const CifSite& site = m_.sites[i];
  const bool some = std::ranges::any_of(site.uij, &Measured::Given);
  if (some && !site.hasUij) c_.Found("tensor-incomplete", site.label + ".", {site.label}, site.at);
  if (!site.hasUij) return;
  const Eigen3 axes = SymmetricEigen(tensors_[i]);
  const std::string text = Printf("%s: %.4f %.4f %.4f \xC3\x85\xC2\xB2.", site.label.c_str(), axes.values[0],
                                  axes.values[1], axes.values[2]);
  const bool full = site.Full() && main_[i];
  // Values are rounded: what is below nothing by less than that is flat.
  const double rounding = 0.5 * std::pow(10.0, -site.uij[0].decimals);
  if (axes.values[0] < -rounding) {
    c_.Found(full ? "tensor-npd" : "tensor-npd-disorder", text, {site.label}, site.at);
    return;
  }
  if (axes.values[0] < 0.02 * axes.values[2]) {
    c_.Found("tensor-flat", text, {site.label}, site.at);
  } else {
    const double ratio = std::sqrt(axes.values[2] / axes.values[0]);
    const char* rule = !site.Full() ? "ellipsoid-ratio-disorder"
                       : main_[i]   ? "ellipsoid-ratio"
                                    : "ellipsoid-ratio-minor";
    c_.Test(rule, ratio, Printf("%s: %.1f.", site.label.c_str(), ratio), {site.label}, site.at);
  }
  const double ueq = (axes.values[0] + axes.values[1] + axes.values[2]) / 3.0;
  if (site.u.Given()) {
    const double off =
        std::max(0.0, std::fabs(ueq - site.u.value) - 0.5 * std::pow(10.0, -site.u.decimals) - site.u.su);
    c_.Test("u-equivalent", off, Printf("%s: %.4f given, %.4f calculated.", site.label.c_str(), site.u.value, ueq),
            {site.label}, site.at);
  }
}

void Displacements::Ranges() {
  struct Range {
    size_t low = 0, high = 0;
    int count = 0;
  };
  std::map<std::pair<int, bool>, Range> ranges;
  for (size_t i = 0; i < m_.sites.size(); ++i) {
    const CifSite& site = m_.sites[i];
    if (!site.Full() || !(Ueq(i) > 0.0) || site.row == kUnknownRow) continue;
    Range& range = ranges[{site.row, main_[i]}];
    if (range.count++ == 0) range.low = range.high = i;
    if (Ueq(i) < Ueq(range.low)) range.low = i;
    if (Ueq(i) > Ueq(range.high)) range.high = i;
  }
  for (const auto& [key, range] : ranges) {
    std::string rule = IsHydrogenRow(key.first) ? "u-range-hydrogen" : "u-range";
    if (!key.second) rule += "-minor";
    const CifSite& low = m_.sites[range.low];
    const CifSite& high = m_.sites[range.high];
    c_.Test(rule, Ueq(range.high) / Ueq(range.low),
            Printf("%s %.3f, %s %.3f.", high.label.c_str(), Ueq(range.high), low.label.c_str(), Ueq(range.low)),
            {high.label, low.label}, high.at);
  }
}

void Displacements::Neighbours(size_t i) {
  const CifSite& site = m_.sites[i];
  if (!site.Full() || !(Ueq(i) > 0.0)) return;
  double sum = 0.0;
  int count = 0;
  bool metal = IsMetal(site.row);
  for (const Link& link : m_.bonds[i]) {
    const auto j = static_cast<size_t>(link.site);
    const CifSite& other = m_.sites[j];
    if (!other.Full() || !(Ueq(j) > 0.0)) continue;
    if (site.Hydrogen()) {
      const bool anisotropic = other.hasUij || other.u.Given();
      if (anisotropic && !other.Hydrogen() && m_.bonds[i].size() == 1) {
        const double off = Ueq(j) - Ueq(i);
        c_.Test("u-hydrogen", off, Printf("%s %.3f, %s %.3f.", site.label.c_str(), Ueq(i), other.label.c_str(), Ueq(j)),
                {site.label, other.label}, site.at);
      }
      return;
    }
    if (other.Hydrogen()) continue;
    metal = metal || IsMetal(other.row);
    sum += Ueq(j);
    ++count;
    if (static_cast<size_t>(link.site) > i || !link.Identity()) RigidBond(i, link);
  }
  if (count < 2 || metal) return;  // ends and metal centres differ for good reason
  const double off = Ueq(i) - sum / count;
  const std::string text = Printf("%s %.3f, neighbours %.3f.", site.label.c_str(), Ueq(i), sum / count);
  const std::string minor = main_[i] ? "" : "-minor";
  c_.Test("u-above-neighbours" + minor, off, text, {site.label}, site.at);
  c_.Test("u-below-neighbours" + minor, -off, text, {site.label}, site.at);
}

void Displacements::RigidBond(size_t i, const Link& link) {
  const auto j = static_cast<size_t>(link.site);
  const CifSite& a = m_.sites[i];
  const CifSite& b = m_.sites[j];
  if (!a.hasUij || !b.hasUij) return;
  const Cartesian n = Normalised(link.place - a.place);
  // The image's tensor, turned with its operator.
  const auto& r = m_.operators[static_cast<size_t>(link.op)].r;
  Mat3 rotation;
  for (int x = 0; x < 3; ++x) {
    for (int y = 0; y < 3; ++y) rotation[x][static_cast<size_t>(y)] = r[static_cast<size_t>(x)][static_cast<size_t>(y)];
  }
  const Mat3 turn = m_.metric.orthogonal * rotation * m_.metric.fractional;
  const Cartesian back = Transposed(turn) * n;
  const double za = Dot(n, tensors_[i] * n);
  const double zb = Dot(back, tensors_[j] * back);
  double variance = 0.0;
  for (size_t k = 0; k < 6; ++k) {
    Mat3 unit;
    std::array<double, 6> u{};
    u[k] = 1.0;
    unit = m_.metric.CartesianU(u);
    variance += std::pow(Dot(n, unit * n) * a.uij[k].su, 2) + std::pow(Dot(back, unit * back) * b.uij[k].su, 2);
  }
  const std::string text = Printf("%s-%s: %.4f and %.4f \xC3\x85\xC2\xB2.", a.label.c_str(), b.label.c_str(), za, zb);
  const bool metal = IsMetal(a.row) || IsMetal(b.row);
  const std::string rule = std::string("rigid-bond") + (metal ? "-metal" : "") + (main_[i] ? "" : "-minor");
  if (variance > 0.0 && !m_.polymer)
    c_.Test(rule, std::fabs(za - zb) / std::sqrt(variance), text, {a.label, b.label}, a.at);
  if (za > 0.0 && zb > 0.0) {
    c_.Test("rigid-bond-absolute", std::fabs(std::sqrt(za) - std::sqrt(zb)), text, {a.label, b.label}, a.at);
  }
}

void Displacements::MeanTensors() {
  std::map<int, std::pair<Mat3, int>> sums;
  for (size_t i = 0; i < m_.sites.size(); ++i) {
    if (!m_.sites[i].hasUij || !m_.sites[i].Full() || m_.sites[i].Hydrogen()) continue;
    auto& [sum, count] = sums[m_.sites[i].residue];
    for (int x = 0; x < 3; ++x) {
      for (size_t y = 0; y < 3; ++y) sum[x][y] += tensors_[i][x][y];
    }
    ++count;
  }
  for (const auto& [residue, sum] : sums) {
    if (sum.second < 4) continue;
    const Eigen3 axes = SymmetricEigen(sum.first);
    if (!(axes.values[0] > 0.0)) continue;
    const double ratio = axes.values[2] / axes.values[0];
    const std::string& label = m_.sites[static_cast<size_t>(residue)].label;
    c_.Test("mean-anisotropy", ratio, Printf("Residue of %s: %.1f.", label.c_str(), ratio), {label});
  }
}

}  // namespace

void CheckDisplacement(CifChecker& c) {
  Displacements(c).Check();
}

}  // namespace marvik::cif
