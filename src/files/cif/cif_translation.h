#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/user_messages.h"

namespace marvik {

// What a CIF becomes as a result file.
struct CifTranslation {
  std::string text;      // the translation of the CIF's tables
  std::string embedded;  // the refinement's own result file, when the CIF carries it as a text field
  std::string notices;   // what could not be taken over as it stood, line by line
};

// Translates the first block that has atoms. Nothing, with a sentence in `reason`, when there is none, or its cell is
// missing or impossible.
//
// Wavelength, formula units, uncertainties of the cell, temperature, crystal size, weights and extinction are the CIF's
// own. The header holds fixed values where an instruction file needs more than it says: wavelength 0.71073, LATT -1
// (the operators are written out), WGHT 0.1, FVAR 0.5. Occupancies are those of an instruction file: divided by the
// order of the site symmetry, held fixed.
std::optional<CifTranslation> TranslateCif(std::string_view cif, std::string* reason = nullptr);

// Reads a CIF, shows what could not be taken over, and gives the result file to open: its translation, or the one that
// it carries when the user prefers that. Nothing, without a message, when it cannot be read or translated.
std::optional<std::string> ResultFileOfCif(const std::string& cifName, UserMessages& messages,
                                           std::string* reason = nullptr);

enum class CifOutcome { Done, Failed, Declined };

// The same into a file. An existing file of other content is asked about and kept as NAME.bak; Declined, with nothing
// written, when the user wants it to stay. A failure leaves no file behind; its message is the caller's.
CifOutcome TranslateCifToRes(const std::string& cifName, const std::string& outputName, UserMessages& messages,
                             std::string* reason = nullptr);

}  // namespace marvik
