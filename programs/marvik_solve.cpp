#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "phase/run.h"

int main(int argc, char** argv) {
  marvik::phase::RunOptions options;
  bool help = false, wrong = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool value = i + 1 < argc;
    if (word == "--complete") {
      options.complete = true;
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
  if (help || wrong || options.base.empty()) {
    std::puts(
        "usage: marvik-solve NAME [--complete] [--space-group as-given] [--seed N] [--threads N]\n"
        "Solves the structure from the cell and elements of NAME.ins and the reflections of NAME.hkl; writes "
        "NAME.res,\n"
        "other candidates to NAME_b.res and so on.");
    return help ? 0 : 2;
  }
  return marvik::phase::RunSolve(options, [](const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
  });
}
