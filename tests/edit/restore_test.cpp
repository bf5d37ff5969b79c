#include <algorithm>
#include <gtest/gtest.h>

#include "edit/edit_riding.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

namespace marvik::test {
namespace {

const std::string kFile =
    "TITL t\nCELL 0.7 10 10 10 90 90 90\nLATT -1\nSFAC C H N\nUNIT 4 4 4\nBIND C1 N1\nFREE C2 C1\nFVAR 1\n"
    "REM one\nC1 1 .1 .2 .3\nAFIX 43\nH1 2 .1 .29 .3 11 -1.2\nAFIX 0\nMOVE 1 1 1\nC2 1 .2 .2 .3\nPART 1 21\nANIS 1\n"
    "N1 3 .3 .2 .3\n+inc.txt\nPART 2 -21\nN2 3 .3 .25 .3\nPART 0\nREM last\nSADI C1 C2\nC3 1 .5 .5 .5\nRIGU\nHKLF "
    "4\nEND\n";

std::string Saved(const Document& document) {
  RecordingMessages messages;
  std::string text;
  EXPECT_TRUE(ComposeInstructionText(document, text, messages));
  return text;
}

}  // namespace

TEST(Restore, GivesTheFileAsItWas) {
  for (const std::vector<std::string>& names :
       std::vector<std::vector<std::string>>{{"C1", "H1"},
                                             {"C2"},
                                             {"N1"},
                                             {"N2"},
                                             {"C3"},
                                             {"N1", "N2"},
                                             {"N2", "C2", "C3"},
                                             {"C1", "H1", "C2", "N1", "N2", "C3"}}) {
    Document document;
    RecordingMessages messages;
    ASSERT_TRUE(ReadInstructionText(document, kFile, messages));
    std::vector<AtomRecord*> atoms;
    for (const std::string& name : names) atoms.push_back(document.atoms.FindAtom(name));
    document.atoms.KillAtoms(atoms);
    EXPECT_EQ(Saved(document).find("\n" + names.front() + " "), std::string::npos);
    EXPECT_EQ(RestoreAtoms(document, atoms, messages), atoms.size());
    EXPECT_EQ(Saved(document), kFile) << names.front();
    EXPECT_EQ(document.atoms.bindPairs.pairs.size(), 1u);
    EXPECT_EQ(document.atoms.freePairs.pairs.size(), 1u);
  }
}

// One after the other, in the order in which they were killed and in the other.
TEST(Restore, InAnyOrder) {
  for (const bool backwards : {false, true}) {
    Document document;
    RecordingMessages messages;
    ASSERT_TRUE(ReadInstructionText(document, kFile, messages));
    std::vector<AtomRecord*> atoms;
    for (const char* name : {"C2", "N2", "N1"}) atoms.push_back(document.atoms.FindAtom(name));
    for (AtomRecord* atom : atoms) document.atoms.KillAtom(atom);
    if (backwards) std::reverse(atoms.begin(), atoms.end());
    for (AtomRecord* atom : atoms) RestoreAtoms(document, {atom}, messages);
    EXPECT_EQ(Saved(document), kFile);
  }
}

}  // namespace marvik::test
