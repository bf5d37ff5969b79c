#include "base/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace marvik {

namespace fs = std::filesystem;

FileContent ReadWholeFile(const std::string& path) {
  FileContent r;
  std::error_code error;
  if (fs::is_directory(path, error)) {
    r.systemError = EISDIR;
    return r;
  }
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    r.systemError = errno;
    return r;
  }
  r.opened = true;
  const auto size = fs::file_size(path, error);
  const size_t expected = error ? 0 : static_cast<size_t>(size);
  try {
    r.content.resize(expected + 1);
    size_t used = 0;
    for (;;) {
      const size_t got = std::fread(r.content.data() + used, 1, r.content.size() - used, file);
      used += got;
      if (used < r.content.size()) break;
      r.content.resize(r.content.size() * 2);
    }
    r.content.resize(used);
    r.complete = !std::ferror(file) && used >= expected;
  } catch (const std::bad_alloc&) {
    r.outOfMemory = true;
  } catch (const std::length_error&) {
    r.outOfMemory = true;
  }
  std::fclose(file);
  return r;
}

namespace {

// Gives 0 or an error number.
int WriteAndFlush(const std::string& path, std::string_view content, const char* mode) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (!file) return errno;
  int error = 0;
  if (std::fwrite(content.data(), 1, content.size(), file) != content.size() || std::fflush(file) != 0) error = errno;
#ifndef _WIN32
  if (!error && fsync(fileno(file)) != 0 && errno != EINVAL && errno != EROFS) error = errno;
#endif
  if (std::fclose(file) != 0 && !error) error = errno;
  return error;
}

// A device or pipe is written directly: there is nothing to keep whole.
bool IsSpecial(const std::string& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  return !error && fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

// Where a chain of symbolic links ends, be there a file or not; a link again when it does not end.
fs::path FollowedLinks(fs::path path) {
  std::error_code error;
  for (int links = 0; links < 40 && fs::is_symlink(path, error); ++links) {
    const fs::path next = fs::read_symlink(path, error);
    path = next.is_absolute() ? next : path.parent_path() / next;
  }
  return path;
}

}  // namespace

int WriteFileAtomically(const std::string& path, std::string_view content, const std::string& backupPath) {
  if (IsSpecial(path)) return WriteAndFlush(path, content, "wb");
  std::error_code error;
  const fs::path target = FollowedLinks(path);
  if (fs::is_symlink(target, error)) return ELOOP;
  if (fs::is_directory(target, error)) return EISDIR;
  const bool existed = fs::exists(target, error);
#ifndef _WIN32
  // Renaming would get round the write protection that the file's owner set.
  if (existed && faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return errno;
#endif
  const std::string temporary = target.string() + ".new~";
  const auto giveUp = [&](int number) {
    fs::remove(temporary, error);
    return number ? number : EIO;
  };
  // One that a crash left behind goes; whatever else stands under that name is not written through.
  fs::remove(temporary, error);
  if (const int number = WriteAndFlush(temporary, content, "wbx")) return giveUp(number);
  if (existed) {
    const auto permissions = fs::status(target, error).permissions();
    if (!error) fs::permissions(temporary, permissions, error);
    if (!backupPath.empty()) {
      fs::copy_file(target, backupPath, fs::copy_options::overwrite_existing, error);
      if (error) return giveUp(error.value());
    }
  }
  fs::rename(temporary, target, error);
  if (error) return giveUp(error.value());
  return 0;
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
