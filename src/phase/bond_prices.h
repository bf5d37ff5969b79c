#pragma once

#include <cstddef>

namespace marvik::phase {

// What bonds say against elements, by atomic numbers; prices are of -ln(likelihood), lengths and their spread in Å.

inline bool IsNonmetal(int z) {
  return (z >= 5 && z <= 9) || (z >= 14 && z <= 17) || (z >= 33 && z <= 35) || z == 53;
}

// Metals without d electrons to give.
bool IsMainGroup(int z);

// Whether atoms so far apart hold together; metals are not asked.
inline bool Bonded(int a, int b, double d) {
  if (!IsNonmetal(a) || !IsNonmetal(b)) return false;
  const bool heavy = a > 10 || b > 10, both = a > 10 && b > 10;
  return d < (both ? 2.4 : heavy ? (a > 18 || b > 18 ? 2.25 : 2.0) : 1.75);
}

double BondPrice(int a, int b, double d, double spread);
// How many neighbours but hydrogen and metals an element has at most, and what one more costs.
double CoordinationPrice(int z, size_t bonds, size_t metals);
// What an atom at the end of a chain tells by its one bond to carbon.
double EndPrice(int z, double d, double spread);

}  // namespace marvik::phase
