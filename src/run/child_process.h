#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
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

// One run of a program with everything that it starts in its turn: a process group of its own. The whole group ends
// with this program, even when that is killed and the child is a script that does not pass signals on; a guard process
// sees to it.
class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess();  // ends what is left
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // 0, or the system's error number when it could not be started.
  int Start(const ChildCommand& command);
  // How the program ended, nothing while it runs. Never waits.
  std::optional<ChildEnd> Ended();
  // Ends every process of the run that is left, asking first, and waits until they are gone: two seconds at most. 0,
  // or the system's error number.
  int EndAll();

 private:
  void StartGuard();
  void DismissGuard();

  pid_t pid_ = 0;
  pid_t guard_ = 0;
  int guardLine_ = -1;
  std::optional<ChildEnd> end_;
};

// The nice value of a priority class where the system knows those.
constexpr int NiceValueOf(uint32_t priorityClass) {
  return priorityClass == 64 ? 19 : priorityClass == 128 ? -10 : priorityClass == 256 ? -20 : 0;
}

}  // namespace marvik
