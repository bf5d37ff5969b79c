#pragma once

#include <optional>
#include <string>
#include <vector>

#include "language/instruction.h"
#include "refine/constraints/fragments.h"
#include "refine/constraints/parameters.h"
#include "refine/data/reflections.h"
#include "refine/job/line_places.h"
#include "refine/map/fourier.h"
#include "refine/solve/least_squares.h"

namespace marvik {

// What the instructions ask for, apart from the atoms.
struct Job {
  bool conjugateGradients = false;  // CGLS instead of L.S.
  int cycles = 0;
  double settled = 0.0;        // mean shift in uncertainties that ends the cycles early
  int threads = 0;             // 0: as many as the machine has; the result is the same
  double damping = 0.7;        // DAMP: diagonal elements are multiplied by 1 + damping/1000
  double largestShift = 15.0;  // DAMP: shifts are scaled down to this many uncertainties
  WeightScheme weights;
  int merge = 2;
  HklFormat hkl;
  DataLimits limits;
  TwinLaw twin;
  ParameterOptions parameters;
  double stirFrom = 0.0;   // STIR: resolution of the first cycle, Å; 0 for that of the data
  double stirStep = 0.01;  // by which it rises in each
  double leastU = 0.0;     // XNPD: principal displacements below it are raised to it, Å²; 0 leaves them
  MapKind map = MapKind::Difference;
  int peaks = 20;
  bool bondHydrogens = false;  // BOND $H
  bool laterRigu = false;      // the file's remarks are those of later programs
  int list = 0;
  bool coordinateFile = false;  // WPDB
  double fullTwoTheta = 0.0;    // ACTA, degrees: to where the data are to be complete; 0 does not say
  double temperature = 20.0;    // °C
  std::vector<double> size;     // SIZE, mm
  std::vector<Instruction> commands;
  std::vector<Fragment> fragments;
  std::vector<std::string> notes;  // one line each, for the start of the run
};

// Reads the document's instructions; what cannot be done is said in `notes`, with the line of the file where `places`
// know it.
Job MakeJob(const Document& document, const LinePlaces& places = {});

// Whether LIST with this code writes a file.
bool IsWrittenList(int code);

// Lines about instructions that have no effect here.
std::vector<std::string> UnsupportedNotes(const Document& document, const std::vector<Instruction>& commands,
                                          const LinePlaces& places);

}  // namespace marvik
