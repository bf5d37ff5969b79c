#include "app/bench_fixture.h"
#include "app/export_output.h"

#include "support/structures.h"

namespace marvik::test {
namespace {

class HandlerTest : public BenchTest {
 protected:
  HandlerTest() { EXPECT_TRUE(Open()); }
  std::string Selected() {
    std::string list;
    for (const AtomRecord* atom : bench.document.atoms.selection) list += (list.empty() ? "" : " ") + atom->name;
    return list;
  }
};

TEST_F(HandlerTest, SelectionsReplaceAddRemoveAndInvert) {
  const std::tuple<int, const char*, const char*> steps[] = {
      {144, "O1", "O1"},     {144, "+C*", "O1 C1 C2"},        {163, "N1", "O1 C1 C2 N1"}, {144, "- C2 O1", "C1 N1"},
      {144, "~C*", "N1 C2"}, {144, "~", "C1 O1 O2 H1 Q1 Q2"}, {144, "=PEAKS", "Q1 Q2"},   {144, "$H O1", "O1 H1"},
  };
  for (const auto& [id, argument, names] : steps) {
    EXPECT_EQ(Run(id, argument), Outcome::Done) << argument;
    EXPECT_EQ(Selected(), names) << argument;
  }
  for (const auto& [id, argument] : {std::pair(163, "Z9"), std::pair(144, "+X9")}) {
    EXPECT_EQ(Run(id, argument), Outcome::Failed);
    EXPECT_EQ(Captions(), "Error: No Atoms Selected");
  }
  EXPECT_EQ(Selected(), "O1 H1");
  bench.PickAtom(Atom("O1"));
  Run(127);
  EXPECT_EQ(Selected(), "H1");
  Run(127);
  EXPECT_EQ(Selected(), "H1 O1");
  Run(184);
  EXPECT_EQ(Selected(), "");
  EXPECT_FALSE(Atom("O1")->Has(kSelected));
}

TEST_F(HandlerTest, KillingMovesTheCentreOnly) {
  const double radius = bench.view.viewRadius;
  bench.view.panX = 7;
  const Cartesian before = bench.view.viewCentre;
  Run(163, "O2 Q1");
  EXPECT_EQ(Run(113), Outcome::Changed);
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 C2 N1 O1 H1 Q2");
  EXPECT_NE(bench.view.viewCentre, before);
  EXPECT_EQ(bench.view.viewRadius, radius);
  EXPECT_EQ(bench.view.panX, 7);
  EXPECT_EQ(Run(113), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Atoms Selected");

  bench.PickAtom(Atom("H1"));
  EXPECT_EQ(Run(130), Outcome::Changed);
  EXPECT_EQ(bench.PickedAtom(), nullptr) << "a pick does not outlive its atom";
  EXPECT_EQ(Run(130), Outcome::Failed);
  EXPECT_EQ(Run(203), Outcome::Changed);
  EXPECT_EQ(Run(203), Outcome::Done) << "no peak left, nothing changed";
  EXPECT_EQ(NamesOf(bench.document.atoms), "C1 C2 N1 O1");
  EXPECT_EQ(bench.document.atoms.killedHead->name, "Q2");
}

TEST_F(HandlerTest, AZoomedViewStaysWhereItIs) {
  EXPECT_EQ(Run(119), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Insufficient Selections");
  Run(163, "C1 C2");
  EXPECT_EQ(Run(119), Outcome::Done);
  EXPECT_TRUE(CommandChecked(bench, 119));
  EXPECT_NEAR(bench.view.viewRadius, 0.75, 1e-6);
  const Cartesian centre = bench.view.viewCentre;
  Run(203);
  EXPECT_EQ(bench.view.viewCentre, centre);
  Run(119);
  EXPECT_FALSE(CommandChecked(bench, 119));
  EXPECT_GT(bench.view.viewRadius, 3.0);
}

TEST_F(HandlerTest, KillingTheLastShownAtomShowsTheRest) {
  bench.document.atoms.displaySubset.Append(Atom("O2"));
  bench.ResetViewToModel();
  EXPECT_EQ(bench.view.viewRadius, 0.5);
  Run(130, "O2");
  EXPECT_TRUE(bench.document.atoms.displaySubset.Empty());
  EXPECT_GT(bench.view.viewRadius, 1.0);
}

TEST_F(HandlerTest, BondOrderStyleAndWidth) {
  EXPECT_EQ(Run(190), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Bonds Selected");
  Run(186, "C1 C2");
  Run(186, "N1-O1");
  for (const auto& [id, order] : {std::pair(189, 0), {190, 1}, {191, 2}, {235, 3}, {236, 4}}) {
    EXPECT_EQ(Run(id), Outcome::Changed);
    EXPECT_EQ(Bond("C1", "C2")->Order(), order);
    EXPECT_EQ(Bond("O1", "N1")->Order(), order);
    EXPECT_EQ(Bond("C2", "N1")->Order(), 0);
  }
  for (int style : {0, 2, 1}) {
    Run(224 + style);
    EXPECT_EQ(Bond("C1", "C2")->Style(), style);
  }
  // A picked bond that is not selected stands alone; one that is stands for all.
  bench.PickBond(Bond("C2", "N1"));
  Run(218);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_EQ(Bond("C1", "C2")->width, 0.1f);
  bench.PickBond(Bond("C1", "C2"));
  Run(219);
  EXPECT_EQ(Bond("N1", "O1")->width, 0.025f);
  Run(217);
  EXPECT_EQ(Bond("N1", "O1")->width, 0.1f);
  EXPECT_EQ(Bond("C2", "N1")->width, 0.2f);
  EXPECT_FALSE(bench.modified) << "no file holds the looks of a bond";
  Run(134);
  EXPECT_EQ(LastText(), "C1  C2     1.500\n order: Pi");
  EXPECT_EQ(Captions(), "Bond");
  Run(186, "C2 C1");
  EXPECT_EQ(bench.document.atoms.selectedBonds, std::vector{Bond("N1", "O1")});
}

TEST_F(HandlerTest, BondsAreMadeAndBroken) {
  EXPECT_EQ(Run(237, "O2"), Outcome::Failed);
  EXPECT_EQ(LastText(), "You must select at least one atom to bind to a target.");
  Run(163, "C1 O1");
  const Cartesian centre = bench.view.viewCentre;
  EXPECT_EQ(Run(237, "O2"), Outcome::Changed);
  EXPECT_TRUE(Bond("C1", "O2"));
  EXPECT_TRUE(Bond("O1", "O2"));
  EXPECT_EQ(bench.view.viewCentre, centre);
  bench.PickAtom(Atom("N1"));
  EXPECT_EQ(Run(238, "N1"), Outcome::Failed);
  EXPECT_EQ(Run(238, "nobody"), Outcome::Failed);
  EXPECT_EQ(Run(238, "O2"), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.bindPairs.pairs.size(), 3u);

  bench.PickBond(Bond("C1", "O2"));
  EXPECT_EQ(Run(136), Outcome::Changed);
  EXPECT_EQ(bench.PickedBond(), nullptr);
  EXPECT_EQ(Run(136, "C1-C2"), Outcome::Changed);
  EXPECT_EQ(Run(136, "C1-C2"), Outcome::Failed);
  EXPECT_EQ(bench.document.atoms.bindPairs.pairs.size(), 2u);
  EXPECT_EQ(bench.document.atoms.freePairs.pairs.size(), 1u);
  EXPECT_TRUE(bench.modified);
}

TEST_F(HandlerTest, HidingTakesAtomsOutOfTheSelection) {
  Run(163, "C1 C2");
  EXPECT_EQ(Run(243), Outcome::Changed);
  EXPECT_TRUE(Atom("C1")->Has(kHidden));
  EXPECT_FALSE(Atom("N1")->Has(kHidden));
  EXPECT_EQ(Selected(), "");
  Run(163, "N1");
  Run(244);
  EXPECT_EQ(AtomIterator(bench.document.atoms).Count(kVisibleOnly), 1);
  EXPECT_TRUE(Atom("C1")->Has(kHidden)) << "what was hidden stays hidden";
  EXPECT_EQ(Selected(), "N1");
  EXPECT_EQ(Run(245), Outcome::Changed);
  EXPECT_EQ(AtomIterator(bench.document.atoms).Count(kVisibleOnly), 8);
  EXPECT_FALSE(bench.modified);
}

TEST_F(HandlerTest, LabelsOfSingleAtoms) {
  Run(163, "C1 C2");
  Run(204);
  Run(213, "C2 N1");
  EXPECT_TRUE(Atom("C1")->flags2 & kLabelOff);
  EXPECT_FALSE(Atom("C2")->flags2 & kLabelOff);
  EXPECT_TRUE(Atom("N1")->flags2 & kLabelOff);
  Run(205);
  EXPECT_FALSE(Atom("C1")->flags2 & kLabelOff);

  EXPECT_EQ(Run(kPositionLabelCommand, "C1 0.1 -0.75"), Outcome::Changed);
  EXPECT_EQ(Atom("C1")->labelOffsetX, 0.1f);
  EXPECT_EQ(Atom("C1")->labelOffsetY, -0.5f);
  EXPECT_TRUE(Atom("C1")->flags2 & kLabelPlaced);
  for (const char* wrong : {"C1", "C1 0.1", "C1 a b", "Z9 0 0"}) {
    EXPECT_EQ(Run(kPositionLabelCommand, wrong), Outcome::Failed) << wrong;
  }
}

TEST_F(HandlerTest, DuplicatesAreListedAndSelected) {
  EXPECT_EQ(Run(185), Outcome::Done);
  EXPECT_EQ(LastText(), "No atom name duplications were found.");
  EXPECT_EQ(Captions(), "No Duplicates Found");
  Atom("O2")->name = "O1";
  Atom("C2")->name = "C1";
  Run(163, "N1");
  Run(185);
  EXPECT_NE(LastText().find("C1 O1"), std::string::npos);
  EXPECT_EQ(Selected(), "C1 C1 O1 O1");
}

// Half of a ring about the inversion centre, and an ion.
constexpr char kHalfRing[] =
    "TITL half\nCELL 0.71073 8 9 10 90 95 90\nZERR 1 0 0 0 0 0 0\nLATT 1\nSFAC C O\nUNIT 6 2\nFVAR 1.0\n"
    "C1 1 0.12 0.10 0.0 11.0 0.05\nC2 1 0.175 -0.05 0.0 11.0 0.05\nC3 1 0.06 -0.15 0.0 11.0 0.05\n"
    "O9 2 0.5 0.5 0.4 11.0 0.05\nHKLF 4\nEND\n";

class SymmetryHandlers : public BenchTest {
 protected:
  SymmetryHandlers() { EXPECT_TRUE(Open(kHalfRing, "half.res")); }
  size_t Count() const { return bench.document.atoms.LiveCount(); }
};

TEST_F(SymmetryHandlers, GrowTrimAndUndo) {
  EXPECT_EQ(Run(138), Outcome::Changed);
  EXPECT_EQ(Count(), 7u);
  EXPECT_TRUE(bench.modified);
  EXPECT_EQ(CommandText(bench, kUndoCommand), "&Undo Grow");
  EXPECT_EQ(Run(138), Outcome::Done);
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_EQ(Count(), 4u);
  EXPECT_EQ(CommandText(bench, kUndoCommand), "&Undo");
  EXPECT_EQ(CommandText(bench, kRedoCommand), "Re&do Grow");
  EXPECT_EQ(Run(kRedoCommand), Outcome::Changed);
  EXPECT_EQ(Run(139), Outcome::Changed);
  EXPECT_EQ(Count(), 4u);
  EXPECT_EQ(Run(kRedoCommand), Outcome::Failed);
  EXPECT_EQ(Captions(), "Command Usage Error:");
}

TEST_F(SymmetryHandlers, PackTakesLimitsOrACountAndRefusesTheRest) {
  EXPECT_EQ(Run(142, "0,1,0,1,0,1"), Outcome::Changed);
  EXPECT_EQ(Count(), 8u * 6u + 2u);
  for (const char* bad : {"0,1,0,1", "a,1,0,1,0,1", "1,0,0,1,0,1", "0,1000,0,1000,0,1000", "0,1,0,1,0,1,2"})
    EXPECT_EQ(Run(142, bad), Outcome::Failed) << bad;
  EXPECT_NE(messages.shown[3].text.find("8000000000"), std::string::npos) << messages.shown[3].text;
  Run(kUndoCommand);
  EXPECT_EQ(Run(kPackCountCommand, "1"), Outcome::Changed);
  EXPECT_EQ(Run(kPackCountCommand, "many"), Outcome::Failed);
}

TEST_F(SymmetryHandlers, UniqShowsAFragmentAndUnUniqWhatWasShownBefore) {
  EXPECT_EQ(Run(212), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Not UNIQued");
  EXPECT_EQ(Run(116), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Atoms Selected");
  Run(kSelectByNameCommand, "C2");
  EXPECT_EQ(Run(116), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.displaySubset.Size(), 3u);
  EXPECT_EQ(Run(129, "O9"), Outcome::Failed) << "it is not displayed";
  EXPECT_EQ(Run(212), Outcome::Changed);
  EXPECT_TRUE(bench.document.atoms.displaySubset.Empty());
  EXPECT_FALSE(bench.modified);
}

TEST_F(SymmetryHandlers, MoveNearNeedsASelectionAndATarget) {
  EXPECT_EQ(Run(246, "C1"), Outcome::Failed);
  EXPECT_EQ(LastText(), "You must select at least one atom to move near the target.");
  Run(kSelectByNameCommand, "O9");
  EXPECT_EQ(Run(246, "C77"), Outcome::Failed);
  EXPECT_EQ(Run(246, "C1"), Outcome::Changed);
}

constexpr int kEditFile = 148;
constexpr int kListing = 166;

class EditorHandlers : public BenchTest {
 protected:
  EditorHandlers() { EXPECT_TRUE(Open()); }
  // An editor that replaces one stretch of the file by another.
  void EditorReplaces(const std::string& from, const std::string& to) {
    bench.hooks.runEditor = [=, this](const std::string& path, bool wait) {
      EXPECT_TRUE(wait);
      std::string text = folder.Get(FileNameOf(path));
      const size_t at = text.find(from);
      EXPECT_NE(at, std::string::npos) << text;
      if (at != std::string::npos) text.replace(at, from.size(), to);
      folder.Put(FileNameOf(path), text);
      return true;
    };
  }
};

TEST_F(EditorHandlers, WhatWasEditedIsReadAndCanBeUndone) {
  EditorReplaces("C2 ", "C7 ");
  Atom("C1")->fract.x = 0.12;  // goes into the file before it is edited
  EXPECT_EQ(Run(kEditFile), Outcome::Done);
  ASSERT_TRUE(Atom("C7"));
  EXPECT_NEAR(Atom("C1")->fract.x, 0.12, 1e-9);
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_TRUE(Atom("C2"));
  EXPECT_TRUE(bench.modified);
}

TEST_F(EditorHandlers, AFileThatWasSpoiledIsReportedAndTheStructureStays) {
  const std::string name = bench.document.CurrentFile;
  EditorReplaces("CELL 0.71073 10 10 10", "CELL 0.71073 0 10 10");
  EXPECT_EQ(Run(kEditFile), Outcome::Failed);
  EXPECT_EQ(messages.shown.back().caption, "Error: File Unreadable");
  EXPECT_TRUE(Atom("C2"));
  EXPECT_EQ(bench.document.CurrentFile, name);
  EXPECT_TRUE(bench.modified) << "the file holds something else";
}

TEST_F(EditorHandlers, AListingIsShownOnlyWhenThereIsOne) {
  std::string shown;
  bench.hooks.runEditor = [&](const std::string& path, bool wait) {
    EXPECT_FALSE(wait);
    shown = path;
    return true;
  };
  EXPECT_EQ(Run(kListing), Outcome::Failed);
  EXPECT_EQ(LastText(), "The listing file\n" + (folder / "small.lst") + "\ndoes not exist or could not be opened!");
  EXPECT_EQ(Captions(), "Error: File Not Found");
  folder.Put("small.lst", "listing\n");
  EXPECT_EQ(Run(kListing), Outcome::Done);
  EXPECT_EQ(shown, folder / "small.lst");
  EXPECT_EQ(Captions(), "");
  // A run that failed has written the instructions and no listing.
  folder.Put("small.ins", kSmallFile);
  std::filesystem::last_write_time(folder / "small.lst", std::filesystem::file_time_type::min());
  EXPECT_EQ(Run(kListing), Outcome::Done);
  EXPECT_EQ(Captions(), "View Listing");
  bench.hooks.runEditor = {};
  EXPECT_EQ(Run(kEditFile), Outcome::Failed);
}

TEST_F(BenchTest, HelpDocumentsAreFoundInThePackageDirectoryElseWhereTheyAreInstalled) {
  const WithVariable package(kPackageVariable, folder / "own");
  bench.installedDirectory = folder / "installed/";
  std::string opened;
  bench.hooks.openDocument = [&](const std::string& path) {
    opened = path;
    return true;
  };
  EXPECT_EQ(Run(233), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: File Not Found");
  std::filesystem::create_directories(folder / "installed/Help");
  folder.Put("installed/Help/Marvik_Users.pdf", "x");
  EXPECT_EQ(Run(233), Outcome::Done);
  EXPECT_EQ(opened, folder / "installed/Help/Marvik_Users.pdf");
  std::filesystem::create_directories(folder / "own/Help");
  folder.Put("own/Help/Marvik_Users.pdf", "x");
  EXPECT_EQ(Run(233), Outcome::Done);
  EXPECT_EQ(opened, folder / "own/Help/Marvik_Users.pdf");
}

TEST_F(BenchTest, WhatIsTypedIsKeptAndStandsInTheCifOfThisRefinementAndTheNext) {
  constexpr const char* kCif = "data_small\n_cell_length_a 10\n_exptl_crystal_colour ?\n_exptl_crystal_size_max ?\n";
  ASSERT_TRUE(Open());
  const std::string path = folder.Put("small.cif", kCif);
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_colour 'pale yellow'"), Outcome::Done);
  const std::string done = ReadWholeFile(path).content;
  EXPECT_NE(done.find("_exptl_crystal_colour"), std::string::npos);
  EXPECT_NE(done.find("'pale yellow'"), std::string::npos) << done;
  EXPECT_NE(done.find("_exptl_crystal_size_max"), std::string::npos) << "the rest stays";
  EXPECT_EQ(ReadWholeFile(path + ".bak").content, kCif);
  // The same once more changes nothing, so that no second backup pushes the first one out.
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_colour 'pale yellow'"), Outcome::Done);
  EXPECT_EQ(ReadWholeFile(path + ".bak").content, kCif);
  // The next refinement writes a new one; what was typed before comes into it with the next item.
  folder.Put("small.cif", kCif);
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_size_max 0.3"), Outcome::Done);
  const std::string next = ReadWholeFile(path).content;
  EXPECT_NE(next.find("'pale yellow'"), std::string::npos) << next;
  EXPECT_NE(next.find("0.3"), std::string::npos);
  EXPECT_EQ(Run(kPublicationCommand, "no-such-template"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Command Usage Error:");
}

constexpr const char* kNames[] = {"x.pdb", "x.CT", "x.inp", "x.wrl", "x.con", "x.glb"};

TEST_F(BenchTest, ExportsGoByTheExtensionAndLeaveTheFileAlone) {
  ASSERT_TRUE(Open());
  EXPECT_EQ(Run(102, folder / "x.Wrl"), Outcome::Failed);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text,
            "VRML structure display is currently implemented only for\n"
            "Ball and Stick models and Thermal Ellipsoid models.");
  EXPECT_EQ(Captions(), "Invalid Display Choice");
  bench.RenditionMode = kThermalEllipsoid;
  for (const char* name : kNames) {
    EXPECT_EQ(Run(102, folder / name), Outcome::Failed) << name;
    EXPECT_EQ(Captions(), "Error: Found Atom of Type Q") << name;
    EXPECT_FALSE(folder.Has(name));
  }
  Run(203);
  std::vector<std::string> queries;
  bench.hooks.startConQuest = [&](const std::string& path) { queries.push_back(path); };
  constexpr const char* kBegins[] = {"COMPND  x.pdb ",    "small\n6 4\n",   "FIELDS LAB TYP COO TFU\n",
                                     "#VRML V2.0 utf8\n", "T1 *CONN\nAT1 ", "glTF\x02"};
  for (size_t i = 0; i < std::size(kNames); ++i) {
    EXPECT_EQ(Run(102, folder / kNames[i]), Outcome::Done) << kNames[i];
    EXPECT_TRUE(folder.Get(kNames[i]).starts_with(kBegins[i])) << folder.Get(kNames[i]).substr(0, 60);
    EXPECT_EQ(Run(102, folder / "no/such/" + kNames[i]), Outcome::Failed);
    EXPECT_EQ(Captions(), "Error: File I/O");
  }
  EXPECT_EQ(queries, std::vector<std::string>{folder / "x.con"});
  EXPECT_EQ(bench.Title(), "small.res");
  EXPECT_TRUE(bench.modified);
}

TEST_F(BenchTest, ScenesAreSeenAsInTheWindow) {
  ASSERT_TRUE(Open());
  ViewState& view = bench.view;
  view.RotateView(40, {1, 0.3, -0.2}, true);
  view.RotateView(-75, {0, 1, 0}, true);
  view.panX = 30;
  view.panY = -50;
  const SceneView scene = ViewOfScene(view);
  EXPECT_NEAR(Determinant(scene.rotation), 1.0, 1e-6);
  for (const AtomRecord* atom : Atoms(bench.document.atoms)) {
    const ViewPoint window = view.TransformPoint(atom->position - view.viewCentre).p;
    const ScenePoint seen = scene.rotation * (SceneFrame(atom->position) - scene.centre) / scene.halfExtent;
    EXPECT_NEAR(seen.x, window.x + 30 / (view.drawingSize / 2), 1e-6);
    EXPECT_NEAR(seen.y, window.y + 50 / (view.drawingSize / 2), 1e-6);
    EXPECT_NEAR(seen.z, window.z, 1e-6);
  }
}

}  // namespace
}  // namespace marvik::test
