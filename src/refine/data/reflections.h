#pragma once

#include <string>
#include <vector>

#include "crystal/cell_metric.h"
#include "crystal/space_group.h"

namespace marvik {

struct Reflection {
  Miller h{};
  double intensity = 0.0;  // Fo², as on the file times the HKLF scale
  double sigma = 0.0;
  int batch = 1;
  float wavelength = 0.0f;  // of Laue data, Å; 0: that of CELL
};

// HKLF n s r11 ... r33 sm: 2 are Laue data, intensities with a wavelength each; 3 amplitudes, which are squared on
// reading; 4 intensities; 5 overlapped ones; 6 lines of powder data, with how often each index counts as its batch.
struct HklFormat {
  int code = 4;
  double scale = 1.0;
  std::array<double, 9> matrix{1, 0, 0, 0, 1, 0, 0, 0, 1};
  double sigmaScale = 1.0;

  bool IsOverlapped() const { return code == 5 || code == 6; }
};
HklFormat ParseHklf(const std::string& line);

struct HklFile {
  std::vector<Reflection> reflections;
  std::vector<std::string> notes;  // what is strange about it, with the numbers of lines
};
// Fixed columns (3I4, 2F8, I4, with HKLF 2 F8 behind them), so that touching ones are told apart, or numbers between
// blanks where most lines make no sense by columns. Ends at a line of zeros, at a blank line or with the file; lines
// end with LF, CRLF or CR.
HklFile ParseHklFile(const std::string& content, const HklFormat& format);

struct DataLimits {
  std::vector<Miller> omitted;  // OMIT h k l
  double omitSigmas = -2.0;     // s of OMIT: what is below s·σ/2 is raised to it (s < 0) or left out
  double twoThetaLow = 0.0;     // degrees
  double twoThetaHigh = 180.0;
  double resolutionLow = 1e30;  // SHEL, Å
  double resolutionHigh = 0.0;
  double wavelength = 0.71073;
  bool batches = false;  // batches have scales of their own: equivalents of different ones are not merged
};

// Equivalents that agree worse than their own σ say.
struct Disagreement {
  Miller h{};
  size_t members = 0;
  double mean = 0.0;
  double expected = 0.0;  // σ of the mean from those of the members
  double found = 0.0;     // and from how they scatter
};

struct MergeStatistics {
  size_t read = 0;
  size_t absent = 0;
  double absentMeanRatio = 0.0;  // mean I/σ of the absences
  size_t outside = 0;            // beyond SHEL or the 2θ limit, weak with OMIT, or in a group without an end
  size_t omitted = 0;
  size_t unique = 0;
  std::vector<Disagreement> inconsistent;  // by more than five σ of the mean
  double rInt = 0.0;                       // Σ|I - <I>| / Σ I over groups with more than one member
  double rSigma = 0.0;                     // Σσ / ΣI of the unique data
  size_t rIntMembers = 0;
  Miller lowest{};
  Miller highest{};
  double thetaMin = 90.0;
  double thetaMax = 0.0;
};

// Absences, limits and merging. merge: 0 none, 1 identical indices only, 2 equivalents but not Friedel opposites
// of a group without a centre, 3 and 4 Friedel opposites too. The weight of an equivalent in the mean is
// max(Fo², 3σ)/σ²; σ of the mean is the larger of (Σ1/σ²)^-1/2 and Σ|Fo²-<Fo²>|/(n √(n-1)).
std::vector<Reflection> MergeReflections(const std::vector<Reflection>& raw, const SpaceGroup& group,
                                         const Metric& metric, const DataLimits& limits, int merge,
                                         MergeStatistics& statistics);

// HKLF 5, where a line with a negative batch number goes with the following one: whole groups are kept or left out, by
// where the last line of each stands, and nothing is merged. OMIT takes every group that a named reflection is in.
std::vector<Reflection> SelectOverlapped(const std::vector<Reflection>& raw, const SpaceGroup& group,
                                         const Metric& metric, const DataLimits& limits, MergeStatistics& statistics);

}  // namespace marvik
