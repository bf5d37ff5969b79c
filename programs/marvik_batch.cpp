// The program without a window, for machines that have no toolkit: marvik's batch options and nothing else.
#include <iostream>

#include "app/cli/command_line.h"
#include "app/package_directory.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  return marvik::RunCommandLine(marvik::ParseCommandLine(words), marvik::ExecutablePath(argc > 0 ? argv[0] : ""),
                                std::cout, std::cerr);
}
