#include "files/cif/cif_translation.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <set>

#include "base/files.h"
#include "files/res/reader.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

#include "support/structures.h"
#include "support/test_files.h"

namespace marvik::test {
namespace {

const std::string kCell =
    "_cell_length_a 10.123(4)\n_cell_length_b 10.1234(5)\n_cell_length_c 20\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90.12(3)\n_cell_angle_gamma 90.0\n";
const std::string kOperators = "loop_ _symmetry_equiv_pos_as_xyz X,Y,Z '-X, 1/2+Y, 1/2-Z' -x,-y,-z x,1/2-y,1/2+z\n";
const std::string kRows = "loop_ _atom_site_label _atom_site_fract_x _atom_site_fract_y _atom_site_fract_z ";
const std::string kHead = "data_test\n" + kCell;

std::string TextOf(const std::string& cif) {
  const auto translation = TranslateCif(cif);
  return translation ? translation->text : "refused";
}

std::string NoticesOf(const std::string& cif) {
  const auto translation = TranslateCif(cif);
  return translation ? translation->notices : "refused";
}

// The atoms as the reader finds them in the translation.
struct Translated {
  explicit Translated(const std::string& cif) {
    EXPECT_TRUE(ReadInstructionText(document, TextOf(cif), messages)) << TextOf(cif);
    EXPECT_TRUE(messages.shown.empty()) << messages.shown[0].text;
  }
  const AtomRecord& operator[](size_t i) const {
    const AtomRecord* atom = document.atoms.head;
    for (; atom && i > 0; --i) atom = atom->next;
    if (!atom) std::abort();
    return *atom;
  }
  Document document;
  RecordingMessages messages;
};

TEST(CifTranslation, WritesTheLinesInTheirOrder) {
  const std::string cif =
      "data_x\n_database_code_CSD ABCDEF01\n_symmetry_space_group_name_H-M 'P 21/c'\n"
      "_chemical_formula_sum 'C2 H6 O'\n_cell_formula_units_Z 4\n" +
      kCell + kOperators + kRows +
      "_atom_site_U_iso_or_equiv _atom_site_occupancy\n"
      "C1 0.1(1) 0.2 0.3 0.05(1) 1\nO1 .5 0.123456 0.25 ? .\nC2 0.5 0.5 0.5 0.02 0.5\n";
  EXPECT_EQ(TextOf(cif),
            "TITL  ABCDEF01 P 21/c\n"
            "CELL 0.71073 10.123 10.1234 20 90 90.12 90.0\n"
            "ZERR 4 0.004 0.0005 0 0 0.03 0\n"
            "LATT -1\n"
            "SYMM -X, 1/2+Y, 1/2-Z\nSYMM -x,-y,-z\nSYMM x,1/2-y,1/2+z\n"
            "SFAC C H O\n"
            "UNIT 8 24 4\n"
            "WGHT 0.10000\nFVAR 0.50000\n"
            "C1    1   0.10000   0.20000   0.30000  11.00000   0.05000\n"
            "O1    3   0.50000  0.123456   0.25000  11.00000   0.05000\n"
            "C2    1   0.50000   0.50000   0.50000  10.25000   0.02000\n"
            "HKLF 4\nEND\n");
}

TEST(CifTranslation, TakesTheConditionsOfTheExperiment) {
  const std::string atoms = kRows + "C1 0.1 0.2 0.3\n";
  const std::string text =
      TextOf(kHead + "_cell_formula_units_Z 4\n_diffrn_ambient_temperature 100(2)\n_exptl_crystal_size_max 0.30\n" +
             "_exptl_crystal_size_mid 0.2\n_exptl_crystal_size_min .10\n_refine_ls_extinction_coef 0.0071(4)\n" +
             "_refine_ls_extinction_method 'X, "
             "Fc^*^=kFc[1+0.001xFc^2^\\l^3^/sin(2\\q)]^-1/4^'\n_refine_ls_weighting_details\n" +
             " 'calc w=1/[\\s^2^(Fo^2^)+(0.0604P)^2^+1.2300P] where P=(Fo^2^+2Fc^2^)/3'\n" +
             "loop_ _diffrn_radiation_wavelength_id _diffrn_radiation_wavelength 1 ? 2 1.54178\n" + atoms);
  EXPECT_NE(text.find("\nCELL 1.54178 10.123 "), std::string::npos) << text;
  EXPECT_NE(text.find("\nTEMP -173.15\nSIZE 0.3 0.2 0.1\nWGHT 0.0604 1.23\nEXTI 0.0071\nFVAR "), std::string::npos)
      << text;
  // What has another meaning, or none, is left out.
  const std::string other = TextOf(
      kHead + "_diffrn_ambient_temperature ?\n_exptl_crystal_size_max 0.30\n_refine_ls_extinction_coef 440.561\n" +
      "_refine_ls_extinction_method Zachariasen\n_refine_ls_weighting_details 'w=1/[\\s^2^(F)+0.0004F^2^]'\n" +
      "_diffrn_radiation_wavelength 0\n" + atoms);
  EXPECT_NE(other.find("\nCELL 0.71073 "), std::string::npos) << other;
  EXPECT_NE(other.find("\nUNIT 1\nWGHT 0.10000\nFVAR "), std::string::npos) << other;
}

TEST(CifTranslation, OldWaysOfUncertaintyAndRepeatedOperatorsAreUnderstood) {
  const std::string old =
      "data_x\n_cell_length_a 7.060+2\n_cell_length_b 7.06\n_cell_length_c 7.06E0(1)\n" + kRows + "C1 0.25+1 0 0\n";
  EXPECT_NE(TextOf(old).find("\nCELL 0.71073 7.060 7.06 7.06E0 90 90 90\nZERR 1 0.002 0 0.01 0 0 0\n"),
            std::string::npos)
      << TextOf(old);
  const std::string twice = kHead + "loop_ _symmetry_equiv_pos_as_xyz x,y,z -x,-y,-z '1-x, -y, -z' x,y,z\n" + kRows +
                            "C1 0 0 0 C2 0.1 0.2 0.3\n";
  EXPECT_NE(TextOf(twice).find("\nSYMM -x,-y,-z\nSFAC C\nUNIT 3\n"), std::string::npos) << TextOf(twice);
}

TEST(CifTranslation, MissingNamesHaveFallbacks) {
  // Counted from the atoms: C1 lies on a centre of symmetry.
  const std::string plain = kHead + kOperators + kRows + "C1 0.5 0.5 0.5 O1 0.1 0.2 0.3\n";
  EXPECT_TRUE(TextOf(plain).starts_with("TITL  test \n")) << TextOf(plain);
  EXPECT_NE(TextOf(plain).find("\nSFAC C O\nUNIT 2 4\n"), std::string::npos) << TextOf(plain);
  // Z from the atoms, hydrogen not counted; an element that the formula lacks comes behind.
  const std::string formula = plain + "N1 0.3 0.3 0.3\n_chemical_formula_sum 'C H4 O2'\n";
  EXPECT_NE(TextOf(formula).find("\nSFAC C H O N\nUNIT 2 8 4 4\n"), std::string::npos) << TextOf(formula);
  EXPECT_EQ(NoticesOf(kHead + kRows + "C1 0 0 0"), "There are no symmetry operators; P 1 is assumed.");
  const std::string lengths = "data_\n_cell_length_a 5 _cell_length_b 5 _cell_length_c 5\n" + kRows + "C1 0 0 0";
  EXPECT_NE(TextOf(lengths).find("\nCELL 0.71073 5 5 5 90 90 90\nZERR 1 0 0 0 0 0 0\n"), std::string::npos);
}

TEST(CifTranslation, RefusesWhatIsNoStructure) {
  for (const std::string& cif :
       {std::string(), std::string("\0\xFF", 2), std::string("data_x"), std::string("TITL x\nCELL 1 2 3 4 90 90 90\n"),
        kHead, kHead + kRows, kHead + kRows + "C1 0.1 0.2", kHead + kRows + "C1 ? ? ?", "data_x\n" + kRows + "C1 0 0 0",
        "data_x _cell_length_a 5 _cell_length_b 5 _cell_length_c -5\n" + kRows + "C1 0 0 0",
        "data_x _cell_length_a five _cell_length_b 5 _cell_length_c 5\n" + kRows + "C1 0 0 0",
        kHead + "loop_ _atom_site_label _atom_site_Cartn_x _atom_site_Cartn_y _atom_site_Cartn_z C1 1 2 3"}) {
    EXPECT_EQ(TextOf(cif), "refused") << cif;
  }
}

TEST(CifTranslation, TakesNamesOldAndNewInAnyCaseAndOrder) {
  const std::string old = kHead + kOperators +
                          "loop_ _atom_site_label _atom_site_type_symbol _atom_site_fract_x _atom_site_fract_y "
                          "_atom_site_fract_z _atom_site_U_iso_or_equiv\nC1 C 0.1 0.2 0.3 0.04 O1 O 0.5 0.6 0.7 0.05\n";
  std::string other =
      "DATA_TEST\r\n" + kOperators +
      "LOOP_\r\n_Atom_Site.U_ISO_or_equiv # comment\r\n"
      "_atom_site.fract_z _atom_site.fract_y\r\n_atom_site.fract_x _atom_site.type_symbol _atom_site.label\r\n"
      "0.04 0.3\r\n\r\n0.2 # C1 0 0 0\r\n'0.1' \"C\"\r\n;C1\r\n;\r\n.05(1) 0.7(2) 0.6 0.5 O O1\r\n" +
      kCell;
  for (size_t at; (at = other.find("_cell_")) != std::string::npos;) other.replace(at, 6, "_CELL.");
  const size_t name = other.find("_symmetry_equiv_pos_as_xyz");
  other.replace(name, 26, "_space_group_symop.operation_xyz");
  EXPECT_EQ(UpperCase(TextOf(other)), UpperCase(TextOf(old)));
}

TEST(CifTranslation, TheFirstBlockWithAtomsCounts) {
  const std::string cif = "data_global\n_cell_length_a 3\n" + kRows + "C9 ? ? ?\ndata_a\n" + kCell + kRows +
                          "C1 0 0 0\ndata_b\n" + kCell + kRows + "N1 0 0 0\n";
  EXPECT_TRUE(TextOf(cif).starts_with("TITL  a ")) << TextOf(cif);
  EXPECT_EQ(NamesOf(Translated(cif).document.atoms), "C1");
}

TEST(CifTranslation, DisplacementValuesOfEveryForm) {
  const std::string atoms =
      kRows + "_atom_site_B_iso_or_equiv C1 0 0 0 ? C2 .1 0 0 7.895683520871486 C3 .2 0 0 ? C4 .3 0 0 1\n";
  const auto aniso = [](const std::string& form) {
    return "loop_ _atom_site_aniso_label _atom_site_aniso_" + form + "_33 _atom_site_aniso_" + form +
           "_12 _atom_site_aniso_" + form + "_13 _atom_site_aniso_" + form + "_23 _atom_site_aniso_" + form +
           "_11 _atom_site_aniso_" + form + "_22\n";
  };
  const Translated u(kHead + atoms + aniso("U") + "C3 0.03(1) .012 -.013 .023 .01 .02 C1 ? 1 1 1 1 1 C9 1 1 1 1 1 1\n");
  EXPECT_EQ(u[2].uCount, 6);
  EXPECT_EQ(u[2].u, (std::array<double, 6>{0.01, 0.02, 0.03, 0.023, -0.013, 0.012}));
  EXPECT_EQ(u[0].uCount, 1);
  EXPECT_DOUBLE_EQ(u[0].u[0], 0.05);
  EXPECT_NEAR(u[1].u[0], 0.1, 1e-8);
  const Translated b(kHead + atoms + aniso("B") + "C3 7.8956835 0 0 0 1 1\n");
  EXPECT_NEAR(b[2].u[2], 0.1, 1e-8);
  // β33 = 2π²·c*²·U33 with c* = 1/20 but for the hair that β is off 90°; β12 = 2π²·a*·b*·U12.
  const Translated beta(kHead + atoms + aniso("beta") + "C3 0.00493480 0.01926 0 0 0.01 0.01\n");
  EXPECT_NEAR(beta[2].u[2], 0.1, 1e-5);
  EXPECT_NEAR(beta[2].u[5], 0.01926 / (2.0 * std::numbers::pi * std::numbers::pi) * 10.123 * 10.1234, 1e-4);
  // The columns may stand in the loop of the atoms itself.
  const Translated same(kHead +
                        "loop_ _atom_site_aniso_U_11 _atom_site_aniso_U_22 _atom_site_aniso_U_33 "
                        "_atom_site_aniso_U_23 _atom_site_aniso_U_13 _atom_site_aniso_U_12 _atom_site_fract_x "
                        "_atom_site_fract_y _atom_site_fract_z _atom_site_label\n.1 .2 .3 .01 .02 .03 .5 .5 .5 C1\n");
  EXPECT_EQ(same[0].u, (std::array<double, 6>{0.1, 0.2, 0.3, 0.01, 0.02, 0.03}));
}

TEST(CifTranslation, WhatTheFileFormatWouldMisreadIsChangedAndSaid) {
  const std::string cif =
      kHead + kOperators + kRows +
      "_atom_site_occupancy _atom_site_U_iso_or_equiv\n"
      "C1 5.25 -7.5 0.1 1 0.05 C2 0.1 0.2 0.3 7 -0.1 C3 0.1 0.2 0.4 -0.5 6 X9 0 0 0 1 0.05 C4 . 0.1 0.2 1 1\nC5 0.1";
  const Translated t(cif);
  EXPECT_EQ(t[0].fract, (Fractional{0.25, 0.5, 0.1}));
  EXPECT_EQ(t[1].occupancy, 11.0);
  EXPECT_EQ(t[2].u[0], 0.05);
  EXPECT_EQ(NoticesOf(cif),
            "1 atom(s) without coordinates are left out.\n"
            "1 atom(s) were moved by whole cells, since larger coordinates have another meaning.\n"
            "2 impossible occupancies became 1.\n2 impossible displacement values were not taken over.\n"
            "1 atom(s) are of no known element; a save gives them the first one on SFAC.\n"
            "1 incomplete row ends the list of atoms; the file may be cut off.");
}

TEST(CifTranslation, DisorderGroupsBecomeParts) {
  const Translated t(kHead + kRows +
                     "_atom_site_disorder_group\n"
                     "C1 0 0 0 . C2 0 0 .1 1 C3 0 0 .2 2 C4 0 0 .3 -1 C5 0 0 .4 B C6 0 0 .5 ? C7 0 0 .6 3\n");
  const int parts[] = {0, 1, 2, -1, 2, 0, 3};
  for (size_t i = 0; i < 7; ++i) EXPECT_EQ(t[i].part, parts[i]) << t[i].name;
  EXPECT_NE(TextOf(kHead + kRows + "_atom_site_disorder_group C1 0 0 0 1\n").find("\nPART 0\nHKLF"), std::string::npos);
}

TEST(CifTranslation, LabelsBecomeUniqueAndKeepTheirElement) {
  // What stays, what is only cleaned, what gets a number: long ones, repeated ones, instructions, peaks, other
  // elements.
  const std::string cif = kHead +
                          "_chemical_formula_sum 'C9 H9 Ca O Mo'\nloop_ _atom_site_label _atom_site_type_symbol "
                          "_atom_site_fract_x _atom_site_fract_y _atom_site_fract_z\n"
                          "'Mo (1)' Mo 0 0 0\nC1 C 0 0 0\nc1 C 0 0 0\nC101A C 0 0 0\nCA1 C 0 0 0\nCA2 Ca 0 0 0\n"
                          "HOPE H 0 0 0\nQ1 O 0 0 0\nC(1) C 0 0 0\n\"C1'\" C 0 0 0\nHg1 H 0 0 0\nC_1 C 0 0 0\n"
                          "? O 0 0 0\nW1 ? 0 0 0\nCon C 0 0 0\nX1 Xx 0 0 0\nOW1 O2- 0 0 0\n1C C 0 0 0\n";
  const Translated t(cif);
  EXPECT_EQ(NamesOf(t.document.atoms), "Mo1 C1 C2 C3 C4 CA2 H1 O1 C(1) C1' Hg1 C5 O2 W1 C6 X1 OW1 C7");
  const char* const elements[] = {"Mo", "C", "C", "C", "C", "Ca", "H", "O", "C",
                                  "C",  "H", "C", "O", "O", "C",  "Q", "O", "C"};
  for (size_t i = 0; i < std::size(elements); ++i) EXPECT_EQ(t[i].element->Symbol(), elements[i]) << t[i].name;
  EXPECT_NE(NoticesOf(cif).find("\nC101A -> C3\n"), std::string::npos) << NoticesOf(cif);
  // Without types the formula tells what the labels mean.
  const std::string byFormula =
      kHead + "_chemical_formula_sum 'Mg H2 O'\n" + kRows + "MgIII 0 0 0 WatII 0 0 .1 Ho1 0 0 .2 OW1 0 0 .3\n";
  const Translated waters(byFormula);
  EXPECT_EQ(NamesOf(waters.document.atoms), "Mg1 O1 Ho1 OW1");
  EXPECT_EQ(waters[1].element->Symbol(), "O");
  EXPECT_EQ(waters[2].element->Symbol(), "H");
  std::string many = kHead + kRows;
  for (int i = 0; i < 3000; ++i) many += "Cl1 0 0 0 C1 0 0 0\n";
  const Translated crowd(many);
  std::set<std::string> names;
  int chlorines = 0;
  for (const AtomRecord* atom : Atoms(crowd.document.atoms)) {
    names.insert(UpperCase(atom->name));
    chlorines += atom->element->atomicNumber == 17;
    EXPECT_LE(atom->name.size(), atom->element->atomicNumber == 6 ? 4u : 6u);
  }
  EXPECT_EQ(chlorines, 3000);
  EXPECT_EQ(names.size(), 6000u);
}

TEST(CifTranslation, OperatorsOfMoreDimensionsAndOtherTexts) {
  const std::string cif = kHead +
                          "loop_ _space_group_symop_ssg_id _space_group_symop_ssg_operation_algebraic\n"
                          "1 x1,x2,x3,x4 2 -x2,x1,1/2+x3,-x4 3 nonsense 4 x,y 5 -x,-y,z,+1\n" +
                          kRows + "C1 .1 .2 .3\n";
  EXPECT_NE(TextOf(cif).find("LATT -1\nSYMM -y,x,1/2+z\nSYMM -x,-y,z\nSFAC"), std::string::npos) << TextOf(cif);
  // Without a list the symbols speak, the one that leaves nothing open first.
  const std::string named = kHead + kRows + "C1 .1 .2 .3\n_symmetry_space_group_name_H-M 'P 1 21/n 1'\n";
  EXPECT_NE(TextOf(named).find("\nSYMM -x+1/2,y+1/2,-z+1/2\n"), std::string::npos) << TextOf(named);
  EXPECT_EQ(NoticesOf(named), "The symmetry operators were made from \"P 1 21/n 1\".");
  const std::string hexagonal =
      kHead + kRows + "C1 .1 .2 .3\n_symmetry_space_group_name_H-M 'R -3 m'\n_space_group_name_Hall junk\n";
  EXPECT_EQ(NoticesOf(hexagonal), "There are no symmetry operators; P 1 is assumed.") << "the cell is none for it";
  EXPECT_EQ(NoticesOf(named + "_space_group_name_Hall -P_1"), "The symmetry operators were made from \"-P_1\".");
}

TEST(CifTranslation, OffersTheResultFileThatTheCifCarries) {
  const std::string res =
      "TITL own\nCELL 0.71 10 10 10 90 90 90\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C\nUNIT 4\nFVAR 1\n"
      "C1 1 0.1 0.2 0.3 11.0 0.05\nHKLF 4\nEND\n";
  const std::string tables = kHead + kRows + "C1 0.1 0.2 0.3\n";
  const auto carries = [&tables](const std::string& field) {
    return TranslateCif(tables + "_any_name_at_all\n;" + field + "\n;\n")->embedded;
  };
  EXPECT_EQ(carries("\n" + res), res);
  EXPECT_EQ(carries("\\\n" + res.substr(0, 6) + "\\\n" + res.substr(6)), res) << "folded";
  EXPECT_EQ(carries("> \\\n> TITL own\n> "
                    "CELL 1 9 9 9 90 90 90\n> SFAC C\n> C1 1 0 0 0"),
            "TITL own\nCELL 1 9 9 9 90 90 90\nSFAC C\nC1 1 0 0 0\n");
  EXPECT_EQ(carries("\nTITL a\nCELL 1 2 3\nSFAC C\n"), "") << "no result file that can be read";
  EXPECT_EQ(carries("\n TITL a, CELL, SFAC"), "");

  const ScratchFolder folder;
  const std::string cif = folder.path + "x.cif", out = folder.path + "x_cif.res";
  ASSERT_EQ(WriteFileAtomically(cif, tables + "_any_like\n;\n" + res + ";\n"), 0);
  RecordingMessages messages;
  EXPECT_EQ(TranslateCifToRes(cif, out, messages), CifOutcome::Done);
  EXPECT_EQ(ReadWholeFile(out).content, TextOf(tables)) << "unattended the CIF itself";
  messages.answers = {true, false, true, true, true};
  EXPECT_EQ(TranslateCifToRes(cif, out, messages), CifOutcome::Declined);
  EXPECT_EQ(ReadWholeFile(out).content, TextOf(tables));
  EXPECT_EQ(TranslateCifToRes(cif, out, messages), CifOutcome::Done);
  EXPECT_EQ(ReadWholeFile(out).content, res);
  EXPECT_EQ(ReadWholeFile(out + ".bak").content, TextOf(tables));
  EXPECT_EQ(TranslateCifToRes(cif, out, messages), CifOutcome::Done) << "the same content is not asked about";
  EXPECT_EQ(messages.asked.size(), 6u);
  EXPECT_EQ(TranslateCifToRes(cif + "x", out + "x", messages), CifOutcome::Failed);
  EXPECT_EQ(TranslateCifToRes(cif, folder.path + "no/x.res", messages), CifOutcome::Failed);
  EXPECT_FALSE(std::filesystem::exists(out + "x"));
}

TEST(CifTranslation, ACifCutOffAnywhereIsReadOrRefused) {
  const std::string cif =
      "data_x _chemical_formula_sum 'C H O'\n" + kCell + kOperators + kRows +
      "_atom_site_disorder_group\n'C\"1 a' 0.1 0.2 0.3 1 O1 0.1 0.2 0.4 .\n"
      "loop_ _atom_site_aniso_label _atom_site_aniso_U_11 _atom_site_aniso_U_22 _atom_site_aniso_U_33 "
      "_atom_site_aniso_U_23 _atom_site_aniso_U_13 _atom_site_aniso_U_12\nO1 .1 .2 .3 .01 .02 .03\n"
      "_text\n;\nTITL a\nCELL 1 9 9 9 90 90 90\nSFAC C\nC1 1 0 0 0\n;\n";
  size_t translated = 0;
  for (size_t length = 0; length <= cif.size(); ++length) {
    const auto translation = TranslateCif(cif.substr(0, length));
    if (!translation) continue;
    ++translated;
    Document document;
    RecordingMessages messages;
    EXPECT_TRUE(ReadInstructionText(document, translation->text, messages)) << length;
    EXPECT_GE(document.atoms.LiveCount(), 1u);
    EXPECT_TRUE(messages.shown.empty());
  }
  EXPECT_GT(translated, 200u);
}

TEST(CifTranslationSpeed, AHundredMegabytes) {
  std::string cif = kHead + kOperators + "loop_ _refln_index_h _refln_index_k _refln_index_l _refln_F\n";
  while (cif.size() < 90'000'000) cif += "1 -2 3 123.45\n-4 5 -6 0.12\n";
  cif += kRows;
  while (cif.size() < 100'000'000) cif += "C1 0.12345 0.23456 0.34567\n";
  const std::clock_t start = std::clock();
  const auto translation = TranslateCif(cif);
  const auto seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  ASSERT_TRUE(translation);
  EXPECT_LT(seconds, 10.0);
}

}  // namespace
}  // namespace marvik::test
