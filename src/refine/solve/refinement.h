#pragma once

#include <functional>
#include <string>
#include <vector>

#include "refine/job/job.h"
#include "refine/restraints/restraints.h"
#include "refine/solve/least_squares.h"
#include "refine/solve/solver.h"

namespace marvik {

// Where a run's lines go as it proceeds.
using LineSink = std::function<void(const std::string&)>;

struct CycleReport {
  Residuals before;  // with the model that the cycle started from
  double restrainedGoof = 0.0;
  double meanShift = 0.0;     // mean |shift/σ|
  double largestShift = 0.0;  // largest |shift/σ|
  std::string largestName;
  double largestMove = 0.0;  // Å
  std::string movedAtom;
  double largestU = 0.0;  // change of a displacement parameter, Å²
  std::string changedAtom;
};

struct RefinementResult {
  bool failed = false;
  std::string problem;
  std::vector<CycleReport> cycles;
  Residuals final;
  double restrainedGoof = 0.0;
  size_t restraints = 0;
  size_t parameters = 0;
  double lastShift = 0.0;  // largest |shift/σ| of the last cycle
  double lastMeanShift = 0.0;
  Calculated calculated;
  // Of the parameters, times S² and the Friedel factor; of size 0 after CGLS, which leaves uncertainties from the
  // blocks of each atom's parameters alone.
  NormalMatrix covariance;
  std::vector<double> sigmas;
  bool blockSigmas = false;
  double friedelFactor = 1.0;  // data for each that is unique when Friedel opposites are one
  std::vector<std::string> singular;
};

// Refines the structure in place. When a cycle makes things hopeless (not finite, much worse even after its shifts were
// cut three times) the last good model stays and `problem` says why.
RefinementResult Refine(const Job& job, Structure& structure, Parametrisation& parametrisation,
                        const Observations& observations, const RestraintList& restraints, const LineSink& print);

// Calculates at the present model; a scale factor that is off by more than half is set right first. Whether it was.
bool MatchScale(Structure& structure, DataPass& pass, Calculated& calculated);

// Names of the atoms whose displacement is not positive, in the order of the list.
std::vector<std::string> NotPositiveAtoms(const Structure& structure);

}  // namespace marvik
