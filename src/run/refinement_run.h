#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "base/user_messages.h"
#include "run/child_process.h"
#include "run/output_reader.h"
#include "run/progress_curve.h"

namespace marvik {

inline constexpr std::chrono::milliseconds kPollingPeriod{100};
// After the end word the program may still be closing its files.
inline constexpr std::chrono::milliseconds kEndWait{5000};
inline constexpr char kOutputName[] = "zqout.tmp";

enum class RunState {
  Ready,
  Running,
  Finished,    // an end word came
  EndedEarly,  // the program ended without one
  NotStarted,  // it could not be started
  Terminated,  // by the user
};

// One run of the refinement program: moves text from its output file to whoever looks, and never touches the model. Has
// no thread of its own; whoever runs it calls Pass every kPollingPeriod.
class RefinementRun {
 public:
  // The command's outputFile is read; `echoes` as in OutputReader. `child` must outlive the run.
  RefinementRun(ChildProcess& child, ChildCommand command, std::vector<std::string> echoes);

  // Removes the old output file and starts the program. False after the message when that fails.
  bool Start(UserMessages& messages);
  // True when more output waits already, so that the next pass need not.
  bool Pass();
  // Ends every process of the run; false after the message when the system refuses. The run is over all the same.
  bool Terminate(UserMessages& messages);
  // After the end word: waits for the program itself, up to `wait`, then ends what is left of the run.
  void WaitForEnd(std::chrono::milliseconds wait = kEndWait);

  RunState State() const { return state_; }
  bool IsOver() const { return state_ != RunState::Running && state_ != RunState::Ready; }
  // 1 finished, 2 anything else: what the rest of a refinement goes by.
  int Result() const { return state_ == RunState::Finished ? 1 : 2; }
  // How the program ended, where it has.
  const std::optional<ChildEnd>& End() const { return end_; }
  // "exit status 3", "signal 11", "" while it runs.
  std::string EndText() const;
  // The latest lines that say something, oldest first.
  const std::deque<std::string>& LastLines() const { return lastLines_; }
  const ProgressCurve& Curve() const { return curve_; }

  // What is going on, for whoever shows it, and whether there are figures of cycles to be drawn.
  std::string title = "Refine";
  bool hasCycles = true;
  // Puts the model that the run is finding into the window, where there is one: to be called after each pass, but not
  // while a command or a menu is at work on what is there.
  std::function<void()> showModel;
  // May be set before Start: each line as the run dialog shows it, and the program's text as it came.
  std::function<void(std::string_view)> onShownLine;
  std::function<void(std::string_view)> onText;

 private:
  bool ReadOn();
  void ReadToEnd();
  OutputReader::Sinks Sinks();
  void TakeWhole(std::string_view piece, bool lineEnd);

  ChildProcess& child_;
  ChildCommand command_;
  OutputReader reader_;
  ProgressCurve curve_;
  RunState state_ = RunState::Ready;
  std::optional<ChildEnd> end_;
  std::deque<std::string> lastLines_;
};

// The whole run on the calling thread; it is terminated as soon as `stop`, asked at each pass, says so.
RunState RunToEnd(RefinementRun& run, UserMessages& messages, const std::function<bool()>& stop);

}  // namespace marvik
