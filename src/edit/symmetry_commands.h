#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// The commands that build with symmetry. All of them leave the document connected; atoms that they make are generated
// ones, appended in the list. Those read or made by hand are the file atoms.

// Adds the image of a whole fragment of file atoms wherever one of its atoms would bond to an atom that is there, until
// nothing is missing. What would go on for ever gets one shell. Ends, with a message, when there are more than `most`.
// Gives the number of atoms added.
inline constexpr double kMostPackedAtoms = 300000.0;
size_t Grow(Document& document, UserMessages& messages, double most = kMostPackedAtoms);

// Adds the image by a symmetry code (2655: the second operator, a cell on along a) of the whole fragment of a file
// atom. Gives the number of atoms added, those that stand there already not among them.
size_t GrowImage(Document& document, const AtomRecord& atom, int32_t symmetryCode, UserMessages& messages);

struct PackBox {
  std::array<double, 3> low{0.0, 0.0, 0.0};  // fractional, along a, b, c
  std::array<double, 3> high{1.0, 1.0, 1.0};
  bool wholeMolecules = true;  // those whose centroid is inside; else single atoms
};
struct PackResult {
  bool refused = false;   // limits reversed, not finite, or too many atoms
  double expected = 0.0;  // atoms the box would take, before atoms on special positions are counted once
  size_t added = 0;
};
PackResult Pack(Document& document, const PackBox& box, UserMessages& messages);

// Removes generated atoms: the selected ones if any is selected, else all. Gives their number.
size_t Trim(Document& document, UserMessages& messages);

// The atoms of the connected fragments that hold any of these, in list order.
std::vector<AtomRecord*> ConnectedFragments(Document& document, const std::vector<AtomRecord*>& atoms);

// Brings together fragments of file atoms that bond only through symmetry, the smaller moving to the larger, with
// coordinates, displacement tensors and fixed codes. A fragment whose codes cannot be worked out again stays. What is
// together never moves. Generated atoms are removed first when dropGenerated is set; otherwise nothing moves while
// there are any. Gives the number of atoms moved.
size_t FormMolecules(Document& document, bool dropGenerated, UserMessages& messages);

// Moves each atom to its image nearest to the reference, among all operators and translations -3..3, and to the end of
// the list, riding hydrogens behind their parent and moved with it. The tensor turns with the operator. Gives
// the number of atoms that moved.
size_t MoveNear(Document& document, const std::vector<AtomRecord*>& atoms, const AtomRecord& reference,
                UserMessages& messages);

}  // namespace marvik
