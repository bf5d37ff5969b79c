#pragma once

#include <memory>
#include <string>
#include <vector>

#include "crystal/density_map.h"
#include "model/document.h"

namespace marvik {

struct Session;

inline constexpr double kDensityStep = 0.2;  // Å, of the map's grid at most

struct PeakNeighbour {
  std::string atom;
  std::string symmetry;   // "-x, y+1/2, z" of the image, "" for the atom itself
  double distance = 0.0;  // Å
};
struct DensityPeak {
  Fractional x;
  double height = 0.0;  // e/Å³, below zero for a hole
  double siteFraction = 1.0;
  std::vector<PeakNeighbour> nearest;  // three at most, within 3.5 Å
};

// A map of a model against the reflections beside it, at the values that the document has; nothing is refined.
struct DataDensity {
  std::shared_ptr<const DensityMap> map;  // null: `problem` says why, in a sentence
  std::string problem;
  std::vector<std::string> notes;  // a sentence each: twins, neutrons, coarse grids, reflections that do not fit
  size_t reflections = 0;
  double r1 = 0.0;
  std::vector<DensityPeak> peaks;  // of the difference map, the highest first
  std::vector<DensityPeak> holes;  // the deepest first
};
// The highest maxima of a map of a session, or its deepest minima, with what they are near.
std::vector<DensityPeak> PeaksOf(const Session& session, const DensityMap& map, size_t count, bool holes);

DataDensity DensityFromData(const Document& document, const std::string& hklPath, MapKind kind, size_t peaks = 0);

}  // namespace marvik
