#include "run/child_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace marvik {
namespace {

// Everything that exec takes, made before the fork: behind it nothing may allocate.
struct ExecImage {
  explicit ExecImage(const ChildCommand& command) {
    words.push_back(command.program);
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    for (char** entry = environ; *entry; ++entry) {
      const std::string text = *entry;
      const bool replaced = std::ranges::any_of(
          command.environment, [&](const auto& variable) { return text.starts_with(variable.first + "="); });
      if (!replaced) variables.push_back(text);
    }
    for (const auto& [name, value] : command.environment) variables.push_back(name + "=" + value);
    for (std::string& word : words) argv.push_back(word.data());
    for (std::string& variable : variables) envp.push_back(variable.data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);
  }
  std::vector<std::string> words;
  std::vector<std::string> variables;
  std::vector<char*> argv;
  std::vector<char*> envp;
};

// In the child, up to exec; gives the error number when that fails.
int BecomeProgram(const ChildCommand& command, const ExecImage& image, int guardLine) {
  setpgid(0, 0);
  // Before there is anything to be left behind, so that no moment is without a guard. Where there is none the run is
  // none the worse.
  const pid_t group = getpid();
  signal(SIGPIPE, SIG_IGN);
  [[maybe_unused]] const ssize_t told = guardLine >= 0 ? write(guardLine, &group, sizeof group) : 0;
  // Raising a priority needs rights that a user rarely has; the run is none the worse.
  if (const int nice = NiceValueOf(command.priorityClass); nice != 0) setpriority(PRIO_PROCESS, 0, nice);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGHUP}) signal(number, SIG_DFL);
  if (!command.directory.empty() && chdir(command.directory.c_str()) != 0) return errno;
  const int input = open("/dev/null", O_RDONLY);
  const int output = open(command.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0666);
  if (input < 0 || output < 0) return errno;
  if (dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(output, 2) < 0) return errno;
  if (input > 2) close(input);
  if (output > 2) close(output);
  execve(image.argv[0], image.argv.data(), image.envp.data());
  return errno;
}

ChildEnd EndOf(int status) {
  return WIFSIGNALED(status) ? ChildEnd{0, WTERMSIG(status)} : ChildEnd{WEXITSTATUS(status), 0};
}

// Ends a process group: asks, waits up to a second while stillThere says so, then kills and waits once more. 0 or the
// system's error number.
template <class StillThere>
int EndProcessGroup(pid_t group, StillThere stillThere) {
  constexpr int kStepsASecond = 100;
  for (const int number : {SIGTERM, SIGKILL}) {
    if (kill(-group, number) != 0) return errno == ESRCH ? 0 : errno;
    kill(-group, SIGCONT);  // a stopped process hears no other signal
    for (int step = 0; step < kStepsASecond; ++step) {
      if (!stillThere()) return 0;
      const timespec pause{0, 1'000'000'000 / kStepsASecond};
      nanosleep(&pause, nullptr);
    }
  }
  return 0;
}

// All that is asked for, however it comes; false at the pipe's end.
bool ReadWhole(int pipe, void* to, size_t size) {
  auto* at = static_cast<char*>(to);
  for (const char* end = at + size; at < end;) {
    const ssize_t got = read(pipe, at, static_cast<size_t>(end - at));
    if (got == 0 || (got < 0 && errno != EINTR)) return false;
    at += std::max<ssize_t>(got, 0);
  }
  return true;
}

// What the guard of a run does: waits at a pipe whose other end this program holds. The program that is run tells its
// group first; a byte then says that nothing is left to do, the pipe's end, that this program is gone however it ended,
// and the group is ended too. Only what may be called behind a fork.
[[noreturn]] void GuardGroup(int pipe) {
  setpgid(0, 0);
  for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGHUP}) signal(number, SIG_IGN);
  dup2(pipe, 0);
  // Nobody is to wait for the end of a pipe or a connection because the guard still holds it.
  constexpr int kMostDescriptors = 4096;
  for (int descriptor = 1; descriptor < kMostDescriptors; ++descriptor) close(descriptor);
  pid_t group = 0;
  char byte = 0;
  if (ReadWhole(0, &group, sizeof group) && !ReadWhole(0, &byte, 1))
    EndProcessGroup(group, [group] { return kill(-group, 0) == 0; });
  _exit(0);
}

}  // namespace

ChildProcess::~ChildProcess() {
  EndAll();
}

int ChildProcess::Start(const ChildCommand& command) {
  EndAll();
  end_.reset();
  const ExecImage image(command);
  int report[2];
  if (pipe(report) != 0) return errno;
  for (const int end : report) fcntl(end, F_SETFD, FD_CLOEXEC);
  StartGuard();
  const pid_t pid = fork();
  if (pid == 0) {
    const int error = BecomeProgram(command, image, guardLine_);
    const ssize_t written = write(report[1], &error, sizeof error);
    _exit(written == sizeof error ? 127 : 126);
  }
  const int forkError = errno;
  close(report[1]);
  int error = pid < 0 ? forkError : 0;
  // The pipe closes when exec succeeds.
  while (pid > 0 && read(report[0], &error, sizeof error) < 0 && errno == EINTR) {
  }
  close(report[0]);
  if (pid > 0 && error) waitpid(pid, nullptr, 0);
  pid_ = error ? 0 : pid;
  if (!pid_) DismissGuard();
  return error;
}

void ChildProcess::StartGuard() {
  int line[2];
  if (pipe(line) != 0) return;
  for (const int end : line) fcntl(end, F_SETFD, FD_CLOEXEC);
  guard_ = fork();
  if (guard_ == 0) GuardGroup(line[0]);
  close(line[0]);
  if (guard_ > 0)
    guardLine_ = line[1];
  else
    close(line[1]);
}

void ChildProcess::DismissGuard() {
  if (guardLine_ < 0) return;
  const bool told = write(guardLine_, "", 1) == 1;
  close(std::exchange(guardLine_, -1));
  if (told) waitpid(guard_, nullptr, 0);
}

std::optional<ChildEnd> ChildProcess::Ended() {
  int status = 0;
  if (pid_ > 0 && !end_ && waitpid(pid_, &status, WNOHANG) == pid_) end_ = EndOf(status);
  return end_;
}

int ChildProcess::EndAll() {
  if (pid_ <= 0) return 0;
  const int error = EndProcessGroup(pid_, [this] { return !Ended() || kill(-pid_, 0) == 0; });
  if (!end_) Ended();
  if (end_) pid_ = 0;
  DismissGuard();
  return error;
}

}  // namespace marvik
