#pragma once

#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// One line about the structure as a whole, such as {"Density", "1.412 g/cm³"}.
struct StructureFact {
  std::string caption;
  std::string value;
  friend bool operator==(const StructureFact&, const StructureFact&) = default;
};

// Formula as UNIT gives it and as the atoms add up to (for one of Z formula units), cell, volume, Z and Z' (formula
// units for each general position), density of what the atoms add up to, temperature and wavelength. What the file does
// not say is left out; without atoms there is nothing.
std::vector<StructureFact> StructureFacts(const Document& document);

// Element symbols with counts, carbon and hydrogen first where there is carbon, the others by letter (E. A. Hill, J.
// Am. Chem. Soc. 22 (1900) 478-494). Counts are rounded to two decimals; those that round to 0 are left out.
std::string FormulaText(const std::vector<std::pair<std::string, double>>& counts);

}  // namespace marvik
