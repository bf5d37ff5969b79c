#include <algorithm>

#include "app/reports.h"
#include "chem/bonds/connectivity.h"

#include "bench_fixture.h"

namespace marvik::test {
namespace {

// Propan-1-ol without hydrogens, and a carbon alone.
constexpr char kPropanol[] =
    "TITL propanol\nCELL 0.71073 10 10 10 90 90 90\nZERR 4 0.002 0.002 0.002 0 0 0\nLATT -1\nSFAC C O\nUNIT 3 1\n"
    "FVAR 1.0\n"
    "C1 1 0.1000 0.1000 0.1 11.0 0.05\nC2 1 0.2250 0.1850 0.1 11.0 0.05\nC3 1 0.3500 0.1000 0.1 11.0 0.05\n"
    "O1 2 0.4670 0.1820 0.1 11.0 0.05\nC9 1 0.5 0.7 0.8 11.0 0.05\nHKLF 4\nEND\n";

class ChemCommands : public BenchTest {
 protected:
  void Load(const std::string& name, const std::string& text) {
    ASSERT_TRUE(OpenFile(bench, folder.Put(name, text)));
    bench.hooks.showReport = [this](const ReportRequest& request) {
      last = request;
      const auto report = ComposeReport(bench, request);
      shown = report ? report->text : "";
    };
    messages.shown.clear();
  }
  bool Shows(const std::string& part) const { return shown.find(part) != std::string::npos; }

  ReportRequest last;
  std::string shown;
};

}  // namespace

TEST_F(ChemCommands, HydrogensArePlacedAndTheirElementAskedFor) {
  Load("a.ins", kPropanol);
  messages.answers = {true};
  EXPECT_EQ(Run(151), Outcome::Changed);
  EXPECT_TRUE(bench.HybridLabelColoration);
  EXPECT_EQ(Run(153), Outcome::Changed);
  EXPECT_EQ(Captions(), "Notes Concerning Refinement:");
  EXPECT_EQ(messages.asked.size(), 1u);
  EXPECT_EQ(bench.document.instructions.sfac.back(), kHydrogenRow);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 13u);
  EXPECT_EQ(Run(153), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 13u);
  EXPECT_EQ(messages.asked.size(), 1u);
}

TEST_F(ChemCommands, WaterIsShownBeforeItsHydrogensStay) {
  Load("w.ins",
       "TITL water\nCELL 0.71073 20 20 20 90 90 90\nLATT -1\nSFAC C H O CL\nUNIT 1 2 2 1\nFVAR 1\n"
       "C7 1 .5 .295 .5 11 .05\nO7 3 .5 .355 .5 11 .05\nO1 3 .5 .5 .5 11 .05\nCL1 4 .65 .55 .5 11 .05\nHKLF 4\nEND\n");
  messages.answers = {false, true};
  Run(153);
  ASSERT_EQ(messages.asked.size(), 1u);
  EXPECT_NE(messages.asked[0].text.find(" to O7, 2.0"), std::string::npos) << messages.asked[0].text;
  EXPECT_NE(messages.asked[0].text.find(" to CL1, "), std::string::npos) << messages.asked[0].text;
  EXPECT_EQ(bench.document.atoms.LiveCount(), 4u);
  Run(153);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 6u);
  Run(153);
  EXPECT_EQ(messages.asked.size(), 2u) << "what stands is moved";
  Run(kUndoCommand);
  Run(kUndoCommand);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 4u);
}

TEST_F(ChemCommands, ReportsTellOfTheChosenAtomsAndFollowThem) {
  Load("a.ins", kPropanol);
  Run(145);
  EXPECT_TRUE(Shows("\tC9\r\n"));
  EXPECT_FALSE(Shows("Angle to the plane before"));
  const std::tuple<int, const char*, const char*> reports[] = {{145, "C1 C2 C3", "Angle to the plane before: "},
                                                               {145, "C1 C2 C3", " +    0.0000\t1.00\tC1\r\n"},
                                                               {146, "C1 C2", "many planes hold them"}};
  for (const auto& [id, atoms, part] : reports) {
    Run(kSelectAtomsCommand, atoms);
    EXPECT_EQ(Run(id), Outcome::Done);
    EXPECT_TRUE(Shows(part)) << shown;
  }
  for (const auto& [id, lines] : {std::pair(197, 3), std::pair(140, 6)}) {
    EXPECT_EQ(Run(id), Outcome::Done);
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), lines);
  }
  EXPECT_EQ(Run(155, "O1 2.0"), Outcome::Done);
  EXPECT_TRUE(Shows("Environment of O1 within 2.00 Å\r\n"));
  EXPECT_EQ(Run(155, "O1"), Outcome::Done);
  EXPECT_EQ(last.radius, 2.0);
  EXPECT_EQ(Run(155, "O1 -1"), Outcome::Failed);
  EXPECT_EQ(Run(137), Outcome::Failed);
  EXPECT_EQ(Run(137, "X9"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Command Usage Error:|Error: No Atoms Selected|Error: No Atoms Selected");
  EXPECT_EQ(Run(137, "C2"), Outcome::Done);
  EXPECT_TRUE(Shows("Bonds and Angles for C2\r\n"));
  // An atom that is gone leaves nothing to tell.
  bench.document.atoms.KillAtom(Atom("C2"));
  EXPECT_FALSE(ComposeReport(bench, last));
  bench.document.atoms.selection.Clear();
  EXPECT_EQ(Run(141, "C9"), Outcome::Done);
  EXPECT_EQ(LastText(), "   0.500    0.700    0.800");
}

TEST_F(ChemCommands, AnEmptyStructureHasAnAnswerForEveryReport) {
  for (const int id : {140, 145, 146, 197, 137, 155, 141}) EXPECT_EQ(Run(id), Outcome::Failed) << id;
  for (const std::string_view name : kReportNames) {
    const ReportKind kind = *ReportKindOf(name);
    const bool needsAtoms = (kind >= ReportKind::Planes && kind <= ReportKind::Centroid) || kind == ReportKind::Peaks ||
                            kind == ReportKind::Voids;
    for (const ReportFormat format : {ReportFormat::Text, ReportFormat::Json, ReportFormat::Csv})
      EXPECT_EQ(BatchReport(bench, kind, format).has_value(), !needsAtoms) << name;
  }
  EXPECT_NE(BatchReport(bench, ReportKind::Bonds, ReportFormat::Json)->find("\"bonds\": []\n}"), std::string::npos);
}

TEST_F(ChemCommands, UncertaintiesComeFromTheCifOrTheListingBesideTheFile) {
  folder.Put("a.lst",
             " Atoms: x, y, z, with uncertainties\n C1  0.10000(11)  0.1000(2)  0.1000(2)  1.0 0.05\n"
             " C2  0.2250(2) 0.1850(2) 0.1000(2) 1.0 0.05\nC 2 3 4\n");
  Load("a.ins", kPropanol);
  EXPECT_EQ(Run(137, "C1"), Outcome::Done);
  EXPECT_TRUE(Shows("coordinates in a.lst and the cell (ZERR)")) << shown;
  EXPECT_TRUE(Shows("1.512(2)\r\n")) << shown;
  folder.Put(
      "a.cif",
      "data_a\nloop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\nloop_\n_atom_site_label\n_ATOM_SITE_FRACT_X\n"
      "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_note\nC1 0.1000(10) 0.1000(10)\n 0.1000(10) 'it''s a note'\n"
      "C2 0.2250(10) 0.1850(10) 0.1000(10)\n;a note\nof two lines\n;\nO1 0.467 0.182 . ?\nloop_\n_geom_x\n1\n");
  EXPECT_EQ(Run(137, "C1"), Outcome::Done);
  EXPECT_TRUE(Shows("coordinates in a.cif")) << shown;
  EXPECT_TRUE(Shows("1.512(14)\r\n")) << shown;
  // One that tells of another structure is left alone.
  folder.Put("a.cif",
             "data_a\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
             "C1 0.1(1) 0.1(1) 0.1(1)\nC2 0.5(1) 0.185(1) 0.1(1)\nC3 0.9(1) 0.7(1) 0.1(1)\nO1 0.4(1) 0.9(1) .4(1)\n");
  EXPECT_EQ(Run(137, "C1"), Outcome::Done);
  EXPECT_TRUE(Shows("coordinates in a.lst")) << shown;
}

}  // namespace marvik::test
