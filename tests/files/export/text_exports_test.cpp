#include "files/export/text_exports.h"

#include <filesystem>
#include <map>

#include "base/files.h"
#include "base/numbers.h"
#include "files/export/conquest_query.h"
#include "files/export/export_atoms.h"
#include "files/export/export_fixture.h"

#include "support/test_files.h"

#if __has_include(<gemmi/pdb.hpp>)
#include <gemmi/pdb.hpp>
#endif

namespace marvik::test {
namespace {

constexpr char kTwoAtoms[] =
    "TITL two\nCELL 0.71 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C O\nUNIT 1 1\nFVAR 1\n"
    "C1 1 0.1 0.2 -0.15 11 0.01 0.02 0.03 0.023 0.013 0.012\nO1 2 0.22 0.2 -0.15 11 0.05\nHKLF 4\nEND\n";

TEST_F(ExportTest, ToTheByte) {
  Read(kTwoAtoms);
  document.atoms.FindBond(Atom("C1"), Atom("O1"))->SetOrder(kDouble);
  document.atoms.FindBond(Atom("C1"), Atom("O1"))->SetStyle(kDotted);
  const bool carbonOwns = Atom("C1")->bonds != nullptr;
  const std::string blanks(30, ' ');
  EXPECT_EQ(ComposePdb(document, "two.pdb", messages),
            "COMPND  two.pdb                                 \n"
            "HETATM    1  C1                  1.000   2.000  -1.500                       C\n"
            "HETATM    2  O1                  2.200   2.000  -1.500                       O\n" +
                std::string(carbonOwns ? "CONECT    1    2" : "CONECT    2    1") + blanks + "\n\nEND\n");
  EXPECT_EQ(ComposeConnectionTable(document, messages),
            std::string("two\n2 1\n1.000000 2.000000 1.500000 C1\n2.200000 2.000000 1.500000 O1\n") +
                (carbonOwns ? "1 2 2 3\n" : "2 1 2 3\n"));
  EXPECT_EQ(ComposeAtomsInput(document, messages),
            "FIELDS LAB TYP COO TFU\nC1 6 1.000000 2.000000 1.500000\n0.010000 0.020000 0.030000 0.012000 0.013000 "
            "0.023000\nO1 8 2.200000 2.000000 1.500000\n0.050000 0.000000 0.000000 0.000000 0.000000 0.000000\n");
  EXPECT_EQ(
      ComposeConQuestQuery(document, messages),
      std::string("T1 *CONN\nAT1 C 1\nAT2 O 1\n") + (carbonOwns ? "BO 1 2 2\n" : "BO 2 1 2\n") + "END\nQUEST T1\n");
}

TEST_F(ExportTest, OnlyVisibleAtomsAndTheirBonds) {
  Atom("N1")->Set(kHidden, true);
  EXPECT_TRUE(ComposeConnectionTable(document, messages)->starts_with("chiral one\n5 3\n"));
  EXPECT_EQ(ComposePdb(document, "x", messages)->find("N1"), std::string::npos);
  for (AtomRecord* atom : Atoms(document.atoms)) atom->Set(kHidden, true);
  EXPECT_EQ(ComposePdb(document, "none.pdb", messages), "COMPND  none.pdb" + std::string(33, ' ') + "\n\nEND\n");
  EXPECT_EQ(ComposeConnectionTable(document, messages), "chiral one\n0 0\n");
  EXPECT_EQ(ComposeAtomsInput(document, messages), "FIELDS LAB TYP COO TFU\n");
  EXPECT_EQ(ComposeConQuestQuery(document, messages), "T1 *CONN\nEND\nQUEST T1\n");
}

// The element is where readers look for it: ends in column 14 of the name, and in column 78.
TEST_F(ExportTest, NamesAreAlignedByTheirElement) {
  Read(
      "TITL t\nCELL 0.71 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C H Si Ca\nUNIT 1 1 1 1\nFVAR 1\n"
      "C10 1 0.1 0.1 0.1 11 0.05\nSI1 3 0.3 0.3 0.3 11 0.05\nH10A 2 0.5 0.5 0.5 11 0.05\nCA1 4 0.7 0.7 0.7 11 0.05\n"
      "HKLF 4\nEND\n");
  const std::string pdb = *ComposePdb(document, "x", messages);
  for (const char* name : {"    1  C10 ", "    2 SI1  ", "    3 H10A ", "    4 CA1  "})
    EXPECT_NE(pdb.find(std::string("HETATM") + name), std::string::npos) << pdb;
  for (size_t at = pdb.find("HETATM"), i = 0; i < 4; ++i, at = pdb.find("HETATM", at + 1)) {
    constexpr const char* kElements[] = {" C\n", "SI\n", " H\n", "CA\n"};
    EXPECT_EQ(pdb.substr(at + 76, 3), kElements[i]);
  }
  Atom("C10")->name = "C123AB";  // as long as it is, the columns stay
  const std::string wide = *ComposePdb(document, "x", messages);
  EXPECT_EQ(wide.substr(wide.find("C123AB") + 18, 8), Printf("%8.3f", Atom("C123AB")->position.x)) << wide;
}

TEST_F(ExportTest, APeakOrAnUnwritableTargetLeavesNothing) {
  const ScratchFolder scratch;
  const std::string& directory = scratch.path;
  const auto exportAll = [&](const std::string& where) {
    return WriteExport(where + "x.pdb", ComposePdb(document, "x.pdb", messages), messages) ||
           WriteExport(where + "x.ct", ComposeConnectionTable(document, messages), messages) ||
           WriteExport(where + "x.inp", ComposeAtomsInput(document, messages), messages);
  };
  EXPECT_TRUE(WriteExport(directory + "good.pdb", ComposePdb(document, "good.pdb", messages), messages));
  EXPECT_TRUE(ReadWholeFile(directory + "good.pdb").content.starts_with("COMPND  good.pdb  "));
  EXPECT_FALSE(exportAll(directory + "none/"));
  ASSERT_EQ(messages.shown.size(), 3u);
  EXPECT_EQ(messages.shown[0].caption, "Error: File I/O");
  EXPECT_EQ(messages.shown[0].text, "Error opening file (" + directory + "none/x.pdb) for writing.");
  messages.shown.clear();
  Atom("O2")->name = "Q1";
  EXPECT_FALSE(exportAll(directory));
  EXPECT_FALSE(ComposeConQuestQuery(document, messages));
  ASSERT_EQ(messages.shown.size(), 4u);
  EXPECT_EQ(messages.shown[1].caption, "Error: Found Atom of Type Q");
  EXPECT_EQ(messages.shown[1].text,
            "There are still atoms of type Q remaining in this structure, translation cannot continue.");
  Atom("Q1")->Set(kHidden, true);
  EXPECT_TRUE(ComposePdb(document, "x", messages));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
}

TEST_F(ExportTest, ThePdbFileIsRightHandedAndTheOthersItsMirror) {
#if __has_include(<gemmi/pdb.hpp>)
  const std::string pdb = *ComposePdb(document, "x.pdb", messages);
  const gemmi::Structure structure = gemmi::read_pdb_string(pdb, "x.pdb");
  std::map<std::string, gemmi::Position> places;
  for (const auto& chain : structure.models.at(0).chains)
    for (const auto& residue : chain.residues)
      for (const auto& atom : residue.atoms) places[atom.name] = atom.pos;
  ASSERT_EQ(places.size(), 6u);
  const auto place = [&](const char* name) {
    const gemmi::Position& p = places.at(name);
    const Cartesian& own = Atom(name)->position;
    EXPECT_NEAR(p.x, own.x, 5.1e-4);
    EXPECT_NEAR(p.y, own.y, 5.1e-4);
    EXPECT_NEAR(p.z, -own.z, 5.1e-4);
    return Cartesian{p.x, p.y, p.z};
  };
  const double inFile = Handedness(place("C1"), place("N1"), place("O1"), place("Cl1"));
  // The sign in crystal axes, which are right-handed: a, b, c as the textbooks have them.
  const double inCell = Handedness(Atom("C1")->fract, Atom("N1")->fract, Atom("O1")->fract, Atom("Cl1")->fract);
  EXPECT_GT(inFile * inCell, 0.0);
  std::map<std::string, Cartesian> stored;
  const std::string table = *ComposeConnectionTable(document, messages);
  size_t at = table.find('\n', table.find('\n') + 1) + 1;
  for (int i = 0; i < 6; ++i) {
    Cartesian p;
    for (int k = 0; k < 3; ++k, ++at) at += ParseNumber(std::string_view(table).substr(at), p[k]);
    const size_t end = table.find('\n', at);
    stored[table.substr(at, end - at)] = p;
    at = end + 1;
  }
  EXPECT_LT(Handedness(stored["C1"], stored["N1"], stored["O1"], stored["Cl1"]) * inCell, 0.0);
#else
  GTEST_SKIP() << "gemmi-dev is not installed";
#endif
}

}  // namespace
}  // namespace marvik::test
