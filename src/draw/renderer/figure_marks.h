#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/atom_record.h"

namespace marvik {

// What a figure has beside its atoms, bonds and contacts; all of it between atoms that are shown.
struct FigureMarks {
  // A distance, an angle or a torsion angle of two to four atoms, in their order.
  struct Measure {
    std::vector<const AtomRecord*> atoms;
    std::string text;  // "1.523(3) Å"
  };
  // A restraint and how far it is from being kept, in standard uncertainties.
  struct Strain {
    std::vector<const AtomRecord*> atoms;
    double strain = 0.0;
  };
  std::vector<Measure> measures;
  std::vector<Strain> strains;  // the least first
};

}  // namespace marvik
