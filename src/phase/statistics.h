#pragma once

#include <string>
#include <vector>

#include "phase/lattice.h"

namespace marvik::phase {

constexpr double kTwinLimit = 0.42;  // R of intensities that a twin may relate

// How well intensities of reflections that a rotation makes equivalent agree, Friedel opposites taken together.
struct RotationAgreement {
  Rotation rotation{};
  double r = 0.0;    // Σ|I1 - I2| / Σ(I1 + I2): near 0.5 for reflections that are not related
  size_t pairs = 0;  // 0 also where the data were merged before
};

struct NormalisedReflection {
  Miller h{};       // user's cell
  double f = 0.0;   // |F|, file scale
  double e = 0.0;   // |E|, no symmetry but the lattice assumed
  double s2 = 0.0;  // (sin θ / λ)², Å⁻²
};

// What the intensities alone tell.
struct DataStatistics {
  Centring centring;
  std::vector<RotationAgreement> agreements;  // of the metric's rotations, the identity left out
  std::vector<Rotation> laue;                 // rotations of the Laue class, the identity included
  SpaceGroup laueGroup;                       // Laue class and lattice, for merging
  std::vector<Reflection> merged;             // in the Laue class, Friedel opposites together
  MergeStatistics merging;
  std::vector<NormalisedReflection> normalised;  // as far as they serve for phases
  double dMin = 0.0;                             // Å, of all data
  double dPhasing = 0.0;                         // Å, of `normalised`
  double completeness = 0.0;                     // up to dPhasing
  double meanIOverSigma = 0.0;
  double secondPart = 0.0;        // share of the twin that was taken apart, 0 for none
  double eSquaredMinusOne = 0.0;  // mean |E² - 1|: 0.97 centric, 0.74 acentric for random light atoms
};

struct AnalysisOptions {
  bool given = false;             // the header's symmetry is the truth
  double equivalentLimit = 0.25;  // R of a rotation that belongs to the Laue class; 0 trusts none that was measured
  // A twin by the law of the lattice that the intensities obey best is taken apart: they serve for phases only.
  bool detwin = false;
};

// Lattice, Laue class and normalised structure factors. What the user
// should know goes to the problem's notes; false, with a sentence, when the data cannot serve.
bool AnalyseData(Problem& problem, const AnalysisOptions& options, DataStatistics& statistics, std::string& sentence);

// A group of symmorphic operations: the rotations with the centre, and the lattice.
SpaceGroup LaueSpaceGroup(const std::vector<Rotation>& rotations, const Centring& centring);

}  // namespace marvik::phase
