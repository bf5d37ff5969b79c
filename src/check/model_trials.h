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

// An atom whose electrons are those of another element, and how its displacement compares with those beside it.
struct ElementDoubt {
  std::string atom;
  double share = 1.0;  // of the electrons that the model has there
  double su = 0.0;
  double displacement = 1.0;  // Ueq against the mean of the neighbours
  std::string suggested;      // symbol, "" for nothing
};
// The surest first; `problem` gets a sentence where the model cannot be calculated against the reflections.
std::vector<ElementDoubt> FindElementDoubts(const Document& document, const std::string& hklPath, std::string& problem);

}  // namespace marvik
