#include "model/atom_list.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <set>

#include "support/structures.h"

namespace marvik {
namespace {

using test::AddAtom;
using test::BondsOf;
using test::FaultsOf;
using test::NamesOf;

class AtomListTest : public testing::Test {
 protected:
  AtomRecord* Add(std::string_view name) { return AddAtom(document_, name, {}); }
  BondRecord* Bond(AtomRecord* a, AtomRecord* b) {
    return list_.AddBond(a, b, {}, kSingle, 0, 0.1f, kSolid, messages_);
  }
  std::string Killed() const {
    std::string names;
    for (const AtomRecord* atom = list_.killedHead; atom; atom = atom->next) names += atom->name + " ";
    return names;
  }

  Document document_;
  AtomList& list_ = document_.atoms;
  RecordingMessages messages_;
};

TEST_F(AtomListTest, AddBondUpdatesTheOneRecordOfAPair) {
  AtomRecord *a = Add("C1"), *b = Add("C2"), *c = Add("C3");
  EXPECT_EQ(Bond(a, a), nullptr);
  BondRecord* bond = Bond(a, b);
  Bond(a, c);
  EXPECT_EQ(BondsOf(list_), "C1-C3 C1-C2");
  bond->bits |= 1;
  EXPECT_EQ(list_.AddBond(b, a, {7, 8}, kAromatic, 1000, 0.25f, kDotted, messages_), bond);
  EXPECT_EQ(BondsOf(list_), "C1-C3 C1-C2");
  EXPECT_EQ(bond->bits & 1, 1);
  EXPECT_EQ(std::tuple(bond->Order(), bond->Style(), bond->WidthClass()), std::tuple(kAromatic, kDotted, 1000));
  EXPECT_EQ(list_.FindBond(b, a), bond);
  EXPECT_EQ(list_.FindBond(b, c), nullptr);

  list_.selectedBonds = {bond};
  EXPECT_FALSE(list_.RemoveBond(b, bond)) << "it hangs on the other atom";
  EXPECT_TRUE(list_.selectedBonds.empty()) << "but is no longer selected";
  EXPECT_TRUE(list_.RemoveBond(a, bond));
  EXPECT_EQ(BondsOf(list_), "C1-C3");
  EXPECT_EQ(FaultsOf(list_), "");
}

TEST_F(AtomListTest, SaysWhenMemoryIsGone) {
  AtomRecord *a = Add("C1"), *b = Add("C2");
  list_.LimitRecords(2, 0);
  EXPECT_EQ(list_.CreateAtom(document_.elements, messages_), nullptr);
  EXPECT_TRUE(messages_.quitRequested);
  messages_.quitRequested = false;
  EXPECT_EQ(Bond(a, b), nullptr);
  EXPECT_TRUE(messages_.quitRequested);
  ASSERT_EQ(messages_.shown.size(), 2u);
  EXPECT_EQ(messages_.shown[0].text, "Not enough memory for new atom.");
  EXPECT_EQ(messages_.shown[1].text, "Not enough memory for new bond.");
  EXPECT_EQ(FaultsOf(list_), "");
}

TEST_F(AtomListTest, KillingForgetsTheAtomEverywhere) {
  AtomRecord *c1 = Add("C1"), *h1 = Add("H1"), *c2 = Add("C2"), *c3 = Add("C3");
  h1->parent = c1;
  Bond(c1, h1);
  Bond(c2, c1);
  BondRecord* kept = Bond(c2, c3);
  list_.selectedBonds = {list_.FindBond(c1, c2), kept};
  for (AtomRecord* atom : {c3, c1}) list_.selection.Append(atom);
  for (AtomRecord* atom : {c1, c2}) list_.displaySubset.Append(atom);
  list_.bindPairs.Append(c1, c3);
  list_.freePairs.Append(c2, c3);
  list_.freePairs.Append(c2, c1);
  list_.hfix = {{c1, "HFIX 43 C1", -1}, {nullptr, "HFIX 13 C2", 3}};
  EXPECT_FALSE(list_.KillAtom(c1));
  EXPECT_EQ(NamesOf(list_), "H1 C2 C3");
  EXPECT_EQ(FaultsOf(list_), "");
  EXPECT_EQ(h1->parent, nullptr);
  EXPECT_EQ(list_.selectedBonds, std::vector<BondRecord*>{kept});
  EXPECT_EQ(list_.freePairs.pairs.size(), 1u);
  EXPECT_EQ(list_.hfix.size(), 1u);
  EXPECT_FALSE(c1->Has(kSelected) || c1->Has(kInSubset));
  EXPECT_TRUE(list_.KillAtom(c2)) << "that emptied the display subset";
  EXPECT_FALSE(list_.KillAtom(c2)) << "already killed";
  EXPECT_TRUE(list_.IsVisible(c3));
  EXPECT_EQ(Killed(), "C2 C1 ");
  EXPECT_FALSE(list_.KillAtoms({c3, h1, c3}));
  EXPECT_EQ(list_.head, nullptr);
  EXPECT_EQ(list_.tail, nullptr);
  EXPECT_EQ(Killed(), "H1 C3 C2 C1 ");
  EXPECT_EQ(FaultsOf(list_), "");
}

TEST_F(AtomListTest, RestoringTakesOnlyWhatIsKilled) {
  AtomRecord *c1 = Add("C1"), *c2 = Add("C2"), *c3 = Add("C3"), *c4 = Add("C4");
  c2->scratch = c4->scratch = 1;
  c1->parent = c3;
  c3->parent = c2;
  list_.KillAtoms({c1, c2, c3});
  list_.displaySubset.Append(c4);
  list_.RestoreKilledAtoms({c3, c4, c1, c3});
  EXPECT_EQ(c1->parent, c3);
  EXPECT_EQ(c3->parent, nullptr) << "still killed";
  EXPECT_EQ(NamesOf(list_), "C4 C3 C1");
  EXPECT_EQ(Killed(), "C2 ");
  EXPECT_EQ(list_.displaySubset.Size(), 3u);
  EXPECT_EQ(FaultsOf(list_), "");
  list_.DestroyAtom(c2);  // out of the killed list
  EXPECT_EQ(list_.killedHead, nullptr);
  EXPECT_EQ(list_.RecordCount(), 3u);
}

TEST_F(AtomListTest, LinesBeforeAKilledAtomMoveOn) {
  AtomRecord *c1 = Add("C1"), *c2 = Add("C2"), *c3 = Add("C3");
  const auto lines = [](const std::vector<KeptLine>& kept) {
    std::string text;
    for (const KeptLine& line : kept) text += line.text + "\n";
    return text;
  };
  c1->MutableExtras().linesBefore = {{KeptPlace::BeforeAtom, "MOVE 1", 1}};
  c2->MutableExtras().linesBefore = {{KeptPlace::BeforeAtom, "ANIS 2", 2}};
  c3->MutableExtras().linesBefore = {{KeptPlace::BeforeAtom, "+a", 3}};
  list_.trailingLines = {{KeptPlace::BeforeAtom, "+b", 4}};
  list_.KillAtoms({c2, c1});
  EXPECT_EQ(lines(c3->Extras().linesBefore), "MOVE 1\nANIS 2\n+a\n");
  EXPECT_EQ(lines(c1->Extras().linesBefore), "");
  list_.KillAtom(c3);
  EXPECT_EQ(lines(list_.trailingLines), "MOVE 1\nANIS 2\n+a\n+b\n");
}

TEST_F(AtomListTest, KillAllFreesOneKindOfRecordAndKeepsTheOther) {
  std::vector<AtomRecord*> atoms;
  for (int i = 0; i < 6; ++i) {
    atoms.push_back(Add(test::Numbered("C", i)));
    atoms.back()->generated = i % 3;
    atoms.back()->parent = atoms.front();
    list_.selection.Append(atoms.back());
    if (i > 0) Bond(atoms.back(), atoms.front());
  }
  list_.KillAtom(atoms[4]);
  list_.hfix = {{nullptr, "HFIX 43 C1", 3}};
  list_.KillAll();
  EXPECT_EQ(list_.head, nullptr);
  EXPECT_EQ(list_.tail, nullptr);
  EXPECT_EQ(list_.killedHead, nullptr);
  EXPECT_TRUE(list_.selection.Empty());
  EXPECT_EQ(list_.RecordCount(), 4u) << "the two with generated 1 are freed";
  EXPECT_EQ(atoms[0]->name, "C0") << "whoever still refers to a retired record finds it";
  EXPECT_EQ(atoms[5]->name, "C5");
  EXPECT_EQ(atoms[5]->parent, nullptr);
  list_.FreeRetired();
  EXPECT_EQ(list_.RecordCount(), 0u);
  const AtomList copy = list_;  // nothing may refer to what is gone
  EXPECT_EQ(FaultsOf(copy), "");
  list_.selection.Append(Add("N1"));
  list_.displaySubset.Append(list_.head);
  list_.DestroyAll();
  EXPECT_TRUE(list_.selection.Empty() && list_.displaySubset.Empty());
  EXPECT_EQ(list_.RecordCount(), 0u);
  EXPECT_EQ(FaultsOf(list_), "");
}

TEST_F(AtomListTest, FiltersCombine) {
  AtomRecord *c1 = Add("C1"), *h1 = Add("H1"), *c2 = Add("C2"), *c3 = Add("C3"), *q1 = Add("Q1");
  list_.selection.Append(c1);
  c2->part = -2;
  c2->flags |= kHiddenPart;  // connectivity's own bit hides nothing
  c3->Set(kHidden, true);
  q1->generated = 2;
  const auto passing = [&](unsigned mask) {
    std::string names;
    for (const AtomRecord* atom : Atoms(list_, mask)) names += atom->name;
    AtomIterator iterator(list_, mask);
    std::string forward;
    AtomRecord* last = nullptr;
    for (AtomRecord* atom = iterator.First(); atom; atom = iterator.Next()) forward += (last = atom)->name;
    EXPECT_EQ(forward, names);
    EXPECT_EQ(iterator.IndexOf(last) + 1, iterator.Count(mask));
    return names;
  };
  EXPECT_EQ(passing(0), "C1H1C2C3Q1");
  EXPECT_EQ(passing(kVisibleOnly), "C1H1C2Q1");
  list_.hiddenParts = {-2};
  EXPECT_EQ(passing(kVisibleOnly), "C1H1Q1");
  EXPECT_TRUE(list_.IsVisible(c2)) << "hidden PARTs are not its concern";
  EXPECT_EQ(passing(kVisibleOnly | kNoGenerated), "C1H1");
  EXPECT_EQ(passing(kNoSelected | kNoHydrogens), "C2C3Q1");
  EXPECT_EQ(passing(kSelectedOnly), "C1");
  EXPECT_EQ(passing(kSelectedOnly | kNoSelected), "");
  for (AtomRecord* atom : {q1, c3, h1}) list_.displaySubset.Append(atom);
  EXPECT_EQ(passing(kVisibleOnly), "H1Q1");
  AtomIterator iterator(list_, kVisibleOnly);
  EXPECT_EQ(iterator.IndexOf(q1), 1);
  EXPECT_EQ(iterator.IndexOf(c1), -1);
  iterator.First();
  EXPECT_EQ(iterator.Next(), q1);
  EXPECT_EQ(iterator.Previous(), h1);
  EXPECT_EQ(iterator.Previous(), nullptr);
}

TEST_F(AtomListTest, LinksBehindAnyPlace) {
  AtomRecord *c1 = Add("C1"), *c2 = Add("C2"), *c3 = Add("C3");
  const auto move = [&](AtomRecord* atom, AtomRecord* place) {
    list_.Unlink(atom);
    list_.LinkBehind(atom, place);
    EXPECT_EQ(FaultsOf(list_), "");
    return NamesOf(list_);
  };
  EXPECT_EQ(move(c3, c1), "C1 C3 C2");
  EXPECT_EQ(move(c1, c2), "C3 C2 C1");
  EXPECT_EQ(move(c1, nullptr), "C1 C3 C2");
  EXPECT_EQ(move(c1, nullptr), "C1 C3 C2");
  c2->prev = c3->prev = nullptr;
  list_.tail = nullptr;
  list_.RebuildBackwardLinks();
  EXPECT_EQ(FaultsOf(list_), "");
  EXPECT_EQ(list_.FindAtom("C2"), c2);
  EXPECT_EQ(list_.FindAtom("c2"), nullptr);
  c1->name = "C2";
  c2->residue = 4;
  EXPECT_EQ(list_.FindAtom("C2"), c1);
  EXPECT_EQ(list_.FindAtom("C2", 4), c2);
  EXPECT_EQ(list_.FindSerial(c3->serial), c3);
  EXPECT_EQ(list_.FindSerial(0), nullptr);
}

// Everything that a list says about its atoms, by serial.
std::string Described(const AtomList& list) {
  const auto serial = [](const AtomRecord* atom) { return atom ? std::to_string(atom->serial) : std::string("-"); };
  std::string text;
  const auto chain = [&](const AtomRecord* first) {
    for (const AtomRecord* atom = first; atom; atom = atom->next) {
      text += serial(atom) + atom->name + " " + serial(atom->prev) + serial(atom->parent) +
              std::to_string(atom->flags) + std::to_string(atom->element->atomicNumber) +
              std::to_string(atom->Extras().linesBefore.size());
      ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord* bond) {
        text += " " + serial(partner) + serial(bond->owner) + std::to_string(bond->bits);
      });
      text += "\n";
    }
    text += "|\n";
  };
  chain(list.head);
  chain(list.killedHead);
  for (const AtomArray* array : {&list.selection, &list.displaySubset}) {
    for (const AtomRecord* atom : *array) text += serial(atom) + " ";
    text += "last " + serial(array->LastAdded()) + "\n";
  }
  for (const PairList* pairs : {&list.bindPairs, &list.freePairs})
    for (const auto& [a, b, line] : pairs->pairs) text += serial(a) + "-" + serial(b) + " ";
  for (const HfixEntry& entry : list.hfix) text += entry.text + serial(entry.carrier);
  for (const BondRecord* bond : list.selectedBonds) text += serial(bond->owner) + "=" + serial(bond->partner);
  return text + std::to_string(list.trailingLines.size()) + serial(list.tail);
}

// Some hundred random operations on a document, as the commands would do them.
class Editor {
 public:
  Editor(Document& document, unsigned seed) : document_(document), list_(document.atoms), random_(seed) {}

  void Step() {
    const auto live = static_cast<int>(list_.LiveCount());
    if (live < 3 || Below(4) == 0) {
      const char* symbols[] = {"C", "H", "Q", "Fe"};
      AtomRecord* atom = AddAtom(document_, test::Numbered(symbols[Below(4)], next_++), {});
      if (live > 0) atom->parent = Any();
      if (Below(3) == 0) atom->MutableExtras().linesBefore = {{KeptPlace::BeforeAtom, atom->name, -1}};
      return;
    }
    AtomRecord *a = Any(), *b = Any();
    const std::function<void()> operations[] = {
        [&] {
          list_.KillAtoms(std::vector{a, b});
        },
        [&] { list_.DestroyAtom(a); },
        [&] {
          if (list_.killedHead) list_.RestoreKilledAtoms({list_.killedHead});
        },
        [&] {
          if (!a->Has(kSelected)) list_.selection.Append(a);
        },
        [&] {
          if (!a->Has(kInSubset)) list_.displaySubset.Prepend(a);
        },
        [&] { list_.bindPairs.Append(a, b); },
        [&] { list_.freePairs.Append(a, b); },
        [&] {
          list_.hfix.insert(list_.hfix.begin(), HfixEntry{a, "HFIX", -1});
        },
        [&] { list_.RemoveBond(a, a->bonds); },
        [&] {
          if (a != b) list_.Unlink(a), list_.LinkBehind(a, b);
        },
        [&] {
          BondRecord* bond = list_.AddBond(a, b, {}, Below(5), Below(1024), 0.1f, Below(3), messages_);
          auto& selected = list_.selectedBonds;
          if (bond && std::find(selected.begin(), selected.end(), bond) == selected.end()) selected.push_back(bond);
        },
    };
    operations[Below(11)]();
  }

 private:
  int Below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  AtomRecord* Any() {
    AtomRecord* atom = list_.head;
    for (int i = Below(static_cast<int>(list_.LiveCount())); i > 0; --i) atom = atom->next;
    return atom;
  }

  Document& document_;
  AtomList& list_;
  std::mt19937 random_;
  RecordingMessages messages_;
  int next_ = 0;
};

std::set<const AtomRecord*> RecordsOf(const AtomList& list) {
  std::set<const AtomRecord*> records;
  for (const AtomRecord* first : {list.head, list.killedHead})
    for (const AtomRecord* atom = first; atom; atom = atom->next) records.insert(atom);
  return records;
}

TEST(Document, CopiesRemapEveryPointerAndLiveOn) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    Document document;
    Editor editor(document, seed);
    Document copies[2];
    for (int step = 0; step < 150; ++step) {
      editor.Step();
      ASSERT_EQ(FaultsOf(document.atoms), "") << "seed " << seed << " step " << step;
      if (step % 30) continue;
      Document& copy = copies[step / 30 % 2];
      copy = document;
      ASSERT_EQ(Described(copy.atoms), Described(document.atoms)) << "seed " << seed << " step " << step;
      ASSERT_EQ(FaultsOf(copy.atoms), "");
      for (const AtomRecord* atom : RecordsOf(copy.atoms)) {
        ASSERT_EQ(RecordsOf(document.atoms).count(atom), 0u);
        ASSERT_EQ(atom->element, &copy.elements[atom->element->atomicNumber]);
      }
      // The copy is edited on its own while the original goes on.
      const std::string before = Described(document.atoms);
      Editor other(copy, seed + 1000);
      for (int k = 0; k < 20; ++k) other.Step();
      ASSERT_EQ(FaultsOf(copy.atoms), "");
      ASSERT_EQ(Described(document.atoms), before);
    }
    document.atoms.KillAll();
    document.atoms.FreeRetired();
    EXPECT_EQ(document.atoms.RecordCount(), 0u);
  }
}

}  // namespace
}  // namespace marvik
