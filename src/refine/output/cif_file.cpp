#include <algorithm>
#include <cmath>
#include <map>

#include "base/files.h"
#include "base/numbers.h"
#include "chem/uncertainty.h"
#include "crystal/site_symmetry.h"
#include "crystal/symmetry.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr double kSiteTolerance = 0.1;  // Å

void Item(std::string& out, const char* name, const std::string& value) {
  AppendPrintf(out, "%-40s %s\n", name, value.c_str());
}

std::string Quoted(const std::string& text) {
  return text.empty() ? std::string("?") : Printf("'%s'", text.c_str());
}

// Element counts of UNIT, by symbol in Hill order.
std::map<std::string, double> UnitContents(const Session& s) {
  std::map<std::string, double> contents;
  const auto& unit = s.document.instructions.unit;
  for (size_t i = 0; i < s.structure.scatterers.size() && i < unit.size(); ++i) {
    double n = 0.0;
    if (ParseWholeNumber(unit[i], n)) contents[s.structure.scatterers[i].symbol] += n;
  }
  return contents;
}

double FormulaUnits(const Session& s) {
  const Command zerr = ParseInstruction(s.document.instructions.zerrLine);
  return zerr.numbers.size() != 6 && !zerr.numbers.empty() && zerr.numbers[0] > 0.0
             ? zerr.numbers[0]
             : static_cast<double>(s.structure.group.all.size());
}

void ChemicalItems(const Session& s, std::string& out) {
  std::map<std::string, double> contents = UnitContents(s);
  const double z = FormulaUnits(s);
  double weight = 0.0;
  double f000 = 0.0;
  for (const Scatterer& f : s.structure.scatterers) {
    const double n = contents.count(f.symbol) ? contents[f.symbol] : 0.0;
    weight += n * f.weight;
    f000 += n * f.electrons;
  }
  std::string formula;
  const auto add = [&](const std::string& symbol) {
    const auto at = contents.find(symbol);
    if (at == contents.end()) return;
    const double n = at->second / z;
    if (n > 0.0) {
      AppendPrintf(formula, "%s%s", formula.empty() ? "" : " ", symbol.c_str());
      if (std::fabs(n - 1.0) > 1e-6) AppendPrintf(formula, "%.4g", n);
    }
    contents.erase(at);
  };
  if (contents.count("C")) add("C"), add("H");
  while (!contents.empty()) add(std::string(contents.begin()->first));
  Item(out, "_chemical_formula_sum", Quoted(formula));
  Item(out, "_chemical_formula_weight", Printf("%.2f", weight / z));
  Item(out, "_cell_formula_units_Z", Printf("%.0f", z));
  Item(out, "_exptl_crystal_F_000", Printf("%.0f", f000));
  Item(out, "_exptl_crystal_density_diffrn", Printf("%.3f", weight * 1.66054 / s.structure.metric.volume));
  if (s.job.size.size() >= 3) {
    std::vector<double> size(s.job.size.begin(), s.job.size.begin() + 3);
    std::sort(size.begin(), size.end());
    Item(out, "_exptl_crystal_size_max", Printf("%.3f", size[2]));
    Item(out, "_exptl_crystal_size_mid", Printf("%.3f", size[1]));
    Item(out, "_exptl_crystal_size_min", Printf("%.3f", size[0]));
  }
}

void CellItems(const Session& s, std::string& out) {
  const CellParameters& c = s.structure.metric.cell;
  const std::array<double, 6> su = CellSigmas(s.document.instructions.zerrLine);
  const double values[] = {c.a, c.b, c.c, c.alpha, c.beta, c.gamma};
  const char* names[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                         "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
  for (size_t i = 0; i < 6; ++i) Item(out, names[i], WithSu({values[i], su[i]}, i < 3 ? 4 : 1));
  Item(out, "_cell_volume", Printf("%.2f", s.structure.metric.volume));
  Item(out, "_cell_measurement_temperature", Printf("%.0f", s.job.temperature + 273.15));
  Item(out, "_diffrn_ambient_temperature", Printf("%.0f", s.job.temperature + 273.15));
  Item(out, "_diffrn_radiation_wavelength", Printf("%.5f", s.structure.wavelength));
  Item(out, "_space_group_name_H-M_alt", Quoted(s.structure.group.symbol));
  out += "loop_\n_space_group_symop_operation_xyz\n";
  for (const SymmetryOperator& op : s.structure.group.all) {
    AppendPrintf(out, "'%s'\n", OperatorText(op, ",").c_str());
  }
  out += "loop_\n_atom_type_symbol\n_atom_type_scat_dispersion_real\n_atom_type_scat_dispersion_imag\n";
  for (const Scatterer& f : s.structure.scatterers)
    AppendPrintf(out, "%s %.4f %.4f\n", f.symbol.c_str(), f.fPrime, f.fDoublePrime);
}

void RefinementItems(const Session& s, std::string& out) {
  const RefinementResult& r = s.result;
  const auto& w = s.job.weights.p;
  const MergeStatistics& m = s.merging;
  Item(out, "_diffrn_reflns_number", Printf("%zu", m.read));
  Item(out, "_diffrn_reflns_av_R_equivalents", m.rIntMembers ? Printf("%.4f", m.rInt) : "?");
  Item(out, "_diffrn_reflns_av_unetI/netI", Printf("%.4f", m.rSigma));
  Item(out, "_diffrn_reflns_theta_min", Printf("%.3f", m.thetaMin));
  Item(out, "_diffrn_reflns_theta_max", Printf("%.3f", m.thetaMax));
  Item(out, "_reflns_number_total", Printf("%zu", r.final.all));
  Item(out, "_reflns_number_gt", Printf("%zu", r.final.strong));
  Item(out, "_reflns_threshold_expression", "'I > 2\\s(I)'");
  Item(out, "_refine_ls_structure_factor_coef", "Fsqd");
  Item(out, "_refine_ls_matrix_type", s.job.conjugateGradients ? "sparse" : "full");
  Item(out, "_refine_ls_weighting_scheme", "calc");
  Item(out, "_refine_ls_weighting_details",
       Printf("'w=1/[\\s^2^(Fo^2^)+(%.4fP)^2^+%.4fP] where P=(Fo^2^+2Fc^2^)/3'", w[0], w[1]));
  Item(out, "_refine_ls_extinction_method",
       s.job.parameters.extinction ? "'Fc^*^=kFc[1+0.001xFc^2^\\l^3^/sin(2\\q)]^-1/4^'" : "none");
  if (s.job.parameters.extinction) {
    const double su = r.sigmas.size() > 1 ? r.sigmas[1] : 0.0;
    Item(out, "_refine_ls_extinction_coef", WithSu({s.structure.extinction, su}, 4));
  }
  const FlackResult flack = EstimateFlack(s);
  if (flack.present) {
    Item(out, "_refine_ls_abs_structure_details",
         Printf("'Flack x from %zu quotients (Parsons, Flack & Wagner, 2013)'", flack.pairs));
    Item(out, "_refine_ls_abs_structure_Flack", WithSu(flack.x, 3));
  }
  Item(out, "_refine_ls_number_reflns", Printf("%zu", r.final.all));
  Item(out, "_refine_ls_number_parameters", Printf("%zu", r.parameters));
  Item(out, "_refine_ls_number_restraints", Printf("%zu", r.restraints));
  Item(out, "_refine_ls_R_factor_all", Printf("%.4f", r.final.r1All));
  Item(out, "_refine_ls_R_factor_gt", Printf("%.4f", r.final.r1));
  Item(out, "_refine_ls_wR_factor_ref", Printf("%.4f", r.final.wR2));
  Item(out, "_refine_ls_goodness_of_fit_ref", Printf("%.3f", r.final.goof));
  Item(out, "_refine_ls_restrained_S_all", Printf("%.3f", r.restrainedGoof));
  if (r.friedelFactor > 1.0) out += "_refine_special_details\n;\n" + FriedelSentence(r.friedelFactor) + "\n;\n";
  Item(out, "_refine_ls_shift/su_max", Printf("%.3f", r.lastShift));
  Item(out, "_refine_ls_shift/su_mean", Printf("%.3f", r.lastMeanShift));
  Item(out, "_refine_diff_density_max", Printf("%.3f", s.peaks.empty() ? 0.0 : s.peaks[0].height));
  Item(out, "_refine_diff_density_min", Printf("%.3f", s.holes.empty() ? 0.0 : s.holes[0].height));
  Item(out, "_refine_diff_density_rms", Printf("%.3f", s.mapSigma));
}

void AtomLoops(const Session& s, const Geometry& geometry, std::string& out) {
  out +=
      "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
      "_atom_site_U_iso_or_equiv\n_atom_site_adp_type\n_atom_site_occupancy\n_atom_site_site_symmetry_order\n"
      "_atom_site_calc_flag\n_atom_site_disorder_group\n";
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    const Site& site = s.structure.sites[i];
    const int at = static_cast<int>(i);
    const auto onSite = SiteOperations(s.structure.group.all, s.structure.metric, site.x, kSiteTolerance);
    const int order = site.part < 0 ? 1 : static_cast<int>(onSite.size());
    // The file's factor holds the multiplicity of the site; the one of the CIF does not.
    Measured occupancy = geometry.Raw(at, kRawOccupancy);
    occupancy.value *= order;
    occupancy.su *= order;
    const bool calculated = IsRidingCode(site.afix);
    AppendPrintf(out, "%s %s", site.label.c_str(),
                 s.structure.scatterers[static_cast<size_t>(site.scatterer)].symbol.c_str());
    for (int k = 0; k < 3; ++k) {
      const std::string value = calculated ? Printf("%.6f", site.x[k]) : WithSu(geometry.Raw(at, k), 6);
      AppendPrintf(out, " %s", value.c_str());
    }
    AppendPrintf(out, " %s %s %s %d %s %s\n", WithSu(geometry.Ueq(at), 5).c_str(), site.anisotropic ? "Uani" : "Uiso",
                 occupancy.su > 0.0 ? WithSu(occupancy, 4).c_str() : Printf("%.4g", occupancy.value).c_str(), order,
                 calculated ? "calc" : "d", site.part == 0 ? "." : Printf("%d", site.part).c_str());
  }
  out +=
      "loop_\n_atom_site_aniso_label\n_atom_site_aniso_U_11\n_atom_site_aniso_U_22\n_atom_site_aniso_U_33\n"
      "_atom_site_aniso_U_23\n_atom_site_aniso_U_13\n_atom_site_aniso_U_12\n";
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    if (!s.structure.sites[i].anisotropic) continue;
    out += s.structure.sites[i].label;
    for (int k = 0; k < 6; ++k) {
      AppendPrintf(out, " %s", WithSu(geometry.Raw(static_cast<int>(i), kRawU + k), 5).c_str());
    }
    out += "\n";
  }
}

void GeometryLoops(const Session& s, const Geometry& geometry, std::string& out) {
  const auto label = [&](int site) { return s.structure.sites[static_cast<size_t>(site)].label; };
  out +=
      "loop_\n_geom_bond_atom_site_label_1\n_geom_bond_atom_site_label_2\n_geom_bond_distance\n"
      "_geom_bond_site_symmetry_2\n_geom_bond_publ_flag\n";
  for (size_t a = 0; a < s.bonds.size(); ++a) {
    for (const Neighbour& n : s.bonds[a]) {
      if (!IsListedBond(s, static_cast<int>(a), n) || (n.IsIdentity() && n.site < static_cast<int>(a))) continue;
      const SiteImage self = ImageOf(s.structure, Neighbour{static_cast<int>(a), 0, {}, 0.0});
      AppendPrintf(out, "%s %s %s %s ?\n", label(static_cast<int>(a)).c_str(), label(n.site).c_str(),
                   WithSu(geometry.Measure({self, ImageOf(s.structure, n)}), 4).c_str(),
                   OperationNames::CifCode(n).c_str());
    }
  }
  out +=
      "loop_\n_geom_angle_atom_site_label_1\n_geom_angle_atom_site_label_2\n_geom_angle_atom_site_label_3\n_geom_"
      "angle\n"
      "_geom_angle_site_symmetry_1\n_geom_angle_site_symmetry_3\n_geom_angle_publ_flag\n";
  for (const BondAngle& angle : AnglesOf(s)) {
    const SiteImage self = ImageOf(s.structure, Neighbour{angle.middle, 0, {}, 0.0});
    const Measured m = geometry.Measure({ImageOf(s.structure, angle.first), self, ImageOf(s.structure, angle.second)});
    AppendPrintf(out, "%s %s %s %s %s %s ?\n", label(angle.first.site).c_str(), label(angle.middle).c_str(),
                 label(angle.second.site).c_str(), WithSu(m, 2).c_str(), OperationNames::CifCode(angle.first).c_str(),
                 OperationNames::CifCode(angle.second).c_str());
  }
}

}  // namespace

std::string ComposeCif(const Session& s) {
  const Geometry geometry(s.structure, s.parametrisation, s.result.covariance,
                          CellSigmas(s.document.instructions.zerrLine));
  std::string name = s.name;
  for (char& c : name) {
    if (c == ' ' || static_cast<unsigned char>(c) < 33) c = '_';
  }
  std::string out = "data_" + name + "\n";
  Item(out, "_audit_creation_method", "'marvik-refine'");
  Item(out, "_computing_structure_refinement", "'marvik-refine'");
  ChemicalItems(s, out);
  CellItems(s, out);
  RefinementItems(s, out);
  AtomLoops(s, geometry, out);
  GeometryLoops(s, geometry, out);
  return out;
}

namespace {

// LIST 2: h k l Fo σ(Fo) phase; 3: h k l Fo σ(Fo) A B; 5: h k l Fo Fc phase. Fixed columns, unique reflections with
// Friedel opposites together.
std::string ComposeAmplitudeList(const Session& s) {
  std::string out;
  const Calculated& c = s.result.calculated;
  for (const auto& [key, mean] : MeanAmplitudes(s.structure, s.observations, c)) {
    const Miller& h = s.observations.indices[0][mean.first];
    const double a = c.a[mean.first];
    const double b = c.b[mean.first];
    double phase = std::atan2(b, a) * kDegreesPerRadian;
    if (phase < 0.0) phase += 360.0;
    AppendPrintf(out, "%4d%4d%4d", h[0], h[1], h[2]);
    if (s.job.list == 5) {
      AppendPrintf(out, "%10.2f%10.2f%7.2f\n", mean.fo / mean.count, mean.fc / mean.count, phase);
    } else if (s.job.list == 3) {
      AppendPrintf(out, "%8.2f%8.2f%8.2f%8.2f\n", mean.fo / mean.count, mean.sigma / mean.count, a, b);
    } else {
      AppendPrintf(out, "%8.2f%8.2f%4ld\n", mean.fo / mean.count, mean.sigma / mean.count, std::lround(phase) % 360);
    }
  }
  return out;
}

}  // namespace

std::string ComposeReflectionList(const Session& s) {
  if (s.job.list != 4 && s.job.list != 6) return ComposeAmplitudeList(s);
  std::string out = "data_" + s.name + "\nloop_\n_refln_index_h\n_refln_index_k\n_refln_index_l\n";
  const Calculated& c = s.result.calculated;
  const bool phases = s.job.list == 6;
  out += phases ? "_refln_F_squared_meas\n_refln_F_squared_sigma\n_refln_F_calc\n_refln_phase_calc\n"
                : "_refln_F_squared_calc\n_refln_F_squared_meas\n_refln_F_squared_sigma\n_refln_observed_status\n";
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    const Miller& h = s.observations.indices[0][i];
    AppendPrintf(out, "%4d%4d%4d", h[0], h[1], h[2]);
    if (phases) {
      const double phase = std::atan2(c.b[i], c.a[i]) * kDegreesPerRadian;
      AppendPrintf(out, " %12.2f %10.2f %10.2f %8.1f\n", c.fo2[i], c.sigma[i], std::hypot(c.a[i], c.b[i]),
                   phase < 0.0 ? phase + 360.0 : phase);
    } else {
      AppendPrintf(out, " %12.2f %12.2f %10.2f o\n", c.fc2[i], c.fo2[i], c.sigma[i]);
    }
  }
  return out;
}

}  // namespace marvik
