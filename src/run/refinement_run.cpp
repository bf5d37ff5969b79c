#include "run/refinement_run.h"

#include <cstdio>
#include <thread>

namespace marvik {
namespace {

constexpr size_t kLastLines = 8;
constexpr std::chrono::milliseconds kEndPause{20};

}  // namespace

RefinementRun::RefinementRun(ChildProcess& child, ChildCommand command, std::vector<std::string> echoes)
    : child_(child), command_(std::move(command)), reader_(command_.outputFile, std::move(echoes)) {}

bool RefinementRun::Start(UserMessages& messages) {
  std::remove(command_.outputFile.c_str());
  const int error = child_.Start(command_);
  state_ = error ? RunState::NotStarted : RunState::Running;
  if (error) messages.Show(SystemErrorMessage("Could Not Create Child Process", error));
  return !error;
}

void RefinementRun::TakeWhole(std::string_view piece, bool lineEnd) {
  if (onText) {
    onText(piece);
    if (lineEnd) onText("\n");
  }
  curve_.Take(piece);
  if (piece.find_first_not_of(" \t\r") == piece.npos) return;
  lastLines_.emplace_back(piece);
  if (lastLines_.size() > kLastLines) lastLines_.pop_front();
}

OutputReader::Sinks RefinementRun::Sinks() {
  return {[this](std::string_view line) {
            if (onShownLine) onShownLine(line);
          },
          [this](std::string_view piece, bool lineEnd) { TakeWhole(piece, lineEnd); }};
}

bool RefinementRun::ReadOn() {
  return reader_.Pass(Sinks());
}

void RefinementRun::ReadToEnd() {
  while (ReadOn()) {
  }
  reader_.Finish(Sinks());
}

bool RefinementRun::Pass() {
  if (state_ != RunState::Running) return false;
  // Asked before reading: what an ended program wrote is all there.
  const auto end = child_.Ended();
  const bool more = ReadOn();
  if (end) end_ = end;
  if (reader_.EndWordSeen()) {
    state_ = RunState::Finished;
  } else if (end && !more) {
    state_ = reader_.EndWordSeenAnywhere() ? RunState::Finished : RunState::EndedEarly;
  }
  if (state_ == RunState::EndedEarly) {
    child_.EndAll();
    ReadToEnd();
  }
  return more && state_ == RunState::Running;
}

bool RefinementRun::Terminate(UserMessages& messages) {
  const int error = child_.EndAll();
  if (error) messages.Show(SystemErrorMessage("Couldn't Terminate Process", error));
  end_ = child_.Ended();
  state_ = RunState::Terminated;
  if (onShownLine) onShownLine("Process Terminated");
  return !error;
}

void RefinementRun::WaitForEnd(std::chrono::milliseconds wait) {
  const auto deadline = std::chrono::steady_clock::now() + wait;
  while (!(end_ = child_.Ended()) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(kEndPause);
  }
  child_.EndAll();
  ReadToEnd();
}

std::string RefinementRun::EndText() const {
  if (!end_) return "";
  return end_->signal ? "signal " + std::to_string(end_->signal) : "exit status " + std::to_string(end_->exitStatus);
}

RunState RunToEnd(RefinementRun& run, UserMessages& messages, const std::function<bool()>& stop) {
  if (!run.Start(messages)) return run.State();
  while (!run.IsOver()) {
    const bool more = run.Pass();
    if (!run.IsOver() && stop()) {
      run.Terminate(messages);
    } else if (!more && !run.IsOver()) {
      std::this_thread::sleep_for(kPollingPeriod);
    }
  }
  if (run.State() == RunState::Finished) run.WaitForEnd();
  return run.State();
}

}  // namespace marvik
