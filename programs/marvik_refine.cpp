#include <cstdio>
#include <cstring>

#include "refine/job/run.h"

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '-') {
    const bool help = argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0);
    std::puts(
        "usage: marvik-refine NAME\nRefines NAME.ins against NAME.hkl and writes NAME.res, NAME.lst and NAME.cif.");
    return help ? 0 : 2;
  }
  return marvik::RunJob(marvik::JobOf(argv[1]), [](const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
  });
}
