#include "support/test_files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/files.h"

namespace marvik::test {

namespace fs = std::filesystem;

namespace {

std::string FreshFolder() {
  std::string name = (fs::temp_directory_path() / "marvik-test-XXXXXX").string();
  return mkdtemp(name.data()) ? fs::canonical(name).string() + "/" : "";
}

}  // namespace

ScratchFolder::ScratchFolder() : path(FreshFolder()) {}

ScratchFolder::~ScratchFolder() {
  std::error_code error;
  if (!path.empty()) fs::remove_all(path, error);
}

std::string ScratchFolder::Put(const std::string& name, const std::string& content) const {
  std::ofstream(path + name, std::ios::binary) << content;
  return path + name;
}

std::string ScratchFolder::Get(const std::string& name) const {
  return ReadWholeFile(path + name).content;
}

bool ScratchFolder::Has(const std::string& name) const {
  return fs::exists(path + name);
}

std::string RealDataFolder() {
  const auto folder = EnvironmentValue("MARVIK_REAL_DATA");
  return folder ? *folder + "/" : "";
}

std::vector<std::string> FilesBelow(const std::string& folder, const std::vector<std::string>& extensions) {
  std::vector<std::string> files;
  std::error_code error;
  for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
    const std::string path = entry.path().string();
    if (std::ranges::find(extensions, LowerExtensionOf(path)) != extensions.end()) files.push_back(path);
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace marvik::test
