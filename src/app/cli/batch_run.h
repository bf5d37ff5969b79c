#pragma once

#include <iosfwd>
#include <string>

#include "app/cli/command_line_options.h"

namespace marvik {

// Does the actions for every file of a list, in worker processes that live over many files: a crash or the time limit
// costs one file. One line of JSON a file, on `out` or at the end of the file that --results names, where files that
// have a line already are left out:
//
//   {"file": PATH, "status": 0 | 1 | "crashed" | "time limit", "seconds": S, "messages": [...], "ACTION": ..., ...}
//
// with what each action printed under its name, of reports under theirs. Progress and a summary go to `err`. Gives an
// exit status: 0 when every file's is.
int RunBatch(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err);

}  // namespace marvik
