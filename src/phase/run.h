#pragma once

#include <functional>
#include <string>

#include "phase/solution.h"

namespace marvik::phase {

enum class Work {
  Solve,
  SolveAndComplete,
  Complete,  // of the model in NAME.res, or in NAME.ins without one
  NextStep,  // of that
};

struct RunOptions {
  std::string base;         // path without extension; one of .ins .hkl .res is taken off
  std::string reflections;  // path, NAME.hkl where it is ""
  std::string table;        // path of a table for other programs, columns parted by tabs; "" for none
  std::string picture;      // path of a file that always holds the model as it appears; "" for none
  Work work = Work::Solve;
  SolveOptions solve;
};

// Reads NAME.ins and NAME.hkl, solves, completes, and prints what was found. The model becomes NAME.res, other
// candidates NAME_b.res ...; each step is entered into the job's history. 0 when something was found and written, else
// 1 with a sentence printed and every file as it was.
int RunSolve(const RunOptions& options, const std::function<void(const std::string&)>& print);

}  // namespace marvik::phase
