#pragma once

#include <vector>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// A number for an AFIX group that no atom has yet.
int32_t NextAfixGroup(const Document& document);
// Gives an atom an AFIX code. A hydrogen with a riding code gets the nearest C, N, O or other non-hydrogen atom it is
// bonded to for a parent and stands behind it; without a riding code it has none.
void SetAfix(Document& document, AtomRecord* atom, int code, int32_t group);

// Links an atom behind its parent and the hydrogens that ride on that already.
void MoveBehindParent(AtomList& atoms, AtomRecord* atom);

// "Restore Killed Atom(s)": takes chosen atoms out of the killed list. Each goes back behind the live atom that was
// made or read last before it, never into the middle of another AFIX group; riding hydrogens go behind their parent,
// found by the AFIX group they stood in, else as the nearest C, N or O within bonding reach. Hydrogens that find none
// stay killed, with a warning. Live hydrogens that had lost a parent which comes back ride on it again. Positions are
// recomputed, bonds are not made. Gives the number of atoms that came back.
size_t RestoreAtoms(Document& document, const std::vector<AtomRecord*>& chosen, UserMessages& messages);

}  // namespace marvik
