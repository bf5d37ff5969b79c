#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/vec3.h"

#include "cif_cases.h"

namespace marvik::test {

// "missing" and the item, of which only the separators are uncertain.
std::string WithoutItem(const std::string& cif, const std::string& item) {
  const auto same = [](char a, char b) {
    const auto fold = [](char c) {
      return c == '_' || c == '.' ? '-' : c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    };
    return fold(a) == fold(b);
  };
  std::string text = cif;
  auto at = std::search(text.begin(), text.end(), item.begin(), item.end(), same);
  // Another name may begin alike.
  const auto whole = [&] { return at == text.end() || at[static_cast<std::ptrdiff_t>(item.size())] <= ' '; };
  while (!whole()) at = std::search(at + 1, text.end(), item.begin(), item.end(), same);
  if (at == text.end()) return text;
  const auto begin = static_cast<size_t>(at - text.begin());
  text.insert(begin + item.size(), "_other");
  return text;
}

const std::vector<ListCase> kListCases = {
    {"bond", "geom_bond", "atom_site_label_1 atom_site_label_2 distance", "C1 C2 1.500(3)", "1.500(3)", "1.600(3)",
     "1.600", "1.500", "1.50(9)"},
    {"angle", "geom_angle", "atom_site_label_1 atom_site_label_2 atom_site_label_3 .", "C1 C2 O1 90.0(2)", "90.0(2)",
     "99.0(2)", "99.0", "90.0", "90(9)"},
    {"torsion", "geom_torsion", "atom_site_label_1 atom_site_label_2 atom_site_label_3 atom_site_label_4 .",
     "C1 C2 O1 N1 90.0(3)", "90.0(3)", "99.0(3)", "99.0", "90.0", "90(9)"},
    {"contact", "geom_contact", "atom_site_label_1 atom_site_label_2 distance", "C1 O1 1.921(3)", "1.921(3)",
     "2.021(3)", "2.021", "1.921", "1.92(9)"},
    {"d-h", "geom_hbond", "atom_site_label_D atom_site_label_H atom_site_label_A distance_DH", "C1 C2 O1 1.500(3)",
     "1.500(3)", "1.600(3)", "1.600", "1.500", "1.50(9)"},
    {"h-a", "geom_hbond", "atom_site_label_D atom_site_label_H atom_site_label_A distance_HA", "N1 O1 C1 1.921(3)",
     "1.921(3)", "2.121(3)", "2.121", "1.921", "1.92(9)"},
    {"d-a", "geom_hbond", "atom_site_label_D atom_site_label_H atom_site_label_A distance_DA", "C1 C2 O1 1.921(3)",
     "1.921(3)", "2.021(3)", "2.021", "1.921", "1.92(9)"},
    {"d-h-a", "geom_hbond", "atom_site_label_D atom_site_label_H atom_site_label_A angle_DHA", "C1 C2 O1 90.0(2)",
     "90.0(2)", "99.0(2)", "99.0", "90.0", "90(9)"},
};

// C1-C2 along x, C2-O1 along y, O1-N1 along z.
std::string ListOf(const ListCase& list, const std::string& row, bool fixed) {
  const char* su = fixed ? "" : "(2)";
  std::string text = "data_list\n" + CellLines("10 10 10 90 90 90") + Loop("space_group", "symop_operation_xyz") +
                     "'x,y,z'\n" + Loop("atom_site", "label fract_x fract_y fract_z");
  const char* const places[][4] = {{"C1", "0.1000", "0.1000", "0.1000"},
                                   {"C2", "0.2500", "0.1000", "0.1000"},
                                   {"O1", "0.2500", "0.2200", "0.1000"},
                                   {"N1", "0.2500", "0.2200", "0.2300"}};
  for (const auto& p : places) AppendPrintf(text, "%s %s%s %s%s %s%s\n", p[0], p[1], su, p[2], su, p[3], su);
  return text + Loop(list.category, list.items) + row + "\n";
}

std::string Embedded(const std::string& instruction) {
  const char* const reflections =
      "   1   0   0   12.00    1.00\n   2   0   0   12.00    1.00\n   3   0   0   12.00    1.00\n"
      "   4   0   0   12.00    1.00\n;\n";
  return "data_embedded\n_cell_length_a 9\n_cell_length_b 9\n_cell_length_c 9\n_refine_ls_R_factor_gt 0.04\n"
         "_iucr_refine_instructions_details\n;\nTITL a\nCELL 0.71 9 9 9 90 90 90\nLATT -1\nSFAC C\nUNIT 2\n" +
         instruction +
         "\nFVAR 1\nC1 1 0.1 0.2 0.3 11 0.03\nC2 1 0.31 0.22 0.27 11 0.03\nHKLF 4\nEND\n;\n"
         "_iucr_refine_reflections_details\n;\n" +
         reflections + Loop("space_group", "symop_operation_xyz") + "'x,y,z'\n" +
         Loop("atom_site", "label fract_x fract_y fract_z") + "C1 0.1 0.2 0.3\nC2 0.31 0.22 0.27\n";
}

// P -1 with one carbon; the figures are those of the list below.
std::string WithFigures() {
  return "data_figures\n" + CellLines("5.0 6.0 7.0 90 95 90") +
         "_diffrn_radiation_wavelength 0.71073\n_diffrn_reflns_theta_min 3.0\n_diffrn_reflns_theta_max 26.00\n"
         "_diffrn_reflns_limit_h_min -6\n_diffrn_reflns_limit_h_max 6\n_diffrn_reflns_limit_k_min -7\n"
         "_diffrn_reflns_limit_k_max 7\n_diffrn_reflns_limit_l_min -8\n_diffrn_reflns_limit_l_max 8\n"
         "_refine_ls_R_factor_gt 0.0608\n_refine_ls_wR_factor_ref 0.1119\n_refine_ls_goodness_of_fit_ref 1.00\n"
         "_refine_ls_number_parameters 10\n_refine_ls_number_reflns 829\n"
         "_refine_ls_weighting_details 'w=1/[\\s^2^(Fo^2^)+(0.0000P)^2^+0.0000P] where P=(Fo^2^+2Fc^2^)/3'\n" +
         Loop("space_group", "symop_operation_xyz") + "'x,y,z'\n'-x,-y,-z'\n" +
         Loop("atom_site", "label fract_x fract_y fract_z") + "C1 0.1 0.2 0.3\n";
}

// Every reflection to sin(theta)/lambda 0.6168 with made-up Fc² and errors of one uncertainty in turn.
std::string Reflections(const std::function<void(std::vector<Reflection>&)>& change) {
  std::vector<Reflection> list;
  const double beta = 95.0 * kRadiansPerDegree;
  unsigned random = 7;
  for (int h = -6; h <= 6; ++h) {
    for (int k = -7; k <= 7; ++k) {
      for (int l = 0; l <= 8; ++l) {
        if (l == 0 && (k < 0 || (k == 0 && h <= 0))) continue;
        const double s2 =
            (h * h / 25.0 + l * l / 49.0 - 2.0 * h * l * std::cos(beta) / 35.0) / std::pow(std::sin(beta), 2) +
            k * k / 36.0;
        if (std::sqrt(s2) / 2.0 > 0.61679) continue;
        random = random * 1664525u + 1013904223u;
        const double fc2 = 0.2 + 200.0 * std::pow(random / 4294967296.0, 3) * std::exp(-4.0 * s2);
        random = random * 1664525u + 1013904223u;
        const double su = 0.3 + 0.03 * fc2;
        // Sum of three uniform numbers: about normal, with variance 1.
        double error = 0.0;
        for (int i = 0; i < 12; ++i) {
          random = random * 1664525u + 1013904223u;
          error += random / 4294967296.0;
        }
        list.push_back({h, k, l, fc2, fc2 + (error - 6.0) * su, su});
      }
    }
  }
  if (change) change(list);
  std::string text = "data_list\n_cell_length_a 5.0\n" +
                     Loop("refln", "index_h index_k index_l F_squared_calc F_squared_meas F_squared_sigma");
  for (const Reflection& r : list) AppendPrintf(text, "%d %d %d %.4f %.4f %.4f\n", r.h, r.k, r.l, r.fc2, r.fo2, r.su);
  return text;
}

namespace {

// A change of every reflection.
template <class Change>
auto Each(Change change) {
  return [change](std::vector<Reflection>& list) { std::ranges::for_each(list, change); };
}

}  // namespace

const std::vector<ListFault> kListFaults = {
    {"reflections-cell", "_cell_length_a 5.0", "_cell_length_a 5.1", nullptr},
    {"reflections-unreadable", "", "", [](auto& list) { list.clear(); }},
    {"reflections-fo-fc", "", "", Each([](Reflection& r) { r.fo2 = r.fc2; })},
    {"reflections-scale", "", "", Each([](Reflection& r) { r.fo2 += 20.0; })},
    {"reflections-strong-edge", "", "", Each([](Reflection& r) { r.su = 0.01; })},
    {"reflections-low-angle", "theta_min 3.0", "theta_min 13.0",
     [](auto& list) {
       std::erase_if(list, [](const Reflection& r) { return std::abs(r.h) + std::abs(r.k) + r.l < 4; });
     }},
    {"reflections-missing", "", "", [](auto& list) { list.resize(list.size() - 60); }},
    {"reflections-missing-far", "", "",
     [](auto& list) { std::erase_if(list, [](const Reflection& r) { return r.k == 7 || r.k == -7; }); }},
    {"reflections-outlier", "", "", [](auto& list) { list[9].fo2 = list[9].fc2 - 200.0 * list[9].su; }},
    {"reflections-beam-stop", "", "", Each([](Reflection& r) {
       if (r.h == 0 && r.k == 0 && r.l == 1) r = {0, 0, 1, 500.0, 10.0, 1.0};
     })},
    {"reflections-theta", "theta_max 26.00", "theta_max 26.70", nullptr},
    {"reflections-r1", "gt 0.0608", "gt 0.2500", nullptr},
    {"reflections-wr2", "ref 0.1119", "ref 0.2600", nullptr},
    {"reflections-s", "ref 1.00", "ref 1.90", nullptr},
    {"reflections-s", "", "", Each([](Reflection& r) { r.fo2 = 9.0 * r.fc2, r.su = 90.0; })},
    {"reflections-deviations", "", "", [](auto& list) { list[9].fo2 = list[9].fc2 + 50.0 * list[9].su; }},
    {"reflections-unit-s", "", "", Each([](Reflection& r) { r.su *= 0.01; })},
    {"reflections-cut", "", "", Each([](Reflection& r) { r.fo2 = std::max(r.fo2, 3.0 * r.su); })},
    {"reflections-number", "reflns 829", "reflns 950", nullptr},
    {"reflections-indices", "h_min -6\n_diffrn_reflns_limit_h_max 6", "h_min -4\n_diffrn_reflns_limit_h_max 4",
     [](auto&) {}},
    {"reflections-negative", "", "",
     [](auto& list) {
       for (size_t i = 0; i < 40; ++i) list[i].fo2 = -3.0 * list[i].su;
     }},
    {"reflections-no-negative", "", "", Each([](Reflection& r) { r.fo2 = std::fabs(r.fo2); })},
    {"reflections-su-zero", "", "", [](auto& list) { list[3].su = 0.0; }},
    {"reflections-friedel", "'-x,-y,-z'\n", "", nullptr},
};

}  // namespace marvik::test
