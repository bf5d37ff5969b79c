#pragma once

#include <QString>

#include "model/document.h"

namespace marvik {

// One line about what lies under the pointer: name, element, place, and the height of a peak or the displacement.
QString DescribeAtom(const Document& document, const AtomRecord& atom);
// The two names and the distance in Å.
QString DescribeBond(const BondRecord& bond);
// "62 atoms, 10 peaks, 65 bonds", "" for an empty structure.
QString DescribeCounts(const Document& document);

}  // namespace marvik
