#pragma once

#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// A methyl or hydroxyl group and where the difference density has its hydrogens.
struct HydrogenTurn {
  uint32_t carrier = 0;  // serials
  std::vector<uint32_t> hydrogens;
  std::vector<Fractional> places;
  double degrees = 0.0;   // to be turned by
  double density = 0.0;   // e/Å³, mean over the hydrogens at these places
  double before = 0.0;    // where they stand
  double contrast = 0.0;  // how far it rises above the mean of the circle, in sigma of the map
};

// Of every riding group that turns freely about its bond, by the reflections beside the file; `problem` gets a sentence
// where the model cannot be calculated against them.
std::vector<HydrogenTurn> TurnHydrogensByMap(const Document& document, const std::string& hklPath,
                                             std::string& problem);

}  // namespace marvik
