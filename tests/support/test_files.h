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

  std::string operator/(const std::string& name) const { return path + name; }
  // The path of the file, which has this content now.
  std::string Put(const std::string& name, const std::string& content) const;
  std::string Get(const std::string& name) const;
  bool Has(const std::string& name) const;

  const std::string path;  // with a slash at its end
};

// The folder of real files, with a slash at its end; empty where MARVIK_REAL_DATA is not set.
std::string RealDataFolder();
// What lies anywhere below a folder and ends in one of the extensions, by name.
std::vector<std::string> FilesBelow(const std::string& folder, const std::vector<std::string>& extensions);

}  // namespace marvik::test
