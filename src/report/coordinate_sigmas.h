#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "chem/uncertainty.h"
#include "model/document.h"
#include "report/report_state.h"

namespace marvik {

// The atom sites of the first block of a CIF that has any: labels and fractional coordinates with their uncertainties.
std::vector<ListedCoordinates> CoordinatesInCif(std::string_view text);
// Lines of a listing that begin with a label and three coordinates of which at least one carries an uncertainty in
// parentheses; of several for one label the last.
std::vector<ListedCoordinates> CoordinatesInListing(std::string_view text);

// The coordinate uncertainties of the document's atoms from the CIF or the listing beside the current file, whichever
// exists first. An atom takes those of its label when the coordinates agree within three uncertainties, at least 0.0015
// and at most 0.005; when fewer than half of the listed atoms are found so, the file tells of another structure and
// nothing is taken. What was read is kept in `state` until the file changes.
CoordinateSigmas FindCoordinateSigmas(const Document& document, ReportState& state);

}  // namespace marvik
