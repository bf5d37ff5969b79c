#pragma once

#include <vector>

#include "draw/canvas/canvas.h"
#include "model/atom_list.h"

namespace marvik {

// Finds atoms and bonds by the screen positions that the renderer left in the atoms. Everything is in device pixels;
// `pixelRatio` (device pixels to a nominal one) scales how near is near enough.

// The displayed atom nearest to the pointer by |dx| + |dy|, below 10 nominal pixels; the first in the list of equals.
AtomRecord* HitTestAtom(const AtomList& atoms, double x, double y, double pixelRatio = 1.0);

// The bond between displayed atoms nearest to the pointer, below 3 nominal pixels. `atom` is the one that owns it.
struct PickedBond {
  AtomRecord* atom = nullptr;
  BondRecord* bond = nullptr;
};
PickedBond HitTestBond(const AtomList& atoms, double x, double y, double pixelRatio = 1.0);

// Distance of p from the line through a and b, at most the length of the segment; 9999 when p lies outside the box
// around both, which is widened by 5 pixels wherever it is narrower than 6 and does not reach below 0.
double DistanceToSegment(CanvasPoint a, CanvasPoint b, CanvasPoint p, double pixelRatio = 1.0);

// Displayed atoms inside a rectangle given by any two opposite corners, sides included, in list order.
std::vector<AtomRecord*> AtomsInRectangle(const AtomList& atoms, double x0, double y0, double x1, double y1);

}  // namespace marvik
