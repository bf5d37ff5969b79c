#include "model/coded_values.h"

#include <cmath>

namespace marvik {

CodedParts SplitCodedValue(double v) {
  constexpr double kLargest = 1.0e6;
  const double magnitude = std::fabs(v);
  if (!(magnitude >= 5.0 && magnitude < kLargest)) return {0, 0.0, v};
  const int m = static_cast<int>(std::lround(magnitude / 10.0));
  const double p = v - (v < 0.0 ? -10.0 : 10.0) * m;
  if (m < 2) return {m, 0.0, p};
  return {m, p, v < 0.0 ? -p : 0.0};
}

double DecodedValue(double v, const std::vector<float>& freeVariables) {
  const CodedParts parts = SplitCodedValue(v);
  if (parts.variable < 2) return parts.offset;
  const size_t index = static_cast<size_t>(parts.variable) - 2;
  if (index >= freeVariables.size()) return v;
  return parts.factor * static_cast<double>(freeVariables[index]) + parts.offset;
}

double DecodedOccupancy(const AtomRecord& atom, const Instructions& instructions) {
  const double coded = atom.partHasOccupancy ? static_cast<double>(atom.partOccupancy) : atom.occupancy;
  return DecodedValue(coded, instructions.freeVariables);
}

void StandAs(AtomRecord& atom, const AtomRecord& other) {
  atom.part = other.part;
  atom.partHasOccupancy = other.partHasOccupancy;
  atom.partOccupancy = other.partOccupancy;
  atom.occupancy = other.occupancy;
  atom.codedValues[kCodedOccupancy] = other.codedValues[kCodedOccupancy];
  atom.residue = other.residue;
  atom.mole = other.mole;
}

void DecodeAtoms(Document& document) {
  const auto& variables = document.instructions.freeVariables;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    const auto& coded = atom->codedValues;
    for (int i = 0; i < 3; ++i)
      if (const double v = coded[static_cast<size_t>(kCodedX + i)]; v != 0.0)
        atom->fract[i] = DecodedValue(v, variables);
    for (size_t i = 0; i < 6; ++i)
      if (const double v = coded[kCodedU + i]; v != 0.0) atom->u[i] = DecodedValue(v, variables);
  }
}

}  // namespace marvik
