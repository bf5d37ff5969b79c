#include "model/undo.h"

#include <functional>
#include <gtest/gtest.h>

#include "crystal/symmetry.h"

#include "support/structures.h"

namespace marvik {
namespace {

AtomRecord* Add(Document& document, const std::string& name, double x) {
  return test::AddAtom(document, name, {x, 0.0, 0.0});
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
  EXPECT_EQ(test::NamesOf(document.atoms), "C1 O1");
  EXPECT_EQ(history.RedoName(), "Rename");
  ASSERT_TRUE(history.Undo(document));
  EXPECT_EQ(test::NamesOf(document.atoms), "C1 C2 O1");
  EXPECT_EQ(document.atoms.killedHead, nullptr);
  EXPECT_FALSE(history.Undo(document));
  ASSERT_TRUE(history.Redo(document));
  ASSERT_TRUE(history.Redo(document));
  EXPECT_EQ(test::NamesOf(document.atoms), "C9 O1");
  EXPECT_FALSE(history.Redo(document));
  for (const AtomRecord* atom : Atoms(document.atoms))
    EXPECT_EQ(atom->element, &document.elements[atom->element->atomicNumber]);
}

TEST(Undo, ToldByWhatChanged) {
  Document document;
  UndoHistory history;
  for (const char* name : {"C1", "C2", "O1", "Q1"}) Add(document, name, 0.1);
  AtomRecord* c2 = document.atoms.FindAtom("C2");
  Edit(history, document, "Rename", [&] { document.atoms.FindAtom("Q1")->name = "N1"; });
  Edit(history, document, "Kill", [&] { document.atoms.KillAtom(c2); });
  Edit(history, document, "Edit", [&] { document.atoms.head->fract.x = 0.4; });
  Edit(history, document, "Weights", [&] { document.settings.WeightCount = 3; });
  history.Undo(document);
  const auto moments = history.Moments();
  ASSERT_EQ(moments.size(), 5u);
  EXPECT_EQ(moments[3].document, nullptr) << "the present one";
  const char* expected[] = {"Q1 → N1", "− C2", "C1 changed", "instructions"};
  for (size_t i = 0; i < 4; ++i) {
    const Document& before = moments[i].document ? *moments[i].document : document;
    const Document& after = moments[i + 1].document ? *moments[i + 1].document : document;
    EXPECT_EQ(ChangeText(before, after), expected[i]);
  }
  // A file that is read anew has other serial numbers.
  Document fresh;
  for (const char* name : {"O1", "C1", "C2", "H1", "H2", "H3", "H4"}) Add(fresh, name, 0.1);
  EXPECT_EQ(ChangeText(*moments[0].document, fresh), "+ 4 atoms; − Q1");
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
  document.elements[6].colour = PackColour(1, 2, 3);
  document.atoms.selection.Append(document.atoms.tail);
  document.atoms.selection.Append(c2);
  document.atoms.selection.Append(c1);
  ASSERT_TRUE(history.Undo(document));
  ASSERT_EQ(document.atoms.selection.Size(), 2u);
  EXPECT_EQ(document.atoms.selection[0]->name, "C2");
  EXPECT_EQ(document.atoms.selection[1]->name, "C1");
  EXPECT_TRUE(document.atoms.head->Has(kSelected));
  EXPECT_EQ(document.atoms.head->element->colour, PackColour(1, 2, 3)) << "colours stay as the program has them";
}

TEST(Undo, KeepsAHundredStepsOfTwoThousandAtomsAndBoundsItsMemory) {
  Document document;
  UndoHistory history;
  for (int i = 0; i < 2000; ++i) Add(document, "C" + std::to_string(i), i * 1e-4);
  for (int i = 0; i < 400; ++i) Edit(history, document, "Move", [&] { document.atoms.head->fract.x += 0.01; });
  EXPECT_GE(history.Levels(), 100u);
  EXPECT_LE(history.Levels() * document.atoms.MemoryBytes(), size_t{256} << 20);
}

// C1 with a bond to C2, BIND, FREE, HFIX and a killed atom.
void Fill(Document& document) {
  RecordingMessages messages;
  AtomRecord* c1 = Add(document, "C1", 0.1);
  AtomRecord* c2 = Add(document, "C2", 0.2);
  AtomRecord* o1 = Add(document, "O1", 0.3);
  document.atoms.PushBond(c1, c2, messages);
  document.atoms.bindPairs.Append(c1, o1);
  document.atoms.freePairs.Append(c2, o1);
  document.atoms.hfix.push_back({c1, "HFIX 137 C1", -1});
  document.atoms.KillAtom(Add(document, "N1", 0.4));
}

TEST(Undo, NoticesAndTakesBackEveryChangeOfWhatIsKept) {
  using Change = std::function<void(Document&)>;
  const auto first = [](auto change) { return Change([change](Document& d) { change(*d.atoms.head); }); };
  const auto bond = [](auto change) { return Change([change](Document& d) { change(*d.atoms.head->bonds); }); };
  const Change changes[] = {
      first([](AtomRecord& a) { a.fract.z += 1e-9; }),
      first([](AtomRecord& a) { a.u[5] = 0.001; }),
      first([](AtomRecord& a) { a.uCount = 6; }),
      first([](AtomRecord& a) { a.occupancy = 10.5; }),
      first([](AtomRecord& a) { a.part = -1; }),
      first([](AtomRecord& a) { a.partHasOccupancy = 1; }),
      first([](AtomRecord& a) { a.codedValues[9] = 10.0; }),
      first([](AtomRecord& a) { a.afixGroup = 2; }),
      first([](AtomRecord& a) { a.residue = 0; }),
      first([](AtomRecord& a) { a.flags2 = kLabelOff; }),
      first([](AtomRecord& a) { a.charge = -1; }),
      first([](AtomRecord& a) { a.afterHklf = true; }),
      first([](AtomRecord& a) { a.MutableExtras().surplusWords = "0.5"; }),
      first([](AtomRecord& a) { a.Set(kHidden, true); }),
      first([](AtomRecord& a) { a.parent = a.next; }),
      bond([](BondRecord& b) { b.SetOrder(kDouble); }),
      bond([](BondRecord& b) { b.width = 0.2f; }),
      bond([](BondRecord& b) { b.partner = b.partner->next; }),
      [](Document& d) { d.atoms.RemoveAllBonds(); },
      [](Document& d) { d.atoms.KillAtom(d.atoms.tail); },
      [](Document& d) { d.atoms.killedHead->name = "N9"; },
      [](Document& d) { d.atoms.displaySubset.Append(d.atoms.head); },
      [](Document& d) { d.atoms.hiddenParts.push_back(2); },
      [](Document& d) { d.atoms.trailingLines.emplace_back().text = "ANIS"; },
      [](Document& d) { d.atoms.bindPairs.pairs[0].second = d.atoms.head->next; },
      [](Document& d) { d.atoms.freePairs.pairs.clear(); },
      [](Document& d) { d.atoms.hfix[0].text = "HFIX 33 C1"; },
      [](Document& d) { d.atoms.hfix[0].carrier = d.atoms.tail; },
      [](Document& d) { d.atoms.hfix.clear(); },
      [](Document& d) { d.cell.gamma = 91.0; },
      [](Document& d) { d.latticeCode = -1; },
      [](Document& d) { d.symmetry = {}, AddSymmetryOperator(d.symmetry, "-x,y,-z", 1, kSymmLineOperator); },
      [](Document& d) { d.instructions.kept.emplace_back().text = "DAMP 0"; },
      [](Document& d) { d.settings.Acta = !d.settings.Acta; },
      [](Document& d) { d.residues.emplace_back().number = 1; }};
  size_t number = 0;
  for (const Change& change : changes) {
    Document document;
    Fill(document);
    const Document before = document;
    UndoHistory history;
    ASSERT_TRUE(SameContent(before, document));
    ASSERT_TRUE(Edit(history, document, "Change", [&] { change(document); })) << number;
    const Document after = document;
    ASSERT_TRUE(history.Undo(document));
    EXPECT_TRUE(SameContent(before, document)) << number;
    ASSERT_TRUE(history.Redo(document));
    EXPECT_TRUE(SameContent(after, document)) << number;
    EXPECT_FALSE(SameContent(before, document)) << number++;
  }
  // What is computed from the rest, and the selection, are no changes.
  Document document;
  Fill(document);
  UndoHistory history;
  EXPECT_FALSE(Edit(history, document, "Look", [&] {
    document.atoms.selection.Append(document.atoms.head);
    document.atoms.head->position.x = 7.0;
    document.atoms.head->scratch = 3;
  }));
}

}  // namespace
}  // namespace marvik
