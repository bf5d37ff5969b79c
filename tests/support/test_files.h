#pragma once

#include <string>
#include <vector>

namespace marvik::test {

// A folder of a test's own, gone afterwards.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string path;  // with a slash at its end
};

// The folder of real files, with a slash at its end; empty where MARVIK_REAL_DATA is not set.
std::string RealDataFolder();
// What lies anywhere below a folder and ends in one of the extensions, by name.
std::vector<std::string> FilesBelow(const std::string& folder, const std::vector<std::string>& extensions);

}  // namespace marvik::test
