#include "check/cif/check_cif.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "base/files.h"
#include "crystal/symmetry.h"
#include "files/cif/cif_text.h"

#include "cif_cases.h"
#include "support/kept_outputs.h"
#include "support/test_files.h"

namespace marvik::test {

namespace {

std::set<std::string>& Shown() {
  static std::set<std::string> shown;
  return shown;
}

// The rule finds something in one text and nothing in the other.
void ExpectShown(const std::string& rule, const std::string& wrong, const std::string& right,
                 const std::string& list = {}, const std::string* rightList = nullptr) {
  Shown().insert(rule);
  const auto findings = CheckCif(wrong, list);
  const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name() + (" " + rule);
  static std::map<std::string, int> times;
  ExpectKept("findings", name + " " + std::to_string(++times[name]), FindingsAsText(findings));
  EXPECT_TRUE(Tests(findings).contains(rule)) << rule << "\n" << FindingsAsText(findings);
  EXPECT_FALSE(Tests(CheckCif(right, rightList ? *rightList : list)).contains(rule)) << rule << " in the correct file";
}

TEST(CheckCif, ACorrectFileHasNothingSerious) {
  for (const Finding& f : CheckCif(Acetamide()))
    EXPECT_TRUE(f.level == FindingLevel::G || f.test.starts_with("contact")) << FindingsAsText(std::span(&f, 1));
}

TEST(CheckCif, EachRuleOfItemsFindsItsFault) {
  for (const CifCase& one : CasesOf("items")) ExpectShown(one.rule, Changed(Acetamide(), one), Acetamide());
}

TEST(CheckCif, EachRuleOfHandFindsItsFault) {
  const std::string base = Chiral();
  for (const CifCase& one : CasesOf("hand")) ExpectShown(one.rule, Changed(base, one), base);
}

TEST(CheckCif, EachRuleOfTheModelFindsItsFault) {
  for (const ModelCase& one : kModelCases) ExpectShown(one.rule, one.wrong, one.right);
  for (const CifCase& one : CasesOf("molecules"))
    ExpectShown(one.rule, Molecule(one.what), Molecule(one.by.empty() ? kFine : one.by));
  for (const LengthCase& one : kLengthCases) {
    for (const bool longer : {false, true}) {
      const std::string rule = std::string("bond-") + one.kind + (longer ? "-long" : "-short");
      ExpectShown(rule, Molecule(one.Atoms(longer ? one.tooLong : one.tooShort)), Molecule(one.Atoms(one.usual)));
    }
  }
}

TEST(CheckCif, OperatorsOfEveryCentringMakeAGroup) {
  for (int lattice = 1; lattice <= 7; ++lattice) {
    std::string text = "data_centred\n" + CellLines("27 28 29 90 90 90") + Loop("space_group", "symop_operation_xyz");
    for (const auto& op : ListOperators(-lattice, {"-x,-y,-z"})) text += "'" + OperatorText(Wrapped(op)) + "'\n";
    text +=
        Loop("atom_site", "label fract_x fract_y fract_z") +
        "C1 .11 .07 .21\nC2 .23 .31 .12\nN1 .31 .18 .42\nC3 .12 .42 .33\nO1 .42 .37 .27\nC4 .36 .09 .08\nC5 .06 .28 "
        ".45\nN2 .27 .44 .05\n";
    const auto found = Tests(CheckCif(text));
    EXPECT_FALSE(found.contains("operators-no-group") || found.contains("extra-translation")) << lattice;
  }
}

TEST(CheckCif, TheMapIsMadeAnewFromEmbeddedFiles) {
  for (const ModelCase& one : MapCases()) ExpectShown(one.rule, one.wrong, one.right);
}

TEST(CheckCif, EveryRequiredItemIsMissedAndFound) {
  for (const CifRule& rule : CifRules()) {
    if (!rule.id.starts_with("missing-")) continue;
    const std::string item = rule.id.substr(7);
    const std::string without = WithoutItem(Acetamide(), item);
    EXPECT_NE(without, Acetamide()) << item;
    ExpectShown(rule.id, without, Acetamide());
  }
}

TEST(CheckCif, ListedGeometryIsComparedWithTheCoordinates) {
  for (const ListCase& one : kListCases) {
    const auto expect = [&](const char* aspect, const std::string& wrong) {
      ExpectShown(std::string(one.kind) + aspect, ListOf(one, wrong), ListOf(one, one.row));
    };
    expect("-label", Changed(one.row, "C1", "C99"));
    expect("-value", Changed(one.row, one.value, one.off));
    expect("-plain", Changed(one.row, one.value, one.offPlain));
    expect("-no-su", Changed(one.row, one.value, one.plain));
    expect("-su", Changed(one.row, one.value, one.largeSu));
    ExpectShown(std::string(one.kind) + "-fixed-su", ListOf(one, one.row, true), ListOf(one, one.row));
  }
}

TEST(CheckCif, EmbeddedInstructionsAreLookedAt) {
  const std::string base = Embedded("");
  for (const CifCase& one : CasesOf("instructions")) ExpectShown(one.rule, Embedded(one.by), base);
  ExpectShown("embedded-instructions", Acetamide(), base);
  ExpectShown("embedded-reflections", Acetamide(), base);
  ExpectShown("line-long", Changed(base, "", "#" + std::string(3000, 'x') + "\n"), base);
  ExpectShown("not-ascii", Changed(base, "", "# M\xC3\xBCller\n"), "#\\#CIF_2.0\n# M\xC3\xBCller\n" + base);
  ExpectShown("embedded-model", Changed(base, "C2 1 0.31 0.22 0.27 11 0.03\n", ""), base);
}

TEST(CheckCif, ReflectionsAreComparedWithTheFigures) {
  const std::string base = WithFigures();
  Shown().insert("reflections-none");
  EXPECT_TRUE(Tests(CheckCif(base)).contains("reflections-none"));
  const std::string list = Reflections(nullptr);
  EXPECT_FALSE(Tests(CheckCif(base, list)).contains("reflections-none"));
  for (const ListFault& one : kListFaults)
    ExpectShown(one.rule, Changed(base, one.what, one.by), base, Reflections(one.change), &list);
}

// A label that names two elements does not say how much of each; a flag P without an occupancy is an atom in part.
TEST(CheckCif, WhatTheListLeavesOpenIsNotJudged) {
  const std::string cell = "data_x\n" + CellLines("9 9 9 90 90 90") + "_cell_formula_units_Z 1\n" +
                           Loop("space_group", "symop_operation_xyz") + "x,y,z\n";
  const std::string weight = cell + "_chemical_formula_sum 'Br0.5 Cl0.5'\n_chemical_formula_weight 57.68\n" +
                             Loop("atom_site", "label fract_x fract_y fract_z");
  ExpectShown("weight-atoms", weight + "Cl1 0 0 0\n", weight + "Cl,Br(1) 0 0 0\n");
  const auto hydroxyl = [&](const std::string& flags) {
    return cell + Loop("atom_site", "label fract_x fract_y fract_z refinement_flags") + "O1 0 0 0 .\nH1 0.0911 0 0 " +
           flags + "\n";
  };
  ExpectShown("donor-oxygen", hydroxyl("R"), hydroxyl("RP"));
}

// Whatever is cut off, and blocks of every kind, are looked at without harm; a hundred atoms take at most 30 ms.
TEST(CheckCif, CostOfRealFiles) {
  if (RealDataFolder().empty()) GTEST_SKIP();
  double seconds = 0.0;
  double atoms = 0.0;
  for (const std::string& path : FilesBelow(RealDataFolder() + "cif", {"cif"})) {
    const std::string text = ReadWholeFile(path).content;
    const std::clock_t start = std::clock();
    CheckCif(text);
    seconds += static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    atoms += 20.0;  // a file costs something without any
    CifReader reader(text, {"_atom_site_fract_x"});
    for (CifBlock block; reader.Next(block);)
      atoms += static_cast<double>(FindColumn(block, {"_atom_site_fract_x"}).Rows());
    CheckCif(text.substr(0, text.size() / 2));
  }
  EXPECT_LT(seconds, 0.030 * atoms / 100.0);
}

TEST(CheckCif, ZEveryRuleIsShown) {
  if (Shown().size() < 100) GTEST_SKIP() << "runs with the other tests";
  for (const CifRule& rule : CifRules()) EXPECT_TRUE(Shown().contains(rule.id)) << rule.id;
  EXPECT_GE(CifRules().size(), 150u);
}

}  // namespace

}  // namespace marvik::test
