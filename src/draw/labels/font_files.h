#pragma once

#include <string>
#include <vector>

namespace marvik {

// The files of the TrueType faces that are installed, sorted: "*.ttf" in the system's font folder on Windows, elsewhere
// the faces with Latin letters that fontconfig knows.
std::vector<std::string> InstalledTrueTypeFiles();

}  // namespace marvik
