#pragma once

#include <functional>
#include <string>
#include <vector>

#include "phase/solution.h"

namespace marvik::phase {

// One refinement on the way to the finished model.
struct CompletionStep {
  std::string what;    // "isotropic", "twin", "anisotropic", "hydrogens", "weights", "extinction"
  std::string text;    // the instruction file as refined
  std::string remark;  // what it found, such as the share of a twin
  double r1 = 1.0;     // over Fo > 4σ(Fo)
  double wR2 = 1.0;
  size_t parameters = 0;
  size_t atoms = 0;
};

struct Completion {
  std::vector<CompletionStep> steps;  // those that made the model better, the last one is the result
  std::vector<std::string> remarks;   // what is left for the user to look at
  bool cancelled = false;
};

using StepProgress = std::function<bool(const std::string& what, double share)>;

// Goes on from a solution by full-matrix refinement: elements looked at again by their displacements, atoms that are
// missing or wrong, twinning that the cell allows, anisotropic displacements, riding hydrogens, weights, extinction. A
// step that does not help is left out.
Completion Complete(const Problem& problem, Candidate candidate, const StepProgress& progress,
                    const ModelSink& show = {});

// The same from the model of an instruction file, to the end or one step on. What the user put there stays; isotropic
// atoms without hydrogens, parts and restraints are looked at as those of a solution. A sentence when it cannot be
// refined.
Completion CompleteModel(const Problem& problem, const std::string& text, bool oneStep, const StepProgress& progress,
                         const ModelSink& show, std::string& sentence);

}  // namespace marvik::phase
