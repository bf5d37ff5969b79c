#pragma once

#include <optional>
#include <string_view>

#include "run/progress_curve.h"

namespace marvik {

// What a result file says of the refinement that wrote it; what it does not say is missing.
struct ResultSummary {
  CyclePoint figures;
  std::optional<double> peak;  // e/Å³
  std::optional<double> hole;  // e/Å³, negative
  std::optional<int> parameters;
  std::optional<int> restraints;
  std::optional<int> data;  // all that were used
};

// From the remarks of a result file: "REM R1 = 0.0364 for 3456 Fo > 4sig(Fo) and 0.0512 for all 4321 data", "REM 123
// parameters refined using 12 restraints", "REM Highest difference peak 0.312, deepest hole -0.224". The last of each
// counts.
ResultSummary SummaryOfResult(std::string_view text);

}  // namespace marvik
