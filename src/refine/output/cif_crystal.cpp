#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/geometry/uncertainty.h"
#include "crystal/symmetry.h"
#include "refine/output/cif_sections.h"
#include "refine/structure/absorption.h"

namespace marvik {
namespace {

constexpr double kMassUnit = 1.66053907;  // g/cm³ of one dalton in an Å³

using Contents = std::map<std::string, double>;

// Of the cell by UNIT, by symbol.
Contents UnitContents(const Session& s) {
  Contents contents;
  const auto& unit = s.document.instructions.unit;
  for (size_t i = 0; i < s.structure.scatterers.size() && i < unit.size(); ++i) {
    double n = 0.0;
    if (ParseWholeNumber(unit[i], n)) contents[s.structure.scatterers[i].symbol] += n;
  }
  return contents;
}

double FormulaUnits(const Session& s) {
  const Instruction zerr = ParseInstruction(s.document.instructions.zerrLine);
  return zerr.numbers.size() != 6 && !zerr.numbers.empty() && zerr.numbers[0] > 0.0
             ? zerr.numbers[0]
             : static_cast<double>(s.structure.group.all.size());
}

// Of the first entry of an element, times its number in the cell, summed up.
template <typename Property>
double SumOver(const Session& s, const Property& property) {
  Contents contents = UnitContents(s);
  double sum = 0.0;
  for (const Scatterer& f : s.structure.scatterers) {
    const auto at = contents.find(f.symbol);
    if (at == contents.end()) continue;
    sum += at->second * property(f);
    contents.erase(at);
  }
  return sum;
}

bool IsXRay(const Session& s) {
  return s.structure.wavelength >= 0.05 && std::none_of(s.job.commands.begin(), s.job.commands.end(),
                                                        [](const Instruction& c) { return c.name == "NEUT"; });
}

std::string Formula(const Session& s, double z) {
  Contents contents = UnitContents(s);
  std::string formula;
  const auto add = [&](const std::string& symbol) {
    const auto at = contents.find(symbol);
    if (at == contents.end()) return;
    const double n = at->second / z;
    contents.erase(at);
    if (n <= 0.0) return;
    formula += (formula.empty() ? "" : " ") + symbol;
    if (std::fabs(n - 1.0) > 1e-6) formula += Shortest(n, 2);
  };
  if (contents.count("C")) add("C"), add("H");
  while (!contents.empty()) add(std::string(contents.begin()->first));
  return formula;
}

std::string Kelvin(const Session& s) {
  // Whole degrees Celsius stand for whole kelvins.
  const double t = s.job.temperature;
  return t == std::floor(t) ? Printf("%.0f", t + 273.15) : Shortest(t + 273.15, 2);
}

// Equal edges and angles of the cell err together.
double VolumeSu(const CellParameters& c, const std::array<double, 6>& su) {
  double values[] = {c.a, c.b, c.c, c.alpha, c.beta, c.gamma};
  const double volume = MakeMetric(c).volume;
  double variance = 0.0;
  std::array<bool, 6> done{};
  for (size_t i = 0; i < 6; ++i) {
    if (done[i] || su[i] <= 0.0) continue;
    CellParameters moved = c;
    double* const places[] = {&moved.a, &moved.b, &moved.c, &moved.alpha, &moved.beta, &moved.gamma};
    for (size_t j = i; j < (i < 3 ? 3U : 6U); ++j) {
      if (values[j] != values[i] || su[j] != su[i]) continue;
      *places[j] += su[i];
      done[j] = true;
    }
    variance += std::pow(MakeMetric(moved).volume - volume, 2);
  }
  return std::sqrt(variance);
}

struct Tube {
  double low;
  double high;
  const char* name;
};
constexpr Tube kTubes[] = {{0.7090, 0.7110, "MoK\\a"}, {1.5400, 1.5425, "CuK\\a"}, {0.5590, 0.5615, "AgK\\a"},
                           {1.3400, 1.3420, "GaK\\a"}, {1.9355, 1.9380, "FeK\\a"}, {1.7885, 1.7910, "CoK\\a"},
                           {2.2890, 2.2915, "CrK\\a"}, {0.5130, 0.5150, "InK\\a"}};

}  // namespace

std::string Shortest(double value, int decimals) {
  std::string text = Printf("%.*f", decimals, value);
  if (text.find('.') == text.npos) return text;
  while (text.ends_with('0')) text.pop_back();
  if (text.ends_with('.')) text.pop_back();
  return text;
}

void WriteChemistry(const Session& s, CifWriter& cif) {
  const double z = FormulaUnits(s);
  cif.Gap();
  cif.Item("_chemical_name_systematic", "?");
  cif.Item("_chemical_name_common", "?");
  cif.Item("_chemical_melting_point", "?");
  cif.Item("_chemical_formula_moiety", MoietyFormula(s));
  cif.Item("_chemical_formula_sum", Formula(s, z));
  cif.Item("_chemical_formula_weight", Printf("%.2f", SumOver(s, [](const Scatterer& f) { return f.weight; }) / z));
  if (!s.structure.group.hasInversion) cif.Item("_chemical_absolute_configuration", "?");
  cif.Loop({"_atom_type_symbol", "_atom_type_description", "_atom_type_scat_dispersion_real",
            "_atom_type_scat_dispersion_imag", "_atom_type_scat_source"});
  for (const Scatterer& f : s.structure.scatterers) {
    const std::string factors = s.structure.wavelength < 0.05 ? "International Tables Vol C Table 4.3.2.2"
                                : !IsXRay(s)                  ? "Sears, Neutron News 3 (1992) 26"
                                                              : "International Tables Vol C Table 6.1.1.4";
    const std::string dispersion = f.isOwn ? "; dispersion as given" : IsXRay(s) ? "; Cromer & Liberman (1970)" : "";
    cif.Row({f.symbol, f.symbol, Printf("%.4f", f.fPrime), Printf("%.4f", f.fDoublePrime), factors + dispersion});
  }
}

void WriteSymmetry(const Session& s, CifWriter& cif) {
  const SpaceGroup& group = s.structure.group;
  cif.Gap();
  cif.Item("_space_group_crystal_system", group.system);
  cif.Item("_space_group_IT_number", group.number > 0 ? Printf("%d", group.number) : "?");
  // "P 1 21/c 1" is written short.
  std::string symbol = group.symbol;
  if (group.system == "monoclinic" && symbol.substr(1, 3) == " 1 " && symbol.ends_with(" 1"))
    symbol = symbol.substr(0, 2) + symbol.substr(4, symbol.size() - 6);
  cif.Item("_space_group_name_H-M_alt", symbol);
  cif.Item("_space_group_name_Hall", group.hall);
  cif.Loop({"_space_group_symop_operation_xyz"});
  for (const SymmetryOperator& op : group.all) cif.Row({OperatorText(op)});
}

void WriteCell(const Session& s, CifWriter& cif) {
  const CellParameters& c = s.structure.metric.cell;
  const std::array<double, 6> su = CellSigmas(s.document.instructions.zerrLine);
  const double values[] = {c.a, c.b, c.c, c.alpha, c.beta, c.gamma};
  const char* names[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                         "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
  cif.Gap();
  for (size_t i = 0; i < 6; ++i)
    cif.Item(names[i], su[i] > 0.0 ? WithSu({values[i], su[i]}, 4) : Shortest(values[i], 4));
  cif.Item("_cell_volume", WithSu({s.structure.metric.volume, VolumeSu(c, su)}, 2));
  cif.Item("_cell_formula_units_Z", Shortest(FormulaUnits(s), 2));
  cif.Item("_cell_measurement_temperature", Kelvin(s));
  for (const char* name :
       {"_cell_measurement_reflns_used", "_cell_measurement_theta_min", "_cell_measurement_theta_max"})
    cif.Item(name, "?");
}

void WriteCrystal(const Session& s, CifWriter& cif) {
  const double volume = s.structure.metric.volume;
  cif.Gap();
  cif.Item("_exptl_crystal_description", "?");
  cif.Item("_exptl_crystal_colour", "?");
  std::vector<double> size(s.job.size.begin(),
                           s.job.size.begin() + std::min<std::ptrdiff_t>(3, std::ssize(s.job.size)));
  std::sort(size.rbegin(), size.rend());
  const char* sizes[] = {"_exptl_crystal_size_max", "_exptl_crystal_size_mid", "_exptl_crystal_size_min"};
  for (size_t i = 0; i < 3; ++i) cif.Item(sizes[i], size.size() == 3 ? Printf("%.3f", size[i]) : "?");
  const double weight = SumOver(s, [](const Scatterer& f) { return f.weight; });
  cif.Item("_exptl_crystal_density_diffrn", Printf("%.3f", weight * kMassUnit / volume));
  cif.Item("_exptl_crystal_density_meas", "?");
  cif.Item("_exptl_crystal_density_method", "?");
  cif.Item("_exptl_crystal_F_000", Shortest(SumOver(s, [](const Scatterer& f) { return f.electrons; }), 1));
  const double area = SumOver(s, [&](const Scatterer& f) { return AbsorptionCrossSection(f, s.structure.wavelength); });
  cif.Item("_exptl_absorpt_coefficient_mu", IsXRay(s) ? Printf("%.3f", AbsorptionCoefficient(area, volume)) : "?");
  for (const char* name :
       {"_exptl_absorpt_correction_type", "_exptl_absorpt_correction_T_min", "_exptl_absorpt_correction_T_max",
        "_exptl_absorpt_process_details", "_exptl_special_details"})
    cif.Item(name, "?");
}

void WriteExperiment(const Session& s, CifWriter& cif) {
  const MergeStatistics& m = s.merging;
  const Coverage& coverage = s.coverage;
  const double wavelength = s.structure.wavelength;
  cif.Gap();
  cif.Item("_diffrn_ambient_temperature", Kelvin(s));
  const auto* tube = std::find_if(std::begin(kTubes), std::end(kTubes),
                                  [&](const Tube& t) { return wavelength > t.low && wavelength < t.high; });
  cif.Item("_diffrn_radiation_wavelength", Shortest(wavelength, 6));
  cif.Item("_diffrn_radiation_type", IsXRay(s) && tube != std::end(kTubes) ? tube->name : "?");
  cif.Item("_diffrn_radiation_probe", IsXRay(s) ? "x-ray" : wavelength < 0.05 ? "electron" : "neutron");
  for (const char* name : {"_diffrn_source", "_diffrn_radiation_monochromator", "_diffrn_measurement_device_type",
                           "_diffrn_measurement_method", "_diffrn_detector_area_resol_mean"})
    cif.Item(name, "?");
  const bool overlapped = s.job.hkl.IsOverlapped();
  cif.Item("_diffrn_reflns_number", Printf("%zu", m.read - m.absent - m.outside - m.omitted));
  cif.Item("_diffrn_reflns_av_unetI/netI", Printf("%.4f", m.rSigma));
  cif.Item("_diffrn_reflns_av_R_equivalents", m.rIntMembers ? Printf("%.4f", m.rInt) : "?");
  const char axes[] = {'h', 'k', 'l'};
  for (size_t i = 0; i < 3; ++i) {
    cif.Item(Printf("_diffrn_reflns_limit_%c_min", axes[i]), Printf("%d", m.lowest[i]));
    cif.Item(Printf("_diffrn_reflns_limit_%c_max", axes[i]), Printf("%d", m.highest[i]));
  }
  cif.Item("_diffrn_reflns_theta_min", Printf("%.3f", m.thetaMin));
  cif.Item("_diffrn_reflns_theta_max", Printf("%.3f", m.thetaMax));
  cif.Item("_diffrn_reflns_theta_full", Printf("%.3f", coverage.thetaFull));
  const std::pair<const char*, double> fractions[] = {
      {"_diffrn_measured_fraction_theta_max", coverage.laueMax},
      {"_diffrn_measured_fraction_theta_full", coverage.laueFull},
      {"_diffrn_reflns_Laue_measured_fraction_max", coverage.laueMax},
      {"_diffrn_reflns_Laue_measured_fraction_full", coverage.laueFull},
      {"_diffrn_reflns_point_group_measured_fraction_max", coverage.pointMax},
      {"_diffrn_reflns_point_group_measured_fraction_full", coverage.pointFull}};
  for (const auto& [name, fraction] : fractions) cif.Item(name, fraction > 0.0 ? Printf("%.3f", fraction) : "?");
  cif.Gap();
  cif.Item("_reflns_number_total", Printf("%zu", s.result.final.all));
  cif.Item("_reflns_number_gt", Printf("%zu", s.result.final.strong));
  cif.Item("_reflns_threshold_expression", "I > 2\\s(I)");
  const bool centric = s.structure.group.hasInversion;
  cif.Item("_reflns_Friedel_coverage", Printf("%.3f", centric ? 0.0 : coverage.friedelCoverage));
  cif.Item("_reflns_Friedel_fraction_max", centric ? "." : Printf("%.3f", coverage.friedelMax));
  cif.Item("_reflns_Friedel_fraction_full", centric ? "." : Printf("%.3f", coverage.friedelFull));
  std::string details;
  if (overlapped) details = " Overlapping reflections of several twin components; equivalents are not merged.\n";
  if (m.omitted > 0) AppendPrintf(details, " %zu reflections were left out (OMIT).\n", m.omitted);
  cif.Item("_reflns_special_details", details);
  cif.Gap();
  for (const char* name : {"_computing_data_collection", "_computing_cell_refinement", "_computing_data_reduction",
                           "_computing_structure_solution"})
    cif.Item(name, "?");
  cif.Item("_computing_structure_refinement", "marvik-refine");
  cif.Item("_computing_molecular_graphics", "?");
  cif.Item("_computing_publication_material", "?");
}

}  // namespace marvik
