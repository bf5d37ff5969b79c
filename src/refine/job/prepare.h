#pragma once

#include <string>
#include <vector>

#include "base/user_messages.h"
#include "model/document.h"
#include "refine/job/line_places.h"
#include "refine/structure/structure.h"

namespace marvik {

// Carries out the instructions that change the model before it is refined and takes them out of the document: MOVE
// (and the inversion setting), ANIS and HFIX. Hydrogens made from HFIX stand behind their carrier; `fresh` gets those
// whose torsion is yet to be found. Sentences about what could not be done go to `notes`.
void PrepareDocument(Document& document, UserMessages& messages, std::vector<AtomRecord*>& fresh,
                     std::vector<std::string>& notes, const LinePlaces& places = {});

// A hydrogen behind `place` that has the carrier's position, part and residue and a name after the carrier's, of which
// it is number `index` of `count`. Null, with a message, when there is no room for one more atom.
AtomRecord* AddHydrogen(Document& document, AtomRecord& carrier, AtomRecord* place, size_t index, size_t count,
                        UserMessages& messages);

// U of an isotropic atom as a tensor in file order.
std::array<double, 6> TensorOfIsotropic(const Metric& metric, double u);

}  // namespace marvik
