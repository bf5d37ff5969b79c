#pragma once

#include <vector>

#include "model/document.h"

namespace marvik {

// A coordinate, occupancy or displacement value v with |v| >= 5 is coded: with m = round(|v| / 10) and
// p = v - 10·m·sign(v), m = 1 holds p fixed and m >= 2 ties the value to free variable m, as p · variable for v > 0 and
// p · (variable - 1) for v < 0.
struct CodedParts {
  int variable = 0;  // m; 0 for a plain value, which is then the offset
  double factor = 0.0;
  double offset = 0.0;  // value = factor · variable + offset
};
CodedParts SplitCodedValue(double v);

// The number that a value of the file stands for. A variable that does not exist leaves v as it is.
double DecodedValue(double v, const std::vector<float>& freeVariables);

// The site occupation factor of an atom as a plain number; the occupancy of its PART line goes before its own.
double DecodedOccupancy(const AtomRecord& atom, const Instructions& instructions);

// Whether an isotropic value ties U to that of the atom before it: minus a factor on its Ueq, as -1.2.
constexpr bool IsRidingU(double u) {
  return u < -0.5 && u > -5.0;
}

// Puts an atom where another one stands in the disorder and among the residues: part, occupancies as coded, residue.
void StandAs(AtomRecord& atom, const AtomRecord& other);

// Sets fract and u of every atom from its coded values, after reading and after a change of the free variables. Riding
// displacement values (negative, above -5) stay as they are. Positions are not recomputed.
void DecodeAtoms(Document& document);

}  // namespace marvik
