#include "edit/edit_atom.h"
#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "language/residues.h"

#include "bench_fixture.h"
#include "support/structures.h"

namespace marvik::test {
namespace {

// A chain with a methyl group, disorder in two parts, a residue, and lines that name atoms in every way.
constexpr char kFile[] =
    "TITL edit\nCELL 0.71073 10 10 10 90 90 90\nZERR 2 0 0 0 0 0 0\nLATT -1\nSYMM -X, 1/2+Y, -Z\nSFAC C H N O\n"
    "UNIT 12 4 4 8\nL.S. 4\n"
    "DFIX 1.5 C1 C2 ! C1 in a comment\nSADI_2 C1 C2\nSIMU C1 > N1\nRTAB d C1_$1 C2\nEQIV $1 x, y, z+1\n"
    "FLAT C1 C2 =\n N1 O1\nBOND C1\nHFIX 43 C2\nBIND C1 O2\nFVAR 1.0 0.6\n"
    "C1 1 0.10 0.10 0.10 11.0 0.05\n"
    "AFIX 137\nH1A 2 0.10 0.20 0.10 11.0 -1.5\nH1B 2 0.04 0.04 0.10 11.0 -1.5\nAFIX 0\n"
    "C2 1 0.25 0.10 0.10 11.0 0.04 0.05 0.06 0.001 0.002 0.003\n"
    "N1 3 0.39 0.10 0.10 11.0 0.05\nO1 4 0.43 0.22 0.10 11.0 0.05\nO2 4 0.80 0.80 0.80 11.0 0.05\n"
    "RESI 2 ALA\nC1 1 0.6 0.6 0.6 11.0 0.05\nC2 1 0.7 0.6 0.6 11.0 0.05\nRESI 0\n"
    "Q1 1 0.5 0.5 0.5 11.0 0.05 0.80\nHKLF 4\nEND\n";

class EditAtoms : public BenchTest {
 protected:
  EditAtoms() {
    bench.FmolAfterChanges = false;
    bench.saveLayout = FileLayout::Standard;
    EXPECT_TRUE(Open(kFile, "edit.res"));
  }
};

TEST_F(EditAtoms, RenamingAnAtomRenamesItInTheLinesThatNameIt) {
  EXPECT_EQ(Run(kRenameAtomCommand, "C1 C9"), Outcome::Changed);
  for (const char* line : {"DFIX 1.5 C9 C2 ! C1 in a comment", "SADI_2 C1 C2", "SIMU C9 > N1", "RTAB d C9_$1 C2",
                           "FLAT C9 C2 =\n N1 O1", "BOND C9", "BIND C9 O2"})
    EXPECT_TRUE(Writes(line)) << line;
  EXPECT_EQ(Run(kRenameAtomCommand, "C1_2 CX"), Outcome::Changed);
  EXPECT_TRUE(Writes("SADI_2 CX C2")) << Saved();
  EXPECT_EQ(Run(kRenameAtomCommand, "C2 C3"), Outcome::Changed);
  EXPECT_TRUE(Writes("HFIX 43 C3"));
  EXPECT_EQ(Captions(), "");
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_TRUE(Writes("HFIX 43 C2"));
}

TEST_F(EditAtoms, NamesThatCannotBeAreRefusedByTheirField) {
  for (const char* bad : {"C1 C2", "C1 1C", "C1 C_1", "C1 C12345", "C1 AFIX", "C1 C*", "C1 H1a"}) {
    EXPECT_EQ(Run(kRenameAtomCommand, bad), Outcome::Failed) << bad;
    EXPECT_EQ(LastText().substr(0, 6), "Name: ") << LastText();
  }
  EXPECT_EQ(Run(kRenameAtomCommand, "C1_2 N1"), Outcome::Changed) << "another residue has its own names";
  EXPECT_EQ(Run(kRenameAtomCommand, "C9"), Outcome::Failed);
  EXPECT_EQ(Run(kRenameAtomCommand, "C1 C 9"), Outcome::Failed);
}

TEST_F(EditAtoms, KillingAnAtomShowsTheLinesThatStillNameIt) {
  Run(kSelectByNameCommand, "N1");
  EXPECT_EQ(Run(kKillSelectedCommand), Outcome::Changed);
  EXPECT_EQ(LastText(), "These lines still name atoms that were killed:\nSIMU C1 > N1\nFLAT C1 C2  N1 O1");
  messages.shown.clear();
  Run(kSelectByNameCommand, "O1_0 O2");
  EXPECT_EQ(Run(kKillSelectedCommand), Outcome::Changed);
  EXPECT_EQ(LastText().find("BIND"), std::string::npos) << "the pair went with its atom";
  messages.shown.clear();
  EXPECT_EQ(Run(203), Outcome::Changed);
  EXPECT_EQ(Captions(), "") << "no line names a peak";
}

TEST_F(EditAtoms, ANewElementEntersSfacAndUnitWhenWanted) {
  messages.answers = {true};
  EXPECT_EQ(Run(kRenameAtomCommand, "Q1 S1"), Outcome::Changed);
  EXPECT_EQ(messages.asked.size(), 1u);
  EXPECT_TRUE(Writes("SFAC C H N O S ")) << Saved();
  EXPECT_TRUE(Writes("UNIT 12 4 4 8 2 ")) << "two operators";
  EXPECT_FALSE(Atom("S1")->next) << "it stands last";
  EXPECT_EQ(NamesOf(bench.document.atoms).substr(0, 14), "C1 H1A H1B C2 ");
}

TEST_F(EditAtoms, ANewElementTakesNoAtomThatWasNamedLikeIt) {
  std::string text = kFile;
  text.replace(text.find("O2 4 0.80"), 2, "S2");
  bench.SetModified(false);
  ASSERT_TRUE(Open(text, "named.res"));
  ASSERT_EQ(Atom("S2")->element->Symbol(), "O") << "no S on SFAC: its number decides";
  messages.answers = {true};
  EXPECT_EQ(Run(kRenameAtomCommand, "Q1 S1"), Outcome::Changed);
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 H1A H1B C2 N1 O1 O2 C1 C2 S1");
}

TEST_F(EditAtoms, AnAtomKeepsItsElementWhenTheNewOneIsNotWanted) {
  messages.answers = {false};
  EXPECT_EQ(Run(kRenameAtomCommand, "C1_0 CD"), Outcome::Changed);
  EXPECT_EQ(Atom("CD")->element->Symbol(), "C") << "not cadmium";
  EXPECT_TRUE(Writes("SFAC C H N O "));
  EXPECT_EQ(Run(kRenameAtomCommand, "CD N7"), Outcome::Changed);
  EXPECT_EQ(Atom("N7")->element->Symbol(), "N");
  EXPECT_FALSE(Atom("N7")->elementFromSfac);
  EXPECT_EQ(messages.asked.size(), 1u);
}

TEST_F(EditAtoms, EntriesBeforeLongFormsMoveTheNumbersAlong) {
  const std::string path = folder.Put(
      "long.res",
      "TITL l\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C\n"
      "SFAC O 3.0485 13.2771 2.2868 5.7011 1.5463 0.3239 0.867 32.9089 0.2508 0.011 0.006 32.5 0.66 15.999\n"
      "UNIT 1 1\nFVAR 1.0\nC1 1 0.1 0.1 0.1 11.0 0.05\nO1 2 0.5 0.5 0.5 11.0 0.05\nN1 2 0.7 0.5 0.5 11.0 0.05\nEND\n");
  ASSERT_TRUE(OpenFile(bench, path));
  messages.answers = {true};
  EXPECT_EQ(Run(kRenameAtomCommand, "C1 S1"), Outcome::Changed);
  EXPECT_TRUE(Writes("UNIT 1 1 1 "));
  const std::string text = Saved();
  EXPECT_NE(text.find("\nS1     2 "), std::string::npos) << text;
  EXPECT_NE(text.find("\nO1     3 "), std::string::npos);
  EXPECT_NE(text.find("\nN1     3 "), std::string::npos) << "the number still decides";
}

TEST_F(EditAtoms, UnitIsRecountedFromTheAtoms) {
  EXPECT_EQ(Run(114, "O1_0 occupancy=-21"), Outcome::Changed);
  EXPECT_EQ(Run(511), Outcome::Changed);
  EXPECT_TRUE(Writes("UNIT 8 4 2 2.8 ")) << Saved();
  EXPECT_EQ(Run(511), Outcome::Done);
}

TEST_F(EditAtoms, FieldsOfAnAtom) {
  EXPECT_EQ(Run(114, "C1_0 x=0.15 y=10.1 u=0.07 part=-1 occupancy=21"), Outcome::Changed);
  EXPECT_TRUE(Writes("C1     1   0.150000 10.100000  0.100000 21.000000  0.070000")) << Saved();
  EXPECT_NEAR(Atom("H1A")->fract.x, 0.15, 1e-9) << "riding hydrogens move along";
  EXPECT_EQ(Run(114, "C1_0 y=0.1"), Outcome::Changed);
  EXPECT_EQ(Atom("C1")->codedValues[kCodedY], 0.0);
  EXPECT_EQ(Run(114, "C2_0 u=0.03"), Outcome::Changed);
  EXPECT_FALSE(Atom("C2")->IsAnisotropic());
  EXPECT_EQ(Run(114, "C2_0 u11=0.1 u22=0.2 u33=0.3 u23=0 u13=0 u12=0"), Outcome::Changed);
  EXPECT_TRUE(Atom("C2")->IsAnisotropic());
  EXPECT_EQ(Run(114, "C2_0 residue=7/GLY"), Outcome::Changed);
  EXPECT_EQ(QualifiedName(bench.document, *Atom("C2")), "C2_7");
  EXPECT_TRUE(Writes("RESI 7 GLY"));
  EXPECT_EQ(Run(114, "Q1 height=2.5"), Outcome::Changed);
  EXPECT_EQ(Captions(), "");
  Run(kSelectByNameCommand, "O1 O2");
  EXPECT_EQ(Run(114, "afix=0 u=0.1"), Outcome::Changed) << "several at once";
  EXPECT_EQ(Atom("O2")->u[0], 0.1);
}

TEST_F(EditAtoms, BadFieldsAreNamedAndChangeNothing) {
  const std::string before = Saved();
  const std::pair<const char*, const char*> kBad[] = {{"O1 x=1e308", "x: 1e308 is not between"},
                                                      {"O1 x=41", "x: 41 refers to free variable 4, and there are 2."},
                                                      {"O1 u=-0.1", "Uiso: a negative value"},
                                                      {"O1 u11=0.1", "U22: a number is missing."},
                                                      {"O1 u=0.1 u11=1", "Uiso: an atom has either"},
                                                      {"O1 part=1.5", "PART: \"1.5\" is not a whole number."},
                                                      {"O1 element=Xx", "Element: \"Xx\" is not the symbol"},
                                                      {"O1 element=N", "Element: the name O1 stands for O"},
                                                      {"O1 residue=ALA", "Residue: \"ALA\""},
                                                      {"O1 height=1", "Peak height: only a peak has one."},
                                                      {"O1 colour=1", "colour: there is no such field"},
                                                      {"O1 x=0 x=1", "x: the field is given twice."},
                                                      {"O1 O2 x=0.1", "x: this can be set for one atom"},
                                                      {"x=0.1", "You must have at least one atom selected!"}};
  for (const auto& [argument, sentence] : kBad) ExpectRefused(114, argument, sentence);
  messages.shown.clear();
  EXPECT_EQ(Saved(), before);
}

// Whatever is entered for a number that is none, the message names the field and nothing changes.
TEST_F(EditAtoms, NumberFieldsOfEveryDialogAreChecked) {
  const std::tuple<int, const char*, const char*> fields[] = {
      {107, "%", "Depth cue level"},
      {114, "x=%", "x:"},
      {114, "occupancy=%", "Occupancy"},
      {114, "u=%", "Uiso"},
      {114, "part=%", "PART"},
      {114, "afix=%", "AFIX"},
      {142, "%,1,0,1,0,1", "along a"},
      {142, "0,1,0,1,0,%", "along c"},
      {164, "%", "Number of cells"},
      {167, "part=%", "PART"},
      {167, "fvar=%", "Free variable"},
      {167, "occupancy=%", "Occupancy"},
      {167, "fvar=2 value=%", "Value of the free variable"},
      {168, "%", "PART"},
      {183, "first=%", "First number"},
      {196, "C1 % 0", "place of a label"},
      {220, "%", "width"},
      {520, "%", "step"},
  };
  for (const auto& [id, field, name] : fields) {
    for (const char* value : {"abc", "nan", "1e308", "-1e308", "1.5x", "\xE4"}) {
      const bool isClamped = (id == 107 || id == 196) && std::string(value).ends_with("e308");
      if (isClamped) continue;
      std::string text = field;
      Run(kSelectAtomsCommand, "C1");
      Run(kSelectPickedBondCommand, "C1 C2");
      ExpectRefused(id, text.replace(text.find('%'), 1, value), name);
      EXPECT_EQ(bench.history.Levels(), 0u) << id << "=" << text;
    }
  }
}

// What the dialog shows first, given back unchanged, is no change at all, for every atom of every example.
TEST_F(EditAtoms, TheFieldsOfAnAtomReadBackAsThemselves) {
  std::vector<std::string> files = ExampleFiles();
  files.push_back(folder / "edit.res");
  messages.answers = std::vector<bool>(1000, true);
  for (const std::string& file : files) {
    bench.modified = false;
    if (!OpenFile(bench, file)) continue;
    for (AtomRecord* atom : Atoms(bench.document.atoms)) {
      EditArguments arguments;
      for (const auto& field : AtomFields(bench.document, *atom)) {
        const bool name = field.key == "name" || field.key == "element";
        if (!field.value.empty() && !name) arguments.fields.push_back(field);
      }
      const auto before = AtomFields(bench.document, *atom);
      EditFault fault;
      const auto edit = ParseAtomEdit(bench.document, {atom}, arguments, fault);
      ASSERT_TRUE(edit) << file << " " << atom->name << " " << fault.text;
      ApplyAtomEdit(bench.document, {atom}, *edit, messages);
      const auto after = AtomFields(bench.document, *atom);
      for (size_t i = 0; i < before.size(); ++i) {
        ASSERT_EQ(after[i].value, before[i].value) << file << " " << atom->name << " " << before[i].key;
      }
    }
  }
}

TEST_F(EditAtoms, ImagesAreNotEditedButFollowTheirSource) {
  Run(142, "0,1,0,1,0,1,atoms");
  AtomRecord* image = nullptr;
  for (AtomRecord* atom : Atoms(bench.document.atoms))
    if (atom->generated && atom->name == "O2") image = atom;
  ASSERT_TRUE(image);
  const std::string serial = std::to_string(image->serial);
  bench.document.atoms.selection.Append(image);
  EXPECT_EQ(Run(114, "x=0.1"), Outcome::Failed);
  EXPECT_EQ(messages.shown.back().caption, "Command Usage Error:");
  bench.document.atoms.selection.Clear();
  bench.document.atoms.selection.Append(Atom("O2"));
  EXPECT_EQ(Run(kRenameAtomCommand, "O7"), Outcome::Changed);
  EXPECT_EQ(image->name, "O7") << serial;
}

}  // namespace
}  // namespace marvik::test
