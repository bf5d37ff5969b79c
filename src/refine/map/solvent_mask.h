#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include "refine/solve/least_squares.h"

namespace marvik {

struct MaskOptions {
  double probe = 1.2;      // Å: what fits between the van der Waals surfaces
  double shrink = 1.2;     // Å: how far from the places of its centre a void reaches
  double step = 0.2;       // Å, of the grid; up to 0.4 in large cells
  double smallest = 20.0;  // Å³: smaller voids are left alone
};

// A region of the cell that no atom fills, connected across the faces of the cell.
struct SolventVoid {
  Fractional centre;     // mean of its points, in the cell; of one that runs on through the crystal, of a cell's worth
  bool endless = false;  // a channel or layers
  double volume = 0.0;   // Å³
  double electrons = 0.0;
  std::vector<Fractional> places;  // spread over it, as it hangs together
};

struct SolventMask {
  std::array<size_t, 3> size{};
  std::vector<uint32_t> owner;     // of each grid point the last index running fastest: number of the void, 0 for none
  std::vector<SolventVoid> voids;  // of the whole cell, the largest first; void n at index n - 1
  double volume = 0.0;             // of all, Å³
  double electrons = 0.0;          // of all
  std::vector<AddedFactor> factors;  // of the voids, one of each set of equivalents to the resolution of the data
  int cycles = 0;
  bool settled = false;  // the electrons came to rest
};

// The voids of a model: points farther than a probe from every van der Waals surface (A. Bondi, J. Phys. Chem. 68
// (1964) 441-451; where it names none the bonding radius and 0.8 Å), and what is within `shrink` of them. The grid
// holds the indices of the data. No voids where the cell is too large for a grid of 3·10⁷ points.
SolventMask FindVoids(const Structure& structure, const Observations& observations, const MaskOptions& options);

// Counts the electrons in the voids and makes their structure factors (P. van der Sluis & A. L. Spek, Acta Cryst. A46
// (1990) 194-201): density from Fo with the phases of atoms and voids together, less the atoms, its mean outside the
// voids taken for zero, is cut to the voids and transformed, until the electrons rest. Reflections that are not
// measured are taken as calculated. `observations` and the scale of `structure` are left as the last cycle has them,
// `calculated` too.
void FillVoids(Structure& structure, Observations& observations, const WeightScheme& weights, SolventMask& mask,
               Calculated& calculated);

}  // namespace marvik
