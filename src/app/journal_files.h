#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "publish/publication.h"

namespace marvik {

// The CIF that belongs to the current file: NAME.cif beside NAME.res, or the one that NAME_cif.res was translated from.
// "" where there is none.
std::string JournalCif(const Workbench& bench);

// What Select Atoms takes for atoms as a CIF labels them; those that the structure does not have are left out.
std::string SelectionOfLabels(const Document& document, const std::vector<std::string>& labels);

// The CIF, what is kept beside it, and who may know more.
struct PublicationState {
  std::string cifPath;   // "" before the first refinement
  std::string keptPath;  // NAME_publication.cif
  std::string cif;
  std::string kept;
  std::vector<std::string> blocks;  // that have atoms or a cell; at least one
  std::vector<PublicationSource> beside;

  std::vector<PublicationRow> Rows(const std::string& block) const { return PublicationRows(cif, block, kept, beside); }
};
// Nothing without a file.
std::optional<PublicationState> FindPublication(const Workbench& bench);

// Text files in a folder of the package directory, or of the installation, by their names without the extension.
std::vector<std::string> PackageFiles(const std::string& folder, const std::string& extension);
// The path of one, the user's own before those of the installation; "" where there is none.
std::string PackageFile(const std::string& folder, const std::string& name, const std::string& extension);
inline constexpr char kPublicationTemplates[] = "publication";

}  // namespace marvik
