#include <gtest/gtest.h>

#include "base/user_messages.h"
#include "chem/bonds/connectivity.h"
#include "crystal/cell_metric.h"
#include "edit/edit_paste.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

#include "support/structures.h"

namespace marvik::test {
namespace {

const std::string kWater =
    "TITL a\nCELL 0.71073 10 11 12 90 100 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C H O\nUNIT 2 6 1\nFVAR 1 0.6\n"
    "DFIX 1.4 C1 O1\nC1 1 0.1 0.2 0.3 11 0.03 0.04 0.05 0.001 0.002 0.003\nAFIX 137\nH1A 2 0.12 0.25 0.3 11 -1.5\n"
    "AFIX 0\nPART 1\nO1 3 0.2 0.2 0.3 21 0.05\nPART 0\nRESI 2 TOL\nC1 1 0.5 0.5 0.5 11 0.05\nRESI 0\nHKLF 4\nEND\n";

struct Read {
  Document document;
  RecordingMessages messages;
  explicit Read(const std::string& text) {
    EXPECT_TRUE(ReadInstructionText(document, text, messages));
    Connect(document, messages);
  }
  std::string Text() {
    std::string text;
    WriteOptions options;
    options.layout = FileLayout::Standard;
    ComposeInstructionText(document, text, messages, options);
    return text;
  }
};

std::vector<AtomRecord*> AllOf(const Document& document) {
  std::vector<AtomRecord*> atoms;
  for (AtomRecord* atom : Atoms(document.atoms)) atoms.push_back(atom);
  return atoms;
}

TEST(Paste, TakesValuesResiduesAndRidersAlong) {
  Read from(kWater);
  std::string text;
  ASSERT_TRUE(ComposeInstructionText(AtomsAlone(from.document, AllOf(from.document)), text, from.messages));
  EXPECT_EQ(text.find("DFIX"), std::string::npos);
  Read copied(text);
  Read to(
      "TITL b\nCELL 0.71073 10 11 12 90 100 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C O\n"
      "SFAC O 3 13 2.3 5.7 1.5 .32 .87 33 .25 0 0 0 .66 16\nUNIT 1 0 0\nFVAR 1\n"
      "C1 1 0.9 0.9 0.9 11 0.05\nHKLF 4\nQ1 1 0.4 0.4 0.4 11 0.05 1\nEND\n");
  EXPECT_EQ(PasteAtoms(to.document, copied.document, to.messages), "");
  EXPECT_EQ(NamesOf(to.document.atoms), "C1 C2 H1A O1 C1 Q1");
  EXPECT_EQ(to.document.atoms.selection.Size(), 4u);
  EXPECT_EQ(FaultsOf(to.document.atoms), "");
  const AtomRecord* rider = to.document.atoms.FindAtom("H1A");
  ASSERT_TRUE(rider->parent);
  EXPECT_EQ(rider->parent->name, "C2");
  EXPECT_NEAR(to.document.atoms.FindAtom("O1")->occupancy, 10.6, 1e-6) << "the free variable is not there";
  const std::string written = to.Text();
  EXPECT_NE(written.find("SFAC C O H"), std::string::npos) << written;
  EXPECT_NE(written.find("\nO1     2 "), std::string::npos) << "the number that O has here: " << written;
  EXPECT_NE(written.find("RESI 2 TOL"), std::string::npos) << written;
  EXPECT_NE(written.find("AFIX 137"), std::string::npos) << written;
}

TEST(Paste, ACopyLiesBesideAndAnotherCellKeepsTheShape) {
  Read from(kWater);
  const Document copy =
      AtomsAlone(from.document, {from.document.atoms.FindAtom("C1"), from.document.atoms.FindAtom("O1")});
  EXPECT_EQ(PasteAtoms(from.document, copy, from.messages), "");
  EXPECT_NEAR(from.document.atoms.FindAtom("C2")->fract.x, 0.1 + 0.15, 1e-12);
  Read other(
      "TITL b\nCELL 0.71073 7 8 9 80 95 110\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C O\nUNIT 1 1\nFVAR 1\n"
      "C9 1 0.9 0.9 0.9 11 0.05\nHKLF 4\nEND\n");
  EXPECT_EQ(PasteAtoms(other.document, copy, other.messages), "");
  const auto length = [](const Document& d) {
    return Length(d.atoms.FindAtom("C1")->position - d.atoms.FindAtom("O1")->position);
  };
  EXPECT_NEAR(length(other.document), length(from.document), 1e-9);
  const auto ueq = [](const Document& d) { return MakeMetric(d.cell).Ueq(d.atoms.FindAtom("C1")->u); };
  EXPECT_NEAR(ueq(other.document), ueq(from.document), 1e-9);
}

TEST(Paste, ARiderWithoutItsCarrierRidesNoMore) {
  Read from(kWater);
  const Document copy = AtomsAlone(from.document, {from.document.atoms.FindAtom("H1A")});
  const AtomRecord* rider = copy.atoms.FindAtom("H1A");
  EXPECT_EQ(rider->afix, 0);
  EXPECT_GT(rider->u[0], 0.0);
  EXPECT_NE(PasteAtoms(from.document, AtomsAlone(from.document, {}), from.messages), "");
}

TEST(Paste, WhatStandsBehindTheEndIsAnAtomLikeOthers) {
  Read from(
      "TITL b\nCELL 0.71073 7 8 9 80 95 110\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C O\nUNIT 1 1\nFVAR 1\n"
      "C9 1 0.9 0.9 0.9 11 0.05\nHKLF 4\nQ1 1 0.4 0.4 0.4 11 0.05 1\nEND\nC8 1 0.2 0.2 0.2 11 0.05\n");
  std::string text;
  ASSERT_TRUE(ComposeInstructionText(AtomsAlone(from.document, AllOf(from.document)), text, from.messages));
  for (const char* atom : {"\nC9 ", "\nC8 ", "\nQ1 "}) EXPECT_LT(text.find(atom), text.find("\nHKLF")) << text;
}

}  // namespace
}  // namespace marvik::test
