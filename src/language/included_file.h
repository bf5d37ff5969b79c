#pragma once

#include <string>

namespace marvik {

// The file that "+name" stands for: `name` itself where that is absolute, else one beside the instruction file, whose
// `directory` ends with a separator or is "" for the current one.
std::string IncludedPath(const std::string& name, const std::string& directory);

// Whether that file lies, links followed, outside of the folder and its sub-folders. False for one that is not there.
bool LiesOutside(const std::string& path, const std::string& directory);

}  // namespace marvik
