#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/kept_line.h"
#include "model/source_layout.h"

namespace marvik {

struct Residue {
  std::string className;
  int number = 0;
  std::string chain;  // "A" of "RESI A:12 ALA"
  std::string more;   // words behind number and class, such as an alias number
  std::string line;   // the RESI line as it stood; when empty one is composed
  friend bool operator==(const Residue&, const Residue&) = default;
};

// What the SFAC instruction said about one entry. Two entries of one element stay two.
struct SfacForm {
  std::string label;  // as it stood
  bool longForm = false;
  std::array<double, 12> coefficients{};  // a1 b1 a2 b2 a3 b3 a4 b4 c f' f'' mu
  double radius = 0.0;                    // Å, 0 for that of the element
  double weight = 0.0;                    // the same
  int32_t line = -1;                      // of the source layout
  friend bool operator==(const SfacForm&, const SfacForm&) = default;
};

// What an instruction file holds beside atoms, cell, operators and refinement settings.
struct Instructions {
  std::string title;
  std::string cellLine;
  std::string zerrLine;
  std::string tempLine;
  std::string hklfLine;
  // Rows of the element table in file order. `sfacForms` goes beside it and may be shorter.
  std::vector<int> sfac;
  std::vector<SfacForm> sfacForms;
  std::vector<std::string> unit;  // as written, so that fractions survive; one per sfac entry where the file agreed
  double scaleFactor = 1.0;
  std::vector<float> freeVariables;  // number m of the file's coding is the one at index m - 2
  std::vector<KeptLine> kept;        // in file order
  bool hasMerg = false;
  int merg = 0;
  std::vector<std::string> droppedRemarks;     // lines and comments that a save will drop, in file order
  std::vector<std::string> replacedLines;      // the same of instructions that a later one of their kind replaced
  std::string lineEnd = "\n";                  // as the file had it
  std::shared_ptr<const SourceLayout> source;  // null for what no file held

  friend bool operator==(const Instructions&, const Instructions&) = default;
};

}  // namespace marvik
