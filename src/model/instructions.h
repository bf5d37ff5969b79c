#pragma once

#include <map>
#include <string>
#include <vector>

namespace marvik {

// Where a kept line goes when the file is written.
enum class KeptPlace {
  Body,        // newest first, behind LIST
  Front,       // EQIV and DEFS: before every other kept line, in file order
  BeforeSfac,  // NEUT
  AfterSfac,   // DISP
  Fragment,    // FRAG ... FEND, one entry for the block
};

struct KeptLine {
  KeptPlace place = KeptPlace::Body;
  std::string text;  // as it stood in the file, inner line breaks included, without the last one
  friend bool operator==(const KeptLine&, const KeptLine&) = default;
};

struct Residue {
  std::string className;
  int number = 0;
  std::string line;  // the RESI line as it stood
  friend bool operator==(const Residue&, const Residue&) = default;
};

// What an instruction file holds beside atoms, cell, operators and refinement settings.
struct Instructions {
  std::string title;
  std::string cellLine;
  std::string zerrLine;
  std::string bondLine;
  std::string tempLine;
  std::string hklfLine;
  bool hasLatt = false;
  std::vector<int> sfac;          // rows of the element table, in the order in which they are written
  std::vector<std::string> unit;  // as written, so that fractions survive; one per sfac entry where the file agreed
  double scaleFactor = 1.0;
  std::vector<float> freeVariables;  // number m of the file's coding is the one at index m - 2
  std::vector<std::string> omitLines;
  std::vector<std::string> basfLines;
  std::vector<KeptLine> kept;  // newest first
  // Words behind the fields that the model reads ("ACTA 50"), by keyword, until the user changes the instruction.
  std::map<std::string, std::string> words;
  bool hasMerg = false;
  int merg = 0;
  bool hasList = false;
  std::vector<std::string> droppedRemarks;  // REM lines that a save will drop
  std::string lineEnd = "\n";               // as the file had it

  friend bool operator==(const Instructions&, const Instructions&) = default;
};

}  // namespace marvik
