#pragma once

#include <string>
#include <vector>

namespace marvik::phase {

// Light atoms, whole and ordered, that move much less or more than their neighbours: a third of all at most, so that
// the others keep the scale.
std::vector<std::string> Suspects(const std::string& model);

}  // namespace marvik::phase
