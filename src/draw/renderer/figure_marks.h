#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/atom_record.h"

namespace marvik {

// What a figure has beside its atoms, bonds and contacts; all of it between atoms that are shown.
struct FigureMarks {
  // A place, and the atom that stands there; null for a centroid or the foot of a perpendicular.
  struct Place {
    Cartesian at;  // Å
    const AtomRecord* atom = nullptr;
  };
  // A distance, an angle or a torsion angle of two to four places, in their order.
  struct Measure {
    std::vector<Place> places;
    std::string text;  // "1.523(3) Å"
  };
  // A dashed line; those between two atoms are contacts.
  struct Line {
    Place from;
    Place to;
  };
  // A restraint and how far it is from being kept, in standard uncertainties.
  struct Strain {
    std::vector<const AtomRecord*> atoms;
    double strain = 0.0;
  };
  std::vector<Measure> measures;
  std::vector<Line> lines;
  std::vector<Cartesian> centroids;
  std::vector<std::vector<Cartesian>> planes;  // corners of their outlines
  std::vector<Strain> strains;                 // the least first
};

}  // namespace marvik
