#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "phase/run.h"

using marvik::phase::Work;

int main(int argc, char** argv) {
  marvik::phase::RunOptions options;
  bool help = false, wrong = false, fromModel = false, oneStep = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool value = i + 1 < argc;
    if (word == "--complete") {
      options.work = fromModel ? Work::Complete : Work::SolveAndComplete;
    } else if (word == "--from-model") {
      fromModel = true;
      options.work = Work::Complete;
    } else if (word == "--one-step") {
      oneStep = true;
    } else if (word == "--reflections" && value) {
      options.reflections = argv[++i];
    } else if (word == "--table" && value) {
      options.table = argv[++i];
    } else if (word == "--picture" && value) {
      options.picture = argv[++i];
    } else if (word == "--space-group" && value && std::strcmp(argv[i + 1], "as-given") == 0) {
      options.solve.groupAsGiven = true;
      ++i;
    } else if (word == "--seed" && value) {
      char* end = nullptr;
      options.solve.seed = static_cast<unsigned>(std::strtoul(argv[++i], &end, 10));
      wrong = wrong || *end != '\0';
    } else if (word == "--threads" && value) {
      options.solve.threads = std::atoi(argv[++i]);
    } else if (word == "--help" || word == "-h") {
      help = true;
    } else if (word[0] != '-' && options.base.empty()) {
      options.base = word;
    } else {
      wrong = true;
    }
  }
  if (oneStep && fromModel) options.work = Work::NextStep;
  wrong = wrong || (oneStep && !fromModel);
  if (help || wrong || options.base.empty()) {
    std::puts(
        "usage: marvik-solve NAME [--complete | --from-model [--one-step]] [--space-group as-given] [--seed N]\n"
        "                    [--threads N] [--reflections FILE] [--table FILE] [--picture FILE]\n"
        "Solves the structure from the cell and elements of NAME.ins and the reflections of NAME.hkl (or FILE); "
        "writes\n"
        "NAME.res, other candidates to NAME_b.res and so on, and enters each step into the folder NAME_steps.\n"
        "  --complete     goes on: anisotropic, twinning, hydrogens, weights, extinction\n"
        "  --from-model   the same from the model in NAME.res, or in NAME.ins without one\n"
        "  --one-step     only the next step of that\n"
        "  --space-group  as-given: LATT and SYMM are the truth, not a hint\n"
        "  --table        a table of what was found, columns parted by tabs\n"
        "  --picture      an instruction file that is made anew whenever there is more of the model");
    return help ? 0 : 2;
  }
  return marvik::phase::RunSolve(options, [](const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
  });
}
