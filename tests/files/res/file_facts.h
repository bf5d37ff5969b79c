#pragma once

#include <map>
#include <string>
#include <vector>

namespace marvik::test {

// What an instruction file says, found by a small parser of its own that shares nothing with the reader under test.
// Numbers are in one form (six decimals), letters in one case, remarks and blank lines left out.
struct FileFacts {
  std::string title;
  std::vector<std::string> header;   // lines in front of HKLF whose order means nothing, sorted
  std::vector<std::string> ordered;  // EQIV, DEFS, SYMM, BASF and reflections, each kind in file order
  std::vector<std::string> afterHklf;
  std::vector<std::string> afterEnd;
  std::string freeVariables;
  std::map<std::string, std::string> unit;  // by element; "#n" where the counts disagree
  std::vector<std::string> scatterers;      // in alphabetical order
  std::vector<std::string> atoms;           // name, element, values, the state in force and the lines before it
  int remarks = 0;
};

FileFacts FactsOf(const std::string& text);

// One line for each fact that one side has and the other has not; what a save always writes (TITL, LATT, FMAP, PLAN,
// FVAR) may be new.
std::vector<std::string> Differences(const FileFacts& before, const FileFacts& after);

}  // namespace marvik::test
