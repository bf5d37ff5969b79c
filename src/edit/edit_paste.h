#pragma once

#include <string>
#include <vector>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// A copy of an atom, not yet in the list: of a new serial, not selected, without bonds, links and lines before it.
// Nothing without memory, after the message.
AtomRecord* CopyOfAtom(Document& document, const AtomRecord& source, UserMessages& messages);

// The chosen atoms with cell, symmetry, elements and free variables as a document of their own. Lines that name atoms
// stay behind; a riding hydrogen whose carrier is not chosen rides no more.
Document AtomsAlone(const Document& document, const std::vector<AtomRecord*>& chosen);

// Puts copies of all atoms of another document behind the last atom, peaks behind the last peak, and selects them. In
// another cell they keep their places in Å. Who would lie on an atom of the element that is there already moves on
// with all others along a, 1.5 Å at a time. A name that is taken becomes the element's next free one, while there are
// any of four letters; values of free variables are those that they had, fixed where they were; missing elements and
// residues come along. Positions are right afterwards, bonds are not made. A sentence, with nothing changed, where
// there is nothing to paste.
std::string PasteAtoms(Document& document, const Document& from, UserMessages& messages);

}  // namespace marvik
