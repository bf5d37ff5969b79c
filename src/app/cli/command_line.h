#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "app/cli/command_line_options.h"

namespace marvik {

// Exit statuses.
inline constexpr int kStatusDone = 0;     // notices are no failure
inline constexpr int kStatusProblem = 1;  // a warning or an error was shown
inline constexpr int kStatusUsage = 2;

// Does what the command line asks for without a window: results on `out`, messages one a line on `err`. `executable` is
// the running program's file; the package directory's template is looked for beside it.
int RunCommandLine(const CommandLineOptions& options, const std::string& executable, std::ostream& out,
                   std::ostream& err);

}  // namespace marvik
