#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "edit/edit_fields.h"

namespace marvik {

// An atom that may stand for two, and why.
struct SplitCandidate {
  uint32_t atom = 0;  // serial
  std::string name;
  double ratio = 1.0;   // of the longest to the middle principal displacement
  double spread = 0.0;  // Å, from one end of the swing to the other
  double peak = 0.0;    // e/Å³, of the highest peak that may be another place for it
  std::vector<uint32_t> peaks;
  double hirshfeld = 0.0;  // the largest difference of displacements along a bond, Å²
  double score = 0.0;
  std::string split;         // the argument of "split" that tries it
  std::optional<double> r1;  // after such a split and some cycles of refinement
};
// Those worth a look, best first.
std::vector<SplitCandidate> FindSplitCandidates(const Document& document);
// R1 now and, for the first `tries`, after each split alone and four cycles, by the refinement library and the
// reflections beside the file; nothing where these do not allow it.
std::optional<double> TrySplits(const Document& document, std::vector<SplitCandidate>& candidates, size_t tries);
// The list as a table: its headings, then a line of cells for each.
std::vector<std::vector<std::string>> CandidateTable(const std::vector<SplitCandidate>& candidates);
std::string CandidateText(const std::vector<SplitCandidate>& candidates, std::optional<double> now);
// What the last column is, or why it is empty.
std::string TriesText(std::optional<double> now);

// Splits atoms by the arguments of "split"; peaks among the atoms are where the parts go. A sentence, in `fault` where
// an argument is wrong, with nothing changed.
std::string SplitAsAsked(Document& document, const std::vector<AtomRecord*>& chosen, EditArguments arguments,
                         UserMessages& messages, EditFault& fault);

}  // namespace marvik
