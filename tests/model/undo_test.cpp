#include "model/undo.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

AtomRecord* Add(Document& document, const std::string& name, double x) {
  RecordingMessages messages;
  AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
  atom->name = name;
  atom->element = &document.elements[ElementTable::ElementFromLabel(name)];
  atom->fract = {x, 0.0, 0.0};
  document.atoms.LinkAtTail(atom);
  return atom;
}

std::string NamesOf(const Document& document) {
  std::string names;
  for (const AtomRecord* atom : Atoms(document.atoms)) names += atom->name + " ";
  return names;
}

// Runs one change as a command does.
template <class Change>
bool Edit(UndoHistory& history, Document& document, const char* name, Change change) {
  history.Begin(document, name);
  change();
  return history.Settle(document);
}

TEST(Undo, TakesBackAndRepeatsUnderTheCommandsName) {
  Document document;
  UndoHistory history;
  Add(document, "C1", 0.1);
  AtomRecord* c2 = Add(document, "C2", 0.2);
  Add(document, "O1", 0.3);
  ASSERT_TRUE(Edit(history, document, "Kill", [&] { document.atoms.KillAtom(c2); }));
  ASSERT_TRUE(Edit(history, document, "Rename", [&] { document.atoms.head->name = "C9"; }));
  EXPECT_EQ(history.UndoName(), "Rename");
  ASSERT_TRUE(history.Undo(document));
  EXPECT_EQ(NamesOf(document), "C1 O1 ");
  EXPECT_EQ(history.RedoName(), "Rename");
  ASSERT_TRUE(history.Undo(document));
  EXPECT_EQ(NamesOf(document), "C1 C2 O1 ");
  EXPECT_EQ(document.atoms.killedHead, nullptr);
  EXPECT_FALSE(history.Undo(document));
  ASSERT_TRUE(history.Redo(document));
  ASSERT_TRUE(history.Redo(document));
  EXPECT_EQ(NamesOf(document), "C9 O1 ");
  EXPECT_FALSE(history.Redo(document));
  for (const AtomRecord* atom : Atoms(document.atoms))
    EXPECT_EQ(atom->element, &document.elements[atom->element->atomicNumber]);
}

TEST(Undo, ARefusedCommandLeavesNoStepAndKeepsTheRedo) {
  Document document;
  UndoHistory history;
  Add(document, "C1", 0.1);
  Edit(history, document, "Rename", [&] { document.atoms.head->name = "C2"; });
  history.Undo(document);
  EXPECT_FALSE(Edit(history, document, "Nothing", [] {}));
  EXPECT_FALSE(Edit(history, document, "Select", [&] { document.atoms.selection.Append(document.atoms.head); }));
  EXPECT_EQ(history.RedoName(), "Rename");
  EXPECT_TRUE(Edit(history, document, "Title", [&] { document.instructions.title = "new"; }));
  EXPECT_EQ(history.RedoName(), "");
}

TEST(Undo, SelectionStaysOnTheAtomsThatAreThere) {
  Document document;
  UndoHistory history;
  AtomRecord* c1 = Add(document, "C1", 0.1);
  AtomRecord* c2 = Add(document, "C2", 0.2);
  Edit(history, document, "Add", [&] { Add(document, "C3", 0.3); });
  document.atoms.selection.Append(document.atoms.tail);
  document.atoms.selection.Append(c2);
  document.atoms.selection.Append(c1);
  ASSERT_TRUE(history.Undo(document));
  ASSERT_EQ(document.atoms.selection.Size(), 2u);
  EXPECT_EQ(document.atoms.selection[0]->name, "C2");
  EXPECT_EQ(document.atoms.selection[1]->name, "C1");
  EXPECT_TRUE(document.atoms.head->Has(kSelected));
}

TEST(Undo, ColoursStayAsTheProgramHasThem) {
  Document document;
  UndoHistory history;
  Add(document, "C1", 0.1);
  Edit(history, document, "Rename", [&] { document.atoms.head->name = "C2"; });
  document.elements[6].colour = PackColour(1, 2, 3);
  ASSERT_TRUE(history.Undo(document));
  EXPECT_EQ(document.atoms.head->element->colour, PackColour(1, 2, 3));
}

TEST(Undo, KeepsAHundredStepsOfTwoThousandAtomsAndBoundsItsMemory) {
  Document document;
  UndoHistory history;
  for (int i = 0; i < 2000; ++i) Add(document, "C" + std::to_string(i), i * 1e-4);
  for (int i = 0; i < 400; ++i) Edit(history, document, "Move", [&] { document.atoms.head->fract.x += 0.01; });
  EXPECT_GE(history.Levels(), 100u);
  EXPECT_LE(history.Levels() * document.atoms.MemoryBytes(), size_t{256} << 20);
}

TEST(Undo, BringsBackWhatBelongsToNoAtom) {
  Document document;
  UndoHistory history;
  Add(document, "C1", 0.1);
  document.residues = {{"TOL", 2, "", "", ""}};
  const Document before = document;
  ASSERT_TRUE(Edit(history, document, "All", [&] {
    document.residues.push_back({"MEO", 3, "A", "", ""});
    document.cell.beta = 101.0;
    document.latticeCode = -2;
    document.symmetry.clear();
    document.settings.Cycles = before.settings.Cycles + 3;
    document.instructions.title = "new";
    document.MoleculeCentre = {1.0, 2.0, 3.0};
  }));
  ASSERT_TRUE(history.Undo(document));
  EXPECT_EQ(document.residues, before.residues);
  EXPECT_EQ(document.cell, before.cell);
  EXPECT_EQ(document.latticeCode, before.latticeCode);
  EXPECT_EQ(document.symmetry.size(), before.symmetry.size());
  EXPECT_EQ(document.settings.Cycles, before.settings.Cycles);
  EXPECT_EQ(document.instructions, before.instructions);
  EXPECT_EQ(document.MoleculeCentre, before.MoleculeCentre);
}

}  // namespace
}  // namespace marvik
