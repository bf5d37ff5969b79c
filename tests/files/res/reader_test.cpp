#include <cmath>

#include "model/coded_values.h"

#include "instruction_text.h"

namespace marvik::test {

namespace {

std::string Words(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : " ").append(word);
  return text;
}

// Symbols of the atoms in list order.
std::string Elements(const Document& document) {
  std::string text;
  for (const AtomRecord* atom : Atoms(document.atoms)) text.append(atom->element->Symbol()).append(" ");
  return text;
}

std::string Residues(const ReadDocument& read) {
  std::string text;
  for (const AtomRecord* atom : Atoms(read.document.atoms))
    text += atom->residue < 0 ? "- "
                              : std::to_string(read.document.residues[static_cast<size_t>(atom->residue)].number) + " ";
  return text;
}

}  // namespace

TEST(Reader, FieldCountsOfAnAtomLine) {
  const ReadDocument r(kHeader +
                       "FVAR 1\n"
                       "C1 1 0.1 0.2 0.3\n"
                       " C12A 1 0.1 0.2 0.3 0.5\n"
                       "C3 1 0.1 0.2 0.3 11 -1.2\n"
                       "C4 1 0.1 0.2 0.3 11 0.04 7 8\n"
                       "C5 1 0.1 0.2 0.3 11 0.01 0.02 0.03 =\n 0.04 0.05 0.06\n"
                       "C6 1 0.1 0.2 0.3 11 0.01 0.02 0.03 0.04 0.05 0.06 7\n"
                       "C7 1 0.1 0.2\n"
                       "    C8 1 0.1 0.2 0.3\n"
                       "Q1 1 0.1 0.2 0.3 11 0.05 2.48\n");
  EXPECT_EQ(r.document.atoms.LiveCount(), 7u);
  EXPECT_EQ(r.Atom("C1")->u[0], 0.05);
  EXPECT_EQ(DecodedOccupancy(*r.Atom("C1"), r.document.instructions), 1.0);
  EXPECT_EQ(r.Atom("C12A")->occupancy, 0.5);
  EXPECT_EQ(r.Atom("C3")->u[0], -1.2);
  EXPECT_EQ(r.Atom("C3")->codedValues[kCodedU], -1.2);
  EXPECT_EQ(r.Atom("C4")->u[0], 0.04);
  EXPECT_EQ(r.Atom("C4")->uCount, 1);
  EXPECT_EQ(r.Atom("C5")->uCount, 6);
  EXPECT_EQ(r.Atom("C5")->u, (std::array<double, 6>{0.01, 0.02, 0.03, 0.04, 0.05, 0.06}));
  EXPECT_EQ(r.Atom("C6")->uCount, 1);
  EXPECT_EQ(r.Atom("Q1")->peakHeight, 2.48);
  EXPECT_EQ(r.Atom("C1")->position, (Cartesian{1.0, 2.0, -3.0}));
}

TEST(Reader, CodedValuesAreDecodedAndComeBack) {
  ReadDocument r(kHeader +
                 "FVAR 0.5 0.25\nFVAR 0.75\n"
                 "C1 1 10.3333 20.5 -20.5 21 30.1\n"
                 "C2 1 0.1 0.2 99.5 -31 0.05\n");
  const AtomRecord* atom = r.Atom("C1");
  EXPECT_EQ(r.document.instructions.scaleFactor, 0.5);
  EXPECT_EQ(r.document.instructions.freeVariables, (std::vector<float>{0.25f, 0.75f}));
  EXPECT_NEAR(atom->fract.x, 0.3333, 1e-9);
  EXPECT_NEAR(atom->fract.y, 0.125, 1e-9);
  EXPECT_NEAR(atom->fract.z, -0.5 * (0.25 - 1.0), 1e-9);
  EXPECT_NEAR(atom->u[0], 0.075, 1e-9);
  EXPECT_EQ(atom->occupancy, 21.0);
  EXPECT_NEAR(DecodedOccupancy(*atom, r.document.instructions), 0.25, 1e-9);
  EXPECT_NEAR(DecodedOccupancy(*r.Atom("C2"), r.document.instructions), 0.25, 1e-9);
  EXPECT_EQ(r.Atom("C2")->fract.z, 99.5) << "there is no free variable 10";
  EXPECT_NEAR(atom->position.x, 3.333, 1e-9);
  EXPECT_TRUE(r.Saves("C1     1  10.333300 20.500000 -20.500000 21.000000 30.100000"));
  EXPECT_TRUE(r.Saves("FVAR  0.500000  0.250000  0.750000"));
  r.Atom("C1")->codedValues[kCodedX] = 0.0;
  EXPECT_TRUE(r.Saves("C1     1   0.333300 20.500000 -20.500000 21.000000 30.100000"));
}

TEST(Reader, TheLabelGivesTheElementUnlessSfacLacksIt) {
  ReadDocument r(kCellLines +
                 "SFAC C H N O\nUNIT 1 1 1 1\nCA 1 0 0 0\nHO1 2 0 0 0\nX1 3 0 0 0\nCL1 7 0 0 0\nN1 -3 0 0 0\n" +
                 "Q1 1 0 0 0\nC2 4 0 0 0\n");
  EXPECT_EQ(Elements(r.document), "C H N Cl N Q O ");
  EXPECT_TRUE(r.Atom("HO1")->elementFromSfac);
  EXPECT_FALSE(r.Atom("N1")->elementFromSfac);
  ASSERT_EQ(r.messages.shown.size(), 1u) << "C2 is an oxygen by its number";
  EXPECT_NE(r.messages.shown[0].text.find("C2 4"), std::string::npos);
  EXPECT_EQ(r.messages.shown[0].icon, MessageIcon::Information);
  const std::string atoms = r.SavedFrom("CA ", "END");
  for (const char* start : {"CA     1 ", "HO1    2 ", "X1     3 ", "CL1    7 ", "N1     -3 ", "Q1     1 ", "C2     4 "})
    EXPECT_NE(atoms.find(start), std::string::npos) << start;
}

TEST(Reader, ScatteringFactorsAreHeldAsTheyAreWritten) {
  const std::string longCarbon =
      "SFAC C 2.31 20.8439 1.02 10.2075 1.5886 0.5687 0.865 51.6512 0.2156 =\n 0.0033 0.0016 1.15 0.8 12.011\n";
  ReadDocument r(kCellLines + longCarbon +
                 "SFAC H D\nSFAC XY Fe3+\nUNIT 1.5 2 3. 4 5\nC1 1 0 0 0\nD1 3 0 0 0\nM1 4 0 0 0\n");
  const Instructions& in = r.document.instructions;
  EXPECT_EQ(in.sfac, (std::vector<int>{6, 1, 104, 105, 26}));
  EXPECT_EQ(Words(in.unit), "1.5 2 3. 4 5");
  EXPECT_EQ(r.document.elements[6].bondRadius, 0.8);
  EXPECT_EQ(r.SavedFrom("SFAC", "FMAP"),
            "SFAC H D XY Fe3+ \n"
            "SFAC C  2.3100 20.8439  1.0200 10.2075  1.5886  0.5687  0.8650 51.6512  =\n"
            "        0.2156  0.0033  0.0016  1.1500 0.800 12.01100 \n"
            "UNIT 2 3 4 5 1.5 \n");
  const std::string atoms = r.SavedFrom("C1", "END");
  for (const char* start : {"C1     5 ", "D1     2 ", "M1     3 "})
    EXPECT_NE(atoms.find(start), std::string::npos) << start;

  // Neutron data: the first coefficient is 0. More decimals than the form has are not lost.
  ReadDocument neutron(kCellLines + "SFAC N 0 0 0 0 0 0 0 0 9.36001 0 0 1.5 0.7 14\nUNIT 1\nN1 1 0 0 0\n");
  EXPECT_EQ(neutron.document.instructions.sfac, std::vector<int>{7});
  EXPECT_NE(neutron.Saved().find("9.36001"), std::string::npos);
  EXPECT_NE(neutron.Saved().find("\nSFAC N  0.0000 "), std::string::npos);
}

TEST(Reader, WhatOneInstructionSaysBeyondTheModelStaysUntilItChanges) {
  const std::string lines = "L.S. 10 -1\nEXTI    0.034016\nANIS 5\nACTA 50 ! why\nFMAP\nPLAN 20 0.5\nLIST 4 1\n";
  ReadDocument r(kHeader + lines + "MERG 2\nOMIT 4 -50\nWGHT 0.1 0.2 0.3 0.4 0.5 0.33333\nC1 1 0 0 0\n");
  EXPECT_EQ(r.SavedFrom("MERG", "FVAR"),
            "MERG 2\nOMIT 4 -50\n" + lines + "WGHT  0.100000  0.200000  0.300000  0.400000  0.500000  0.333330 \n");
  RefinementSettings& set = r.document.settings;
  EXPECT_EQ(set.Cycles, 10);
  EXPECT_EQ(set.FourierCode, 0);
  EXPECT_EQ(set.WeightCount, 5);
  set.Cycles = 4;
  set.Extinction = 0.1;
  set.PlanPeaks = 30;
  set.ListLine = "";
  set.OmitTwoTheta = 55.0;
  set.Acta = false;
  EXPECT_EQ(r.SavedFrom("OMIT", "WGHT"), "OMIT   4.00  55.00\nL.S. 4\nEXTI  0.10000\nANIS 5\nFMAP\nPLAN 30\n");
}

TEST(Reader, KeptLinesComeOutInTheirPlaces) {
  ReadDocument r(kCellLines +
                 "    below the title\nNEUT\nSFAC C H\nDISP C 0 0\nUNIT 1 1\nDFIX 1.5 C1 C2\nEQIV $1 -x,y,z\n" +
                 "FRAG 17 1 1 1 90 90 90\nC1 1 0 0 0\n\nFEND\nUNKN own = words\nDEFS 0.02\nSADI_2 C1 = note\n  C2 ! "
                 "end\nFVAR 1\n" +
                 "C1 1 0 0 0\nRIGU\nHOPE 2\nstray text\n+more.ins\nC2 1 0 0 0\nMOVE 1\n");
  EXPECT_EQ(r.document.atoms.LiveCount(), 2u);
  EXPECT_EQ(r.SavedFrom("TITL", "CELL"), "TITL test\n");
  EXPECT_EQ(r.SavedFrom("NEUT", "FMAP"), "NEUT\nSFAC C H \nDISP C 0 0\nUNIT 1 1 \n");
  EXPECT_EQ(r.SavedFrom("PLAN", "FVAR"),
            "PLAN 20\nEQIV $1 -x,y,z\n    below the title\nDFIX 1.5 C1 C2\n"
            "FRAG 17 1 1 1 90 90 90\nC1 1 0 0 0\n\nFEND\nUNKN own = words\nDEFS 0.02\nSADI_2 C1 = note\n"
            "  C2 ! end\nRIGU\n");
  EXPECT_EQ(r.SavedFrom("C1     1 ", "END"),
            "C1     1   0.000000  0.000000  0.000000 11.000000  0.050000\nHOPE 2\nstray text\n+more.ins\n"
            "C2     1   0.000000  0.000000  0.000000 11.000000  0.050000\nMOVE 1\n");
}

TEST(Reader, ANumberOnSfacDecidesWhereBothAreThere) {
  ReadDocument r(kCellLines + "SFAC C CA\nUNIT 1 1\nCA 1 0 0 0\nCA1 2 0 0 0\nC1 2 0 0 0\n");
  EXPECT_EQ(Elements(r.document), "C Ca Ca ");
  ASSERT_EQ(r.messages.shown.size(), 1u);
  EXPECT_NE(r.messages.shown[0].text.find("\nCA 1\nC1 2"), std::string::npos) << r.messages.shown[0].text;
}

TEST(Reader, StateWithoutANumberEndsTheState) {
  ReadDocument r(kCellLines + "LATT\nSFAC C H\nUNIT 1 1\nPART 2 21\nAFIX 43\nC1 1 0 0 0\nPART\nAFIX\nC2 1 0 0 0\n");
  EXPECT_EQ(r.document.latticeCode, 1);
  EXPECT_EQ(r.Atom("C1")->part, 2);
  EXPECT_EQ(r.Atom("C1")->afix, 43);
  EXPECT_EQ(r.Atom("C2")->part, 0);
  EXPECT_FALSE(r.Atom("C2")->partHasOccupancy);
  EXPECT_EQ(r.Atom("C2")->afix, 0);
}

TEST(Reader, ResiduesPartsAndGroupsAreStateOfTheAtoms) {
  ReadDocument r(kHeader +
                 "FVAR 1 0.5\nC1 1 0 0 0\nRESI 5 CCF3\nPART 1 21\nC1 1 0 0 0\nRESI A:7 LYS\nPART 2 -21\nC1 1 0 0 0\n"
                 "AFIX 137 0.98 11 -1.5\nH1 2 0 0 0\nAFIX 137\nH2 2 0 0 0\nAFIX 0\nRESI CCF3 5\nMOLE 2\nC2 1 0 0 "
                 "0\nDFIX 1.5 C1 C2\n"
                 "PART 0\nRESI 0\nC3 1 0 0 0\nRESI EMPT 9\nRESI 0\n");
  EXPECT_EQ(Residues(r), "- 5 7 7 7 5 - ");
  EXPECT_EQ(r.Atom("C2")->partOccupancy, -21.0f);
  EXPECT_EQ(r.Atom("H1")->parent, r.Atom("H2")->parent);
  EXPECT_EQ(r.Atom("H1")->parent->part, 2);
  EXPECT_EQ(r.document.instructions.droppedRemarks, std::vector<std::string>{"RESI EMPT 9"});
  std::string states;
  const std::string text = r.SavedFrom("FVAR", "END");
  for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
    states += text.substr(at, text[at] == 'C' || text[at] == 'H' ? 2 : end - at) + "; ";
  EXPECT_EQ(states,
            "FVAR  1.000000  0.500000; C1; RESI 5 CCF3; PART 1  21; C1; RESI A:7 LYS; PART 2  -21; C1; "
            "AFIX 137 0.98 11 -1.5; H1; AFIX 137; H2; RESI 5 CCF3; AFIX 0; MOLE 2; C2; "
            "DFIX 1.5 C1 C2; RESI 0; PART 0; C3; ")
      << "a restraint within a residue stays there";
}

TEST(Reader, RidingHydrogensKnowTheirParent) {
  const ReadDocument r(
      kHeader +
      "C1 1 0 0 0\nAFIX 43\nH1 2 0 0 0\nH1B 2 0 0 0\nAFIX 0\nH2 2 0 0 0\nAFIX 66\nC3 1 0 0 0\nH3 2 0 0 0\n"
      "Q1 1 0 0 0\nAFIX 3\nH4 2 0 0 0\n");
  EXPECT_EQ(r.Atom("H1")->parent, r.Atom("C1"));
  EXPECT_EQ(r.Atom("H1B")->parent, r.Atom("C1"));
  EXPECT_EQ(r.Atom("H2")->parent, nullptr);
  EXPECT_EQ(r.Atom("H3")->parent, nullptr);
  EXPECT_EQ(r.Atom("Q1")->afix, 0);
  EXPECT_EQ(r.Atom("H4")->parent, r.Atom("C3"));
}

TEST(Reader, SameStaysAsItStandsAndASecondIsNamed) {
  const std::string atoms = "C1 1 0 0 0\nC2 1 0 0 0\n";
  ReadDocument r(kHeader + atoms + "SAME c1 C2\nSAME C2 C1\nSAME_2 C1 > C2\nC3 1 0 0 0\nC4 1 0 0 0\n");
  EXPECT_EQ(r.Atom("C3")->Extras().linesBefore.size(), 3u);
  ASSERT_EQ(r.messages.shown.size(), 1u);
  EXPECT_EQ(r.messages.shown[0].text, "Processing of previous SAME command not completed, skipping line:\nSAME C2 C1");
  EXPECT_EQ(r.SavedFrom("SAME", "C3"), "SAME c1 C2\nSAME C2 C1\nSAME_2 C1 > C2\n");
  for (const char* line : {"SAME C1 > C2", "SAME 0.02 C1 C2", "SAME C1 C9", "SAME", "SAME C1_2 C2", "SAME C1 ! note"}) {
    ReadDocument text(kHeader + atoms + line + "\nC3 1 0 0 0\n");
    EXPECT_TRUE(text.messages.shown.empty());
    EXPECT_EQ(text.SavedFrom("SAME", "C3"), std::string(line) + "\n");
  }
}

TEST(Reader, PairsAreResolvedWhenAllAtomsAreKnown) {
  ReadDocument r(
      kHeader +
      "BIND C1 c2\nFREE C1_5 C2\nBIND C1 C9\nBIND 1 2\nFREE C1 C2_$1\nC1 1 0 0 0\nC2 1 0 0 0\nRESI 5\nC1 1 0 0 0\n"
      "FREE C1 C2\n");
  EXPECT_EQ(r.document.atoms.bindPairs.pairs.size(), 1u);
  EXPECT_EQ(r.document.atoms.freePairs.pairs.size(), 2u);
  EXPECT_EQ(r.SavedFrom("PLAN", "FVAR"),
            "PLAN 20\nBIND C1 C9\nBIND 1 2\nFREE C1 C2_$1\nBIND C1 C2\nFREE C1_5 C2\nFREE C1_5 C2\n");
  // Within a residue those of the residue are meant.
  ReadDocument inside(kHeader + "C1 1 0 0 0\nC2 1 0 0 0\nRESI 5\nC1 1 0 0 0\nC2 1 0 0 0\nBIND C1 C2\n");
  ASSERT_EQ(inside.document.atoms.bindPairs.pairs.size(), 1u);
  EXPECT_EQ(inside.document.atoms.bindPairs.pairs[0].first, inside.Atom("C2")->next);
}

TEST(Reader, WhatStandsBehindTheEndStaysThere) {
  ReadDocument r(kHeader +
                 "WGHT 0.1\nPART 1\nC1 1 0 0 0\nHKLF 4\nparked line\nREM r\nL.S. 99\nEND\nWGHT 0.2 0.3\nHTAB C1 O1\n"
                 "TITL other\nQ1 1 0 0 0 11 0.05 1.5\nQ2 1 0 0 0 11 0.05 0.5\n");
  EXPECT_EQ(r.document.settings.Weights[0], 0.1);
  EXPECT_EQ(r.document.settings.WeightCount, 1);
  EXPECT_EQ(r.document.settings.SuggestedWeightCount, 2);
  EXPECT_EQ(r.document.settings.SuggestedWeights[1], 0.3);
  EXPECT_TRUE(r.document.settings.RefinementType.empty());
  EXPECT_EQ(r.document.instructions.title, "test");
  r.Atom("Q2")->name = "C2";
  EXPECT_EQ(r.SavedFrom("PART 1", "Q1"),
            "PART 1\nC1     1   0.000000  0.000000  0.000000 11.000000  0.050000\n"
            "PART 0\nC2     1   0.000000  0.000000  0.000000 11.000000  0.050000\n"
            "HKLF 4\nparked line\nL.S. 99\nEND  \nWGHT 0.2 0.3\nHTAB C1 O1\nTITL other\n");
}

TEST(Reader, GrownSectionAsksAndMarks) {
  const std::string text = kHeader +
                           "C1 1 0 0 0\nEND\nQ1 1 0 0 0 11 0.05 1\n"
                           "REM Marvik GPWARNING : made\nC2 1 0 0 0\nQ2 1 0 0 0 11 0.05 1\nEND\n";
  ReadDocument yes(text);
  ASSERT_EQ(yes.messages.asked.size(), 1u);
  EXPECT_EQ(yes.messages.asked[0].caption, "Display GROWN/PACKED Structure?");
  EXPECT_TRUE(yes.Atom("C2")->Has(kFromGrownSection));
  EXPECT_TRUE(yes.Atom("Q2")->Has(kFromGrownSection));
  EXPECT_FALSE(yes.Atom("Q1")->Has(kFromGrownSection));
  Document no;
  RecordingMessages messages;
  messages.answers = {false};
  ASSERT_TRUE(ReadInstructionText(no, text, messages));
  EXPECT_EQ(no.atoms.LiveCount(), 2u);
  EXPECT_EQ(no.instructions.droppedRemarks.size(), 3u) << "what a save will now lose can be shown";
}

TEST(Reader, SymmetryAndLatticeInAnyOrder) {
  ReadDocument r(kCellLines + "SYMM -X, 0.5+Y, -Z ! axis along y\nLATT 2\nSFAC C\nUNIT 1\nC1 1 0 0 0\n");
  ASSERT_EQ(r.document.symmetry.size(), 8u);
  EXPECT_EQ(r.document.symmetry[0].name, "SYMM X,Y,Z");
  EXPECT_EQ(r.document.symmetry[4].r[2], (std::array<int, 3>{0, 0, -1}));
  EXPECT_TRUE(r.Saves("SYMM -X, 0.5+Y, -Z ! axis along y"));
  ReadDocument none(kCellLines + "SFAC C\nUNIT 1\n");
  EXPECT_EQ(none.document.symmetry.size(), 2u);
  EXPECT_TRUE(none.Saves("LATT 1 "));
}

TEST(Reader, ReadingResetsEverythingButElementsAndPreviousWeights) {
  ReadDocument r(
      kHeader +
      "L.S. 4\nBIND C1 C2\nHFIX 43 C1\nMERG 2\nMOVE 1 1 1 -1\nPART 3\nRESI 4\nC1 1 0 0 0\nC2 1 0 0 0\nDFIX 1 C1 C2\n");
  EXPECT_TRUE(r.document.settings.Invert);
  r.document.settings.PreviousWeightCount = 2;
  r.document.elements[6].bondRadius = 0.9;
  const std::string plain = kCellLines + "SFAC N\nUNIT 1\nN1 1 0 0 0\n";
  ASSERT_TRUE(ReadInstructionText(r.document, plain, r.messages));
  const ReadDocument fresh(plain);
  EXPECT_EQ(r.document.settings.PreviousWeightCount, 2);
  EXPECT_EQ(r.document.elements[6].bondRadius, 0.9);
  r.document.settings.PreviousWeightCount = 0;
  EXPECT_EQ(r.document.settings, fresh.document.settings);
  r.document.instructions.source = fresh.document.instructions.source;
  EXPECT_EQ(r.document.instructions, fresh.document.instructions);
  EXPECT_TRUE(r.document.residues.empty() && r.document.atoms.hfix.empty() && r.document.atoms.bindPairs.pairs.empty());
  EXPECT_EQ(r.document.settings.FourierCode, 2);
  EXPECT_EQ(r.document.settings.PlanPeaks, 20);
  EXPECT_EQ(r.Atom("N1")->part, 0);
}

TEST(Reader, CellsWithAndWithoutWavelength) {
  const ReadDocument glued("CELL0.71073 5 6 7 80 90 100\n");
  EXPECT_EQ(glued.document.cell, (CellParameters{5, 6, 7, 80, 90, 100}));
  const ReadDocument bare("cell 5 6 7 80 90 100\n");
  EXPECT_EQ(bare.document.cell, glued.document.cell);
}

}  // namespace marvik::test
