#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "phase/model.h"

namespace marvik::phase {

// Takes the model as it appears, an instruction file that can be read.
using ModelSink = std::function<void(const std::string& instructions)>;

struct SolveOptions {
  bool groupAsGiven = false;
  std::uint32_t seed = 1;
  int threads = 0;      // 0: as many as the machine has
  double effort = 1.0;  // of the usual work before giving up
  // What is being done and how far it is; false cancels.
  std::function<bool(const std::string& what, double share)> progress;
  ModelSink show;  // phases and atoms without an element as peaks; on any thread, one call at a time
};

// One model in one space group.
struct Candidate {
  GroupCandidate group;
  Structure structure;         // isotropic, in whole molecules, named
  std::vector<double> shares;  // of each site: occupancy without the site symmetry
  TwinLaw twin;                // the share of its second part is in the structure
  PhaseMerit merit;            // of the phases that it comes from
  double r1 = 1.0;             // over Fo > 4σ(Fo)
  double r1Ordered = 1.0;      // before disorder was placed
  double wR2 = 1.0;
  double correlation = 0.0;    // of observed and calculated |E|
  double expectedAtoms = 0.0;  // in the asymmetric unit, hydrogens left out
  double flack = -1.0;         // where Friedel opposites were measured and tell, else -1
  double flackError = 0.0;
  std::string remark;        // why it is shown beside the first
  double reflections = 1e9;  // for each parameter
  // The share of a twin's second part.
  double SecondPart() const { return structure.batchFractions.empty() ? 0.0 : structure.batchFractions[0]; }
  // Of real data right models had R1 to 0.26 and a correlation from 0.82 (a twin) or 0.88, false mirrors 0.30 and 0.78,
  // noise 0.53 and 0.45. Few reflections for each parameter make R1 lower than it means.
  // Intensities of a twin differ less: two equal parts make R1 of a wrong model 0.40 instead of 0.59.
  bool Right() const {
    const double minor = std::min(SecondPart(), 1.0 - SecondPart());
    const double fit = r1 / std::sqrt(std::max(0.05, 1.0 - 1.0 / reflections)) / (1.0 - 0.6 * minor);
    return (fit < 0.27 && correlation > 0.80) || (fit < 0.34 && correlation > 0.88);
  }
};

struct Solution {
  bool cancelled = false;
  bool solved = false;
  std::string sentence;               // when not solved: why, and what to try
  std::vector<Candidate> candidates;  // the best first
  std::vector<std::string> notes;     // about data, lattice, Laue class
  DataStatistics statistics;
  int starts = 0;
};

// From reflections to named isotropic models. Nothing is written; the same seed gives the same solution whatever the
// number of threads.
Solution Solve(Problem& problem, const SolveOptions& options);

// Text of an instruction file with the candidate's group and atoms, ready to refine.
std::string ComposeInstructions(const Problem& problem, const Candidate& candidate);
// What its asymmetric unit holds, "C19.78 N2.333".
std::string FormulaOf(const Problem& problem, const Candidate& candidate);
// The table of candidates and what there is to say about the data.
std::string ComposeReport(const Problem& problem, const Solution& solution);

}  // namespace marvik::phase
