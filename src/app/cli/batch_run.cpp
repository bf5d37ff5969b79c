#include "app/cli/batch_run.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "app/cli/batch_input.h"
#include "app/cli/batch_session.h"
#include "app/cli/command_line.h"
#include "base/atomic_write.h"
#include "base/numbers.h"

namespace marvik {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kProgressPeriod = 500;  // ms

// As a string of JSON; bytes that are no UTF-8 become the replacement character.
std::string JsonText(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string LineFor(const std::string& file, const std::string& status, double seconds, const std::string& rest) {
  return "{\"file\": " + JsonText(file) + ", \"status\": " + status + Printf(", \"seconds\": %.3f", seconds) + rest +
         "}\n";
}

// Messages between the two sides of a worker: a length, then as many bytes. False when the other side is gone.
bool SendText(int line, std::string_view text) {
  const auto length = static_cast<uint32_t>(text.size());
  std::string bytes(reinterpret_cast<const char*>(&length), sizeof length);
  bytes += text;
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t sent = send(line, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    done += static_cast<size_t>(sent);
  }
  return true;
}

bool ReceiveBytes(int line, char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t got = recv(line, bytes, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

std::optional<std::string> ReceiveText(int line) {
  uint32_t length = 0;
  if (!ReceiveBytes(line, reinterpret_cast<char*>(&length), sizeof length)) return std::nullopt;
  std::string text(length, '\0');
  if (!ReceiveBytes(line, text.data(), text.size())) return std::nullopt;
  return text;
}

// What an action printed as a value of JSON on one line: JSON as it is, anything else as a text.
std::string AsJson(std::string text) {
  const size_t first = text.find_first_not_of(" \n");
  if (first == std::string::npos || (text[first] != '{' && text[first] != '[')) return JsonText(text);
  text.erase(text.find_last_not_of(" \n") + 1);
  std::ranges::replace(text, '\n', ' ');
  return text;
}

// The line of one file; in the worker.
std::string Handle(const CommandLineOptions& options, const std::string& executable, const std::string& file) {
  const auto start = Clock::now();
  CommandLineOptions own = options;
  own.file = file;
  for (BatchAction& action : own.actions) {
    if (!action.row->formats.empty()) action.value = BatchOutput(action.value, file);
  }
  std::ostringstream out;
  std::ostringstream err;
  BatchSession session(own, executable, out, err);
  std::string results;
  if (session.Open()) {
    for (const BatchAction& action : own.actions) {
      out.str("");
      if (!action.row->run(session, action)) session.messages.hasProblem = true;
      if (out.str().empty()) continue;
      const bool isReport = !action.row->choices.empty();
      results += ", " + JsonText(isReport ? action.value : action.row->name + 2) + ": " + AsJson(out.str());
    }
  } else {
    session.messages.hasProblem = true;
  }
  std::string messages;
  std::istringstream lines(err.str());
  for (std::string line; std::getline(lines, line);) messages += (messages.empty() ? "" : ", ") + JsonText(line);
  return LineFor(file, session.messages.hasProblem ? "1" : "0", SecondsSince(start),
                 ", \"messages\": [" + messages + "]" + results);
}

struct Worker {
  pid_t process = 0;
  int line = -1;
  std::string file;  // that it works on, "" for none
  Clock::time_point start;
};

class Coordinator {
 public:
  Coordinator(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err)
      : options_(options), executable_(executable), out_(out), err_(err), showsProgress_(isatty(2) == 1) {}
  ~Coordinator() {
    for (Worker& worker : workers_) End(worker);
    if (results_ >= 0) close(results_);
  }
  Coordinator(const Coordinator&) = delete;
  Coordinator& operator=(const Coordinator&) = delete;

  int Run(std::vector<std::string> files) {
    if (!OpenResults(files)) return kStatusProblem;
    files_ = std::move(files);
    const size_t most = options_.jobs ? static_cast<size_t>(*options_.jobs) : std::thread::hardware_concurrency();
    workers_.resize(std::max<size_t>(1, std::min(most, files_.size())));
    while (finished_ < files_.size() && !broken_) {
      for (Worker& worker : workers_) Feed(worker);
      Wait();
      ShowProgress();
    }
    Summary();
    return finished_ == files_.size() && good_ == finished_ && !broken_ ? kStatusDone : kStatusProblem;
  }

 private:
  // Leaves out what is done already. False after a message.
  bool OpenResults(std::vector<std::string>& files) {
    if (options_.results.empty()) return true;
    std::set<std::string> done;
    int error = DoneFiles(options_.results, done);
    if (!error) {
      results_ = open(options_.results.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
      if (results_ < 0) error = errno;
    }
    if (error) {
      err_ << "marvik: " << WriteFault(options_.results, error) << '\n';
      return false;
    }
    before_ = std::erase_if(files, [&](const std::string& file) {
      return std::ranges::any_of(SameWork(options_, file),
                                 [&](const std::string& same) { return done.contains(JsonText(same)); });
    });
    return true;
  }

  bool Start(Worker& worker) {
    int line[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, line) != 0) return false;
    out_.flush();
    worker.process = fork();
    if (worker.process == 0) {
      // The other workers' lines must end when this program does.
      for (const Worker& other : workers_)
        if (other.line >= 0) close(other.line);
      close(line[1]);
      while (const auto file = ReceiveText(line[0]))
        if (!SendText(line[0], Handle(options_, executable_, *file))) break;
      _exit(0);
    }
    close(line[0]);
    worker.line = line[1];
    if (worker.process < 0) close(std::exchange(worker.line, -1));
    return worker.process > 0;
  }

  // Gives the worker, a new one where there is none, the next file.
  void Feed(Worker& worker) {
    if (!worker.file.empty() || next_ == files_.size()) return;
    if (worker.line < 0 && !Start(worker)) {
      err_ << "marvik: a worker could not be started\n";
      broken_ = true;
      return;
    }
    worker.file = files_[next_++];
    worker.start = Clock::now();
    SendText(worker.line, worker.file);  // a worker that is gone is noticed by its answer
  }

  void Wait() {
    std::vector<pollfd> lines;
    std::vector<Worker*> busy;
    for (Worker& worker : workers_) {
      if (worker.file.empty()) continue;
      lines.push_back({worker.line, POLLIN, 0});
      busy.push_back(&worker);
    }
    if (poll(lines.data(), lines.size(), kProgressPeriod) < 0) return;
    for (size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].revents) {
        Take(*busy[i]);
      } else if (options_.timeLimit && SecondsSince(busy[i]->start) > *options_.timeLimit) {
        End(*busy[i]);
        Note(*busy[i], LineFor(busy[i]->file, "\"time limit\"", SecondsSince(busy[i]->start), ""), overTime_);
      }
    }
  }

  void Take(Worker& worker) {
    const auto line = ReceiveText(worker.line);
    if (!line) {
      const int signal = End(worker);
      const std::string rest = signal ? Printf(", \"signal\": %d", signal) : "";
      return Note(worker, LineFor(worker.file, "\"crashed\"", SecondsSince(worker.start), rest), crashed_);
    }
    Note(worker, *line, line->find("\"status\": 0") != std::string::npos ? good_ : troubled_);
  }

  void Note(Worker& worker, const std::string& line, size_t& kind) {
    worker.file.clear();
    ++finished_;
    ++kind;
    if (results_ < 0) {
      out_ << line << std::flush;
      broken_ = broken_ || !out_;
    } else if (write(results_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
      err_ << "marvik: " << WriteFault(options_.results, errno) << '\n';
      broken_ = true;
    }
  }

  // Gives the signal that ended it, 0 for none.
  static int End(Worker& worker) {
    if (worker.line < 0) return 0;
    close(std::exchange(worker.line, -1));
    int status = 0;
    // One that is at work is of no use any more; one that has ended says how.
    if (!worker.file.empty() && waitpid(worker.process, &status, WNOHANG) == 0) {
      const timespec moment{0, 20'000'000};
      nanosleep(&moment, nullptr);
      if (waitpid(worker.process, &status, WNOHANG) == 0) {
        kill(worker.process, SIGKILL);
        waitpid(worker.process, &status, 0);
      }
    } else if (worker.file.empty()) {
      waitpid(worker.process, &status, 0);
    }
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

  void ShowProgress() {
    if (!showsProgress_ || (SecondsSince(shown_) * 1000 < kProgressPeriod && finished_ < files_.size())) return;
    shown_ = Clock::now();
    err_ << Printf("\r%zu of %zu, %zu with messages, %zu lost, %.1f a second ", finished_, files_.size(), troubled_,
                   crashed_ + overTime_, static_cast<double>(finished_) / std::max(SecondsSince(start_), 1e-3))
         << std::flush;
  }

  void Summary() {
    if (showsProgress_) err_ << '\n';
    err_ << Printf("%zu files in %.1f s: %zu without a word, %zu with messages, %zu crashed, %zu over the time limit",
                   finished_, SecondsSince(start_), good_, troubled_, crashed_, overTime_);
    if (before_) err_ << ", " << before_ << " done before";
    err_ << '\n';
  }

  const CommandLineOptions& options_;
  const std::string& executable_;
  std::ostream& out_;
  std::ostream& err_;
  bool showsProgress_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point shown_ = start_;
  std::vector<std::string> files_;
  std::vector<Worker> workers_;
  int results_ = -1;
  size_t next_ = 0;
  size_t finished_ = 0;
  size_t good_ = 0;
  size_t troubled_ = 0;
  size_t crashed_ = 0;
  size_t overTime_ = 0;
  size_t before_ = 0;
  bool broken_ = false;
};

}  // namespace

int RunBatch(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err) {
  std::string wrong;
  std::vector<std::string> files = BatchFiles(options, wrong);
  if (!wrong.empty()) {
    err << "marvik: " << wrong << '\n';
    return kStatusProblem;
  }
  return Coordinator(options, executable, out, err).Run(std::move(files));
}

}  // namespace marvik
