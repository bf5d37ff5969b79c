#pragma once

#include <string>

#include "refine/solve/refinement.h"

namespace marvik {

// The job that a word of the command line names: its base name, or the name of one of its files. An extension counts as
// part of the base name where that has an instruction file: of "a.ins" with "a.ins.ins" beside it.
std::string JobOf(const std::string& word);

// One whole run: NAME.ins and NAME.hkl in, NAME.res, NAME.lst and NAME.cif out, lines for the console to `print`; the
// last one holds "finished" in every case, after "** what was wrong **" when something was. Gives the exit status.
// Result files appear whole at the end or not at all.
int RunJob(const std::string& base, const LineSink& print);

}  // namespace marvik
