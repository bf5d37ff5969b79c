#include "base/process_mark.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <unistd.h>

#include "base/files.h"
#include "base/numbers.h"

namespace marvik {
namespace {

// FNV-1a (Fowler, Noll, Vo) of the machine's name, in 32 bits.
std::string Machine() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  uint32_t hash = 2166136261u;
  for (const char* c = name; *c; ++c) hash = (hash ^ static_cast<unsigned char>(*c)) * 16777619u;
  return Printf("%08x", hash);
}

// In ticks since the machine started: the 22nd word of the process's line, counted behind its name, which may hold
// anything. "" when it is gone, "0" where the system does not say.
std::string StartOf(pid_t process) {
  if (kill(process, 0) != 0 && errno == ESRCH) return "";
  const std::string line = ReadWholeFile("/proc/" + std::to_string(process) + "/stat").content;
  size_t at = line.rfind(')');
  for (int word = 2; at != std::string::npos && word < 22; ++word) at = line.find(' ', at + 1);
  if (at == std::string::npos) return "0";
  return line.substr(at + 1, line.find(' ', at + 1) - at - 1);
}

}  // namespace

std::string ProcessMark() {
  return Machine() + "-" + std::to_string(getpid()) + "-" + StartOf(getpid());
}

bool ProcessLives(std::string_view mark) {
  const size_t first = std::min(mark.find('-'), mark.size());
  const size_t second = std::min(mark.find('-', first + 1), mark.size());
  if (second == mark.size() || mark.substr(0, first) != Machine()) return true;
  pid_t process = 0;
  std::from_chars(mark.data() + first + 1, mark.data() + second, process);
  return process <= 0 || StartOf(process) == mark.substr(second + 1);
}

}  // namespace marvik
