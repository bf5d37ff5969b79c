#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace marvik {

// A program to be started: no shell looks at any of this, so names may hold whatever a file name may.
struct ChildCommand {
  std::string program;
  std::vector<std::string> arguments;
  std::string directory;                                         // to run in, "" for the present one
  std::string outputFile;                                        // takes standard output and standard error; made anew
  uint32_t priorityClass = 32;                                   // as RefinementSettings has it
  std::vector<std::pair<std::string, std::string>> environment;  // added to that of this process
};

struct ChildEnd {
  int exitStatus = 0;
  int signal = 0;  // that ended it, 0 for none
};

// One run of a program with everything that it starts in its turn.
class ChildProcess {
 public:
  virtual ~ChildProcess() = default;
  // 0, or the system's error number when it could not be started.
  virtual int Start(const ChildCommand& command) = 0;
  // How the program ended, nothing while it runs. Never waits.
  virtual std::optional<ChildEnd> Ended() = 0;
  // Ends every process of the run that is left, asking first, and waits until they are gone: two seconds at most. 0,
  // or the system's error number.
  virtual int EndAll() = 0;
};

// The nice value of a priority class where the system knows those.
constexpr int NiceValueOf(uint32_t priorityClass) {
  return priorityClass == 64 ? 19 : priorityClass == 128 ? -10 : priorityClass == 256 ? -20 : 0;
}

}  // namespace marvik
