#ifndef _WIN32
#include "run/posix_child.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>

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
int BecomeProgram(const ChildCommand& command, const ExecImage& image, pid_t parent) {
  setpgid(0, 0);
  // Raising a priority needs rights that a user rarely has; the run is none the worse.
  if (const int nice = NiceValueOf(command.priorityClass); nice != 0) setpriority(PRIO_PROCESS, 0, nice);
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(0);
#else
  static_cast<void>(parent);
#endif
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

}  // namespace

int EndProcessGroup(pid_t group, const std::function<bool()>& stillThere) {
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

PosixChild::~PosixChild() {
  EndAll();
}

int PosixChild::Start(const ChildCommand& command) {
  EndAll();
  end_.reset();
  const ExecImage image(command);
  int report[2];
  if (pipe(report) != 0) return errno;
  for (const int end : report) fcntl(end, F_SETFD, FD_CLOEXEC);
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    const int error = BecomeProgram(command, image, parent);
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
  return error;
}

std::optional<ChildEnd> PosixChild::Ended() {
  int status = 0;
  if (pid_ > 0 && !end_ && waitpid(pid_, &status, WNOHANG) == pid_) end_ = EndOf(status);
  return end_;
}

int PosixChild::EndAll() {
  if (pid_ <= 0) return 0;
  const int error = EndProcessGroup(pid_, [this] { return !Ended() || kill(-pid_, 0) == 0; });
  if (!end_) Ended();
  if (end_) pid_ = 0;
  return error;
}

}  // namespace marvik
#endif
