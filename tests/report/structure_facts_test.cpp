#include "report/structure_facts.h"

#include <gtest/gtest.h>

#include "base/user_messages.h"
#include "files/res/reader.h"
#include "report/report.h"

#include "support/structures.h"

namespace marvik {
namespace {

TEST(StructureFacts, AddUpWhatTheCellHolds) {
  Document document;
  RecordingMessages messages;
  // A zinc atom on a centre of symmetry, carbon disordered over two places by a free variable, a peak that is no atom.
  ASSERT_TRUE(ReadInstructionText(document,
                                  "TITL facts\nCELL 1.54178 10 11 12 90 95 90\nZERR 2 0.001 0.001 0.001 0 0 0\nLATT 1\n"
                                  "SFAC C O ZN\nUNIT 4 8 2\nTEMP -173.15\nFVAR 1.0 0.7\n"
                                  "ZN1 3 0 0 0 10.5 0.02\nC1 1 0.2 0.2 0.2 21 0.03\nC2 1 0.3 0.2 0.2 -21 0.03\n"
                                  "O1 2 0.4 0.4 0.4 11 0.03\nQ1 1 0.6 0.6 0.6 11 0.05 1.0\nHKLF 4\nEND\n",
                                  messages));
  std::map<std::string, std::string> facts;
  for (const StructureFact& fact : StructureFacts(document)) facts[fact.caption] = fact.value;
  EXPECT_EQ(facts["Formula given"], "C2 O4 Zn");
  // Two general positions for a Z of 2: half an atom of zinc to the formula unit.
  EXPECT_EQ(facts["Formula found"], "C O Zn0.5");
  EXPECT_EQ(facts["Cell"], "10.0000, 11.0000, 12.0000 Å\n90.000, 95.000, 90.000°");
  EXPECT_EQ(facts["Z, Z'"], "2, 1");
  EXPECT_EQ(facts["Space group"], "P -1 (No. 2)");
  EXPECT_EQ(facts["Volume"], "1315.0 Å³");
  EXPECT_EQ(facts["Temperature"], "100 K");
  EXPECT_EQ(facts["Wavelength"], "1.54178 Å");
  // 2 · (12.011 + 15.999 + 65.38 / 2) Da in 1315.0 Å³
  EXPECT_EQ(facts["Density"], "0.153 g/cm³");
  // Without a Z the contents of the cell are the formula.
  document.instructions.zerrLine = "ZERR 0 0 0 0 0 0 0";
  for (const StructureFact& fact : StructureFacts(document)) facts[fact.caption] = fact.value;
  EXPECT_EQ(facts["Formula given"], "C4 O8 Zn2");
  EXPECT_TRUE(StructureFacts(Document()).empty());
  // Hill's order; carbon makes hydrogen the second.
  EXPECT_EQ(FormulaText({{"O", 1.004}, {"H", 12.5}, {"Br", 0.004}, {"C", 6}, {"Al", 2.0 / 3}}), "C6 H12.5 Al0.67 O");
  EXPECT_EQ(FormulaText({{"O", 4}, {"H", 2}, {"Ca", 1}}), "Ca H2 O4");
  ASSERT_TRUE(ReadInstructionText(document,
                                  "TITL to be solved\nCELL 0.71073 5 6 7 90 90 90\nZERR 2 0 0 0 0 0 0\nLATT -1\n"
                                  "SFAC C N\nUNIT 8 4 60 70 80\nHKLF 4\nEND\n",
                                  messages));
  facts.clear();
  for (const StructureFact& fact : StructureFacts(document)) facts[fact.caption] = fact.value;
  EXPECT_EQ(facts["Formula given"], "C4 N2");
  EXPECT_EQ(facts["Volume"], "210.0 Å³");
  EXPECT_EQ(facts.count("Formula found") + facts.count("Density") + facts.count("Space group"), 0u);
}

TEST(Reports, APlaneNamesItsAtomsAndTellsHowFarTheOthersAreOff) {
  Document document;
  RecordingMessages messages;
  ASSERT_TRUE(ReadInstructionText(document,
                                  "TITL flat\nCELL 0.71073 10 10 10 90 90 90\nLATT -1\nSFAC C\nUNIT 4\nFVAR 1\n"
                                  "C1 1 0.3 0.5 0.5 11 0.03\nC2 1 0.44 0.5 0.5 11 0.03\nC3 1 0.58 0.52 0.5 11 0.03\n"
                                  "C4 1 0.4 0.4 0.57 11 0.03\nHKLF 4\nEND\n",
                                  messages));
  ReportRequest request;
  request.kind = ReportKind::MeanPlane;
  for (const char* name : {"C1", "C2", "C3"}) request.members.push_back(document.atoms.FindAtom(name)->serial);
  const auto report = ComposeReport(document, request, nullptr);
  ASSERT_TRUE(report);
  EXPECT_NE(report->rows.Json().find("[\"C1\",\"C2\",\"C3\"]"), std::string::npos) << report->rows.Json();
  EXPECT_EQ(report->tables[1].CommaSeparated(),
            "name,member,deviation,weight\nC1,1,0.0000,1.00\nC2,1,0.0000,1.00\nC3,1,0.0000,1.00\n"
            "C4,0,-0.7000,0.00\n");
}

}  // namespace
}  // namespace marvik
