#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/user_messages.h"
#include "model/atom_record.h"
#include "model/record_pool.h"

namespace marvik {

// An ordered array of atoms whose membership is mirrored in a flag bit: mode 0 in kSelected, mode 1 in kInSubset, any
// other mode in none.
class AtomArray {
 public:
  explicit AtomArray(int mode) : mode_(mode) {}

  void Append(AtomRecord* atom) { Insert(atoms_.size(), atom); }
  void Prepend(AtomRecord* atom) { Insert(0, atom); }
  // Whether it was there.
  bool Remove(AtomRecord* atom);
  int IndexOf(const AtomRecord* atom) const;
  void Clear();
  bool IsMember(const AtomRecord* atom) const;

  size_t Size() const { return atoms_.size(); }
  bool Empty() const { return atoms_.empty(); }
  AtomRecord* operator[](size_t i) const { return atoms_[i]; }
  auto begin() const { return atoms_.begin(); }
  auto end() const { return atoms_.end(); }
  // Nothing once that atom has left.
  AtomRecord* LastAdded() const { return lastAdded_; }

 private:
  friend class AtomList;
  void Insert(size_t at, AtomRecord* atom);
  void Forget(AtomRecord* atom);
  void Mirror(AtomRecord* atom, bool on) const;

  int mode_;
  std::vector<AtomRecord*> atoms_;
  AtomRecord* lastAdded_ = nullptr;
};

// Atom pairs that are exceptions to the distance rule; found whatever the order of the two.
class PairList {
 public:
  struct Pair {
    AtomRecord* first = nullptr;
    AtomRecord* second = nullptr;
    int32_t line = -1;  // of the source layout, -1 for those of the program
  };
  int IndexOf(const AtomRecord* a, const AtomRecord* b) const;
  void Append(AtomRecord* a, AtomRecord* b) { pairs.push_back({a, b}); }
  bool Remove(const AtomRecord* a, const AtomRecord* b);

  std::vector<Pair> pairs;
  std::vector<Pair> lost;  // of killed atoms, to come back with them
};

// One HFIX line. The program makes at most one per carrier; lines read from a file stay as they are and have no
// carrier.
struct HfixEntry {
  AtomRecord* carrier = nullptr;
  std::string text;   // "HFIX 43 C1"
  int32_t line = -1;  // of the source layout, -1 for those of the program
};

// Filter of an iterator, combinable; 0 walks every live atom.
enum AtomFilter : unsigned {
  kVisibleOnly = 1,
  kNoGenerated = 2,
  kNoSelected = 4,
  kSelectedOnly = 8,
  kNoHydrogens = 16,
};

// The atoms of the structure: the live ones in file order, the killed ones (latest first), the selection, the display
// subset, the hidden PARTs, and everything else that refers to atoms and must go when they go.
class AtomList {
 public:
  AtomList() = default;
  AtomList(const AtomList& other) : AtomList() { *this = other; }
  // Copies every record and remaps all pointers but `element`, which still points into the other's table.
  AtomList& operator=(const AtomList& other);
  AtomList(AtomList&&) noexcept = default;
  AtomList& operator=(AtomList&&) noexcept = default;

  AtomRecord* head = nullptr;
  AtomRecord* tail = nullptr;
  AtomRecord* killedHead = nullptr;  // singly linked through next
  AtomArray selection{0};
  AtomArray displaySubset{1};
  std::vector<int32_t> hiddenParts;
  std::vector<BondRecord*> selectedBonds;
  PairList bindPairs;
  PairList freePairs;
  std::vector<HfixEntry> hfix;          // in file order, the program's own first: the first that names an atom counts
  std::vector<HfixEntry> lostHfix;      // of killed carriers
  std::vector<KeptLine> trailingLines;  // lines that stood behind the last atom and act from there

  // A record with the defaults, of the catch-all row of `table`, not yet in the live list. Joins the display subset
  // when that is not empty. Without memory: the message, a request to quit, and nothing.
  AtomRecord* CreateAtom(ElementTable& table, UserMessages& messages);
  void LinkAtTail(AtomRecord* atom);
  // Links a live or fresh atom behind `place`, at the head when that is null.
  void LinkBehind(AtomRecord* atom, AtomRecord* place);
  // Takes a live atom out of the chain, keeping its bonds and memberships, to be linked elsewhere.
  void Unlink(AtomRecord* atom);
  // Rebuilds every prev pointer and the tail from the next pointers.
  void RebuildBackwardLinks();

  // Moves live atoms to the killed list, in the given order; bonds, pairs, HFIX entries, selection and subset forget
  // them, and lines that stood before one stand before the atom that follows. True when that emptied the display
  // subset, so that the whole structure is shown again.
  bool KillAtoms(const std::vector<AtomRecord*>& atoms);
  bool KillAtom(AtomRecord* atom) { return KillAtoms({atom}); }
  // Kills everything and purges the killed list: records with generated 1 are freed, others retired.
  void KillAll();
  // Retired records may still be referred to until the caller knows better.
  void FreeRetired();
  // Frees an atom that is live, killed or not linked yet; whatever kept it forgets it.
  void DestroyAtom(AtomRecord* atom) { DestroyAtoms({atom}); }
  void DestroyAtoms(const std::vector<AtomRecord*>& atoms);
  // Frees every live atom. The killed ones stay.
  void DestroyAll();
  // Takes atoms out of the killed list and links them at the tail; whoever calls places them. One keeps its parent when
  // that lives or comes back too, and gets its pairs and HFIX entries back. Atoms that are not in the killed list are
  // left alone.
  void RestoreKilledAtoms(const std::vector<AtomRecord*>& atoms);

  // A pair has one record whichever end owns it: an existing one is updated, keeping bit 0. Nothing for a bond of an
  // atom to itself, or without memory, after the message and a request to quit.
  BondRecord* AddBond(AtomRecord* a, AtomRecord* b, std::array<uint32_t, 2> aux, int order, int widthClass, float width,
                      int style, UserMessages& messages);
  // As AddBond with the values of connectivity for a pair that is known to have no bond yet: no search.
  BondRecord* PushBond(AtomRecord* a, AtomRecord* b, UserMessages& messages);
  bool RemoveBond(AtomRecord* atom, BondRecord* bond);
  void RemoveAllBonds();
  // The bond between two atoms, wherever it is stored.
  BondRecord* FindBond(const AtomRecord* a, const AtomRecord* b) const;

  // First live atom of that name, in any residue unless one is given.
  AtomRecord* FindAtom(std::string_view name) const;
  AtomRecord* FindAtom(std::string_view name, int residue) const;
  AtomRecord* FindSerial(uint32_t serial) const;
  bool IsVisible(const AtomRecord* atom) const;
  bool IsPartHidden(int part) const;
  bool Passes(const AtomRecord* atom, unsigned mask) const;
  size_t LiveCount() const;
  bool Contains(const AtomRecord* atom) const;

  // Points `element` of every record into `table`, by row.
  void AdoptElements(ElementTable& table);
  // Records in use, live, killed and retired.
  size_t RecordCount() const { return atomPool_.Live(); }
  void LimitRecords(uint32_t atoms, uint32_t bonds);
  // What a copy takes, short of the text that a few atoms carry.
  size_t MemoryBytes() const { return atomPool_.Slots() * sizeof(AtomRecord) + bondPool_.Slots() * sizeof(BondRecord); }

 private:
  void ForgetMarked();
  void MoveLinesOn(AtomRecord* atom);
  void ReleaseBonds(AtomRecord* atom);

  RecordPool<AtomRecord> atomPool_;
  RecordPool<BondRecord> bondPool_;
  std::vector<AtomRecord*> retired_;
  uint32_t nextSerial_ = 1;
};

// Walks the live atoms that pass a filter.
class AtomIterator {
 public:
  explicit AtomIterator(const AtomList& list, unsigned mask = 0) : list_(&list), mask_(mask) {}

  AtomRecord* First() { return current_ = Forward(list_->head); }
  AtomRecord* Next() { return current_ = current_ ? Forward(current_->next) : nullptr; }
  AtomRecord* Previous();
  // Position among the atoms that pass, -1 if absent.
  int IndexOf(const AtomRecord* atom) const;
  int Count(unsigned mask) const;

 private:
  AtomRecord* Forward(AtomRecord* atom) const;

  const AtomList* list_;
  unsigned mask_;
  AtomRecord* current_ = nullptr;
};

// for (AtomRecord* atom : Atoms(list, kVisibleOnly)) ...  The atom may be unlinked inside the loop, its successor not.
class Atoms {
 public:
  explicit Atoms(const AtomList& list, unsigned mask = 0) : list_(&list), mask_(mask) {}
  class Iterator {
   public:
    Iterator(const AtomList* list, unsigned mask, AtomRecord* atom) : list_(list), mask_(mask), next_(atom) { ++*this; }
    AtomRecord* operator*() const { return atom_; }
    Iterator& operator++() {
      while (next_ && !list_->Passes(next_, mask_)) next_ = next_->next;
      atom_ = next_;
      if (next_) next_ = next_->next;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return atom_ != other.atom_; }

   private:
    const AtomList* list_;
    unsigned mask_;
    AtomRecord* next_;
    AtomRecord* atom_ = nullptr;
  };
  Iterator begin() const { return {list_, mask_, list_->head}; }
  Iterator end() const { return {list_, mask_, nullptr}; }

 private:
  const AtomList* list_;
  unsigned mask_;
};

// Calls visit(partner, bond) for the bonds in the atom's own list.
template <class Visit>
void ForEachOwnBond(const AtomRecord* atom, Visit visit) {
  for (BondRecord* bond = atom->bonds; bond; bond = bond->next) visit(bond->partner, bond);
}

}  // namespace marvik
