#pragma once

#include <string>
#include <vector>

namespace marvik {

// The files of the TrueType faces that are installed, sorted: those with Latin letters that fontconfig knows.
std::vector<std::string> InstalledTrueTypeFiles();

}  // namespace marvik
