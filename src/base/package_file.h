#pragma once

#include <optional>
#include <string>

namespace marvik {

// "" stays as it is.
std::string WithSeparatorAtEnd(std::string directory);
// Where a file of the package directory is; nothing while the variable that names the directory is not set.
std::optional<std::string> PackageFile(const std::string& name);

}  // namespace marvik
