#pragma once

#include <QProcess>
#include <memory>

#include "run/child_process.h"

namespace marvik {

// A child by the toolkit's means, in a process group of its own where the system has those.
class QtChild : public ChildProcess {
 public:
  ~QtChild() override;  // ends what is left

  int Start(const ChildCommand& command) override;
  std::optional<ChildEnd> Ended() override;
  int EndAll() override;

 private:
  std::unique_ptr<ChildProcess> raw_;  // does the work where the toolkit cannot spell a name
  std::unique_ptr<QProcess> process_;
  qint64 pid_ = 0;
};

}  // namespace marvik
