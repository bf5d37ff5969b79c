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
  std::string base = argv[1];
  for (const char* extension : {".ins", ".res", ".hkl", ".INS"}) {
    if (base.size() > 4 && base.compare(base.size() - 4, 4, extension) == 0) base.erase(base.size() - 4);
  }
  return marvik::RunJob(base, [](const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
  });
}
