#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "run/model_changes.h"

namespace marvik {

// What differs between two instruction or result files, in crystallographer's terms.
struct FileComparison {
  struct Value {
    std::string name;  // "a", "WGHT", "C1 occupancy"
    std::string before;
    std::string after;
  };
  std::vector<Value> values;                                 // cell, wavelength, Z, weights, scale and the like
  std::vector<Value> atoms;                                  // element, part, occupancy, displacement kind
  std::vector<std::pair<std::string, std::string>> renamed;  // old and new name at one place
  ModelChanges model;                // without what was renamed and what moved by less than 0.0005 Å
  std::vector<std::string> removed;  // instructions that only the older file has: restraints, constraints, tables ...
  std::vector<std::string> added;    // and the newer

  bool Same() const;
};

// Places as they stand. `uncertainties` are those of the newer file.
FileComparison CompareFiles(std::string_view before, std::string_view after, const Uncertainties& uncertainties);
// The same with those that NAME.cif or NAME.lst beside the path of the newer file gives.
FileComparison CompareTexts(std::string_view before, std::string_view after, const std::string& path);
// Nothing when a file cannot be read.
std::optional<FileComparison> CompareFilesAt(const std::string& before, const std::string& after);

// {"values", "atoms": [{"name", "before", "after"}], "renamed": [{"before", "after"}], "moved": [{"atom", "shift",
// "sus"}], "new", "gone": names, "removed", "added": lines}; shifts in Å, "sus" null where not known.
std::string ComparisonAsJson(const FileComparison& comparison);
std::string ComparisonAsText(const FileComparison& comparison);

}  // namespace marvik
