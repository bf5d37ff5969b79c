#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/files.h"
#include "crystal/crystal.h"
#include "model/atom_list.h"
#include "model/element_table.h"
#include "model/instructions.h"
#include "model/refinement_settings.h"

namespace marvik {

// What a document holds besides its atoms and their elements: plain values, copied as one.
struct DocumentValues {
  CellParameters cell;
  OrthogonalisationMatrix matrix;
  int latticeCode = 1;
  SymmetryList symmetry;
  Instructions instructions;
  RefinementSettings settings;
  std::vector<Residue> residues;
  Cartesian MoleculeCentre;  // mean position of all atoms as of the last Connect

  std::string CurrentFile;         // full path of the instruction or result file, empty when there is none
  std::string WorkingDirectory;    // its directory with the last separator, "" for the current one
  std::optional<FileStamp> stamp;  // of CurrentFile when it was read or written
};

// The structure at hand and everything that a file says about it. One is made in main and passed by reference; copies
// (for undo, comparison and work in the background) own records of their own.
class Document : public DocumentValues {
 public:
  Document() = default;
  Document(const Document& other) : DocumentValues() { *this = other; }
  Document& operator=(const Document& other);

  ElementTable elements;
  AtomList atoms;

  // Fractional to Cartesian for every atom.
  void RecomputePositions();
  // Back to the state before any file was read; the element table and the previous weights stay.
  void Clear();
};

}  // namespace marvik
