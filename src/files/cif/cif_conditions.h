#pragma once

#include <string>

#include "files/cif/cif_text.h"

namespace marvik {

// What a block says of the measurement and of the refinement, as lines of an instruction file.
struct CifConditions {
  std::string wavelength = "0.71073";  // Å
  std::string measurement;             // TEMP and SIZE lines, as far as they are known
  std::string refinement;              // the WGHT line, an EXTI line where the correction is the one that EXTI makes
};
CifConditions ReadCifConditions(const CifBlock& block);

}  // namespace marvik
