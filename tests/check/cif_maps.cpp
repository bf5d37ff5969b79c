#include <cstdio>

#include "base/numbers.h"
#include "base/user_messages.h"
#include "check/data_session.h"
#include "files/res/reader.h"

#include "cif_cases.h"

namespace marvik::test {

namespace {

// A ring of carbons with an oxygen, in P -1.
const std::string kRing =
    "C1 1 0.3000 0.4000 0.2000 11 0.02\nC2 1 0.4600 0.4700 0.2300 11 0.02\nC3 1 0.5000 0.6200 0.2000 11 0.02\n"
    "C4 1 0.3800 0.7000 0.1400 11 0.02\nC5 1 0.2200 0.6300 0.1100 11 0.02\nC6 1 0.1800 0.4800 0.1400 11 0.02\n"
    "O1 3 0.2600 0.2400 0.2300 11 0.02\n";
const std::string kHydrogen = "H1 2 0.3500 0.2100 0.2800 11 0.03\n";
const std::string kCarbon = "C9 1 0.8000 0.8000 0.7000 11 0.02\n";

std::string Iron(const char* occupancy) {
  return "FE1 4 0.8000 0.2000 0.6000 " + std::string(occupancy) + " 0.02\n";
}

std::string Instructions(const std::string& atoms) {
  return "TITL map\nCELL 0.71073 9 10 11 90 95 90\nZERR 2 0 0 0 0 0 0\nLATT 1\nSFAC C H O FE\nUNIT 12 2 2 2\nFVAR 1\n" +
         atoms + "HKLF 4\nEND\n";
}

// What these atoms would give, to 0.8 Å.
std::string Data(const std::string& atoms) {
  std::string list;
  for (int h = -11; h <= 11; ++h)
    for (int k = -12; k <= 12; ++k)
      for (int l = 1; l <= 13; ++l)
        if (h * h / 81.0 + k * k / 100.0 + l * l / 121.0 < 1.5)
          AppendPrintf(list, "%4d%4d%4d    1.00    1.00\n", h, k, l);
  Document document;
  RecordingMessages messages;
  ReadInstructionText(document, Instructions(atoms), messages);
  Session s;
  PrepareFromText(document, "made", list, {}, s);
  Calculated c;
  DataPass(s.structure, s.observations, s.job.weights).Run(c);
  std::string text;
  for (size_t i = 0; i < c.fc2.size(); ++i) {
    const Miller& m = s.observations.indices[0][i];
    AppendPrintf(text, "%4d%4d%4d%8.2f%8.2f\n", m[0], m[1], m[2], c.fc2[i], 0.2 + 0.01 * c.fc2[i]);
  }
  return text;
}

// The CIF of a model with the data of what is really there.
std::string Mapped(const std::string& model, const std::string& truth, const std::string& items = {}) {
  std::string text = "data_map\n" + CellLines("9 10 11 90 95 90") + items + "_iucr_refine_instructions_details\n;\n" +
                     Instructions(model) + ";\n_iucr_refine_reflections_details\n;\n" + Data(truth) + ";\n" +
                     Loop("space_group", "symop_operation_xyz") + "'x,y,z'\n'-x,-y,-z'\n" +
                     Loop("atom_site", "label fract_x fract_y fract_z");
  for (size_t at = 0; at < model.size(); at = model.find('\n', at) + 1) {
    char label[8], x[16], y[16], z[16];
    if (std::sscanf(model.c_str() + at, "%7s %*d %15s %15s %15s", label, x, y, z) == 4)
      AppendPrintf(text, "%s %s %s %s\n", label, x, y, z);
  }
  return text;
}

// A hydrogen in the midst of each bond, far from whole.
std::string WithBondDensity() {
  std::string text = kRing;
  const double middles[][3] = {{0.38, 0.435, 0.215}, {0.48, 0.545, 0.215}, {0.44, 0.66, 0.17}};
  for (const auto& m : middles) AppendPrintf(text, "H9 2 %.4f %.4f %.4f 10.2 0.04\n", m[0], m[1], m[2]);
  return text;
}

}  // namespace

std::vector<ModelCase> MapCases() {
  const std::string right = Mapped(kRing, WithBondDensity());
  const std::string whole = Mapped(kRing + kHydrogen, kRing + kHydrogen);
  const std::string iron = Mapped(kRing + Iron("11"), kRing + Iron("11"));
  const auto given = [](const char* items) { return Mapped(kRing, kRing, items); };
  // An occupancy of -0.5 takes away.
  const std::string less = "H1 2 0.3500 0.2100 0.2800 9.5 0.03\n";
  const std::string twin = kRing + "TWIN -1 0 0 0 1 0 0 0 -1\nBASF 0.2\n";
  return {
      {"map-bonds", Mapped(kRing, kRing), right},
      {"map-peak-donor", Mapped(kRing, kRing + kHydrogen), whole},
      {"map-hole-donor", Mapped(kRing, kRing + less), whole},
      {"map-hole-hydrogen", Mapped(kRing + kHydrogen, kRing), whole},
      {"map-peak", Mapped(kRing, kRing + kCarbon), right},
      {"map-hole", Mapped(kRing + kCarbon, kRing), right},
      {"map-peak-metal", Mapped(kRing + Iron("10.8"), kRing + Iron("11")), iron},
      {"map-hole-metal", Mapped(kRing + Iron("11"), kRing + Iron("10.8")), iron},
      {"map-max", given("_refine_diff_density_max 4.0\n"), given("_refine_diff_density_max 0.1\n")},
      {"map-min", given("_refine_diff_density_min -4.0\n"), given("_refine_diff_density_min -0.1\n")},
      {"map-none", Mapped(kRing + "+other.txt\n", kRing), right},
      {"map-none", given("_refine_ls_R_factor_gt 0.2\n"), given("_refine_ls_R_factor_gt 0.001\n")},
      {"reflections-r1", given("_refine_ls_R_factor_gt 0.2\n"), given("_refine_ls_R_factor_gt 0.001\n")},
      {"reflections-none", Mapped(kRing + "+other.txt\n", kRing, "_refine_ls_R_factor_gt 0.001\n"),
       Mapped(twin, twin, "_refine_ls_R_factor_gt 0.001\n")},
  };
}

}  // namespace marvik::test
