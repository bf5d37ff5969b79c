#include "model/atom_list.h"

#include <algorithm>
#include <iterator>

namespace marvik {

const AtomExtras& AtomRecord::Extras() const {
  static const AtomExtras none;
  return extras.empty() ? none : extras.front();
}

AtomExtras& AtomRecord::MutableExtras() {
  if (extras.empty()) extras.Make();
  return extras.front();
}

bool AtomArray::Remove(AtomRecord* atom) {
  const auto at = std::find(atoms_.begin(), atoms_.end(), atom);
  if (at == atoms_.end()) return false;
  Forget(atom);
  atoms_.erase(at);
  return true;
}

int AtomArray::IndexOf(const AtomRecord* atom) const {
  const auto at = std::find(atoms_.begin(), atoms_.end(), atom);
  return at == atoms_.end() ? -1 : static_cast<int>(at - atoms_.begin());
}

void AtomArray::Clear() {
  for (AtomRecord* atom : atoms_) Mirror(atom, false);
  atoms_.clear();
  lastAdded_ = nullptr;
}

bool AtomArray::IsMember(const AtomRecord* atom) const {
  if (mode_ == 0) return atom->Has(kSelected);
  if (mode_ == 1) return atom->Has(kInSubset);
  return IndexOf(atom) >= 0;
}

void AtomArray::Insert(size_t at, AtomRecord* atom) {
  if (atoms_.size() == atoms_.capacity()) atoms_.reserve(atoms_.size() + std::max<size_t>(atoms_.size(), 1));
  atoms_.insert(atoms_.begin() + static_cast<std::ptrdiff_t>(at), atom);
  Mirror(atom, true);
  lastAdded_ = atom;
}

void AtomArray::Forget(AtomRecord* atom) {
  Mirror(atom, false);
  if (lastAdded_ == atom) lastAdded_ = nullptr;
}

void AtomArray::Mirror(AtomRecord* atom, bool on) const {
  if (mode_ == 0) atom->Set(kSelected, on);
  if (mode_ == 1) atom->Set(kInSubset, on);
}

int PairList::IndexOf(const AtomRecord* a, const AtomRecord* b) const {
  for (size_t i = 0; i < pairs.size(); ++i)
    if ((pairs[i].first == a && pairs[i].second == b) || (pairs[i].first == b && pairs[i].second == a))
      return static_cast<int>(i);
  return -1;
}

bool PairList::Remove(const AtomRecord* a, const AtomRecord* b) {
  const int at = IndexOf(a, b);
  if (at < 0) return false;
  pairs.erase(pairs.begin() + at);
  return true;
}

AtomList& AtomList::operator=(const AtomList& other) {
  if (this == &other) return *this;
  atomPool_ = other.atomPool_;
  bondPool_ = other.bondPool_;
  const auto atom = [this](const AtomRecord* a) { return atomPool_.Counterpart(a); };
  const auto bond = [this](const BondRecord* b) { return bondPool_.Counterpart(b); };
  const auto atoms = [&](const std::vector<AtomRecord*>& from) {
    std::vector<AtomRecord*> to(from.size());
    std::transform(from.begin(), from.end(), to.begin(), atom);
    return to;
  };
  const auto pairs = [&](const PairList& from) {
    PairList to;
    for (const auto& [a, b, line] : from.pairs) to.pairs.push_back({atom(a), atom(b), line});
    for (const auto& [a, b, line] : from.lost) to.lost.push_back({atom(a), atom(b), line});
    return to;
  };
  for (uint32_t i = 0; i < atomPool_.Slots(); ++i) {
    AtomRecord* a = atomPool_.At(i);
    a->next = atom(a->next);
    a->prev = atom(a->prev);
    a->parent = atom(a->parent);
    a->bonds = bond(a->bonds);
  }
  for (uint32_t i = 0; i < bondPool_.Slots(); ++i) {
    BondRecord* b = bondPool_.At(i);
    b->next = bond(b->next);
    b->prev = bond(b->prev);
    b->owner = atom(b->owner);
    b->partner = atom(b->partner);
  }
  head = atom(other.head);
  tail = atom(other.tail);
  killedHead = atom(other.killedHead);
  selection.atoms_ = atoms(other.selection.atoms_);
  selection.lastAdded_ = atom(other.selection.lastAdded_);
  displaySubset.atoms_ = atoms(other.displaySubset.atoms_);
  displaySubset.lastAdded_ = atom(other.displaySubset.lastAdded_);
  retired_ = atoms(other.retired_);
  hiddenParts = other.hiddenParts;
  selectedBonds.resize(other.selectedBonds.size());
  std::transform(other.selectedBonds.begin(), other.selectedBonds.end(), selectedBonds.begin(), bond);
  bindPairs = pairs(other.bindPairs);
  freePairs = pairs(other.freePairs);
  hfix = other.hfix;
  lostHfix = other.lostHfix;
  for (auto* entries : {&hfix, &lostHfix})
    for (HfixEntry& entry : *entries) entry.carrier = atom(entry.carrier);
  trailingLines = other.trailingLines;
  nextSerial_ = other.nextSerial_;
  return *this;
}

AtomRecord* AtomList::CreateAtom(ElementTable& table, UserMessages& messages) {
  AtomRecord* atom = atomPool_.Allocate();
  if (!atom) {
    messages.Show({MessageIcon::Error, "", "Not enough memory for new atom."});
    messages.RequestQuit();
    return nullptr;
  }
  atom->serial = nextSerial_++;
  atom->element = &table[kUnknownRow];
  if (!displaySubset.Empty()) displaySubset.Append(atom);
  return atom;
}

void AtomList::LinkAtTail(AtomRecord* atom) {
  LinkBehind(atom, tail);
}

void AtomList::LinkBehind(AtomRecord* atom, AtomRecord* place) {
  atom->prev = place;
  atom->next = place ? place->next : head;
  (place ? place->next : head) = atom;
  (atom->next ? atom->next->prev : tail) = atom;
}

void AtomList::Unlink(AtomRecord* atom) {
  (atom->prev ? atom->prev->next : head) = atom->next;
  (atom->next ? atom->next->prev : tail) = atom->prev;
  atom->next = atom->prev = nullptr;
}

void AtomList::RebuildBackwardLinks() {
  AtomRecord* previous = nullptr;
  for (AtomRecord* atom = head; atom; atom = atom->next) {
    atom->prev = previous;
    previous = atom;
  }
  tail = previous;
}

void AtomList::MoveLinesOn(AtomRecord* atom) {
  if (atom->Extras().linesBefore.empty()) return;
  std::vector<KeptLine> lines;
  lines.swap(atom->MutableExtras().linesBefore);
  auto& target = atom->next ? atom->next->MutableExtras().linesBefore : trailingLines;
  target.insert(target.begin(), lines.begin(), lines.end());
}

void AtomList::ReleaseBonds(AtomRecord* atom) {
  while (atom->bonds) RemoveBond(atom, atom->bonds);
}

bool AtomList::KillAtoms(const std::vector<AtomRecord*>& atoms) {
  const bool hadSubset = !displaySubset.Empty();
  for (AtomRecord* atom : Atoms(*this)) atom->scratch = 0;
  std::vector<AtomRecord*> dying;
  for (AtomRecord* atom : atoms) {
    if (atom->scratch == 1) continue;
    atom->scratch = 1;
    dying.push_back(atom);
  }
  // A dying atom whose scratch was not reset above is not live and is left alone.
  for (AtomRecord* atom : Atoms(*this)) {
    const bool dies = atom->scratch == 1;
    if (dies) atom->scratch = 2;
    if (atom->parent && (atom->parent->scratch == 1 || atom->parent->scratch == 2) && !dies) atom->parent = nullptr;
    for (BondRecord* bond = atom->bonds; bond;) {
      BondRecord* next = bond->next;
      if (dies || bond->partner->scratch != 0) RemoveBond(atom, bond);
      bond = next;
    }
  }
  ForgetMarked();
  for (AtomRecord* atom : dying) {
    if (atom->scratch == 2) {
      MoveLinesOn(atom);
      Unlink(atom);
      atom->next = killedHead;
      atom->killMark = 0;
      killedHead = atom;
    }
    atom->scratch = 0;
  }
  return hadSubset && displaySubset.Empty();
}

namespace {

template <class Entry, class Moves>
void MoveIf(std::vector<Entry>& from, std::vector<Entry>& to, Moves moves) {
  std::copy_if(from.begin(), from.end(), std::back_inserter(to), moves);
  std::erase_if(from, moves);
}

}  // namespace

void AtomList::ForgetMarked() {
  const auto marked = [](const AtomRecord* atom) { return atom && atom->scratch == 2; };
  for (AtomArray* array : {&selection, &displaySubset}) {
    for (AtomRecord* atom : array->atoms_)
      if (marked(atom)) array->Forget(atom);
    std::erase_if(array->atoms_, marked);
  }
  for (PairList* list : {&bindPairs, &freePairs})
    MoveIf(list->pairs, list->lost, [&](const PairList::Pair& p) { return marked(p.first) || marked(p.second); });
  MoveIf(hfix, lostHfix, [&](const HfixEntry& entry) { return marked(entry.carrier); });
}

void AtomList::KillAll() {
  selection.Clear();
  displaySubset.Clear();
  selectedBonds.clear();
  bindPairs = freePairs = {};
  lostHfix.clear();
  std::erase_if(hfix, [](const HfixEntry& entry) { return entry.carrier != nullptr; });
  trailingLines.clear();
  while (AtomRecord* atom = head) {
    ReleaseBonds(atom);
    Unlink(atom);
    atom->killMark = 0;
    atom->next = killedHead;
    killedHead = atom;
  }
  while (AtomRecord* atom = killedHead) {
    killedHead = atom->next;
    atom->next = nullptr;
    atom->parent = nullptr;
    if (atom->generated == 1) {
      atomPool_.Release(atom);
    } else {
      retired_.push_back(atom);
    }
  }
}

void AtomList::FreeRetired() {
  for (AtomRecord* atom : retired_) atomPool_.Release(atom);
  retired_.clear();
  if (atomPool_.Live() == 0) {
    atomPool_.Clear();
    bondPool_.Clear();
  }
}

void AtomList::DestroyAtoms(const std::vector<AtomRecord*>& atoms) {
  constexpr int32_t kDestroyed = -7;
  KillAtoms(atoms);
  for (AtomRecord* atom : atoms) atom->scratch = kDestroyed;
  const auto destroyed = [](const AtomRecord* atom) { return atom->scratch == kDestroyed; };
  // Atoms that were made and never linked can still be in the display subset.
  for (AtomArray* array : {&selection, &displaySubset}) {
    std::erase_if(array->atoms_, destroyed);
    if (array->lastAdded_ && destroyed(array->lastAdded_)) array->lastAdded_ = nullptr;
  }
  for (PairList* list : {&bindPairs, &freePairs})
    std::erase_if(list->lost, [&](const PairList::Pair& p) { return destroyed(p.first) || destroyed(p.second); });
  std::erase_if(lostHfix, [&](const HfixEntry& entry) { return destroyed(entry.carrier); });
  AtomRecord** link = &killedHead;
  while (AtomRecord* killed = *link) {
    if (destroyed(killed)) {
      *link = killed->next;
      continue;
    }
    if (killed->parent && destroyed(killed->parent)) killed->parent = nullptr;
    link = &killed->next;
  }
  for (AtomRecord* atom : atoms)
    if (destroyed(atom)) atomPool_.Release(atom);
}

void AtomList::DestroyAll() {
  selection.Clear();
  displaySubset.Clear();
  bindPairs = freePairs = {};
  lostHfix.clear();
  hfix.clear();
  trailingLines.clear();
  for (AtomRecord* killed = killedHead; killed; killed = killed->next) killed->parent = nullptr;
  for (AtomRecord* atom = head; atom; atom = atom->next) ReleaseBonds(atom);
  while (AtomRecord* atom = head) {
    head = atom->next;
    atomPool_.Release(atom);
  }
  tail = nullptr;
}

void AtomList::RestoreKilledAtoms(const std::vector<AtomRecord*>& atoms) {
  constexpr int32_t kLive = 0, kWanted = 1, kFree = 2, kKilled = 3;
  for (AtomRecord* atom : atoms) atom->scratch = kWanted;
  for (AtomRecord* atom : Atoms(*this)) atom->scratch = kLive;
  for (AtomRecord** link = &killedHead; *link;) {
    AtomRecord* atom = *link;
    if (atom->scratch == kWanted) {
      *link = atom->next;
      atom->scratch = kFree;
    } else {
      atom->scratch = kKilled;
      link = &atom->next;
    }
  }
  for (AtomRecord* atom : atoms) {
    if (atom->parent && atom->parent->scratch == kKilled) atom->parent = nullptr;
    if (atom->scratch != kFree) continue;
    atom->scratch = kLive;
    LinkAtTail(atom);
    if (!displaySubset.Empty()) displaySubset.Append(atom);
  }
  const auto live = [](const AtomRecord* atom) { return atom->scratch == kLive; };
  for (PairList* list : {&bindPairs, &freePairs})
    MoveIf(list->lost, list->pairs, [&](const PairList::Pair& p) { return live(p.first) && live(p.second); });
  MoveIf(lostHfix, hfix, [&](const HfixEntry& entry) { return live(entry.carrier); });
}

BondRecord* AtomList::FindBond(const AtomRecord* a, const AtomRecord* b) const {
  for (BondRecord* bond = a->bonds; bond; bond = bond->next)
    if (bond->partner == b) return bond;
  for (BondRecord* bond = b->bonds; bond; bond = bond->next)
    if (bond->partner == a) return bond;
  return nullptr;
}

BondRecord* AtomList::AddBond(AtomRecord* a, AtomRecord* b, std::array<uint32_t, 2> aux, int order, int widthClass,
                              float width, int style, UserMessages& messages) {
  if (a == b) return nullptr;
  BondRecord* bond = FindBond(a, b);
  if (!bond) bond = PushBond(a, b, messages);
  if (!bond) return nullptr;
  bond->aux = aux;
  bond->width = width;
  bond->SetOrder(order);
  bond->SetStyle(style);
  bond->SetWidthClass(widthClass);
  return bond;
}

BondRecord* AtomList::PushBond(AtomRecord* a, AtomRecord* b, UserMessages& messages) {
  BondRecord* bond = bondPool_.Allocate();
  if (!bond) {
    messages.Show({MessageIcon::Error, "", "Not enough memory for new bond."});
    messages.RequestQuit();
    return nullptr;
  }
  bond->owner = a;
  bond->partner = b;
  bond->next = a->bonds;
  if (a->bonds) a->bonds->prev = bond;
  a->bonds = bond;
  return bond;
}

bool AtomList::RemoveBond(AtomRecord* atom, BondRecord* bond) {
  std::erase(selectedBonds, bond);
  BondRecord* own = atom->bonds;
  while (own && own != bond) own = own->next;
  if (!own) return false;
  (bond->prev ? bond->prev->next : atom->bonds) = bond->next;
  if (bond->next) bond->next->prev = bond->prev;
  bondPool_.Release(bond);
  return true;
}

void AtomList::RemoveAllBonds() {
  selectedBonds.clear();
  for (uint32_t i = 0; i < atomPool_.Slots(); ++i) atomPool_.At(i)->bonds = nullptr;
  bondPool_.ForgetAll();
}

AtomRecord* AtomList::FindAtom(std::string_view name) const {
  for (AtomRecord* atom = head; atom; atom = atom->next)
    if (atom->name == name) return atom;
  return nullptr;
}

AtomRecord* AtomList::FindAtom(std::string_view name, int residue) const {
  for (AtomRecord* atom = head; atom; atom = atom->next)
    if (atom->residue == residue && atom->name == name) return atom;
  return nullptr;
}

AtomRecord* AtomList::FindSerial(uint32_t serial) const {
  for (AtomRecord* atom = head; atom; atom = atom->next)
    if (atom->serial == serial) return atom;
  return nullptr;
}

bool AtomList::IsVisible(const AtomRecord* atom) const {
  return !atom->Has(kHidden) && (displaySubset.Empty() || atom->Has(kInSubset));
}

bool AtomList::IsPartHidden(int part) const {
  return !hiddenParts.empty() && std::find(hiddenParts.begin(), hiddenParts.end(), part) != hiddenParts.end();
}

bool AtomList::Passes(const AtomRecord* atom, unsigned mask) const {
  if (mask == 0) return true;
  if ((mask & kVisibleOnly) && (!IsVisible(atom) || IsPartHidden(atom->part))) return false;
  if ((mask & kNoGenerated) && atom->generated) return false;
  if ((mask & kNoSelected) && atom->Has(kSelected)) return false;
  if ((mask & kSelectedOnly) && !atom->Has(kSelected)) return false;
  return !((mask & kNoHydrogens) && atom->IsHydrogen());
}

size_t AtomList::LiveCount() const {
  size_t n = 0;
  for (const AtomRecord* atom = head; atom; atom = atom->next) ++n;
  return n;
}

bool AtomList::Contains(const AtomRecord* atom) const {
  for (const AtomRecord* a = head; a; a = a->next)
    if (a == atom) return true;
  return false;
}

void AtomList::AdoptElements(ElementTable& table) {
  for (uint32_t i = 0; i < atomPool_.Slots(); ++i) {
    AtomRecord* atom = atomPool_.At(i);
    if (atom->element) atom->element = &table[atom->element->atomicNumber];
  }
}

void AtomList::LimitRecords(uint32_t atoms, uint32_t bonds) {
  atomPool_.SetLimit(atoms);
  bondPool_.SetLimit(bonds);
}

AtomRecord* AtomIterator::Previous() {
  AtomRecord* atom = current_ ? current_->prev : nullptr;
  while (atom && !list_->Passes(atom, mask_)) atom = atom->prev;
  return current_ = atom;
}

AtomRecord* AtomIterator::Forward(AtomRecord* atom) const {
  while (atom && !list_->Passes(atom, mask_)) atom = atom->next;
  return atom;
}

int AtomIterator::IndexOf(const AtomRecord* atom) const {
  int i = 0;
  for (const AtomRecord* a : Atoms(*list_, mask_)) {
    if (a == atom) return i;
    ++i;
  }
  return -1;
}

int AtomIterator::Count(unsigned mask) const {
  int n = 0;
  for ([[maybe_unused]] const AtomRecord* a : Atoms(*list_, mask)) ++n;
  return n;
}

}  // namespace marvik
