#pragma once

#include <string>
#include <vector>

#include "phase/phasing.h"

namespace marvik::phase {

// A space group in the user's cell and how well the phases obey it.
struct GroupCandidate {
  std::string symbol;  // Hermann-Mauguin, with the setting
  int number = 0;      // International Tables A
  SpaceGroup group;
  int latt = 1;                   // LATT
  std::vector<std::string> symm;  // SYMM texts
  Fractional origin;              // where the phases have the group's origin, on the primitive basis
  double mean = 1.0;              // agreement of phases over the operations but the identity, 1 for all equal
  double least = 1.0;             // of the worst operation
  double absences = 0.0;          // <I/σ> of reflections that the group forbids over that of all
  size_t absent = 0;              // how many of these are measured
  size_t Order() const { return group.pointOperators.size(); }
  bool Vetoed() const { return absent > 4 && absences > 0.45; }
  bool Fits() const { return mean >= 0.75 && least >= 0.65 && !Vetoed(); }
};

// Every group of the lattice whose rotations the Laue class has, by how well the phases fit: those that do, of highest
// order first. Groups that differ by their origin alone are one.
std::vector<GroupCandidate> RankSpaceGroups(const DataStatistics& data, const PhaseSet& phases);
// The header's group at its best origin alone.
std::vector<GroupCandidate> GivenSpaceGroup(const Problem& problem, const DataStatistics& data, const PhaseSet& phases);

struct AveragedReflection {
  Miller h{};              // user's cell, unique in the candidate's Laue class
  std::complex<double> e;  // E·exp(iφ) when all operations count alike; smaller than |E| where they disagree
  double amplitude = 0.0;  // sqrt(|E| |F|)
};
// Phases with the candidate's origin.
std::vector<AveragedReflection> AveragePhases(const DataStatistics& data, const PhaseSet& phases,
                                              const GroupCandidate& candidate);

}  // namespace marvik::phase
