#include "files/start/job_start.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(JobStart, ReadsWhatLiesBesideReflections) {
  const JobStart p4p = ReadParameterFile(
      "FILEID APEX\nTITLE  a salt\nCHEM   C7 H13 Cl N2\nCELL     7.5800  10.2880  12.0820  90.0000 108.3650  90.0000  "
      "894.2\r\n"
      "CELLSD   0.0011   0.0018   0.0025   0.0000   0.0300   0.0000  0.2\nSOURCE   Mo   0.71073   0.70930   0.71359\n");
  ASSERT_TRUE(p4p.cell);
  EXPECT_EQ(p4p.cell->beta, 108.365);
  EXPECT_EQ(p4p.errors[4], 0.03);
  EXPECT_EQ(p4p.wavelength, 0.71073);
  EXPECT_EQ(p4p.formula, "C7 H13 Cl N2");
  EXPECT_FALSE(ReadParameterFile("CELL 7 8 9 90 90 400\nSOURCE Mo 71073\nCHEM ?\n").cell);

  std::string rows;
  for (int i = 0; i < 24; ++i) rows += "   1   2   3   12.50    0.40\n";
  const JobStart cif = ReadCifStart(
      "data_a\n_cell_length_a 7.580(2)\n_cell_length_b 10.29\n_cell_length_c 12.08\n_cell_angle_beta 108.37(3)\n"
      "_chemical_formula_sum 'C7 H13 Cl N2'\n_cell_formula_units_Z 4\n_diffrn_radiation_wavelength 1.54178\n"
      "_some_text\n;\nno reflections\n;\n_some_file\n;\n   1   0   0   12.50    0.40\n" +
      rows + ";\n");
  ASSERT_TRUE(cif.cell);
  EXPECT_EQ(cif.cell->alpha, 90.0);
  EXPECT_NEAR(cif.errors[0], 0.002, 1e-9);
  EXPECT_NEAR(cif.errors[4], 0.03, 1e-9);
  EXPECT_EQ(cif.units, 4.0);
  EXPECT_EQ(cif.reflections.substr(0, 12), "   1   0   0");

  // Units belong to a formula: those of another one say nothing.
  JobStart both = p4p;
  both.formula = "C14 H26 Cl2 N4";
  both.FillFrom(cif);
  EXPECT_EQ(both.units, 0.0);
  EXPECT_EQ(both.wavelength, 0.71073);
}

TEST(JobStart, BecomesAnInstructionFileOrASentence) {
  JobStart start;
  start.cell = CellParameters{7.58, 10.288, 12.082, 90, 108.365, 90};
  start.formula = "C7 H13 Cl N2";
  std::string sentence;
  EXPECT_EQ(ComposeJobStart(start, sentence), "");
  EXPECT_NE(sentence.find("wavelength"), std::string::npos);
  start.wavelength = 0.71073;
  const std::string text = ComposeJobStart(start, sentence);
  EXPECT_NE(text.find("ZERR 4 "), std::string::npos) << text;
  EXPECT_NE(text.find("SFAC C H Cl N\nUNIT 28 52 4 8\n"), std::string::npos) << text;
  const JobStart back = ReadInstructionStart(text);
  EXPECT_EQ(back.formula, "C7 H13 Cl1 N2");
  EXPECT_EQ(back.units, 4.0);
  EXPECT_EQ(back.cell->beta, 108.365);
  start.formula = "??";
  EXPECT_EQ(ComposeJobStart(start, sentence), "");
  EXPECT_NE(sentence.find("formula"), std::string::npos);
  // Urea in its tetragonal cell, and a rhombohedral one of 18 units.
  EXPECT_EQ(LikelyUnits("C H4 N2 O", {5.58, 5.58, 4.69, 90, 90, 90}), 2.0);
  EXPECT_EQ(LikelyUnits("C6 H6 O3", {15.2, 15.2, 12.1, 90, 90, 120}), 18.0);
}

}  // namespace
}  // namespace marvik
