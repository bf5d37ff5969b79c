#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// Keys that act on the atom under the pointer, else on what is selected; with Shift on their whole fragments.
struct AtomKey {
  int key;  // of the toolkit
  const char* name;
  const char* what;
  const char* symbol;     // of the element that it makes, "" for none
  int step = 0;           // among the elements of the keys
  int command = 0;        // for a selection
  int pickedCommand = 0;  // for one atom, 0 for the same
  const char* argument = "";
};
std::span<const AtomKey> AtomKeys();

// The symbol that the key makes of an atom; "" where there is none.
std::string SymbolOf(const AtomKey& key, const AtomRecord& atom);
// The text for "rename" that makes elements of atoms by that key, "" where none changes: each with its number where
// that is free in its residue, else with the first that is.
std::string NamesAs(const Document& document, const AtomKey& key, const std::vector<uint32_t>& serials);

}  // namespace marvik
