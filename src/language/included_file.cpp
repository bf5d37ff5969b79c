#include "language/included_file.h"

#include <filesystem>

namespace marvik {

namespace fs = std::filesystem;

std::string IncludedPath(const std::string& name, const std::string& directory) {
  const bool absolute = name.starts_with('/') || name.starts_with('\\') || name.find(':') == 1;
  return absolute ? name : directory + name;
}

bool LiesOutside(const std::string& path, const std::string& directory) {
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  if (error) return false;
  const fs::path home = fs::canonical(directory.empty() ? "." : directory, error);
  const fs::path way = file.lexically_relative(home);
  return error || way.empty() || *way.begin() == "..";
}

}  // namespace marvik
