#pragma once

#include "model/document.h"

namespace marvik {

// Numbers the connected fragments of the live atoms from 1, in the order of their first atoms in the list, into
// AtomRecord::moleculeNumber; an atom without bonds is a fragment of its own. Gives their number. The bonds are those
// of the last Connect. AtomRecord::scratch of the live atoms is their index afterwards.
int NumberMolecules(Document& document);

}  // namespace marvik
