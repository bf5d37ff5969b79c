#pragma once

#include <string>
#include <vector>

#include "refine/job/session.h"

namespace marvik {

// An instruction with restraints, and what one linear step without it would make of R1.
struct RestraintCost {
  std::string instruction;
  double restraints = 0.0;
  double chi2 = 0.0;
  double gain = 0.0;    // R1 with it less R1 without
  bool needed = false;  // without it something would not be determined
};

// How a reflection stands against all others: its leverage (0 to 1: the part of its own value that the fit takes from
// it alone), and Cook's distance, by how much leaving it out would move the model (R. D. Cook, Technometrics 19 (1977)
// 15-18).
struct Influence {
  size_t observation = 0;
  double leverage = 0.0;
  double distance = 0.0;
};

// The number of electrons that the data ask of an atom when its occupancy, an isotropic change of its displacement and
// the scale are set free together.
struct SiteElectrons {
  int site = 0;
  double share = 1.0;  // of what the model has there
  double su = 0.0;
  double displacement = 1.0;  // Ueq against the mean of the neighbours
  int suggested = 0;          // atomic number; 0: none
};

struct LinearStudy {
  std::vector<RestraintCost> restraints;  // those that cost most first
  size_t untried = 0;                     // instructions, for being many or large
  std::vector<Influence> reflections;     // the most influential first
};
// Needs the covariance matrix; empty without one, and where the model is too large for it.
LinearStudy StudyLinearly(const Session& session);
// Those whose electrons differ, the most certain first; for X-rays.
std::vector<SiteElectrons> FindStrangeElements(const Session& session);

}  // namespace marvik
