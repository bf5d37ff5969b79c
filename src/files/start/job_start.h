#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crystal/cell_metric.h"

namespace marvik {

// Wavelengths in Å, those of electrons among them.
inline constexpr double kShortestWavelength = 0.005;
inline constexpr double kLongestWavelength = 5.0;

// What a diffractometer or an earlier file says of a crystal before there is a model; what it does not say is empty.
struct JobStart {
  std::string from;  // name of the file, "" for nothing found
  std::string title;
  double wavelength = 0.0;  // Å
  std::optional<CellParameters> cell;
  std::array<double, 6> errors{};  // s.u. of the cell, Å and degrees
  std::string formula;             // of one unit, "C10 H12 O3"
  double units = 0.0;              // Z
  std::string reflections;         // lines of HKLF 4 that the file carries
  std::string colour, shape;       // of the crystal
  std::vector<double> sizes;       // of the crystal, mm, three or none

  // Takes over what is missing here.
  void FillFrom(const JobStart& other);
};

// Parameter files of diffractometers: lines CELL, CELLSD, SOURCE, CHEM, TITLE, CCOLOR, MORPH, CSIZE.
JobStart ReadParameterFile(std::string_view text);
// CIFs, those that diffractometers write (.cif_od) among them. Reflections in a text field are told by their columns.
JobStart ReadCifStart(std::string_view text);
JobStart ReadInstructionStart(std::string_view text);

// From NAME.p4p, NAME.cif_od, NAME.cif and NAME.ins beside the reflections NAME.hkl, in this order: each adds what
// those before it do not say.
JobStart FindJobStart(const std::string& base);

// Z of a formula in a cell, by the volumes that atoms usually take.
double LikelyUnits(std::string_view formula, const CellParameters& cell);

// An instruction file without atoms. Empty, with a sentence that says what is missing, when it cannot be made.
std::string ComposeJobStart(const JobStart& start, std::string& sentence);

}  // namespace marvik
