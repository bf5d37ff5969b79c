#pragma once

#include <functional>
#include <string>

#include "phase/solution.h"

namespace marvik::phase {

struct RunOptions {
  std::string base;  // path without extension; one of .ins .hkl .res is taken off
  bool complete = false;
  SolveOptions solve;
};

// Reads NAME.ins and NAME.hkl, solves, writes NAME.res and NAME_b.res ..., and prints the table of candidates. 0 when a
// structure was found and written, else 1 with a sentence printed and every file as it was.
int RunSolve(const RunOptions& options, const std::function<void(const std::string&)>& print);

}  // namespace marvik::phase
