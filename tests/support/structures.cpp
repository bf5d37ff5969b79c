#include "support/structures.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

#include "base/numbers.h"

#include "support/test_files.h"

namespace marvik::test {

std::string Numbered(std::string_view symbol, int number) {
  return std::string(symbol).append(std::to_string(number));
}

AtomRecord* AddAtomAt(Document& document, std::string_view name, const Cartesian& position) {
  RecordingMessages messages;
  AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
  if (!atom) return nullptr;
  atom->name = name;
  atom->element = &document.elements[ElementTable::ElementFromLabel(name)];
  atom->position = position;
  document.atoms.LinkAtTail(atom);
  return atom;
}

AtomRecord* AddAtom(Document& document, std::string_view name, const Fractional& fract) {
  AtomRecord* atom = AddAtomAt(document, name, document.matrix * fract);
  if (atom) atom->fract = fract;
  return atom;
}

std::string NamesOf(const AtomList& list) {
  std::string names;
  for (const AtomRecord* atom : Atoms(list)) names += (names.empty() ? "" : " ") + atom->name;
  return names;
}

std::string BondsOf(const AtomList& list) {
  std::string bonds;
  for (const AtomRecord* atom : Atoms(list))
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord*) {
      bonds += (bonds.empty() ? "" : " ") + atom->name + "-" + partner->name;
    });
  return bonds;
}

namespace {

using AtomSet = std::set<const AtomRecord*>;

std::string ChainFaults(const AtomList& list, AtomSet& live) {
  std::string faults;
  const AtomRecord* previous = nullptr;
  for (const AtomRecord* atom = list.head; atom; previous = atom, atom = atom->next) {
    if (atom->prev != previous) faults += atom->name + " has a wrong prev\n";
    if (!live.insert(atom).second) return faults + atom->name + " closes a circle\n";
  }
  if (list.tail != previous) faults += "wrong tail\n";
  AtomSet known = live;
  for (const AtomRecord* atom = list.killedHead; atom; atom = atom->next) known.insert(atom);
  for (const AtomRecord* atom = list.killedHead; atom; atom = atom->next) {
    if (live.count(atom) || atom->prev || atom->bonds || atom->killMark) faults += atom->name + " is badly killed\n";
    if (atom->parent && !known.count(atom->parent)) faults += atom->name + " has lost its parent\n";
  }
  return faults;
}

std::string BondFaults(const AtomSet& live) {
  std::string faults;
  std::set<std::pair<const AtomRecord*, const AtomRecord*>> seen;
  for (const AtomRecord* atom : live) {
    const BondRecord* previous = nullptr;
    for (const BondRecord* bond = atom->bonds; bond; previous = bond, bond = bond->next) {
      if (bond->owner != atom || bond->prev != previous) faults += atom->name + " has a badly linked bond\n";
      if (bond->partner == atom || !live.count(bond->partner)) faults += atom->name + " is bonded to nothing live\n";
      const std::pair<const AtomRecord*, const AtomRecord*> pair = std::minmax<const AtomRecord*>(atom, bond->partner);
      if (!seen.insert(pair).second) faults += atom->name + " has a bond twice\n";
    }
  }
  return faults;
}

std::string MembershipFaults(const AtomList& list, const AtomSet& live) {
  std::string faults;
  const AtomSet selected(list.selection.begin(), list.selection.end());
  const AtomSet shown(list.displaySubset.begin(), list.displaySubset.end());
  for (const AtomSet* members : {&selected, &shown})
    if (!std::includes(live.begin(), live.end(), members->begin(), members->end())) faults += "a member is not live\n";
  for (const AtomRecord* atom : live) {
    if (atom->Has(kSelected) != (selected.count(atom) > 0)) faults += atom->name + " has a wrong selection flag\n";
    if (atom->Has(kInSubset) != (shown.count(atom) > 0)) faults += atom->name + " has a wrong subset flag\n";
    if (atom->parent && !live.count(atom->parent)) faults += atom->name + " has a parent that is not live\n";
  }
  for (const PairList* pairs : {&list.bindPairs, &list.freePairs})
    for (const auto& [a, b, line] : pairs->pairs)
      if (!live.count(a) || !live.count(b)) faults += "a pair names an atom that is not live\n";
  for (const HfixEntry& entry : list.hfix)
    if (entry.carrier && !live.count(entry.carrier)) faults += "an HFIX carrier is not live\n";
  for (const BondRecord* bond : list.selectedBonds) {
    const BondRecord* own = live.count(bond->owner) ? bond->owner->bonds : nullptr;
    while (own && own != bond) own = own->next;
    if (!own) faults += "a selected bond does not exist\n";
  }
  return faults;
}

}  // namespace

std::string FaultsOf(const AtomList& list) {
  AtomSet live;
  const std::string chain = ChainFaults(list, live);
  return chain + BondFaults(live) + MembershipFaults(list, live);
}

std::vector<std::string> ExampleFiles() {
  return FilesBelow(MARVIK_EXAMPLES, {"res", "ins"});
}

}  // namespace marvik::test
