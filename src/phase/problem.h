#pragma once

#include <string>
#include <vector>

#include "refine/data/reflections.h"
#include "refine/structure/structure.h"

namespace marvik::phase {

struct FormulaEntry {
  std::string symbol;
  double count = 0.0;  // in the unit cell, from UNIT
};

// What there is to solve: header of the instruction file and the reflections as they were measured.
struct Problem {
  std::vector<std::string> header;  // TITL CELL ZERR, then SFAC UNIT TEMP SIZE ..., one instruction a line
  std::string title;
  std::string hklfLine;
  Metric metric;
  double wavelength = 0.71073;    // Å
  int lattice = 1;                // LATT, a hint
  std::vector<std::string> symm;  // SYMM texts, a hint
  std::vector<FormulaEntry> formula;
  std::vector<Scatterer> scatterers;  // one for each entry of the formula
  std::vector<Reflection> reflections;
  std::vector<std::string> notes;  // what the user should know, one sentence each

  // Whether UNIT can be what the cell holds: 9 to 32 Å3 for each atom but hydrogen (ten times as much for none).
  bool formulaFits = false;

  // The entry of the element with that atomic number; -1 for none.
  int ScattererOf(int z) const;
};

// Reads an instruction and a reflection file. False, with a sentence that says what to do, when they cannot be used.
bool ReadProblem(const std::string& instructions, const std::string& reflections, Problem& problem,
                 std::string& sentence);
bool MakeProblem(const std::string& instructions, const std::string& reflections, Problem& problem,
                 std::string& sentence);

}  // namespace marvik::phase
