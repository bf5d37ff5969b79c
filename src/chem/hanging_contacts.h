#pragma once

#include <vector>

#include "model/document.h"

namespace marvik {

// A hydrogen bond or a short contact from an atom that is shown to an image that is not.
struct HangingContact {
  const AtomRecord* from = nullptr;
  const AtomRecord* source = nullptr;  // whose image it is
  int32_t symmetryCode = 0;            // of the image
  Cartesian place;                     // where that would be drawn
  bool hydrogenBond = false;
};

// By what EnvironmentSearch says of them, in the order of the atoms, at most so many.
std::vector<HangingContact> HangingContacts(const Document& document, bool hydrogenBonds, bool shortContacts,
                                            size_t most);

}  // namespace marvik
