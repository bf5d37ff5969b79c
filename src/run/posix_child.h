#pragma once

#ifndef _WIN32

#include <functional>
#include <sys/types.h>

#include "run/child_process.h"

namespace marvik {

// A child in a process group of its own, by fork and exec. It ends with this program.
class PosixChild : public ChildProcess {
 public:
  PosixChild() = default;
  ~PosixChild() override;  // ends what is left
  PosixChild(const PosixChild&) = delete;
  PosixChild& operator=(const PosixChild&) = delete;

  int Start(const ChildCommand& command) override;
  std::optional<ChildEnd> Ended() override;
  int EndAll() override;

 private:
  pid_t pid_ = 0;
  std::optional<ChildEnd> end_;
};

// Ends a process group: asks, waits up to a second while stillThere says so, then kills and waits once more. 0 or the
// system's error number.
int EndProcessGroup(pid_t group, const std::function<bool()>& stillThere);

}  // namespace marvik

#endif
