#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app/cli/command_line_options.h"

namespace marvik {

// The files of a batch run: of a folder every .res, .ins and .cif in it and below, sorted, without the histories of
// jobs; of a list, or of standard input for "-", one a line. Where jobs are run, NAME.ins, NAME.res and NAME.cif are
// one. Nothing, with the reason in `wrong`, where there is no such list, and for a shard that is none.
std::vector<std::string> BatchFiles(const CommandLineOptions& options, std::string& wrong);
// "I/N", I from 1: every N-th file from the I-th on. Nothing for what is no shard.
std::optional<std::pair<int, int>> ParseShard(const std::string& text);

// The files any of which, when done, makes this one done: those of its job where jobs are run.
std::vector<std::string> SameWork(const CommandLineOptions& options, const std::string& file);

// The name that {name} stands for: the file's without its extension.
std::string BatchNameOf(const std::string& file);
// OUT for a file.
std::string BatchOutput(const std::string& out, const std::string& file);

// The files, as JSON spells them, that have a whole line in a file of results; a last line that was cut off by an end
// in the middle is taken away. 0 or the system's error number.
int DoneFiles(const std::string& results, std::set<std::string>& done);

}  // namespace marvik
