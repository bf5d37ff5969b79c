#include <cmath>
#include <locale>
#include <sstream>

#include "base/numbers.h"
#include "base/vec3.h"

#include "cif_cases.h"

namespace marvik::test {

namespace {

// Rows of "label x y z [U [occupancy [group]]]", coordinates divided by `edge`.
std::string Rows(const std::string& atoms, double edge) {
  std::istringstream rows(atoms);
  std::string text = Loop("atom_site", "label fract_x fract_y fract_z U_iso_or_equiv occupancy disorder_group");
  for (std::string row; std::getline(rows, row, ';');) {
    std::istringstream words(row);
    words.imbue(std::locale::classic());
    std::string label, u = "0.03", occupancy = "1", group = ".";
    double x = 0, y = 0, z = 0;
    words >> label >> x >> y >> z >> u >> occupancy >> group;
    AppendPrintf(text, "%s %.5f %.5f %.5f %s %s %s\n", label.c_str(), x / edge, y / edge, z / edge, u.c_str(),
                 occupancy.c_str(), group.c_str());
  }
  return text;
}

// "a b c alpha beta gamma", operators separated by ";", fractional coordinates.
std::string Crystal(const std::string& cell, const std::string& operators, const std::string& atoms,
                    const std::string& more = {}) {
  std::string text = "data_crystal\n" + more + CellLines(cell) + Loop("space_group", "symop_operation_xyz");
  std::istringstream list(operators);
  for (std::string one; std::getline(list, one, ';');) text += "'" + one + "'\n";
  return text + Rows(atoms, 1.0);
}

constexpr const char* kP212121 = "x,y,z;1/2-x,-y,1/2+z;-x,1/2+y,1/2-z;1/2+x,1/2-y,-z";
constexpr const char* kP3 = "x,y,z;-y,x-y,z;y-x,-x,z";
constexpr const char* kP23 =
    "x,y,z;-x,-y,z;-x,y,-z;x,-y,-z;z,x,y;z,-x,-y;-z,-x,y;-z,x,-y;y,z,x;-y,z,-x;y,-z,-x;-y,-z,x";

// A ring of six carbons of a radius, each with a hydrogen or, for `methyls`, a carbon.
std::string Ring(double radius, bool methyls, double wider = 0.0) {
  std::string text;
  for (int i = 0; i < 6; ++i) {
    const double r = radius + (i == 0 ? wider : 0.0);
    const double c = std::cos(i * kRadiansPerDegree * 60.0);
    const double s = std::sin(i * kRadiansPerDegree * 60.0);
    const double out = radius + (methyls ? 1.5 : 0.95);
    AppendPrintf(text, "C%d %.4f %.4f 5;%s%d %.4f %.4f 5;", i + 1, 5 + r * c, 5 + r * s, methyls ? "C1" : "H", i + 1,
                 5 + out * c, 5 + out * s);
  }
  return text;
}

// A carbon with three hydrogens at (0, 0, 0), bonded towards +x or -x; their names end in `tail`.
std::string Methyl(double x, double sign, const std::string& tail) {
  return Printf("C%s %.3f 0 0;H%sA %.3f 0.914 0;H%sB %.3f -0.457 0.792;H%sC %.3f -0.457 -0.792", tail.c_str(), x,
                tail.c_str(), x - sign * 0.323, tail.c_str(), x - sign * 0.323, tail.c_str(), x - sign * 0.323);
}

// Eight atoms in general positions, then those of `image`.
std::string Cluster(const char* image) {
  return std::string(
             "C1 .11 .07 .21;C2 .23 .31 .12;N1 .31 .18 .42;C3 .12 .42 .33;O1 .42 .37 .27;C4 .36 .09 .08;C5 .06 .28 "
             ".45;N2 .27 .44 .05;") +
         image;
}

// Coordinates with three decimals.
std::string Shortened(std::string text) {
  for (const char* value : {"0.33300", "0.66700"}) text.erase(text.find(value) + 5, 2);
  return text;
}

// A chain of five atoms and another residue of two, whose second tensor differs along the bond.
std::string TwoResidues(const char* first, const char* u11) {
  std::string more = Loop("atom_site_aniso", "label U_11 U_22 U_33 U_23 U_13 U_12");
  AppendPrintf(more,
               "%s 0.030(1) 0.030(1) 0.030(1) 0.000(1) 0.000(1) 0.000(1)\nC7 %s(1) 0.030(1) 0.030(1) 0.000(1) 0.000(1) "
               "0.000(1)\n",
               first, u11);
  return Crystal(
      "20 20 20 90 90 90", "x,y,z",
      std::string("C1 0 0 0;C2 .075 0 0;C3 .15 0 0;C4 .225 0 0;C5 .3 0 0;") + first + " .5 .5 .5;C7 .575 .5 .5", more);
}

const std::string kTorsion =
    Loop("geom_torsion", "atom_site_label_1 atom_site_label_2 atom_site_label_3 atom_site_label_4 .") +
    "C1 C2 C3 C4 180\n";

}  // namespace

std::string CellLines(const std::string& cell) {
  std::istringstream values(cell);
  std::string text, value;
  for (const char* item : {"length_a", "length_b", "length_c", "angle_alpha", "angle_beta", "angle_gamma"}) {
    values >> value;
    text += std::string("_cell_") + item + " " + value + "\n";
  }
  return text;
}

// "." stands for the item that has the name of its category.
std::string Loop(const std::string& category, const std::string& items) {
  std::istringstream list(items);
  std::string text = "loop_\n";
  for (std::string item; list >> item;) text += "_" + category + (item == "." ? "" : "_" + item) + "\n";
  return text;
}

std::string Molecule(const std::string& atoms) {
  return "data_molecule\n" + CellLines("20 20 20 90 90 90") + Loop("space_group", "symop_operation_xyz") + "'x,y,z'\n" +
         Rows(atoms, 20.0);
}

std::string LengthCase::Atoms(double d) const {
  const std::string name(kind);
  if (name.ends_with("-h")) return Printf("%c1 0 0 0;H1 %.3f 0 0", name[0] - 32, d);
  // Hydrogens that make the two carbons what the name says.
  const auto end = [](const std::string& hybrid, double x, double sign, const char* tail) {
    if (hybrid == "sp3") return Methyl(x, sign, tail);
    const double o = x - sign * 0.48;
    if (hybrid == "sp2") return Printf("C%s %.3f 0 0;H%sA %.3f 0.83 0;H%sB %.3f -0.83 0", tail, x, tail, o, tail, o);
    if (hybrid == "sp") return Printf("C%s %.3f 0 0;H%sA %.3f 0 0", tail, x, tail, x - sign * 0.95);
    return Printf("C%s %.3f 0 0", tail, x);
  };
  const size_t dash = name.find('-');
  return end(name.substr(0, dash), 0.0, 1.0, "1") + ";" + end(name.substr(dash + 1), d, -1.0, "2");
}

const std::vector<LengthCase> kLengthCases = {{"c-h", 0.80, 0.96, 1.20},     {"n-h", 0.70, 0.87, 1.10},
                                              {"o-h", 0.65, 0.82, 1.05},     {"sp3-sp3", 1.40, 1.54, 1.70},
                                              {"sp3-sp2", 1.40, 1.51, 1.65}, {"sp3-sp", 1.30, 1.46, 1.60},
                                              {"c-c", 1.10, 1.50, 1.65},     {"sp2-sp2", 1.20, 1.40, 1.60},
                                              {"sp2-sp", 1.18, 1.31, 1.60},  {"sp-sp", 1.10, 1.20, 1.50}};

const std::vector<ModelCase> kModelCases = {
    {"ellipsoid-ratio-minor", TwoResidues("C6", "0.900"), TwoResidues("C6", "0.030")},
    {"rigid-bond-minor", TwoResidues("C6", "0.070"), TwoResidues("C6", "0.030")},
    {"rigid-bond-metal-minor", TwoResidues("Fe6", "0.090"), TwoResidues("Fe6", "0.030")},
    {"list-torsion-linear",
     Crystal("20 20 20 90 90 90", "x,y,z", "C1 0 0 0;C2 .075 0 0;C3 .15 0 0;C4 .15 .07 0", kTorsion),
     Crystal("20 20 20 90 90 90", "x,y,z", "C1 0 .07 0;C2 0 0 0;C3 .07 0 0;C4 .07 -.07 0", kTorsion)},
    {"void-mask",
     Crystal("20 20 20 90 90 90", "x,y,z", "C1 0 0 0;H1 .048 0 0", "_refine_special_details\n;\na solvent mask\n;\n"),
     Crystal("20 20 20 90 90 90", "x,y,z", "C1 0 0 0;H1 .048 0 0")},
    {"setting", Crystal("7 8 9 90 95 90", "x,y,z;1/2-x,1/2+y,1/2-z;-x,-y,-z;1/2+x,1/2-y,1/2+z", "C1 .1 .2 .3"),
     Crystal("7 8 9 90 95 90", "x,y,z;-x,1/2+y,1/2-z;-x,-y,-z;x,1/2-y,1/2+z", "C1 .1 .2 .3")},
    {"cell-orthorhombic", Crystal("7 8 9 90 92 90", kP212121, "C1 .1 .2 .3"),
     Crystal("7 8 9 90 90 90", kP212121, "C1 .1 .2 .3")},
    {"cell-tetragonal", Crystal("7 8 9 90 90 90", "x,y,z;-x,-y,z;-y,x,z;y,-x,z", "C1 .1 .2 .3"),
     Crystal("7 7 9 90 90 90", "x,y,z;-x,-y,z;-y,x,z;y,-x,z", "C1 .1 .2 .3")},
    {"cell-trigonal", Crystal("7 7 9 90 90 118", kP3, "C1 .1 .2 .3"), Crystal("7 7 9 90 90 120", kP3, "C1 .1 .2 .3")},
    {"cell-hexagonal", Crystal("7 8 9 90 90 120", "x,y,z;-y,x-y,z;y-x,-x,z;-x,-y,z;y,y-x,z;x-y,x,z", "C1 .1 .2 .3"),
     Crystal("7 7 9 90 90 120", "x,y,z;-y,x-y,z;y-x,-x,z;-x,-y,z;y,y-x,z;x-y,x,z", "C1 .1 .2 .3")},
    {"cell-cubic", Crystal("7 7 8 90 90 90", kP23, "C1 .1 .2 .3"), Crystal("7 7 7 90 90 90", kP23, "C1 .1 .2 .3")},
    {"cell-not-reduced", Crystal("7 8 9 90 90 60", "x,y,z", "C1 .1 .2 .3"),
     Crystal("7 8 9 80 85 75", "x,y,z", "C1 .1 .2 .3")},
    {"edge-order", Crystal("9 8 7 80 85 75", "x,y,z", "C1 .1 .2 .3"),
     Crystal("7 8 9 80 85 75", "x,y,z", "C1 .1 .2 .3")},
    {"cell-angle-su-alike", Crystal("7 8 9 80.0(1) 85.0(1) 75.0(1)", "x,y,z", "C1 .1 .2 .3"),
     Crystal("7 8 9 80.0(1) 85.0(2) 75.0(1)", "x,y,z", "C1 .1 .2 .3")},
    {"third-digits", Shortened(Crystal("7 7 9 90 90 120", kP3, "C1 .33300 .66700 .3")),
     Crystal("7 7 9 90 90 120", kP3, "C1 .33333 .66667 .3")},
    {"chiral-group", Crystal("7 8 9 90 90 90", kP212121, "C1 .1 .2 .3"),
     Crystal("7 8 9 90 90 90", "x,y,z;-x,-y,-z", "C1 .1 .2 .3")},
    {"extra-centre",
     Crystal("9 10 11 80 85 75", "x,y,z",
             Cluster("C11 .89 .93 .79;C12 .77 .69 .88;N11 .69 .82 .58;C13 .88 .58 .67;O11 .58 .63 .73;C14 .64 .91 "
                     ".92;C15 .94 .72 .55;N12 .73 .56 .95")),
     Crystal("9 10 11 80 85 75", "x,y,z", Cluster("C11 .8 .9 .7"))},
    {"extra-translation",
     Crystal("9 10 11 80 85 75", "x,y,z",
             Cluster("C11 .61 .57 .71;C12 .73 .81 .62;N11 .81 .68 .92;C13 .62 .92 .83;O11 .92 .87 .77;C14 .86 .59 "
                     ".58;C15 .56 .78 .95;N12 .77 .94 .55")),
     Crystal("9 10 11 80 85 75", "x,y,z", Cluster("C11 .8 .9 .7"))},
    {"extra-axis",
     Crystal("9 10 11 90 95 90", "x,y,z",
             Cluster("C11 .89 .07 .79;C12 .77 .31 .88;N11 .69 .18 .58;C13 .88 .42 .67;O11 .58 .37 .73;C14 .64 .09 "
                     ".92;C15 .94 .28 .55;N12 .73 .44 .95")),
     Crystal("9 10 11 90 95 90", "x,y,z", Cluster("C11 .8 .9 .7"))},
    {"occupancy-special", Crystal("9 10 11 80 85 75", "x,y,z;-x,-y,-z", "C1 0 0 0 0.03 0.5"),
     Crystal("9 10 11 80 85 75", "x,y,z;-x,-y,-z", "C1 0 0 0 0.03 1")},
    {"polymer", Crystal("1.5 10 11 90 90 90", "x,y,z", "C1 .1 .2 .3"),
     Crystal("6.5 10 11 90 90 90", "x,y,z", "C1 .1 .2 .3")},
    {"phenyl-mean", Molecule(Ring(1.34, false)), Molecule(Ring(1.39, false))},
    {"ring-mean", Molecule(Ring(1.33, true)), Molecule(Ring(1.395, true))},
    {"phenyl-spread", Molecule(Ring(1.39, false, 0.34)), Molecule(Ring(1.39, false))},
    {"ring-spread", Molecule(Ring(1.395, true, 0.34)), Molecule(Ring(1.395, true))},
    {"methyl-x-c-h", Molecule("C1 0 0 0;O1 1.4 0 0;H1A 0 0.95 0;H1B -0.323 -0.457 0.792;H1C -0.323 -0.457 -0.792"),
     Molecule(Methyl(0, 1, "1") + ";O1 1.4 0 0")},
    {"methyl-h-c-h", Molecule("C1 0 0 0;O1 1.4 0 0;H1A 0 0.95 0;H1B -0.323 -0.457 0.792;H1C -0.323 -0.457 -0.792"),
     Molecule(Methyl(0, 1, "1") + ";O1 1.4 0 0")},
    {"contact-methyl-between", Molecule(Methyl(0, -1, "1") + ";" + Methyl(2.3, 1, "2")),
     Molecule(Methyl(0, -1, "1") + ";" + Methyl(6.3, 1, "2"))},
    {"contact-methyl-within",
     Molecule(Methyl(0, -1, "1") + ";" + Methyl(2.3, 1, "2") +
              ";C3 -1.2 0.9 0;C4 -1.2 2.4 0;C5 0.3 3 0;C6 1.8 3 0;C7 3.3 2.4 0;C8 3.4 0.9 0"),
     Molecule(kFine)},
    {"void", Molecule(kFine), Crystal("3 3 3 90 90 90", "x,y,z", "C1 0 0 0;H1 .3 0 0")},
};

}  // namespace marvik::test
