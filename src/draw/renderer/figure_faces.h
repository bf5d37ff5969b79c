#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "draw/renderer/figure_marks.h"
#include "model/document.h"

namespace marvik {

// A flat piece that lets through what lies behind it: a face of a coordination polyhedron, or a plane through atoms.
struct FigureFace {
  std::vector<Cartesian> corners;      // Å, in order round it
  const AtomRecord* centre = nullptr;  // of the polyhedron, whose colour it has; null for a plane
  double Opacity() const { return centre ? 0.45 : 0.3; }
};

// Of the polyhedra about the atoms of these elements (rows of the table), and the planes of `marks`, which may be null.
// A polyhedron is the convex hull of what the atom is bonded to, metals and hydrogens left out, from four corners on.
std::vector<FigureFace> FacesOf(const Document& document, std::span<const uint8_t> elements, const FigureMarks* marks);

// Whether a bond has no place in a figure with polyhedra: between two metals, or a metal and the middle of a
// polyhedron.
bool IsNoEdge(const BondRecord& bond, std::span<const uint8_t> elements);

// The convex outline of some places in the plane that fits them best; none where they lie in line.
std::vector<Cartesian> PlaneOutline(std::span<const Cartesian> places);

}  // namespace marvik
