#include "ui/child_process.h"

#include <QFileInfo>
#include <cerrno>

#include "run/posix_child.h"
#include "ui/text.h"

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif
#endif

namespace marvik {
namespace {

constexpr int kStartTime = 10000;  // ms

// File names are bytes; the toolkit takes them for UTF-8.
bool IsSpeltAlike(const ChildCommand& command) {
  const auto alike = [](const std::string& text) { return PathToBytes(PathToText(text)) == text; };
  bool all = alike(command.program) && alike(command.directory) && alike(command.outputFile);
  for (const std::string& argument : command.arguments) all = all && alike(argument);
  for (const auto& [name, value] : command.environment) all = all && alike(value);
  return all;
}

// The toolkit says what failed in words only.
int StartError(const ChildCommand& command) {
#ifdef Q_OS_UNIX
  if (access(command.program.c_str(), X_OK) != 0) return errno;
#endif
  const QFileInfo program(PathToText(command.program));
  if (!program.exists()) return ENOENT;
  if (!program.isExecutable() || program.isDir()) return EACCES;
  return QFileInfo(PathToText(command.outputFile)).exists() ? ENOEXEC : EACCES;
}

void SetUpGroup(QProcess& process, uint32_t priorityClass) {
#ifdef Q_OS_UNIX
  const int nice = NiceValueOf(priorityClass);
  process.setChildProcessModifier([nice] {
    setpgid(0, 0);
    if (nice != 0) setpriority(PRIO_PROCESS, 0, nice);
#ifdef Q_OS_LINUX
    prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
  });
#elif defined(Q_OS_WIN)
  process.setCreateProcessArgumentsModifier([priorityClass](QProcess::CreateProcessArguments* arguments) {
    constexpr uint32_t kNewGroupWithoutWindow = 0x08000200;
    arguments->flags |= priorityClass | kNewGroupWithoutWindow;
  });
#endif
}

}  // namespace

QtChild::~QtChild() {
  EndAll();
}

int QtChild::Start(const ChildCommand& command) {
  EndAll();
#ifdef Q_OS_UNIX
  if (!IsSpeltAlike(command)) {
    raw_ = std::make_unique<PosixChild>();
    return raw_->Start(command);
  }
#endif
  process_ = std::make_unique<QProcess>();
  process_->setProgram(PathToText(command.program));
  QStringList words;
  for (const std::string& argument : command.arguments) words << PathToText(argument);
  process_->setArguments(words);
  process_->setWorkingDirectory(PathToText(command.directory));
  QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
  for (const auto& [name, value] : command.environment) variables.insert(PathToText(name), PathToText(value));
  process_->setProcessEnvironment(variables);
  process_->setStandardInputFile(QProcess::nullDevice());
  process_->setProcessChannelMode(QProcess::MergedChannels);
  process_->setStandardOutputFile(PathToText(command.outputFile));
  SetUpGroup(*process_, command.priorityClass);
  process_->start();
  if (command.program.empty() || !process_->waitForStarted(kStartTime)) {
    process_.reset();
    return StartError(command);
  }
  pid_ = process_->processId();
  return 0;
}

std::optional<ChildEnd> QtChild::Ended() {
  if (raw_) return raw_->Ended();
  if (!process_) return std::nullopt;
  // The end is noticed here even while no event loop runs.
  if (process_->state() != QProcess::NotRunning) process_->waitForFinished(0);
  if (process_->state() != QProcess::NotRunning) return std::nullopt;
  const int code = process_->exitCode();
  return process_->exitStatus() == QProcess::CrashExit ? ChildEnd{0, code} : ChildEnd{code, 0};
}

int QtChild::EndAll() {
  if (raw_) return raw_->EndAll();
  if (!process_ || pid_ == 0) return 0;
#ifdef Q_OS_UNIX
  const auto group = static_cast<pid_t>(pid_);
  const int error = EndProcessGroup(group, [&] { return !Ended() || kill(-group, 0) == 0; });
#else
  const int error = 0;
  process_->kill();
  process_->waitForFinished(2000);
#endif
  if (Ended()) pid_ = 0;
  return error;
}

}  // namespace marvik
