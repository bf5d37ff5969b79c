#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "base/vec3.h"
#include "files/cif/cif_text.h"

namespace marvik {

// A value with its standard uncertainty, "0.1234(5)": 0.0005, 0 without one. False for what is no number.
bool ParseMeasuredCifNumber(CifValue value, double& number, double& uncertainty);

// An atom site with the standard uncertainties that its row and the displacement loop give.
struct CifUncertainAtom {
  std::string label;
  Fractional fract;
  std::array<double, 3> fractSu{};
  std::array<double, 6> uSu{};  // Å²: U11 U22 U33 U23 U13 U12, or Uiso first
  double occupancySu = 0.0;
};

struct CifUncertainties {
  std::vector<CifUncertainAtom> atoms;
  std::array<double, 6> cellSu{};  // a b c in Å, α β γ in degrees
};

// Of the first block that has atoms with coordinates.
CifUncertainties ReadCifUncertainties(std::string_view text);

}  // namespace marvik
