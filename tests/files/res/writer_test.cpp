#include <filesystem>
#include <unistd.h>

#include "base/files.h"

#include "instruction_text.h"
#include "support/test_files.h"

namespace marvik::test {

namespace {

namespace fs = std::filesystem;

const std::string kCarbon = "C1     1   0.000000  0.000000  0.000000 11.000000  0.050000\n";

}  // namespace

TEST(Writer, APlainModelWritesWhatIsAlwaysWritten) {
  ReadDocument r(kHeader + "SYMM -X, Y, -Z\nFVAR 0.01\nHKLF 4\nC1 1 0 0 0\n");
  EXPECT_EQ(r.Saved(), kCellLines +
                           "LATT -1 \nSYMM -X, Y, -Z\nSFAC C H N O \nUNIT 4 4 4 4 \nFMAP 2\nPLAN 20\nFVAR  0.010000\n" +
                           "HKLF 4\n" + kCarbon + "END  \n");
  r.document.instructions.scaleFactor = 0.0000123456;
  EXPECT_TRUE(r.Saves("FVAR 0.0000123456"));
}

TEST(Writer, HeaderLinesInTheirOrderAndForms) {
  ReadDocument r(
      kHeader +
      "TEMP -100\nHFIX 43 C1\nHFIX_2 13 C2\nBASF 0.1\nBASF 0.2\nWGHT 0.1 1.5\nFREE C1 C3\nBIND C1 C2\nSADI C1 C2\n"
      "DFIX 1.5 C1 C2\nLIST 4\nPLAN 5\nFMAP 3\nBOND $H\nBOND C1\nMOVE 1 1 1 -1\nACTA\nANIS\nEXTI 0.01\nCGLS 8\nOMIT -3 "
      "55\n"
      "OMIT 1 2 3\nMERG 4\nC1 1 0 0 0\nC2 1 0 0 0\nC3 1 0 0 0\n");
  EXPECT_EQ(
      r.SavedFrom("UNIT", "C1 "),
      "UNIT 4 4 4 4 \nMERG 4\nOMIT 1 2 3\nOMIT  -3.00  55.00\nCGLS 8\nEXTI  0.01000\nANIS\nACTA\nMOVE 1 1 1 -1\nBOND "
      "$H\n"
      "FMAP 3\nPLAN 5\nLIST 4\nSADI C1 C2\nDFIX 1.5 C1 C2\nBOND C1\nBIND C1 C2\nFREE C1 C3\nWGHT  0.100000  1.500000 \n"
      "BASF 0.1\nBASF 0.2\nFVAR  1.000000\nTEMP -100\nHFIX 43 C1\nHFIX_2 13 C2\n");
}

TEST(Writer, FreeVariablesSixALine) {
  ReadDocument r(kHeader + "FVAR 1 2 3 4 5 6 7 8 9 10 11 12 13\n");
  EXPECT_EQ(r.SavedFrom("FVAR", "END"),
            "FVAR  1.000000  2.000000  3.000000  4.000000  5.000000  6.000000 = \n"
            "      7.000000  8.000000  9.000000 10.000000 11.000000 12.000000 = \n"
            "     13.000000\n");
  ReadDocument five(kHeader + "FVAR 1 2 3 4 5 6\n");
  EXPECT_EQ(five.SavedFrom("FVAR", "END").find('='), std::string::npos);
}

TEST(Writer, AtomLines) {
  ReadDocument r(
      kHeader +
      "C1 1 0.1 0.2 0.3 11 -1.2\nLONGNAME7 4 -1 2 3 11 0.05\nQ1 1 0 0 0 11 0.05 12.345\n"
      "C2 1 0.1 0.2 0.3 11 0.01 0.02 =\n0.03 0.004 -0.005 0.006\n"
      "C3 1 -10.123456 -10.2 -10.3 -21.0 0.01 0.02 0.03 0.004 -0.005 0.006 ! note that is kept behind the values\n"
      "C4 1 0.1 0.2 0.3 11 0.05 1 2 three four five six seven eight nine ten eleven\n");
  const std::string atoms =
      "C1     1   0.100000  0.200000  0.300000 11.000000 -1.200000\n"
      "LONGNAME7  4  -1.000000  2.000000  3.000000 11.000000  0.050000\n"
      "Q1     1   0.000000  0.000000  0.000000 11.000000  0.050000     12.35\n"
      "C2     1   0.100000  0.200000  0.300000 11.000000  0.010000  0.020000 = \n"
      "           0.030000  0.004000 -0.005000  0.006000\n"
      "C3     1  -10.123456 -10.200000 -10.300000 -21.000000  0.010000  0.020000 = \n"
      "           0.030000  0.004000 -0.005000  0.006000 ! note that is kept behind the values\n"
      "C4     1   0.100000  0.200000  0.300000 11.000000  0.050000 1 2 three four =\n"
      "          five six seven eight nine ten eleven\n";
  EXPECT_EQ(r.SavedFrom("C1", "END"), atoms);
  r.Atom("C1")->occupancy = 0.5;
  r.Atom("C1")->codedValues[kCodedOccupancy] = 21.0;
  EXPECT_TRUE(r.Saves("C1     1   0.100000  0.200000  0.300000  0.500000 -1.200000"));
  r.Atom("C1")->occupancy = 10.5;
  EXPECT_TRUE(r.Saves("C1     1   0.100000  0.200000  0.300000 21.000000 -1.200000"));
}

TEST(Writer, StateLinesWhenSomethingDiffers) {
  ReadDocument r(kHeader +
                 "PART 2\nC1 1 0 0 0\nPART 2 0.5\nC1 1 0 0 0\nPART 1 10.33333\nAFIX 66\nMOLE 1\nC1 1 0 0 0\n");
  EXPECT_EQ(r.SavedFrom("PART", "END"), std::string("PART 2\n") + kCarbon + "PART 2  0.5\n" + kCarbon +
                                            "PART 1  10.33333\nAFIX 66\nMOLE 1\n" + kCarbon + "AFIX 0\nPART 0\n");
}

// A kept line says what it says: the atoms behind it need no other line for it, and what it says beyond them is ended.
TEST(Writer, KeptStateLinesActWhereTheyStand) {
  const struct {
    const char *kept, *same, *end;
    void (*set)(AtomRecord&);
  } kCases[] = {
      {"AFIX 66", "", "AFIX 0\n", [](AtomRecord& a) { a.afix = 66, a.afixGroup = 7; }},
      {"PART 2", "", "PART 0\n", [](AtomRecord& a) { a.part = 2; }},
      {"PART 2 21", "", "PART 0\n", [](AtomRecord& a) { a.part = 2, a.partHasOccupancy = 1, a.partOccupancy = 21.0f; }},
      {"PART 2 21", "PART 2\n", "PART 0\n", [](AtomRecord& a) { a.part = 2; }},
      {"MOLE 3", "", "MOLE 0\n", [](AtomRecord& a) { a.mole = 3; }},
      {"RESI 5 ALA", "", "RESI 0\n", [](AtomRecord& a) { a.residue = 0; }},
      {"MOLE 3", "MOLE 0\n", "", [](AtomRecord&) {}},
      {"RESI 9 XXX", "RESI 5 ALA\n", "RESI 0\n", [](AtomRecord& a) { a.residue = 0; }},
      {"DAMP 0", "", "", [](AtomRecord&) {}},
  };
  for (const auto& [kept, same, end, set] : kCases) {
    ReadDocument r(kHeader + "C1 1 0 0 0\nC1 1 0 0 0\nC1 1 0 0 0\nC1 1 0 0 0\n");
    r.document.residues.push_back({"ALA", 5, "", "", ""});
    AtomRecord* second = r.document.atoms.head->next;
    second->MutableExtras().linesBefore.push_back({KeptPlace::BeforeAtom, kept, -1});
    set(*second);
    set(*second->next);
    EXPECT_EQ(r.SavedFrom("C1", "END"), kCarbon + kept + "\n" + same + kCarbon + kCarbon + end + kCarbon) << kept;
  }
}

TEST(Writer, ManyScatterersStayWithinTheLine) {
  std::string labels, units;
  for (int i = 0; i < 500; ++i) {
    labels += i % 2 ? " C" : " Fe";
    units += " 12.5";
  }
  ReadDocument r(kCellLines + "SFAC" + labels.substr(0, 900) + " =\n" + labels.substr(900) + "\nUNIT" + units +
                 "\nC1 2 0 0 0\nFE9 499 0 0 0\n");
  ASSERT_EQ(r.document.instructions.sfac.size(), 500u);
  const std::string saved = r.Saved();
  for (size_t at = 0, end; (end = saved.find('\n', at)) != std::string::npos; at = end + 1) EXPECT_LE(end - at, 79u);
  ReadDocument again(saved);
  EXPECT_EQ(again.document.instructions.sfac, r.document.instructions.sfac);
  EXPECT_EQ(again.document.instructions.unit.size(), 500u);
  EXPECT_EQ(again.Atom("FE9")->sfacNumber, 499);
}

TEST(Writer, HydrogensOfHfixAndGeneratedAtoms) {
  ReadDocument r(kHeader + "C1 1 0 0 0\nAFIX 43\nH1 2 0 0 0\nH2 2 0 0 0\nAFIX 0\nC2 1 0 0 0\nH3 2 0 0 0\nHKLF 4\n");
  r.Atom("H1")->flags2 |= kProgramHydrogen;
  r.Atom("C2")->generated = r.Atom("H3")->generated = 1;
  r.Atom("C2")->part = 2;
  EXPECT_TRUE(r.Saves("H1     2   0.000000  0.000000  0.000000 11.000000  0.050000"));
  r.document.atoms.hfix.insert(r.document.atoms.hfix.begin(), {r.Atom("C1"), "HFIX 43 C1", -1});
  EXPECT_EQ(r.SavedFrom("HFIX", "nothing").substr(0, 9), "not found");
  const std::string saved = r.Saved();
  EXPECT_EQ(saved.substr(saved.find("HFIX")),
            std::string("HFIX 43 C1\n") + kCarbon +
                "AFIX 43\nH2     2   0.000000  0.000000  0.000000 11.000000  0.050000\n"
                "AFIX 0\nHKLF 4\nEND  \n"
                "\nREM Marvik GPWARNING : The following atoms were created either by GROW or PACK.\n\n"
                "PART 2\nC2     1   0.000000  0.000000  0.000000 11.000000  0.050000\n"
                "PART 0\nAFIX 0\nMOLE 0\n\nEND  \n")
      << "a generated hydrogen without a parent is left out";
}

TEST(Writer, ASaveThatFailsLeavesTheOldFileWhole) {
  const ScratchFolder scratch;
  const std::string& folder = scratch.path;
  ReadDocument r(kHeader + "C1 1 0 0 0\n");
  const std::string path = folder + "old.ins";
  ASSERT_EQ(WriteFileAtomically(path, "old content"), 0);
  const std::string backup = path + ".bak";
  ASSERT_TRUE(WriteInstructionFile(r.document, path, r.messages, backup));
  EXPECT_EQ(r.document.CurrentFile, path);
  EXPECT_EQ(r.document.WorkingDirectory, folder);
  EXPECT_EQ(r.document.stamp, StampOf(path));
  EXPECT_EQ(ReadWholeFile(backup).content, "old content");
  const std::string saved = ReadWholeFile(path).content;
  EXPECT_EQ(saved, r.Saved(FileLayout::AsRead));

  const auto refused = [&](const std::string& target) {
    r.messages.shown.clear();
    EXPECT_FALSE(WriteInstructionFile(r.document, target, r.messages)) << target;
    ASSERT_EQ(r.messages.shown.size(), 1u);
    EXPECT_EQ(r.messages.shown[0].caption, "Error: File I/O");
    EXPECT_TRUE(r.messages.shown[0].text.starts_with("Error opening file (" + target + ") for writing."));
    EXPECT_EQ(r.document.CurrentFile, path);
  };
  refused(folder + "missing/new.ins");
  refused(folder);
  refused("/dev/full");
  // Permissions do not stop every user.
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  if (access(folder.c_str(), W_OK) != 0) refused(path);
  fs::permissions(folder, fs::perms::owner_all);
  EXPECT_EQ(ReadWholeFile(path).content, saved);
}

}  // namespace marvik::test
