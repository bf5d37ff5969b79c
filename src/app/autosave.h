#pragma once

#include <string>
#include <vector>

#include "app/workbench.h"

namespace marvik {

// What a process left that ended without saving.
struct LeftWork {
  std::string file;    // the autosave
  std::string path;    // of the structure, "" for one without a name
  long long time = 0;  // of the last edit that it holds, seconds since 1970
};

// Keeps unsaved edits of the structure in the folder "autosave" of the package directory, so that they outlive the
// process whatever ends it. Nothing is kept where there is no package directory.
class Autosave {
 public:
  explicit Autosave(Workbench& bench) : bench_(bench) {}

  // Writes the structure when it has edits that the last call did not see, removes the file when all is saved.
  void Keep();
  // For an end at which nothing is unsaved any more, or is meant to be lost.
  void Remove();

  // Of processes that no longer live, newest first; with a path only what belongs to that file.
  static std::vector<LeftWork> Left(const std::string& path = {});
  // Puts the structure in place, unsaved and under its old name, and removes the file. False after a message.
  bool Restore(const LeftWork& left);
  static void Discard(const LeftWork& left);

 private:
  Workbench& bench_;
  std::string file_;
  unsigned kept_ = 0;  // bench_.changes when it was written
};

}  // namespace marvik
