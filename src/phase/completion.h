#pragma once

#include <functional>
#include <string>
#include <vector>

#include "phase/solution.h"

namespace marvik::phase {

// One refinement on the way to the finished model.
struct CompletionStep {
  std::string what;  // "isotropic", "anisotropic", "hydrogens", "weights", "extinction"
  std::string text;  // the instruction file as refined
  double r1 = 1.0;   // over Fo > 4σ(Fo)
  double wR2 = 1.0;
  size_t parameters = 0;
};

struct Completion {
  std::vector<CompletionStep> steps;  // those that made the model better, the last one is the result
  std::vector<std::string> remarks;   // what is left for the user to look at
  bool cancelled = false;
};

// Goes on from a solution by full-matrix refinement: elements looked at again by their displacements, atoms that are
// missing or wrong, anisotropic displacements, riding hydrogens, weights, extinction. A step that does not help is left
// out.
Completion Complete(const Problem& problem, Candidate candidate,
                    const std::function<bool(const std::string& what, double share)>& progress);

}  // namespace marvik::phase
