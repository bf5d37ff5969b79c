#pragma once

#include <vector>

#include "chem/environment.h"

namespace marvik {

// A hydrogen bond or a short contact between two atoms that are shown.
struct DrawnContact {
  const AtomRecord* from = nullptr;  // of a hydrogen bond its hydrogen, or the donor of one that is not shown
  const AtomRecord* to = nullptr;
  bool hydrogenBond = false;
};

// Each once, by what EnvironmentSearch says of them, in the order of the atoms.
std::vector<DrawnContact> ContactsShown(const Document& document, bool hydrogenBonds, bool shortContacts);

}  // namespace marvik
