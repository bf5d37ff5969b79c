#pragma once

#include <optional>
#include <string>
#include <vector>

#include "model/document.h"
#include "refine/output/tables.h"

namespace marvik {

// Every restraint of a model as it stands, without reflections; `problem` gets a sentence where the model cannot be
// refined, `notes` what the refinement says of its instructions.
std::vector<RestraintLine> RestraintsAsTheyAre(const Document& document, std::string& problem,
                                               std::vector<std::string>* notes = nullptr);
// Why a restraint has no lines among them.
std::string WhyWithoutCost(const std::string& restraint, const std::vector<std::string>& notes);

// R1 of the strong reflections after some cycles of refinement of a copy; nothing where instructions or reflections do
// not allow it, or where that took long.
std::optional<double> R1After(const Document& document, const std::string& hklPath, int cycles);

}  // namespace marvik
