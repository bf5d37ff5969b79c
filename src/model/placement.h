#pragma once

#include "crystal/cell_metric.h"
#include "crystal/displacement.h"
#include "model/atom_record.h"

namespace marvik {

// What the cell makes of an atom.

// Derives the Cartesian position (Å) from the fractional coordinates.
inline void FractionalToCartesian(const OrthogonalisationMatrix& matrix, AtomRecord& atom) {
  atom.position = matrix * atom.fract;
}

// Å.
inline double Distance(const AtomRecord& a, const AtomRecord& b) {
  return Distance(a.position, b.position);
}

// The displacement tensor in Å² in the program's Cartesian frame; an isotropic atom gives Uiso times the unit matrix.
inline Mat3 TensorOf(const DisplacementFrame& frame, const AtomRecord& atom) {
  return atom.IsAnisotropic() ? frame.TensorOf(atom.u) : Mat3::Diagonal(atom.u[0], atom.u[0], atom.u[0]);
}
inline Mat3 CartesianTensor(const AtomRecord& atom, const CellParameters& cell, const OrthogonalisationMatrix& matrix) {
  return TensorOf(DisplacementFrame(cell, matrix), atom);
}

// Ueq of an anisotropic atom, the value of any other as it stands in the file, Å².
inline double PlainUeq(const AtomRecord& atom, const Metric& metric) {
  return atom.IsAnisotropic() ? metric.Ueq(atom.u) : atom.u[0];
}

}  // namespace marvik
