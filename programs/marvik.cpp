#include <iostream>
#include <string>
#include <vector>

#include "app/cli/command_line.h"
#include "app/package_directory.h"
#include "ui/window_program.h"

// What needs no window must not pay for one: nothing of the toolkit is touched on that road.
int main(int argc, char** argv) {
  using namespace marvik;
  const CommandLineOptions options = ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
  const std::string executable = ExecutablePath(argv[0]);
  if (options.error.empty() && options.Has("--edit")) return RunTextEditor(argc, argv, options.file);
  if (!options.error.empty() || options.IsBatch()) return RunCommandLine(options, executable, std::cout, std::cerr);
  SetUpPackageDirectory(executable, options.packageDirectory);
  return RunWindow(argc, argv, options.file);
}
