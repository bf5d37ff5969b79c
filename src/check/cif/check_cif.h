#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"

namespace marvik {

// What a CIF is tested for. The levels go by a number: past `c` it is C, past `b` B, past `a` A, past `g` G at least;
// an infinite limit is never passed.
struct CifLimits {
  bool below = false;  // numbers below the limits are found, instead of those above
  double g = 0.0;
  double c = 0.0;
  double b = 0.0;
  double a = 0.0;
};
struct CifRule {
  std::string id;
  std::string reference;  // the journals' numbers of tests that look at the same
  CifLimits limits;
  std::string meaning;  // what it usually means
  std::string advice;   // what to do
};

// Every rule, by the chapters of docs/CHECKS.md.
std::span<const CifRule> CifRules();

// Validation of every block that has atoms, or of the one that has a cell. `reflections` is the text of a list of
// calculated and measured F² that lies beside, or empty; a list in the CIF itself goes before it. Blocks of
// macromolecules, powders and modulated structures get one finding that says what was not tested.
std::vector<Finding> CheckCif(std::string_view text, std::string_view reflections = {});

// The same for a file, with NAME.fcf beside it. Nothing when it cannot be read.
std::optional<std::vector<Finding>> CheckCifFile(const std::string& path);

}  // namespace marvik
