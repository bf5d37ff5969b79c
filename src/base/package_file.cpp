#include "base/package_file.h"

#include "base/files.h"

namespace marvik {

std::string WithSeparatorAtEnd(std::string directory) {
  if (!directory.empty() && directory.back() != '/' && directory.back() != '\\') directory += '/';
  return directory;
}

std::optional<std::string> PackageFile(const std::string& name) {
  const auto directory = EnvironmentValue(kPackageVariable);
  return directory ? std::optional(WithSeparatorAtEnd(*directory) + name) : std::nullopt;
}

}  // namespace marvik
