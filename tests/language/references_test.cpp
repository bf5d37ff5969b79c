#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "language/atom_references.h"
#include "language/included_file.h"
#include "language/residues.h"
#include "language/scatterers.h"

#include "support/structures.h"

namespace marvik::test {
namespace {

TEST(AtomReferences, AreTakenApart) {
  const struct {
    const char* word;
    const char* name;
    std::optional<ResidueNumber> residue;
    int step;
    const char* equivalent;
  } cases[] = {{"c1a", "C1A", {}, 0, ""},
               {"C1_2", "C1", ResidueNumber{2, ""}, 0, ""},
               {"C1_a:-12", "C1", ResidueNumber{-12, "A"}, 0, ""},
               {"C1_+", "C1", {}, 1, ""},
               {"C1_-", "C1", {}, -1, ""},
               {"C1_$3", "C1", {}, 0, "$3"},
               {"C1_2$3", "C1", ResidueNumber{2, ""}, 0, "$3"},
               {"_1", "_1", {}, 0, ""},
               {"C1_ALA", "C1", {}, 0, ""}};
  for (const auto& c : cases) {
    const AtomReference reference = ParseAtomReference(c.word);
    EXPECT_EQ(reference.name, c.name) << c.word;
    EXPECT_EQ(reference.residue, c.residue) << c.word;
    EXPECT_EQ(reference.step, c.step) << c.word;
    EXPECT_EQ(reference.equivalent, c.equivalent) << c.word;
  }
  EXPECT_EQ(ParseAtomReference("C1_-").ResidueFrom({5, "B"}), (ResidueNumber{4, "B"}));
  EXPECT_EQ(ParseAtomReference("C1_2").ResidueFrom({5, "B"}), (ResidueNumber{2, ""}));
}

// C1 H1 C2 outside of all residues, C1 O1 in A:1 ALA, C1 O1 in 2 GLY.
AtomNameIndex Sites() {
  return AtomNameIndex({{"C1", {}, "", "C", false},
                        {"H1", {}, "", "H", true},
                        {"C2", {}, "", "C", false},
                        {"C1", {1, "A"}, "ALA", "C", false},
                        {"O1", {1, "A"}, "ALA", "O", false},
                        {"C1", {2, ""}, "GLY", "C", false},
                        {"O1", {2, ""}, "GLY", "O", false},
                        {"C2", {}, "", "C", false}});
}

// "0 3-$1 !X": sites with their operations, then the words that name none.
std::string Named(const std::string& line, const ResidueNumber& residue = {}) {
  const Instruction instruction = ParseInstruction(line);
  const NamedAtoms named = AtomsNamed(Sites(), instruction, instruction.words, residue);
  std::string text;
  for (const auto& atom : named.atoms)
    text +=
        (text.empty() ? "" : " ") + std::to_string(atom.site) + (atom.equivalent.empty() ? "" : "-" + atom.equivalent);
  for (const std::string& word : named.missing) text += " !" + word;
  return text;
}

TEST(AtomReferences, NamesStandForAtomsOfTheResidueThenOfNone) {
  EXPECT_EQ(Named("SADI C1 c2 C1_2 O1_1 O1_a:1"), "0 2 5 4 4");
  EXPECT_EQ(Named("SADI C1 C2 O1", {2, ""}), "5 2 6") << "C2 stands outside of all";
  EXPECT_EQ(Named("SADI C1_+ C1_-", {1, ""}), "5 0");
  EXPECT_EQ(Named("SADI C2_2 O1_B:1 X"), " !C2_2 !O1_B:1 !X");
  EXPECT_EQ(Named("SADI C2_+", {1, ""}), " !C2_+") << "what says a residue is looked for there alone";
  EXPECT_EQ(Named("FLAT C1_$1 > C1_A:1"), "0-$1 2-$1 3-$1") << "without the hydrogen";
  EXPECT_EQ(Named("FLAT C1_2 < C2"), "5 4 3 2");
  EXPECT_EQ(Named("FLAT O1_2 < C9"), "6 !C9");
  EXPECT_EQ(Named("SIMU $c"), "0 2 3 5 7");
  EXPECT_EQ(Named("SIMU_2 $C", {2, ""}), "5");
  EXPECT_EQ(Named("SIMU $N $H"), "1");
}

TEST(AtomReferences, InstructionsSpeakOfResidues) {
  const auto residues = [](const char* line) {
    std::string text;
    for (const ResidueNumber& r : ResiduesOf(Sites(), ParseInstruction(line)))
      text += r.chain + ":" + std::to_string(r.number) + " ";
    return text;
  };
  EXPECT_EQ(residues("DFIX 1.5 C1 C2"), ":0 ");
  EXPECT_EQ(residues("DFIX_ala 1.5 C1 C2"), "A:1 ");
  EXPECT_EQ(residues("DFIX_* 1.5 C1 C2"), ":0 A:1 :2 ");
  EXPECT_EQ(residues("DFIX_1 1.5 C1 C2"), ":1 ");
  EXPECT_EQ(residues("DFIX_A:1 1.5 C1 C2"), "A:1 ");
  EXPECT_EQ(residues("DFIX_B:1 1.5 C1 C2"), "");
  EXPECT_EQ(residues("DFIX_7 1.5 C1 C2"), "");
}

TEST(Residues, AreReadAndWrittenInEveryForm) {
  const struct {
    const char* words;
    Residue residue;
    const char* line;
  } cases[] = {{"CCF3 5", {"CCF3", 5, "", "", ""}, "RESI 5 CCF3"},
               {"5 CCF3", {"CCF3", 5, "", "", ""}, "RESI 5 CCF3"},
               {"A:12 ALA", {"ALA", 12, "A", "", ""}, "RESI A:12 ALA"},
               {"7", {"", 7, "", "", ""}, "RESI 7"},
               {"", {"", 0, "", "", ""}, "RESI 0"},
               {"2 ALA 9 x", {"ALA", 2, "", "9 x", ""}, "RESI 2 ALA"}};
  Document document;
  for (const auto& c : cases) {
    const Residue r = ParseResidue(c.words);
    EXPECT_EQ(r.className, c.residue.className) << c.words;
    EXPECT_EQ(r.number, c.residue.number) << c.words;
    EXPECT_EQ(r.chain, c.residue.chain) << c.words;
    EXPECT_EQ(r.more, c.residue.more) << c.words;
    document.residues.push_back(r);
    EXPECT_EQ(ResidueLine(document, static_cast<int>(document.residues.size()) - 1), c.line);
    EXPECT_EQ(IsNoResidue(r), *c.words == '\0');
  }
  EXPECT_EQ(ResidueLine(document, -1), "RESI 0");
  EXPECT_EQ(ResidueLine(document, 99), "RESI 0");
  document.residues[0].line = "resi 5 CCF3 ! mine";
  EXPECT_EQ(ResidueLine(document, 0), "resi 5 CCF3 ! mine");
  EXPECT_EQ(ResidueKey(document.residues[1]), ResidueKey(ParseResidue("ccf3 5")));
  EXPECT_NE(ResidueKey(document.residues[1]), ResidueKey(ParseResidue("ccf3 5 x")));
  EXPECT_FALSE(IsNoResidue(ParseResidue("ALA")));
  EXPECT_FALSE(IsNoResidue(ParseResidue("B:0")));
  AtomRecord* atom = AddAtom(document, "C1", {});
  EXPECT_EQ(QualifiedName(document, *atom), "C1");
  const char* const names[] = {"C1_5", "C1_5", "C1_A:12", "C1_7", "C1", "C1_2"};
  for (atom->residue = 0; atom->residue < 6; ++atom->residue)
    EXPECT_EQ(QualifiedName(document, *atom), names[atom->residue]);
  EXPECT_EQ(QualifiedName(document, *atom), "C1") << "a residue that is not there";
}

TEST(Scatterers, TwoEntriesOfOneElementStayTwo) {
  Document document;
  Instructions& in = document.instructions;
  in.sfac = {6, 8, 6};
  AtomRecord* atom = AddAtom(document, "C1", {});
  const auto entry = [&](int16_t number) {
    atom->sfacNumber = number;
    return SfacEntryOf(in, *atom);
  };
  EXPECT_EQ(entry(1), 0);
  EXPECT_EQ(entry(3), 2);
  EXPECT_EQ(entry(-3), 2);
  EXPECT_EQ(entry(2), 0) << "which is oxygen by now";
  EXPECT_EQ(entry(0), 0);
  EXPECT_EQ(entry(4), 0);
  atom->element = &document.elements[7];
  EXPECT_EQ(entry(1), -1);
  in.sfac = {6, kUnknownRow, 8};
  in.sfacForms.resize(2);
  in.sfacForms[0].label = "C1+";
  EXPECT_EQ(SfacLabel(document, 1), "");
  EXPECT_EQ(SfacLabel(document, 2), "O") << "without a form";
  in.sfacForms[0].label = "N";
  EXPECT_EQ(SfacLabel(document, 0), "C") << "the label of another element";
}

TEST(IncludedFiles, AreSoughtBesideTheFileAndToldWhereTheyLieOutside) {
  for (const char* absolute : {"/a/b", "\\a\\b", "C:\\a"}) EXPECT_EQ(IncludedPath(absolute, "/x/"), absolute);
  EXPECT_EQ(IncludedPath("a:b", "/x/"), "a:b");
  EXPECT_EQ(IncludedPath("ab:c", "/x/"), "/x/ab:c");
  EXPECT_EQ(IncludedPath("b.ins", ""), "b.ins");
  namespace fs = std::filesystem;
  const fs::path home = fs::path(testing::TempDir()) / "marvik_included";
  fs::remove_all(home);
  fs::create_directories(home / "job" / "below");
  for (const char* name : {"job/in.ins", "job/below/in.ins", "out.ins"}) std::ofstream(home / name) << "REM\n";
  fs::create_symlink(home / "out.ins", home / "job" / "link.ins");
  const std::string job = (home / "job" / "").string();
  EXPECT_FALSE(LiesOutside(job + "in.ins", job));
  EXPECT_FALSE(LiesOutside(job + "below/in.ins", job));
  EXPECT_FALSE(LiesOutside(job + "absent.ins", job));
  EXPECT_TRUE(LiesOutside(job + "../out.ins", job));
  EXPECT_TRUE(LiesOutside(job + "link.ins", job));
  EXPECT_TRUE(LiesOutside(job + "in.ins", ""));
  EXPECT_TRUE(LiesOutside(job + "in.ins", job + "absent/"));
  fs::remove_all(home);
}

}  // namespace
}  // namespace marvik::test
