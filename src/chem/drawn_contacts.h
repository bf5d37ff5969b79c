#pragma once

#include <cstdint>
#include <vector>

#include "chem/environment.h"

namespace marvik {

enum class ContactLine : uint8_t { Short, HydrogenBond, Measured };

// A hydrogen bond, a short contact or a measured distance between two atoms that are shown.
struct DrawnContact {
  const AtomRecord* from = nullptr;  // of a hydrogen bond its hydrogen, or the donor of one that is not shown
  const AtomRecord* to = nullptr;
  ContactLine line = ContactLine::Short;
};

// Hydrogen bonds and short contacts, each once, by what EnvironmentSearch says of them, in the order of the atoms.
std::vector<DrawnContact> ContactsShown(const Document& document, bool hydrogenBonds, bool shortContacts);

}  // namespace marvik
