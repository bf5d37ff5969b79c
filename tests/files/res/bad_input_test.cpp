#include <cmath>

#include "base/files.h"
#include "base/numbers.h"

#include "instruction_text.h"
#include "support/test_files.h"

namespace marvik::test {

namespace {

bool Reads(const std::string& text) {
  Document document;
  RecordingMessages messages;
  return ReadInstructionText(document, text, messages);
}

// Whether a text can be read, written, and read again with as many atoms, every position a number.
void Survives(const std::string& text) {
  Document document;
  RecordingMessages messages;
  if (!ReadInstructionText(document, text, messages)) {
    EXPECT_EQ(document.atoms.head, nullptr);
    return;
  }
  for (const AtomRecord* atom : Atoms(document.atoms)) EXPECT_TRUE(IsFinite(atom->fract)) << atom->name;
  std::string saved;
  ASSERT_TRUE(ComposeInstructionText(document, saved, messages));
  Document again;
  ASSERT_TRUE(ReadInstructionText(again, saved, messages)) << saved;
  EXPECT_EQ(again.atoms.LiveCount(), document.atoms.LiveCount()) << saved;
}

const std::string kSample =
    "TITL sample = of much\n    sample.res\nCELL 0.71073 10 11 12 90 95.5 90\nZERR 4 0.001 0.001 0.001 0 0.01 0\nLATT "
    "1\n"
    "SYMM -X, 0.5+Y, 0.5-Z\nSFAC C H N O\nSFAC S 6.9 1.4 5.2 22.2 1.4 0.2 1.5 56.1 0.8 =\n 0.1 0.1 53.2 1.1 32.0\n"
    "UNIT 4 4 4 4 4\nL.S. 4\nOMIT -3 55\nEQIV $1 -x, y, z\nSADI C1 C2 =\n C1 O1\nFRAG 17 1 1 1 90 90 90\nC1 1 0 0 "
    "0\nFEND\n"
    "HFIX 43 C1\nBIND C1 O1\nWGHT 0.1 0.2\nFVAR 0.5 0.6 =\n 0.7\nRESI 1 ABC\nPART 1 21\nC1 1 0.1 0.2 0.3 21 0.01 0.02 "
    "=\n"
    " 0.03 0.04 0.05 0.06\nAFIX 43\nH1 2 0.1 10.25 0.3 11 -1.2\nAFIX 0\nPART 0\nSAME C1 H1\nO1 4 0.5 0.6 0.7 11 20.5\n"
    "HKLF 4\nEND\nWGHT 0.2 0.3\nQ1 1 0.1 0.1 0.1 11 0.05 1.25\nREM Marvik GPWARNING\nC1 1 0.9 0.9 0.9\nEND\n";

}  // namespace

TEST(BadInput, WhatIsNoInstructionFileIsRefused) {
  for (const char* text :
       {"", "\n\n", "TITL only a title\nREM a = b\n", "C1 1 0.1 0.2 0.3\n", "data_x\n_cell_length_a 5\n",
        "CELL\nC1 1 0 0 0\n", "CELL a b c d e f g\n", "CELL 1.54 10 10 30 90 90\n", "CELL 2.54 10 10 20 90 90\n"})
    EXPECT_FALSE(Reads(text)) << text;
  for (const char* cell : {"0 10 10 90 90 90", "10 -1 10 90 90 90", "10 10 10 0 90 90", "10 10 10 90 180 90",
                           "10 10 10 20 20 90", "1e308 10 10 90 90 nan", "10 10 10 90 90 -5"})
    EXPECT_FALSE(Reads(std::string("CELL 0.7 ") + cell + "\nSFAC C\nUNIT 1\nC1 1 0 0 0\n")) << cell;
  std::string garbage;
  uint32_t state = 12345;
  for (int i = 0; i < 200000; ++i) garbage += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  EXPECT_FALSE(Reads(garbage));
}

TEST(BadInput, AFailedReadLeavesNothingToBeSaved) {
  const ScratchFolder folder;
  const std::string path = folder.path + "x.ins";
  ASSERT_EQ(WriteFileAtomically(path, kSample), 0);
  Document document;
  RecordingMessages messages;
  ASSERT_TRUE(ReadInstructionFile(document, path, messages));
  EXPECT_EQ(document.CurrentFile, path);
  EXPECT_EQ(document.stamp, StampOf(path));
  for (const std::string& missing : {path + ".none", folder.path}) {
    ASSERT_TRUE(ReadInstructionFile(document, path, messages));
    EXPECT_FALSE(ReadInstructionFile(document, missing, messages)) << missing;
    EXPECT_EQ(document.CurrentFile, "");
    EXPECT_FALSE(document.stamp);
    EXPECT_EQ(document.atoms.head, nullptr);
  }
}

TEST(BadInput, TruncatedAtEveryByte) {
  for (size_t length = 0; length <= kSample.size(); ++length) Survives(kSample.substr(0, length));
}

TEST(BadInput, OneByteChangedAtEveryPlace) {
  for (size_t at = 0; at < kSample.size(); ++at) {
    for (const char c : {'\0', '=', '\n', '!', '9'}) {
      std::string changed = kSample;
      changed[at] = c;
      Survives(changed);
    }
  }
}

TEST(BadInput, HugeLinesAndCounts) {
  constexpr size_t kTenMegabytes = 10u << 20;
  Survives(kHeader + "C1 1 0.1 0.2 0.3 11 0.05 " + std::string(kTenMegabytes, 'x') + "\n");
  Survives(kHeader + std::string(kTenMegabytes, '='));
  Survives(kHeader + "SYMM " + std::string(kTenMegabytes, 'X'));
  Survives(std::string(kTenMegabytes, ' '));
  std::string many = kHeader;
  for (int i = 0; i < 50000; ++i)
    many += "RESI " + std::to_string(i) + "\nSAME C1\nBIND C1 C1_" + std::to_string(i) + "\nC1 1 0 0 0\n";
  Survives(many);
  many = kHeader;
  for (int i = 0; i < 50000; ++i) many += "FRAG 17\nSADI C1 =\n";
  Survives(many);
}

TEST(BadInput, NumbersThatAreNone) {
  ReadDocument r(kHeader +
                 "LATT 0\nFVAR x 1e308\nL.S. many\nPART one\nAFIX 99999999999\nMERG nan\nWGHT inf\nPLAN 1e308\n"
                 "C1 1 1e308 -1e308 0.3 1e308 1e308\nC2 1 nan 0.1 0.2\nC3 1 0.1 0.2 1/3\nC4 1.5 0.1 0.2 0.3\n"
                 "C5 99999 0.1 0.2 0.3\nC6 1 0.12(3) 0.2 0.3 inf 0.05\n1 2 3 4 5\n");
  EXPECT_EQ(r.document.atoms.LiveCount(), 2u);
  EXPECT_TRUE(IsFinite(r.Atom("C1")->fract));
  EXPECT_EQ(r.Atom("C6")->fract.x, 0.12);
  const std::string saved = r.Saved();
  for (const char* kept : {"L.S. many", "PART one", "AFIX 99999999999", "WGHT inf", "C2 1 nan 0.1 0.2",
                           "C3 1 0.1 0.2 1/3", "C4 1.5 0.1 0.2 0.3", "C5 99999 0.1 0.2 0.3", "1 2 3 4 5", " inf 0.05"})
    EXPECT_NE(saved.find(kept), std::string::npos) << kept;
  Survives(saved);
}

TEST(BadInput, DuplicateNamesAreAtomsLikeAnyOther) {
  ReadDocument r(kHeader + "C1 1 0 0 0\nC1 1 0.5 0 0\nc1 1 0.7 0 0\nBIND C1 N1\nN1 3 0 0 0\n");
  EXPECT_EQ(r.document.atoms.LiveCount(), 4u);
  ASSERT_EQ(r.document.atoms.bindPairs.pairs.size(), 1u);
  EXPECT_EQ(r.document.atoms.bindPairs.pairs[0].first, r.document.atoms.head);
}

TEST(BadInput, NoMemoryForAtoms) {
  Document document;
  document.atoms.LimitRecords(2, 0);
  RecordingMessages messages;
  ReadInstructionText(document, kHeader + "C1 1 0 0 0\nC2 1 0 0 0\nC3 1 0 0 0\nC4 1 0 0 0\n", messages);
  ASSERT_EQ(messages.shown.size(), 1u) << "said once";
  EXPECT_EQ(messages.shown[0].text, "Not enough memory for new atom.");
  EXPECT_TRUE(messages.quitRequested);
}

}  // namespace marvik::test
