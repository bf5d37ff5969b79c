#pragma once

#include "base/user_messages.h"
#include "chem/bonds/bond_rules.h"
#include "model/document.h"

namespace marvik {

// Rebuilds all bonds, the hidden-part bits and MoleculeCentre. Two atoms of parts that are not hidden bond: FREE pairs
// never, BIND pairs always, others by BondCriterion when BondRules::PartsBond; an atom of a negative PART and a grown
// one of another image of that PART never do. The bonds and their order in every list are those of the plain double
// loop over the atoms and over those behind each in the list, at a cost that grows with their number. Without atoms the
// centre is the origin. Atoms whose position is not finite get no bonds and do not count for the centre. Without memory
// for the bonds, or with so many that nothing but an absurd bond radius can be the reason: the message, a request to
// quit, and fewer bonds. AtomRecord::scratch of the live atoms is their index afterwards.
void Connect(Document& document, UserMessages& messages);

enum class BindMode { Pair = 1, SelectionToTarget = 2 };

// The user's request to bond: `a` to `b`, or every selected atom to `b`. A pair that bonds by itself only loses its
// FREE entry. False when an atom is missing or nothing is selected. Connects again.
bool BindAtoms(Document& document, BindMode mode, AtomRecord* a, AtomRecord* b, UserMessages& messages);

// The mirror of BindAtoms for one pair: true when the pair was added to the FREE list.
bool FreeAtoms(Document& document, AtomRecord* a, AtomRecord* b, UserMessages& messages);

}  // namespace marvik
