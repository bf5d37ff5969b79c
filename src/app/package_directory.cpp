#include "app/package_directory.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "base/files.h"
#include "base/package_file.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

// An installed template may be read-only; the user's copy is the user's.
void MakeWritable(const fs::path& root) {
  std::error_code error;
  fs::permissions(root, fs::perms::owner_write, fs::perm_options::add, error);
  for (const auto& entry : fs::recursive_directory_iterator(root, error)) {
    fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add, error);
  }
}

// Under a name of this process first, so that two programs that start together cannot mix their copies, and an
// interrupted copy is never taken for the directory.
bool CopyTemplate(const std::string& from, const std::string& to) {
  std::error_code error;
  const fs::path target = fs::path(to).parent_path();
  fs::create_directories(target.parent_path(), error);
  const fs::path copy = target.string() + '.' + std::to_string(getpid());
  fs::create_directory(copy, error);
  for (fs::directory_iterator at(from, error), end; !error && at != end; at.increment(error)) {
    // The help documents are read where they are installed: a copy would outlive the version that it tells of.
    if (at->path().filename() == "Help") continue;
    fs::copy(at->path(), copy / at->path().filename(), fs::copy_options::recursive, error);
  }
  if (!error) {
    MakeWritable(copy);
    fs::rename(copy, target, error);
  }
  std::error_code ignored;
  if (error) fs::remove_all(copy, ignored);
  return fs::is_directory(target, ignored);
}

}  // namespace

std::string ExecutablePath(const std::string& argv0) {
  std::error_code error;
  const auto self = fs::read_symlink("/proc/self/exe", error);
  if (!error) return self.string();
  const auto full = fs::weakly_canonical(argv0, error);
  return error ? argv0 : full.string();
}

std::string TemplateDirectory(const std::string& executable) {
  std::error_code error;
  const auto found = fs::canonical(fs::path(executable).parent_path().parent_path() / "share" / "marvik", error);
  return error || !fs::is_directory(found, error) ? "" : WithSeparatorAtEnd(found.string());
}

std::string UserPackageDirectory() {
  if (const auto data = EnvironmentValue("XDG_DATA_HOME"); data && data->starts_with('/')) return *data + "/marvik/";
  if (const auto home = EnvironmentValue("HOME"); home && home->starts_with('/')) {
    return *home + "/.local/share/marvik/";
  }
  return "";
}

void SetUpPackageDirectory(const std::string& executable, const std::string& chosen) {
  if (!chosen.empty()) {
    std::error_code error;
    const auto full = fs::absolute(chosen, error);
    setenv(kPackageVariable, WithSeparatorAtEnd(error ? chosen : full.string()).c_str(), 1);
    return;
  }
  if (EnvironmentValue(kPackageVariable)) return;
  const std::string own = UserPackageDirectory();
  std::error_code error;
  if (!own.empty() && fs::is_directory(own, error)) {
    setenv(kPackageVariable, own.c_str(), 1);
    return;
  }
  const std::string original = TemplateDirectory(executable);
  if (original.empty()) return;
  setenv(kPackageVariable, (!own.empty() && CopyTemplate(original, own) ? own : original).c_str(), 1);
}

}  // namespace marvik
