#include "base/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace marvik {

namespace fs = std::filesystem;

namespace {

constexpr size_t kLargestFile = size_t{2} << 30;  // bytes: what gives more is no file that anybody wrote
constexpr size_t kFirstBuffer = 1 << 16;
constexpr int kPatience = 5000;  // ms, for the other end of a pipe

// The length to expect; nothing, with the reason, for what must not be read: folders and devices, which may never end.
std::optional<size_t> LengthOf(int file, FileContent& result) {
  struct stat facts {};
  if (fstat(file, &facts) != 0) {
    result.systemError = errno;
  } else if (S_ISDIR(facts.st_mode)) {
    result.systemError = EISDIR;
  } else if (S_ISCHR(facts.st_mode) || S_ISBLK(facts.st_mode)) {
    result.systemError = EINVAL;
  } else {
    return S_ISREG(facts.st_mode) ? static_cast<size_t>(facts.st_size) : 0;
  }
  return std::nullopt;
}

// Gives what arrived; nothing more at the end, after an error, and from a pipe that nobody writes to.
size_t ReadSome(int file, char* buffer, size_t size, FileContent& result) {
  for (;;) {
    const ssize_t got = read(file, buffer, size);
    if (got >= 0) return static_cast<size_t>(got);
    pollfd wanted{file, POLLIN, 0};
    if (errno == EINTR || (errno == EAGAIN && poll(&wanted, 1, kPatience) > 0)) continue;
    result.systemError = errno;
    return 0;
  }
}

}  // namespace

FileContent ReadWholeFile(const std::string& path) {
  FileContent r;
  // A pipe without a writer must not keep anybody waiting.
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) {
    r.systemError = errno;
    return r;
  }
  const auto expected = LengthOf(file, r);
  r.opened = expected.has_value();
  try {
    if (expected) r.content.resize(std::max(*expected + 1, kFirstBuffer));
    size_t used = 0;
    while (expected) {
      const size_t got = ReadSome(file, r.content.data() + used, r.content.size() - used, r);
      used += got;
      if (got == 0 || used > kLargestFile) break;
      if (used == r.content.size()) r.content.resize(r.content.size() * 2);
    }
    r.content.resize(used);
    r.complete = expected && r.systemError == 0 && used >= *expected && used <= kLargestFile;
  } catch (const std::bad_alloc&) {
    r.outOfMemory = true;
  } catch (const std::length_error&) {
    r.outOfMemory = true;
  }
  close(file);
  return r;
}

std::optional<FileStamp> StampOf(const std::string& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  if (error) return std::nullopt;
  const auto time = fs::last_write_time(path, error);
  if (error) return std::nullopt;
  return FileStamp{static_cast<long long>(size), static_cast<long long>(time.time_since_epoch().count())};
}

std::string DirectoryOf(const std::string& path) {
  const size_t at = path.find_last_of("/\\");
  return at == std::string::npos ? "" : path.substr(0, at + 1);
}

std::string FileNameOf(const std::string& path) {
  const size_t at = path.find_last_of("/\\");
  return at == std::string::npos ? path : path.substr(at + 1);
}

std::string BaseNameOf(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || dot < DirectoryOf(path).size()) return path;
  return path.substr(0, dot);
}

std::string LowerExtensionOf(const std::string& path) {
  const std::string base = BaseNameOf(path);
  if (base.size() == path.size()) return "";
  std::string extension = path.substr(base.size() + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

std::optional<std::string> EnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  if (!value) return std::nullopt;
  return std::string(value);
}

}  // namespace marvik
