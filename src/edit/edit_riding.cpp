#include "edit/edit_riding.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <unordered_set>

#include "chem/bonds/bond_rules.h"
#include "model/placement.h"

namespace marvik {
namespace {

bool MayCarry(const AtomRecord& atom) {
  const int row = atom.element->atomicNumber;
  return row >= 6 && row <= 8;
}

bool IsNear(const AtomRecord& hydrogen, const AtomRecord& other, double& distance) {
  return PartsMayBond(hydrogen.part, other.part) && BondCriterion(hydrogen, other, distance);
}

AtomRecord* NearestCarrier(const AtomList& atoms, const AtomRecord& hydrogen) {
  AtomRecord* nearest = nullptr;
  double best = 0.0;
  for (AtomRecord* atom : Atoms(atoms)) {
    double distance = 0.0;
    if (!MayCarry(*atom) || atom->IsPeak() || !IsNear(hydrogen, *atom, distance)) continue;
    if (!nearest || distance < best) {
      nearest = atom;
      best = distance;
    }
  }
  return nearest;
}

// The parent of another hydrogen of the same AFIX group, or the atom that the group stood behind in the file: serial
// numbers go up in file order.
AtomRecord* CarrierOfGroup(const AtomList& atoms, const AtomRecord& hydrogen) {
  AtomRecord* before = nullptr;
  for (AtomRecord* atom : Atoms(atoms)) {
    const bool sameGroup = atom->afix == hydrogen.afix && atom->afixGroup == hydrogen.afixGroup;
    if (atom != &hydrogen && sameGroup && hydrogen.afixGroup != 0 && atom->parent) return atom->parent;
    const bool mayStandBefore = !atom->IsHydrogen() && !atom->IsPeak() && atom->serial < hydrogen.serial;
    if (mayStandBefore && (!before || atom->serial > before->serial)) before = atom;
  }
  return before;
}

AtomRecord* FindParent(const AtomList& atoms, const AtomRecord& hydrogen) {
  double distance = 0.0;
  AtomRecord* carrier = CarrierOfGroup(atoms, hydrogen);
  if (carrier && MayCarry(*carrier) && IsNear(hydrogen, *carrier, distance)) return carrier;
  return NearestCarrier(atoms, hydrogen);
}

// Behind `place`, past what must stay with it: its riders, and the rest of an AFIX group that the atom is not in.
void LinkBehindGroup(AtomList& list, AtomRecord* atom, AtomRecord* place) {
  const AtomRecord* first = place;
  while (place && place->next && place->next != atom) {
    const AtomRecord* next = place->next;
    const bool rides = next->parent == first;
    const bool inGroup = next->afix != 0 && first->afix != 0 && next->afixGroup == first->afixGroup;
    if (!rides && !(inGroup && (atom->afix == 0 || atom->afixGroup != first->afixGroup))) break;
    place = place->next;
  }
  list.LinkBehind(atom, place);
}

void PutBack(AtomList& list, const std::vector<AtomRecord*>& restored) {
  std::map<uint32_t, AtomRecord*> bySerial;
  for (AtomRecord* atom : Atoms(list)) bySerial.emplace(atom->serial, atom);
  for (AtomRecord* atom : restored) bySerial.erase(atom->serial);
  for (AtomRecord* atom : restored) {
    const auto after = bySerial.lower_bound(atom->serial);
    AtomRecord* place = after == bySerial.begin() ? nullptr : std::prev(after)->second;
    list.Unlink(atom);
    LinkBehindGroup(list, atom, place);
    bySerial.emplace(atom->serial, atom);
  }
}

// What stood before an atom in the file went on to the next one when it was killed, and comes back with it.
void TakeLinesBack(AtomList& list, const std::unordered_set<const AtomRecord*>& restored, AtomRecord* atom) {
  if (atom->sourceLine < 0) return;
  int32_t from = -1;
  for (const AtomRecord* other = atom->prev; other && from < 0; other = other->prev)
    if (!restored.contains(other)) from = other->sourceLine;
  auto& lines = atom->next ? atom->next->MutableExtras().linesBefore : list.trailingLines;
  const auto isOurs = [&](const KeptLine& line) { return line.line > from && line.line < atom->sourceLine; };
  auto& own = atom->MutableExtras().linesBefore;
  std::ranges::copy_if(lines, std::back_inserter(own), isOurs);
  std::erase_if(lines, isOurs);
}

void WarnOfLost(bool placed, bool riding, UserMessages& messages) {
  constexpr char kCaption[] = "Restore Killed Atom(s)";
  if (placed) messages.Show({MessageIcon::Warning, kCaption, "Warning: Unable to reconnect HFIXed Hydrogens"});
  if (riding) {
    messages.Show({MessageIcon::Warning, kCaption,
                   "Some AFIXed hydrogens could not be undeleted -- as\n"
                   "no nearby carbon, nitrogen, or oxygen atoms were found."});
  }
}

}  // namespace

int32_t NextAfixGroup(const Document& document) {
  int32_t last = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) last = std::max(last, atom->afixGroup);
  return last + 1;
}

void MoveBehindParent(AtomList& atoms, AtomRecord* atom) {
  AtomRecord* parent = atom->parent;
  atoms.Unlink(atom);
  AtomRecord* place = parent;
  while (place->next && place->next->parent == parent) place = place->next;
  atoms.LinkBehind(atom, place);
}

void SetAfix(Document& document, AtomRecord* atom, int code, int32_t group) {
  atom->afix = static_cast<uint16_t>(code);
  atom->afixGroup = code == 0 ? 0 : group;
  if (!atom->IsHydrogen()) return;
  atom->parent = atom->IsRiding() ? NearestCarrier(document.atoms, *atom) : nullptr;
  if (atom->parent) MoveBehindParent(document.atoms, atom);
}

size_t RestoreAtoms(Document& document, const std::vector<AtomRecord*>& chosen, UserMessages& messages) {
  AtomList& list = document.atoms;
  std::vector<AtomRecord*> restored = chosen;
  std::ranges::sort(restored, {}, &AtomRecord::serial);
  list.RestoreKilledAtoms(restored);
  PutBack(list, restored);
  const std::unordered_set<const AtomRecord*> coming(restored.begin(), restored.end());
  for (auto atom = restored.rbegin(); atom != restored.rend(); ++atom) TakeLinesBack(list, coming, *atom);
  for (AtomRecord* atom : restored) {
    atom->Set(kHidden, false);
    FractionalToCartesian(document.matrix, *atom);
  }
  std::vector<AtomRecord*> lost;
  bool lostPlaced = false;
  bool lostRiding = false;
  for (AtomRecord* atom : restored) {
    if (!atom->IsRiding()) continue;
    if (!atom->parent) atom->parent = FindParent(list, *atom);
    if (atom->parent) {
      MoveBehindParent(list, atom);
      continue;
    }
    (atom->flags2 & kProgramHydrogen ? lostPlaced : lostRiding) = true;
    lost.push_back(atom);
  }
  list.KillAtoms(lost);
  std::vector<AtomRecord*> orphans;
  for (AtomRecord* atom : Atoms(list)) {
    if (atom->IsRiding() && !atom->parent && !restored.front()->IsHydrogen()) orphans.push_back(atom);
  }
  for (AtomRecord* atom : orphans) {
    AtomRecord* parent = FindParent(list, *atom);
    if (!parent || std::ranges::find(restored, parent) == restored.end()) continue;
    atom->parent = parent;
    MoveBehindParent(list, atom);
  }
  WarnOfLost(lostPlaced, lostRiding, messages);
  return restored.size() - lost.size();
}

}  // namespace marvik
