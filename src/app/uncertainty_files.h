#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "chem/geometry/uncertainty.h"
#include "files/cif/cif_uncertainties.h"

namespace marvik {

// The file beside a structure that its uncertainties were last read from, as it was then.
struct UncertaintyFile {
  std::string path;
  std::optional<FileStamp> stamp;
  CifUncertainties listed;
  // What the reflections beside it gave for a model, and which files and places of atoms that was for.
  std::shared_ptr<const UncertaintySource> fromData;
  size_t fromDataKey = 0;
};

// Lines of a refinement's listing that begin with a label and three coordinates of which at least one carries an
// uncertainty in parentheses; of several for one label the last. Of the cell it says nothing.
CifUncertainties UncertaintiesInListing(std::string_view text);

// Where a refinement by marvik-refine has left its listing beside the reflections, the full covariance matrix of the
// model as it is; else, or where that would take more than some seconds, what the CIF or the listing beside the current
// file, whichever exists first, says of the uncertainties of the document's atoms: of NAME_cif.res NAME.cif. The cell
// of a CIF is its own, that of a listing the ZERR line of the document. An atom takes those of its label when the
// coordinates agree within three uncertainties, at least 0.0015 and at most 0.005, or else those of the one listed atom
// at its very place: labels may have been shortened. When fewer than half of the listed atoms are found so, the file
// tells of another structure and nothing is taken. Null without any. What was read is kept in `file` until it changes.
std::shared_ptr<const UncertaintySource> FindUncertainties(const Document& document, UncertaintyFile& file);

}  // namespace marvik
