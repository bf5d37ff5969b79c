#pragma once

#include <string>
#include <vector>

#include "refine/map/fourier.h"

namespace marvik::phase {

// The model of an instruction file with HFIX lines where bonds leave room for riding hydrogens; "" when there is none.
std::string WithRidingHydrogens(const std::string& model);

// With hydrogens that no geometry tells, of water and of groups on special positions, at peaks of the difference map,
// restrained to the usual lengths; "" when there is none.
std::string WithMapHydrogens(const std::string& model, const Metric& metric, const std::vector<Peak>& peaks);

}  // namespace marvik::phase
