#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/document.h"

namespace marvik::test {

// "C12" of "C" and 12.
std::string Numbered(std::string_view symbol, int number);
// A live atom of the element that the name gives, linked at the tail.
AtomRecord* AddAtom(Document& document, std::string_view name, const Fractional& fract);
// The same at a place in Å; its fractional coordinates stay 0.
AtomRecord* AddAtomAt(Document& document, std::string_view name, const Cartesian& position);

// Names of the live atoms in list order, blank-separated.
std::string NamesOf(const AtomList& list);
// "C1-N1" for every bond, in the order of the atoms and of their own lists, blank-separated.
std::string BondsOf(const AtomList& list);

// What is wrong with the pointers of a list (links, tail, bond ownership, membership flags, lists that name atoms which
// are not live), empty when all is well.
std::string FaultsOf(const AtomList& list);

// The instruction and result files of the package's examples, by name; empty when there are none.
std::vector<std::string> ExampleFiles();

}  // namespace marvik::test
