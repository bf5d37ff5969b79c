#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "chem/chirality.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

struct StrongFigures {
  double wR2 = 0.0;
  double goof = 0.0;
};

// Over Fo² > 2σ.
StrongFigures FiguresOfStrong(const Session& s) {
  const Calculated& c = s.result.calculated;
  double top = 0.0;
  double bottom = 0.0;
  size_t n = 0;
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    if (!IsStrong(c.fo2[i], c.sigma[i])) continue;
    top += c.weight[i] * std::pow(c.fo2[i] - c.fc2[i], 2);
    bottom += c.weight[i] * c.fo2[i] * c.fo2[i];
    ++n;
  }
  StrongFigures figures;
  if (bottom > 0.0) figures.wR2 = std::sqrt(top / bottom);
  if (n > s.result.parameters) figures.goof = std::sqrt(top / static_cast<double>(n - s.result.parameters));
  return figures;
}

std::string Weighting(const WeightScheme& scheme) {
  const auto& [a, b, c, d, e, f] = scheme.p;
  std::string text = "w=";
  if (c > 0.0) AppendPrintf(text, "exp[%s(sin\\q/\\l)^2^]/", Shortest(c, 4).c_str());
  if (c < 0.0) AppendPrintf(text, "{1-exp[%s(sin\\q/\\l)^2^]}/", Shortest(c, 4).c_str());
  if (c == 0.0) text += "1/";
  text += "[\\s^2^(Fo^2^)";
  if (a != 0.0) AppendPrintf(text, "+(%.4fP)^2^", a);
  if (b != 0.0) AppendPrintf(text, "+%.4fP", b);
  if (d != 0.0) AppendPrintf(text, "+%.4f", d);
  if (e != 0.0) AppendPrintf(text, "+%.4fsin\\q/\\l", e);
  text += "] where P=";
  if (std::fabs(f - 1.0 / 3.0) < 1e-4) return text + "(Fo^2^+2Fc^2^)/3";
  return text + Printf("%.4fFo^2^+%.4fFc^2^", f, 1.0 - f);
}

// What is refined of the hydrogens.
std::string HydrogenTreatment(const Session& s) {
  bool xyz[2] = {false, false};
  bool u[2] = {false, false};
  bool any = false;
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    const Site& site = s.structure.sites[i];
    if (!site.hydrogen) continue;
    any = true;
    bool moves = false;
    for (int k = 0; k < 3; ++k) moves |= !s.parametrisation.RowOf(static_cast<int>(i), k).empty();
    xyz[moves && !IsRidingCode(site.afix)] = true;
    const bool tied = !site.anisotropic && (IsRidingU(site.code[kRawU]) || site.code[kRawU] >= 5.0);
    u[!tied && !s.parametrisation.RowOf(static_cast<int>(i), kRawU).empty()] = true;
  }
  if (!any) return "undef";
  if ((xyz[0] && xyz[1]) || (u[0] && u[1])) return "mixed";
  if (xyz[1]) return u[1] ? "refall" : "refxyz";
  return u[1] ? "refU" : "constr";
}

// Those that ride were placed by geometry, the others, it is supposed, found in a map.
std::string SolutionOfHydrogens(const Session& s) {
  bool placed = false;
  bool found = false;
  for (const Site& site : s.structure.sites)
    if (site.hydrogen) (IsRidingCode(site.afix) ? placed : found) = true;
  return placed && found ? "mixed" : placed ? "geom" : found ? "difmap" : ".";
}

void WriteAbsoluteStructure(const Session& s, CifWriter& cif) {
  if (s.structure.group.hasInversion) return;
  // An inversion twin's fraction is the parameter itself.
  const bool inversion = s.job.twin.present && s.job.twin.components == 2 &&
                         s.job.twin.matrix == std::array<double, 9>{-1, 0, 0, 0, -1, 0, 0, 0, -1};
  if (inversion && !s.structure.batchFractions.empty()) {
    double su = 0.0;
    for (size_t p = 0; p < s.parametrisation.Size(); ++p) {
      const Parameter& parameter = s.parametrisation.parameters[p];
      if (parameter.kind == ParameterKind::BatchFraction && parameter.index == 0 && p < s.result.sigmas.size())
        su = s.result.sigmas[p];
    }
    cif.Item("_refine_ls_abs_structure_details", "Refined as a two-component inversion twin");
    cif.Item("_refine_ls_abs_structure_Flack", WithSu({s.structure.batchFractions[0], su}, 3));
    return;
  }
  const FlackResult flack = EstimateFlack(s);
  const std::optional<Measured> fit = flack.present ? std::nullopt : FitHand(s);
  cif.Item("_refine_ls_abs_structure_details",
           flack.present
               ? Printf("Flack x from %zu quotients (I+ - I-)/(I+ + I-) (Parsons, Flack & Wagner, Acta Cryst. "
                        "B69 (2013) 249-259)",
                        flack.pairs)
           : fit ? "No quotients; Flack x from a fit of all intensities (Flack, Acta Cryst. A39 (1983) 876-881)"
                 : "?");
  cif.Item("_refine_ls_abs_structure_Flack", flack.present ? WithSu(flack.x, 3) : fit ? WithSu(*fit, 3) : "?");
}

// Stereocentres by their labels: of one hand where no operation turns it into the other, else as the list has them.
std::string HandSentence(const Session& s) {
  Document bonded = s.document;
  RecordingMessages messages;
  Connect(bonded, messages);
  const std::string labels = ChiralitySentence(FindStereoCentres(bonded));
  if (labels.empty()) return "";
  const auto isImproper = [](const SymmetryOperator& op) { return op.Determinant() < 0; };
  return (std::ranges::any_of(s.structure.group.all, isImproper)
              ? " Stereocentres of the atoms as listed (the crystal holds both hands): "
              : " Stereocentres of the model (sequence rules 1 and 2): ") +
         labels + ".\n";
}

void WriteDetails(const Session& s, CifWriter& cif) {
  std::string details;
  if (s.result.friedelFactor > 1.0) details += FriedelSentence(s.result.friedelFactor) + "\n";
  const auto& fractions = s.structure.batchFractions;
  if (s.observations.Components() > 1 && !fractions.empty()) {
    details += s.job.hkl.code == 5 ? " Refined as a twin against overlapping reflections; fractions:"
                                   : " Refined as a twin; fractions of the components behind the first:";
    for (size_t p = 0; p < s.parametrisation.Size(); ++p) {
      if (s.parametrisation.parameters[p].kind != ParameterKind::BatchFraction) continue;
      const double su = p < s.result.sigmas.size() ? s.result.sigmas[p] : 0.0;
      details += " " + WithSu({s.parametrisation.Value(s.structure, p), su}, 4);
    }
    details += "\n";
    if (s.job.twin.present) {
      details += " Twin law:";
      for (const double m : s.job.twin.matrix) details += " " + Shortest(m, 4);
      details += "\n";
    }
  }
  if (s.structure.hasSolvent)
    AppendPrintf(details, " Diffuse solvent by Babinet's principle: g = %.3f, U = %.3f\n", s.structure.solventScale,
                 s.structure.solventU);
  if (s.structure.hasAnisotropicScale) {
    details += " Overall anisotropic scale of Fc^2^, exp(-4\\p^2^\\SU~ij~h~i~h~j~a*~i~a*~j~), U11 U22 U33 U23 U13 U12:";
    for (const double u : s.structure.anisotropicScale) AppendPrintf(details, " %.5f", u);
    details += "\n";
  }
  if (!s.added.empty())
    AppendPrintf(
        details,
        " A solvent mask: the contributions of %zu reflections in %s.fab were added to the calculated structure\n"
        " factors (ABIN). Formula, weight, density, F(000) and \\m hold what UNIT says.\n",
        s.added.size(), s.name.c_str());
  if (const auto& wavelengths = s.observations.wavelength; !wavelengths.empty()) {
    const auto [shortest, longest] = std::ranges::minmax_element(wavelengths);
    AppendPrintf(details, " Laue data: wavelengths from %.4f to %.4f \\%%A, with dispersion and extinction at each\n",
                 *shortest, *longest);
  }
  if (s.observations.multiplicities)
    details += " Refined against lines of powder data, each the sum of the reflections that overlap in it\n";
  for (const std::string& line : s.voids) details += " " + line + "\n";
  details += HandSentence(s);
  if (details.empty()) {
    cif.Item("_refine_special_details", "?");
  } else {
    cif.Field("_refine_special_details", details);
  }
}

}  // namespace

void WriteRefinement(const Session& s, CifWriter& cif) {
  const RefinementResult& r = s.result;
  const auto number = [&](const char* name, double value, int decimals) {
    cif.Item(name, Printf("%.*f", decimals, value));
  };
  cif.Gap();
  WriteDetails(s, cif);
  cif.Item("_refine_ls_structure_factor_coef", "Fsqd");
  cif.Item("_refine_ls_matrix_type", s.job.conjugateGradients ? "sparse" : "full");
  cif.Item("_refine_ls_weighting_scheme", "calc");
  cif.Item("_refine_ls_weighting_details", Weighting(s.job.weights));
  cif.Item("_atom_sites_solution_primary", "?");
  cif.Item("_atom_sites_solution_secondary", "?");
  cif.Item("_atom_sites_solution_hydrogens", SolutionOfHydrogens(s));
  cif.Item("_refine_ls_hydrogen_treatment", HydrogenTreatment(s));
  if (s.job.parameters.extinction) {
    cif.Item("_refine_ls_extinction_method", "empirical");
    cif.Item("_refine_ls_extinction_coef",
             WithSu({s.structure.extinction, r.sigmas.size() > 1 ? r.sigmas[1] : 0.0}, 4));
    cif.Item("_refine_ls_extinction_expression", "Fc^*^=kFc[1+0.001xFc^2^\\l^3^/sin(2\\q)]^-1/4^");
  } else {
    cif.Item("_refine_ls_extinction_method", "none");
    cif.Item("_refine_ls_extinction_coef", ".");
  }
  WriteAbsoluteStructure(s, cif);
  cif.Item("_refine_ls_number_reflns", Printf("%zu", r.final.all));
  cif.Item("_refine_ls_number_parameters", Printf("%zu", r.parameters));
  cif.Item("_refine_ls_number_restraints", Printf("%zu", r.restraints));
  number("_refine_ls_R_factor_all", r.final.r1All, 4);
  number("_refine_ls_R_factor_gt", r.final.r1, 4);
  number("_refine_ls_wR_factor_ref", r.final.wR2, 4);
  const StrongFigures strong = FiguresOfStrong(s);
  number("_refine_ls_wR_factor_gt", strong.wR2, 4);
  number("_refine_ls_goodness_of_fit_ref", r.final.goof, 3);
  if (strong.goof > 0.0) number("_refine_ls_goodness_of_fit_gt", strong.goof, 3);
  number("_refine_ls_restrained_S_all", r.restrainedGoof, 3);
  number("_refine_ls_shift/su_max", r.lastShift, 3);
  number("_refine_ls_shift/su_mean", r.lastMeanShift, 3);
  number("_refine_diff_density_max", s.peaks.empty() ? 0.0 : s.peaks[0].height, 3);
  number("_refine_diff_density_min", s.holes.empty() ? 0.0 : s.holes[0].height, 3);
  number("_refine_diff_density_rms", s.mapSigma, 3);
}

}  // namespace marvik
