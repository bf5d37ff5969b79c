#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"

namespace marvik {

// One kind of fault in an instruction file.
struct LintRule {
  const char* id;
  FindingLevel level;
  const char* sentence;  // "{}" stands for what was found
  const char* repair;    // what to do
};

// Every rule, by the part of the file that it looks at.
std::span<const LintRule> LintRules();

// What is wrong in an instruction or result file, by line. Nothing is too broken: what cannot be understood is what is
// told. Included files ("+file") are looked for in `directory` (with its last separator); with none they are not.
std::vector<Finding> LintInstructionText(std::string_view text, const std::string& directory = {});

}  // namespace marvik
