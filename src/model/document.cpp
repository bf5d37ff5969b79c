#include "model/document.h"

namespace marvik {

Document& Document::operator=(const Document& other) {
  if (this == &other) return *this;
  DocumentValues::operator=(other);
  elements = other.elements;
  atoms = other.atoms;
  atoms.AdoptElements(elements);
  return *this;
}

void Document::RecomputePositions() {
  for (AtomRecord* atom : Atoms(atoms)) atom->position = matrix * atom->fract;
}

void Document::Clear() {
  atoms.KillAll();
  atoms.FreeRetired();
  atoms.hfix.clear();
  atoms.hiddenParts.clear();
  cell = {};
  matrix = {};
  latticeCode = 1;
  symmetry.clear();
  instructions = {};
  const int32_t previousCount = settings.PreviousWeightCount;
  const auto previous = settings.PreviousWeights;
  settings = {};
  settings.PreviousWeightCount = previousCount;
  settings.PreviousWeights = previous;
  residues.clear();
  MoleculeCentre = {};
}

}  // namespace marvik
