#pragma once

#include <string>
#include <vector>

#include "language/instruction.h"
#include "refine/constraints/fragments.h"

namespace marvik {

// "+file" puts the lines of another file in its place; files are looked for in `directory` (with its last separator),
// and may include others, ten deep. A file that cannot be read, or is being read already, is said in `notes` and left
// out.

// The text with the lines of those files in it that the run changes something in (atoms, free variables, HFIX, AFIX,
// ...), so that the result holds the refined values. "+file" stays where a file has restraints, tables and fragments
// alone.
std::string TakeIncludes(const std::string& text, const std::string& directory, std::vector<std::string>& notes);

// The commands with those of the files that are still to be included in their place. Fragments go to `fragments`.
std::vector<Instruction> WithIncludes(const std::vector<Instruction>& commands, const std::string& directory,
                                      std::vector<Fragment>& fragments, std::vector<std::string>& notes);

}  // namespace marvik
