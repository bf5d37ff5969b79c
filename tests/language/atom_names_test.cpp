#include "language/atom_names.h"

#include <gtest/gtest.h>

#include "support/structures.h"

namespace marvik {
namespace {

using test::AddAtomAt;

class NamesTest : public testing::Test {
 protected:
  NamesTest() {
    document.residues = {{"ALA", 1, "", "", ""}, {"GLY", 12, "b", "", ""}};
    for (const char* name : {"C1", "CA", "C1a", "N1", "Q1"}) AddAtomAt(document, name, {});
    for (int residue : {0, 1}) {
      for (const char* name : {"CB", "O1"}) AddAtomAt(document, name, {})->residue = residue;
    }
  }
  std::string Chosen(const char* text) {
    const AtomChoice choice = ChooseAtoms(document, text);
    std::string list;
    for (const AtomRecord* atom : choice.atoms) {
      list += atom->name;
      if (atom->residue >= 0) list.append(1, '_').append(std::to_string(atom->residue));
      list += ' ';
    }
    return choice.unmatched.empty() ? list : list + "!" + choice.unmatched;
  }
  Document document;
};

TEST_F(NamesTest, PatternsResiduesElementsAndRanges) {
  EXPECT_EQ(Chosen("C1"), "C1 ");
  EXPECT_EQ(Chosen("c*"), "C1 CA C1a CB_0 CB_1 ");
  EXPECT_EQ(Chosen("C?"), "C1 CA CB_0 CB_1 ");
  EXPECT_EQ(Chosen("*1*,N1"), "C1 C1a N1 Q1 O1_0 O1_1 ");
  EXPECT_EQ(Chosen("$C"), "C1 C1a ") << "CA is calcium, and CB no element";
  EXPECT_EQ(Chosen("O1_12"), "O1_1 ");
  EXPECT_EQ(Chosen("O1_B:12"), "O1_1 ");
  EXPECT_EQ(Chosen("O1_A:12"), "!O1_A:12");
  EXPECT_EQ(Chosen("*_1"), "CB_0 O1_0 ");
  EXPECT_EQ(Chosen("N1>O1"), "N1 Q1 CB_0 O1_0 ");
  EXPECT_EQ(Chosen("O1_12 > N1"), "N1 Q1 CB_0 O1_0 CB_1 O1_1 ") << "either end may come first";
}

TEST_F(NamesTest, PartsResiduesPeaksAndHydrogens) {
  AddAtomAt(document, "H1", {})->part = -1;
  AddAtomAt(document, "D2", {})->part = 2;
  EXPECT_EQ(Chosen("hydrogens"), "H1 D2 ");
  EXPECT_EQ(Chosen("PEAKS"), "Q1 ");
  EXPECT_EQ(Chosen("part:-1 PART:2"), "H1 D2 ");
  EXPECT_EQ(Chosen("PART:3"), "!PART:3");
  EXPECT_EQ(Chosen("RESI:ala"), "CB_0 O1_0 ");
  EXPECT_EQ(Chosen("RESI:12"), "CB_1 O1_1 ");
  EXPECT_EQ(Chosen("RESI:B:12"), "CB_1 O1_1 ");
  EXPECT_EQ(Chosen("RESI:0 PEAKS"), "C1 CA C1a N1 Q1 H1 D2 ");
}

TEST_F(NamesTest, WhatMatchesNothingIsNamed) {
  EXPECT_EQ(Chosen("C1 X* Y"), "C1 !X*");
  EXPECT_EQ(Chosen("C1 > ZZ"), "!ZZ");
  EXPECT_EQ(Chosen("C1_7"), "!C1_7");
  EXPECT_EQ(Chosen(">"), "!>");
  EXPECT_EQ(Chosen(""), "");
  // A pattern that makes a careless matcher try every split.
  EXPECT_EQ(Chosen("*a*a*a*a*a*a*a*a*a*a*b"), "!*a*a*a*a*a*a*a*a*a*a*b");
}

TEST_F(NamesTest, HiddenAtomsAreNotChosen) {
  document.atoms.FindAtom("C1")->Set(kHidden, true);
  EXPECT_EQ(Chosen("C1*"), "C1a ");
  EXPECT_EQ(Chosen("C1"), "!C1");
}

TEST_F(NamesTest, OneAtomByText) {
  EXPECT_EQ(FindAtomByText(document, "C1A")->name, "C1a");
  EXPECT_EQ(FindAtomByText(document, "cb")->residue, 0);
  EXPECT_EQ(FindAtomByText(document, "cb_12")->residue, 1);
  const AtomRecord* last = document.atoms.tail;
  EXPECT_EQ(FindAtomByText(document, test::Numbered("#", static_cast<int>(last->serial))), last);
  for (const char* text : {"", "C", "C*", "#", "#0", "#-1", "#99999999999", "#4294967297", "C1_"}) {
    EXPECT_EQ(FindAtomByText(document, text), nullptr) << text;
  }
}

TEST_F(NamesTest, DuplicatesCountWithinAResidueOnly) {
  EXPECT_TRUE(AtomsWithDuplicateNames(document).empty());
  AddAtomAt(document, "c1A", {});
  AddAtomAt(document, "N1", {})->generated = 1;
  AddAtomAt(document, "Q1", {})->Set(kFromGrownSection, true);
  const auto atoms = AtomsWithDuplicateNames(document);
  ASSERT_EQ(atoms.size(), 2u);
  EXPECT_EQ(atoms[0]->name, "C1a");
  EXPECT_EQ(atoms[1]->name, "c1A");
}

}  // namespace
}  // namespace marvik
