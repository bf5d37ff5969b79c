#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"
#include "run/model_changes.h"

namespace marvik {

// A restraint as the listing has it: kind, target, value, sigma, chi squared, atoms.
using RestraintRow = std::array<std::string, 6>;

// What is shown before a refined model takes the place of the old one.
struct RefinementReport {
  std::string resultName;  // "job.res"
  ModelChanges changes;
  CyclePoint before;  // figures of merit of the old result, else of the first cycle
  CyclePoint after;
  std::vector<RestraintRow> restraints;  // the worst first
  std::string diagnosis;                 // what the listing says against the model, section by section
  std::vector<Finding> findings;         // what the journals' tests say of the new CIF, the worst first
  std::string note;                      // anything out of the ordinary, a sentence; "" for nothing
  bool doubtful = false;                 // the note speaks against the result: nobody accepts it unasked
};

// When the table of what a refinement did is left out and its result accepted at once.
struct ResultSkipping {
  bool on = true;
  double below = 0.001;  // Å: the largest shift that counts as nothing
};

// Takes the restraints and the diagnosis out of a listing of marvik-refine; leaves them empty for any other.
void TakeDiagnosis(std::string_view listing, RefinementReport& report);

// Whether a result is so plain that nobody need look at it.
bool MaySkipResult(const RefinementReport& report, const ResultSkipping& skipping);

// "A 0   B 2   C 5   G 14"
std::string LevelCounts(std::span<const Finding> findings);

// The report as lines of text: the figures, the atoms that moved most, the highest peaks, and the worst findings.
std::string ReportText(const RefinementReport& report);

// Cells of the report's tables, as the dialog and the text show them; "-" for what is not known.
std::string FigureText(const std::optional<double>& figure, int digits);
std::string ShiftText(const AtomChange& change);        // "0.0123", "new", "gone"
std::string UncertaintyText(const AtomChange& change);  // "1.52"
std::string PeakText(const PeakReport& peak);           // "1.23 Å from C5"

}  // namespace marvik
