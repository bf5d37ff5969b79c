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
  Fragment,    // FRAG ... FEND, one entry for the block, among those of Body
  UnderTitle,  // the indented comment right below TITL
  AfterHklf,   // what stood between HKLF and END, which the refinement does not act on
  AfterEnd,    // what stood behind END
};

struct KeptLine {
  KeptPlace place = KeptPlace::Body;
  std::string text;  // as it stood in the file, without the last line end; inner ones are plain line feeds
  friend bool operator==(const KeptLine&, const KeptLine&) = default;
};

struct Residue {
  std::string className;
  int number = 0;
  std::string chain;  // "A" of "RESI A:12 ALA"
  std::string more;   // words behind number and class, such as an alias number
  std::string line;   // the RESI line as it stood; when empty one is composed
  friend bool operator==(const Residue&, const Residue&) = default;
};

// What the SFAC instruction said about one entry beyond its row of the element table.
struct SfacForm {
  std::string label;  // as it stood
  bool longForm = false;
  friend bool operator==(const SfacForm&, const SfacForm&) = default;
};

// An instruction that says more than the model holds ("PLAN 20 0.5", "LIST 4 ! comment", "EXTI 0.034016"): while what
// the model would write still is `composed`, the text of the file is written instead.
struct WrittenForm {
  std::string composed;
  std::string text;
  friend bool operator==(const WrittenForm&, const WrittenForm&) = default;
};

// What an instruction file holds beside atoms, cell, operators and refinement settings.
struct Instructions {
  std::string title;
  std::string cellLine;
  std::string zerrLine;
  std::string tempLine;
  std::string hklfLine;
  // Rows of the element table, short forms first after reading. `sfacForms` goes beside it and may be shorter.
  std::vector<int> sfac;
  std::vector<SfacForm> sfacForms;
  std::vector<std::string> unit;  // as written, so that fractions survive; one per sfac entry where the file agreed
  double scaleFactor = 1.0;
  std::vector<float> freeVariables;  // number m of the file's coding is the one at index m - 2
  std::vector<std::string> omitLines;
  std::vector<std::string> basfLines;
  std::vector<KeptLine> kept;                // newest first
  std::map<std::string, WrittenForm> forms;  // by keyword
  bool hasMerg = false;
  int merg = 0;
  std::vector<std::string> droppedRemarks;  // lines and comments that a save will drop, in file order
  std::string lineEnd = "\n";               // as the file had it

  friend bool operator==(const Instructions&, const Instructions&) = default;
};

}  // namespace marvik
