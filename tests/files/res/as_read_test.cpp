#include "base/files.h"
#include "model/undo.h"

#include "instruction_text.h"
#include "support/test_files.h"

namespace marvik::test {
namespace {

std::string WithLineEnds(const std::string& plain, const std::string& lineEnd) {
  std::string text;
  for (const char c : plain) c == '\n' ? text += lineEnd : text += c;
  return text;
}

// Every habit of files in one.
const std::string kFile =
    "REM before\nTITL first\ttitle  \nTITL second\nCELL 0.71073 10 10 10 90 90 90 ! cell\nZERR 4 0 0 0 0 0 0\n\n"
    "latt -1\nSYMM -x , y,-Z\nSFAC C H\nSFAC  N ! late\nUNIT 4 4 =\n  4\n\tREM\nL.S. 10 -1\nPLAN 5\nPLAN 20 0.5\n"
    "FMAP  2\nOMIT 1 2 3\nOMIT -3 55\nACTA\nWGHT   0.0500\n+inc.txt\nDFIX 1.5 C1 C2\nREM between\nSADI C1 =\n  C2\n"
    "HFIX 43 C1\nBIND C1 N1\nFVAR 0.02 0.5\nFVAR 0.7\nTEMP -100\n\nREM the atoms\n"
    "C1    1    0.10000    0.2000   0.300000  11.00000  0.05000\nAFIX 43\nH1 2 .1 .2 .4 11 -1.2\nAFIX 0\n"
    "REM of C2\nPART 1 21\n  C2    1    0.1234567 0.25 0.3 11 0.01 0.02 =\n 0.03 0.001 -0.002 0.003 ! note\nPART 0\n"
    "ANIS 1\nN1 3 0.3 0.3 0.3 11.0 0.04\nWGHT 0.1 0.2\nHKLF  4\nREM kept\n \nC9 1 .9 .9 .9\nEND\n\nREM behind\n"
    "WGHT 0.2 0.3\nQ1 1 0.1 0.1 0.1 11 0.05 1.50\n\n";

std::string Put(std::string text, const std::string& before, const std::string& after) {
  const size_t at = text.find(before);
  EXPECT_NE(at, std::string::npos) << before;
  return at == std::string::npos ? text : text.replace(at, before.size(), after);
}

struct Opened : ReadDocument {
  explicit Opened(const std::string& text = kFile) : ReadDocument(text) {}
  std::string Back() { return Saved(FileLayout::AsRead); }
};

}  // namespace

TEST(AsRead, WhatIsNotEditedComesBack) {
  const std::string standard = Opened(kFile + "no line end").Saved();
  for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
    for (const std::string mark : {"", "\xEF\xBB\xBF"}) {
      const std::string text = mark + WithLineEnds(kFile, lineEnd) + "no line end";
      EXPECT_EQ(Opened(text).Back(), text);
      EXPECT_EQ(Opened(text).Saved(), WithLineEnds(standard, lineEnd));
    }
  }
  const std::string odd =
      "CELL 0.7 9 9 9 90 90 90\nSFAC\nPART\nAFIX\nPART x\nFRAG 17\nA 1 2 3 4\nFEND\nFEND\nC1 1 0 0 0 =";
  EXPECT_EQ(Opened(odd).Back(), odd);
  const std::string bytes = Put(kFile, "REM between", std::string("REM \0\xFF\r mixed\r", 15));
  EXPECT_EQ(Opened(bytes).Back(), bytes);
}

TEST(AsRead, OneChangeOneLine) {
  Opened r;
  const Document before = r.document;
  r.Atom("C2")->fract.y = 0.26;
  EXPECT_EQ(r.Back(), Put(kFile, "0.1234567 0.25 0.3 11 0.01", "0.1234567 0.26 0.3 11 0.01"));
  r.Atom("C1")->u[0] = 0.051234;
  EXPECT_EQ(r.Back(), Put(Put(kFile, " 0.25 0.3", " 0.26 0.3"), "11.00000  0.05000\n", "11.00000  0.05123\n"));
  r.document = before;
  EXPECT_EQ(r.Back(), kFile) << "a step back gives the bytes back";

  r.Atom("C1")->name = "C1AB";
  r.Atom("C1AB")->fract.x = -0.12345678;
  EXPECT_EQ(r.Back(), Put(Put(kFile, "BIND C1 N1", "BIND C1AB N1"), "C1    1    0.10000 ", "C1AB  1   -0.12346 "));
  r.document = before;
  r.document.settings.Cycles = 4;
  r.document.settings.PlanPeaks = -5;
  r.document.settings.Acta = false;
  r.document.settings.ListLine = "LIST 4";
  r.document.instructions.scaleFactor = 0.021236;
  r.document.instructions.freeVariables[1] = 0.8f;
  std::string wanted = Put(Put(Put(kFile, "L.S. 10 -1", "L.S. 4"), "PLAN 20 0.5", "PLAN -5"), "ACTA\n", "");
  wanted =
      Put(Put(wanted, "FVAR 0.02 0.5\nFVAR 0.7\n", "FVAR 0.021236 0.5\nFVAR 0.8\n"), "PLAN -5\n", "PLAN -5\nLIST 4\n");
  EXPECT_EQ(r.Back(), wanted);
}

// Returns within a line, a mark that text follows, more decimals than a number has, and what an atom kept from being
// read.
TEST(AsRead, ChangesOfOddLinesCanBeRead) {
  const std::string cell = "CELL 0.7 9 9 9 90 90 90\n";
  const std::string zeros(70, '0');
  for (const auto& [line, moved] : std::initializer_list<std::pair<std::string, std::string>>{
           {"C1 1\r.1 .2 .3\r\n", "C1 1 0.225000 .2 .3\n"},
           {"C1 1 .1 .2 =.3\n.4\n", "C1     1   0.225000  0.200000  0.400000 11.000000  0.050000\n"},
           {"C1 1 .1" + zeros + " .2 .3\n", "C1 1 " + std::string(55, ' ') + "0.225000000000000 .2 .3\n"}}) {
    Opened r(cell + line);
    r.Atom("C1")->fract.x += 0.125;
    EXPECT_EQ(r.Back(), cell + moved);
  }
  Opened r(cell + "HKLF 4\nC1 1 .1 .2 .3\nCELL 1 =\n2\nEND\n");
  EXPECT_LT(r.Saved(FileLayout::Standard).find("C1"), r.Saved(FileLayout::Standard).find("CELL 1"));
  r.document.atoms.KillAtom(r.Atom("C1"));
  EXPECT_EQ(r.Back(), cell + "HKLF 4\nREM CELL 1 =\nREM 2\nEND\n");
}

TEST(AsRead, KillingTakesTheStateLinesAlongAndRestoringBringsThemBack) {
  Opened r;
  const Document before = r.document;
  r.document.atoms.KillAtom(r.Atom("H1"));
  EXPECT_EQ(r.Back(), Put(kFile, "AFIX 43\nH1 2 .1 .2 .4 11 -1.2\nAFIX 0\n", ""));
  r.document.atoms.KillAtom(r.Atom("C2"));
  std::string wanted = Put(Put(kFile, "AFIX 43\nH1 2 .1 .2 .4 11 -1.2\nAFIX 0\n", ""), "PART 1 21\n  C2", "  C2");
  const size_t from = wanted.find("  C2    1"), to = wanted.find("ANIS 1");
  wanted.erase(from, to - from);
  EXPECT_EQ(r.Back(), wanted) << "the remark stays";
  r.document = before;
  // The words of the AFIX line belong to the group.
  const std::string group = kHeader + "FVAR 1\nAFIX 66 1.5 ! ring\nC1 1 0 0 0\nC2 1 .1 0 0\nAFIX 0\nHKLF 4\nEND\n";
  Opened ring(group);
  ring.document.atoms.KillAtom(ring.Atom("C1"));
  EXPECT_EQ(ring.Back(), Put(group, "C1 1 0 0 0\n", ""));
}

TEST(AsRead, NewLinesComeWhereTheyBelong) {
  Opened r;
  AtomRecord* atom = r.document.atoms.CreateAtom(r.document.elements, r.messages);
  atom->name = "H2";
  atom->element = &r.document.elements[kHydrogenRow];
  atom->afix = 43;
  atom->afixGroup = 77;
  r.document.atoms.LinkBehind(atom, r.Atom("C2"));
  atom->part = 1;
  atom->partHasOccupancy = 1;
  atom->partOccupancy = 21.0f;
  r.document.instructions.kept.push_back({KeptPlace::Body, "SADI C1 N1", -1});
  r.document.atoms.hfix.insert(r.document.atoms.hfix.begin(), {r.Atom("N1"), "HFIX 13 N1", -1});
  r.document.atoms.freePairs.Append(r.Atom("C1"), r.Atom("C2"));
  std::string wanted =
      Put(kFile, "! note\n", "! note\nAFIX 43\nH2     2   0.000000  0.000000  0.000000  1.000000  0.050000\nAFIX 0\n");
  wanted = Put(Put(Put(wanted, "  C2\nHFIX", "  C2\nSADI C1 N1\nHFIX"), "HFIX", "HFIX 13 N1\nHFIX"), "N1\nFVAR",
               "N1\nFREE C1 C2\nFVAR");
  EXPECT_EQ(r.Back(), wanted);
}

TEST(AsRead, TheAtomsFollowTheListAndTheirRemarksThem) {
  Opened r;
  AtomRecord* c2 = r.Atom("C2");
  r.document.atoms.Unlink(c2);
  r.document.atoms.LinkBehind(c2, nullptr);
  const std::string moved = "  C2    1    0.1234567 0.25 0.3 11 0.01 0.02 =\n 0.03 0.001 -0.002 0.003 ! note\n";
  std::string wanted = Put(kFile, "REM of C2\nPART 1 21\n" + moved + "PART 0\n", "");
  wanted = Put(wanted, "C1    1 ", "REM of C2\nPART 1  21\n" + moved + "PART 0\nC1    1 ");
  EXPECT_EQ(r.Back(), wanted);
}

TEST(AsRead, TwoEntriesOfOneElementKeepTheirFactors) {
  const std::string longs =
      "SFAC C 1 2 3 4 5 6 7 8 9 0.1 0.2 10 0.7 12\nSFAC H O\nSFAC C 2 2 3 4 5 6 7 8 9 0.3 0.4 11 0.9 13\n";
  const std::string text = kCellLines + longs + "UNIT 1 2 3 4\nC1 1 0 0 0\nC2 4 0 0 0\nO1 3 0 0 0\n";
  Opened r(text);
  EXPECT_EQ(r.Back(), text);
  const std::string saved = r.Saved();
  EXPECT_NE(saved.find("\nSFAC H O \nSFAC C  1.0000 "), std::string::npos) << saved;
  EXPECT_NE(saved.find("0.700 12.00000 \nSFAC C  2.0000 "), std::string::npos) << saved;
  EXPECT_NE(saved.find("\nC1     3 "), std::string::npos);
  EXPECT_NE(saved.find("\nC2     4 "), std::string::npos);
  EXPECT_NE(saved.find("UNIT 2 3 1 4 "), std::string::npos);
}

TEST(AsRead, RealFilesComeBackByteForByte) {
  if (RealDataFolder().empty()) GTEST_SKIP() << "MARVIK_REAL_DATA is not set";
  size_t files = 0;
  for (const std::string& path : FilesBelow(RealDataFolder(), {"res", "ins"})) {
    const std::string text = ReadWholeFile(path).content;
    Document document;
    RecordingMessages messages;
    if (!ReadInstructionText(document, text, messages)) continue;
    ++files;
    std::string back;
    ASSERT_TRUE(ComposeInstructionText(document, back, messages));
    EXPECT_TRUE(back == text) << path;
  }
  EXPECT_GE(files, 40u);
}

}  // namespace marvik::test
